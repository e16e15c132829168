#include "commands/SqlCommand.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/ExitStatus.h"
#include "base/Json.h"
#include "base/Sqlite.h"
#include "commands/ImportProgressLine.h"
#include "tables/QueryCache.h"
#include "tables/SqlFunctions.h"
#include "tables/SqlSchema.h"

namespace scenariolog {
namespace {

constexpr int kExitNoRows = 1;

// PRAGMAs that only read, with or without an argument.
constexpr std::string_view kReadingPragmas[] = {
    "collation_list",  "compile_options", "database_list", "data_version", "foreign_key_list",
    "freelist_count",  "function_list",   "index_info",    "index_list",   "index_xinfo",
    "integrity_check", "module_list",     "page_count",    "pragma_list",  "quick_check",
    "table_info",      "table_list",      "table_xinfo",
};
// PRAGMAs that read without an argument and set a value with one.
constexpr std::string_view kSettingPragmas[] = {
    "application_id", "cache_size", "encoding", "page_size", "schema_version", "user_version",
};

template <std::size_t N>
bool listed(const std::string_view (&names)[N], const char* name) {
    return std::find(std::begin(names), std::end(names), std::string_view(name)) != std::end(names);
}

const char* actionName(int action) {
    switch (action) {
        case SQLITE_INSERT:
            return "INSERT INTO";
        case SQLITE_UPDATE:
            return "UPDATE";
        case SQLITE_DELETE:
            return "DELETE FROM";
        case SQLITE_ATTACH:
            return "ATTACH";
        case SQLITE_DETACH:
            return "DETACH";
        case SQLITE_ALTER_TABLE:
            return "ALTER TABLE";
        case SQLITE_REINDEX:
            return "REINDEX";
        case SQLITE_ANALYZE:
            return "ANALYZE";
        case SQLITE_TRANSACTION:
            return "a transaction";
        case SQLITE_SAVEPOINT:
            return "SAVEPOINT";
        case SQLITE_PRAGMA:
            return "PRAGMA";
        case SQLITE_FUNCTION:
            return "the function";
        case SQLITE_DROP_INDEX:
        case SQLITE_DROP_TABLE:
        case SQLITE_DROP_TEMP_INDEX:
        case SQLITE_DROP_TEMP_TABLE:
        case SQLITE_DROP_TEMP_TRIGGER:
        case SQLITE_DROP_TEMP_VIEW:
        case SQLITE_DROP_TRIGGER:
        case SQLITE_DROP_VIEW:
        case SQLITE_DROP_VTABLE:
            return "DROP";
        default:
            break;
    }
    return "CREATE";
}

// The first thing that a CREATE or DROP asks for: a write into the schema table.
bool writesSchemaTable(int action, const char* table) {
    return (action == SQLITE_INSERT || action == SQLITE_UPDATE || action == SQLITE_DELETE) &&
           table != nullptr &&
           (std::strcmp(table, "sqlite_master") == 0 ||
            std::strcmp(table, "sqlite_temp_master") == 0);
}

// Lets a statement read and nothing else; remembers why it refused one.
class ReadOnlyGuard {
  public:
    explicit ReadOnlyGuard(sqlite3* db) {
        (void)sqlite3_set_authorizer(db, &ReadOnlyGuard::authorize, this);
        (void)sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
        (void)sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        (void)sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    }

    const std::string& refusal() const { return mRefusal; }

  private:
    static int authorize(void* self, int action, const char* first, const char* second,
                         const char* /*database*/, const char* /*trigger*/) {
        auto* guard = static_cast<ReadOnlyGuard*>(self);
        if (allowed(action, first, second)) return SQLITE_OK;
        if (guard->mRefusal.empty()) {
            guard->mRefusal = writesSchemaTable(action, first) ? "CREATE or DROP"
                                                               : describe(action, first, second);
        }
        return SQLITE_DENY;
    }

    static std::string describe(int action, const char* first, const char* second) {
        std::string text = actionName(action);
        const char* object = action == SQLITE_FUNCTION ? second : first;
        if (object != nullptr && action != SQLITE_TRANSACTION) text += std::string(" ") + object;
        if (action == SQLITE_PRAGMA && second != nullptr) text += std::string(" = ") + second;
        return text;
    }

    static bool allowed(int action, const char* first, const char* second) {
        switch (action) {
            case SQLITE_SELECT:
            case SQLITE_READ:
            case SQLITE_RECURSIVE:
                return true;
            case SQLITE_FUNCTION:
                return second == nullptr || std::strcmp(second, "load_extension") != 0;
            case SQLITE_PRAGMA:
                return first != nullptr && (listed(kReadingPragmas, first) ||
                                            (second == nullptr && listed(kSettingPragmas, first)));
            case SQLITE_UPDATE:
                // SQLite asks this of a table-valued PRAGMA function the first
                // time one is named; a real update is no read-only statement.
                return writesSchemaTable(action, first) && second != nullptr;
            default:
                return false;
        }
    }

    std::string mRefusal;
};

SqliteDb importIntoMemory(const QueryInputs& inputs, ImportProgress* progress) {
    SqliteDb db = openSqlite(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    configureForBuilding(db.get());
    importAll(db.get(), inputs, progress);
    return db;
}

// The tables of the inputs: from the cache when it can be had, else from an
// import into memory (saying why on `err`).
SqliteDb openTables(const SqlOptions& options, const QueryInputs& inputs, std::ostream& err) {
    ImportProgressLine progress(err, options.progress);
    if (options.noCache) return importIntoMemory(inputs, &progress);
    const auto folder = options.cacheFolder.empty()
                            ? defaultCacheFolder()
                            : std::optional<std::string>(options.cacheFolder);
    if (!folder) {
        err << "scenario-log: no cache folder (neither XDG_CACHE_HOME nor HOME is set); "
               "reading into memory\n";
        return importIntoMemory(inputs, &progress);
    }
    try {
        return QueryCache(*folder).open(inputs, &progress);
    } catch (const CacheUnavailable& failure) {
        progress.finish();
        err << "scenario-log: " << failure.what() << "; reading into memory\n";
        return importIntoMemory(inputs, &progress);
    }
}

// A problem with an input as named on the command line: the input cannot be
// read, or holds no tuning log file.
const CatalogProblem* inputProblem(const QueryInputs& inputs) {
    for (const CatalogProblem& problem : inputs.problems) {
        for (const std::string& input : inputs.inputs) {
            if (problem.path == input) return &problem;
        }
    }
    return nullptr;
}

void noteProblems(sqlite3* db, std::ostream& err) {
    const auto count = queryInt(db, "SELECT count(*) FROM stored_problems");
    if (!count || *count == 0) return;
    err << "scenario-log: the logs have " << *count << (*count == 1 ? " problem" : " problems")
        << " (SELECT * FROM problems)\n";
}

int runStatement(sqlite3* db, const SqlOptions& options, std::ostream& out, std::ostream& err) {
    registerSqlFunctions(db);
    const ReadOnlyGuard guard(db);
    SqliteStatement statement;
    try {
        statement = prepareSql(db, options.query);
    } catch (const SqliteError& failure) {
        if (!guard.refusal().empty()) {
            err << "scenario-log: refused: " << guard.refusal()
                << " would change the tables; sql only reads\n";
        } else {
            err << "scenario-log: " << failure.what() << "\n";
        }
        return kExitUsage;
    }
    if (sqlite3_stmt_readonly(statement.get()) == 0) {
        err << "scenario-log: refused: the statement would change the tables; sql only reads\n";
        return kExitUsage;
    }
    const std::unique_ptr<SqlOutput> output = makeSqlOutput(options.format, statement.get(), out);
    std::uint64_t rows = 0;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement.get())) == SQLITE_ROW) {
        output->row(statement.get());
        ++rows;
    }
    if (code != SQLITE_DONE) {
        out.flush();
        err << "scenario-log: " << sqlite3_errmsg(db) << "\n";
        return kExitUsage;
    }
    output->finish();
    return rows > 0 ? kExitClean : kExitNoRows;
}

}  // namespace

int runSql(const SqlOptions& options, std::ostream& out, std::ostream& err, bool terminal) {
    const QueryInputs inputs = gatherQueryInputs(options.inputs);
    if (const CatalogProblem* problem = inputProblem(inputs)) {
        err << "scenario-log: " << problem->path << ": " << problem->reason << "\n";
        return kExitUsage;
    }
    try {
        const SqliteDb db = openTables(options, inputs, err);
        if (terminal) noteProblems(db.get(), err);
        return runStatement(db.get(), options, out, err);
    } catch (const SqliteError& failure) {
        err << "scenario-log: " << failure.what() << "\n";
        return kExitUsage;
    }
}

int runSchema(bool json, std::ostream& out) {
    if (json) {
        out << JsonObject().add("schemaVersion", kSqlSchemaVersion).str() << "\n";
    } else {
        out << "The tables of `scenario-log sql`, schema version " << kSqlSchemaVersion << ":\n";
    }
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        if (json) {
            out << JsonObject().add("table", table.name).add("meaning", table.meaning).str()
                << "\n";
            for (const SqlColumnDoc& column : table.columns) {
                out << JsonObject()
                           .add("table", table.name)
                           .add("column", column.name)
                           .add("meaning", column.meaning)
                           .str()
                    << "\n";
            }
            continue;
        }
        out << "\n" << table.name << ": " << table.meaning << "\n";
        for (const SqlColumnDoc& column : table.columns) {
            std::string name = column.name;
            name.resize(std::max<std::size_t>(name.size(), 24), ' ');
            out << "  " << name << column.meaning << "\n";
        }
    }
    return kExitClean;
}

}  // namespace scenariolog
