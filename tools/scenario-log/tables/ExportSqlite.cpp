// The SQLite export: one standalone database with a real table per exported
// table (the documented columns and types, no views, no reader functions
// needed), a schema_version table as `sql` has, and the indexes that looking
// up a request and filtering by module and decision need. It is built in a
// temporary file beside its path and renamed into place when whole.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/Sqlite.h"
#include "base/Utf8.h"
#include "tables/TableExport.h"

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

constexpr const char* kIndexes = R"(
CREATE INDEX records_by_request ON records(series, request);
CREATE INDEX records_by_decision ON records(module, decision);
CREATE INDEX requests_by_request ON requests(series, request);
CREATE INDEX headlines_by_request ON headlines(series, request);
)";

class SqliteTableSink : public TableSink {
  public:
    SqliteTableSink(sqlite3* db, const SqlTableDoc& table, const std::string& file)
        : mTable(table), mInsert(prepareSql(db, insertOf(table))), mFile(file) {}

    void row(sqlite3_stmt* row) override {
        for (std::size_t i = 0; i < mTable.columns.size(); ++i) {
            const int column = static_cast<int>(i);
            if (sqlite3_column_type(row, column) == SQLITE_NULL) {
                (void)sqlite3_bind_null(mInsert.get(), column + 1);
            } else if (mTable.columns[i].type == SqlType::kInteger) {
                (void)sqlite3_bind_int64(mInsert.get(), column + 1,
                                         sqlite3_column_int64(row, column));
            } else {
                bindUtf8(column, columnText(row, column));
            }
        }
        try {
            runStatement(mInsert.get());
        } catch (const SqliteError& failure) {
            throw ExportError(mFile + ": " + failure.what());
        }
    }

    void finish() override {}

  private:
    static std::string insertOf(const SqlTableDoc& table) {
        std::string insert = std::string("INSERT INTO ") + table.name + " VALUES (";
        for (std::size_t i = 0; i < table.columns.size(); ++i) insert += i > 0 ? ", ?" : "?";
        return insert + ")";
    }

    void bindUtf8(int column, std::string_view text) {
        if (isValidUtf8(text)) {
            // The text lives until the source's next step, after this row's insert.
            (void)sqlite3_bind_text64(mInsert.get(), column + 1, text.data(), text.size(),
                                      SQLITE_STATIC, SQLITE_UTF8);
            return;
        }
        std::string valid;
        appendAsUtf8(valid, text);
        (void)sqlite3_bind_text64(mInsert.get(), column + 1, valid.data(), valid.size(),
                                  SQLITE_TRANSIENT, SQLITE_UTF8);
    }

    const SqlTableDoc& mTable;
    SqliteStatement mInsert;
    const std::string& mFile;
};

class SqliteExport : public ExportTarget {
  public:
    explicit SqliteExport(std::string file)
        : mFile(std::move(file)), mTemporary(mFile + ".tmp-" + std::to_string(::getpid())) {
        try {
            (void)std::remove(mTemporary.c_str());
            mDb = openSqlite(mTemporary, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
            execSql(mDb.get(),
                    "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                    "PRAGMA cache_size = -16384; PRAGMA locking_mode = EXCLUSIVE; BEGIN");
        } catch (const SqliteError& failure) {
            fail(failure.what());
        }
    }
    ~SqliteExport() override {
        mDb.reset();
        if (!mKept) (void)std::remove(mTemporary.c_str());
    }
    SqliteExport(const SqliteExport&) = delete;
    SqliteExport& operator=(const SqliteExport&) = delete;

    std::unique_ptr<TableSink> openTable(const SqlTableDoc& table) override {
        std::string create = std::string("CREATE TABLE ") + table.name + "(";
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            create += std::string(i > 0 ? ", " : "") + table.columns[i].name + " " +
                      sqlTypeName(table.columns[i].type);
        }
        create += ")";
        try {
            execSql(mDb.get(), create.c_str());
            return std::make_unique<SqliteTableSink>(mDb.get(), table, mFile);
        } catch (const SqliteError& failure) {
            fail(failure.what());
        }
    }

    void commit(const ExportSummary& /*summary*/) override {
        try {
            const std::string version =
                "CREATE TABLE schema_version(version INTEGER);"
                "INSERT INTO schema_version VALUES (" +
                std::to_string(kSqlSchemaVersion) + ")";
            execSql(mDb.get(), version.c_str());
            execSql(mDb.get(), kIndexes);
            execSql(mDb.get(), "COMMIT; ANALYZE");
            mDb.reset();
        } catch (const SqliteError& failure) {
            fail(failure.what());
        }
        if (std::rename(mTemporary.c_str(), mFile.c_str()) != 0) {
            fail(std::generic_category().message(errno));
        }
        mKept = true;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw ExportError(mFile + ": " + reason);
    }

    std::string mFile;
    std::string mTemporary;
    SqliteDb mDb;
    bool mKept = false;
};

}  // namespace

std::unique_ptr<ExportTarget> makeSqliteExport(const std::string& file) {
    return std::make_unique<SqliteExport>(file);
}

}  // namespace scenariolog
