#include "base/Sqlite.h"

namespace scenariolog {
namespace {

[[noreturn]] void fail(sqlite3* db, int code) {
    throw SqliteError(code, db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code));
}

// True when `tail` holds another statement, not only blanks, semicolons or comments.
bool holdsStatement(sqlite3* db, const char* tail) {
    sqlite3_stmt* raw = nullptr;
    const int code = sqlite3_prepare_v2(db, tail, -1, &raw, nullptr);
    const SqliteStatement next(raw);
    return code != SQLITE_OK || raw != nullptr;
}

}  // namespace

SqliteDb openSqlite(const std::string& name, int flags) {
    sqlite3* raw = nullptr;
    // A connection is used by one thread only: no mutex around each call.
    const int code = sqlite3_open_v2(name.c_str(), &raw, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    SqliteDb db(raw);
    if (code != SQLITE_OK) fail(raw, code);
    (void)sqlite3_extended_result_codes(raw, 1);
    return db;
}

void execSql(sqlite3* db, const char* sql) {
    const int code = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) fail(db, code);
}

SqliteStatement prepareSql(sqlite3* db, std::string_view sql) {
    sqlite3_stmt* raw = nullptr;
    const char* tail = nullptr;
    // The text is copied so that `tail` can be checked against a terminated string.
    const std::string text(sql);
    const int code =
        sqlite3_prepare_v2(db, text.c_str(), static_cast<int>(text.size() + 1), &raw, &tail);
    SqliteStatement statement(raw);
    if (code != SQLITE_OK) fail(db, code);
    if (raw == nullptr) throw SqliteError(SQLITE_MISUSE, "no statement to run");
    if (tail != nullptr && holdsStatement(db, tail)) {
        throw SqliteError(SQLITE_MISUSE, "one statement at a time, not several");
    }
    return statement;
}

void runStatement(sqlite3_stmt* statement) {
    const int code = sqlite3_step(statement);
    (void)sqlite3_reset(statement);
    if (code != SQLITE_DONE && code != SQLITE_ROW) fail(sqlite3_db_handle(statement), code);
}

std::optional<std::int64_t> queryInt(sqlite3* db, const char* sql) {
    const SqliteStatement statement = prepareSql(db, sql);
    const int code = sqlite3_step(statement.get());
    if (code == SQLITE_ROW) return sqlite3_column_int64(statement.get(), 0);
    if (code != SQLITE_DONE) fail(db, code);
    return std::nullopt;
}

}  // namespace scenariolog
