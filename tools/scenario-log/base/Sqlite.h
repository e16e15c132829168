// Owning handles of SQLite connections and statements, and the few calls that
// every user of them makes. A failing call throws SqliteError with SQLite's
// own message, so that a caller deals with a failure in one place.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace scenariolog {

struct SqliteCloser {
    void operator()(sqlite3* db) const { (void)sqlite3_close_v2(db); }
};
struct SqliteFinalizer {
    void operator()(sqlite3_stmt* statement) const { (void)sqlite3_finalize(statement); }
};

using SqliteDb = std::unique_ptr<sqlite3, SqliteCloser>;
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

class SqliteError : public std::runtime_error {
  public:
    SqliteError(int code, const std::string& message) : std::runtime_error(message), mCode(code) {}
    int code() const { return mCode; }

  private:
    int mCode;
};

// Opens `name` (a path, or a "file:" URI with SQLITE_OPEN_URI) with `flags`,
// for use by one thread at a time.
SqliteDb openSqlite(const std::string& name, int flags);

// Runs statements that return no rows.
void execSql(sqlite3* db, const char* sql);

// One statement; the text after it must be empty.
SqliteStatement prepareSql(sqlite3* db, std::string_view sql);

// Steps a statement that returns no rows, then resets it for the next run.
void runStatement(sqlite3_stmt* statement);

// The integer in the first column of the first row, if there is a row.
std::optional<std::int64_t> queryInt(sqlite3* db, const char* sql);

// A text bound without a copy: it must outlive the statement's next step.
inline void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    (void)sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC,
                              SQLITE_UTF8);
}

template <typename Int>
void bindInt(sqlite3_stmt* statement, int index, const std::optional<Int>& value) {
    if (value) {
        (void)sqlite3_bind_int64(statement, index, static_cast<sqlite3_int64>(*value));
    } else {
        (void)sqlite3_bind_null(statement, index);
    }
}

inline void bindInt(sqlite3_stmt* statement, int index, std::int64_t value) {
    (void)sqlite3_bind_int64(statement, index, value);
}

// The text of a column of the current row; "" for NULL.
inline std::string_view columnText(sqlite3_stmt* statement, int column) {
    const auto* text = sqlite3_column_text(statement, column);
    const int size = sqlite3_column_bytes(statement, column);
    return text == nullptr ? std::string_view()
                           : std::string_view(reinterpret_cast<const char*>(text),
                                              static_cast<std::size_t>(size));
}

}  // namespace scenariolog
