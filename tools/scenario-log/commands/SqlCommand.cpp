#include "commands/SqlCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/ExitStatus.h"
#include "base/Json.h"
#include "base/Sqlite.h"
#include "commands/Commands.h"
#include "commands/ImportProgressLine.h"
#include "tables/QueryCache.h"
#include "tables/SqlFunctions.h"
#include "tables/SqlSchema.h"

namespace scenariolog {
namespace {

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

}  // namespace

SqliteDb openSqlTables(const SqlOptions& options, const QueryInputs& inputs, std::ostream& err) {
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

const CatalogProblem* inputProblem(const QueryInputs& inputs) {
    for (const CatalogProblem& problem : inputs.problems) {
        for (const std::string& input : inputs.inputs) {
            if (problem.path == input) return &problem;
        }
    }
    return nullptr;
}

namespace {

void noteProblems(sqlite3* db, std::ostream& err) {
    const auto count = queryInt(db, "SELECT count(*) FROM stored_problems");
    if (!count || *count == 0) return;
    err << "scenario-log: the logs have " << *count << (*count == 1 ? " problem" : " problems")
        << " (SELECT * FROM problems)\n";
}

// The tables that have a request column, shadowed for --from/--to by
// temporary views of the same name: SQLite looks a name up in the temporary
// schema first, so the user's statement reads them unchanged, and the views
// live in the connection's own memory, never in the cache.
constexpr const char* kRangedTables[] = {"records", "headlines", "snippets", "requests"};

void restrictToRange(sqlite3* db, const SqlOptions& options) {
    if (!options.from && !options.to) return;
    std::string condition;
    if (options.from) condition += "request >= " + std::to_string(*options.from);
    if (options.to) {
        condition += condition.empty() ? "" : " AND ";
        condition += "request <= " + std::to_string(*options.to);
    }
    for (const char* table : kRangedTables) {
        const std::string view = std::string("CREATE TEMP VIEW ") + table +
                                 " AS SELECT * FROM main." + table + " WHERE " + condition;
        execSql(db, view.c_str());
    }
}

int runStatement(sqlite3* db, const SqlOptions& options, std::ostream& out, std::ostream& err) {
    registerSqlFunctions(db);
    restrictToRange(db, options);
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
        return kExitTrouble;
    }
    if (sqlite3_stmt_readonly(statement.get()) == 0) {
        err << "scenario-log: refused: the statement would change the tables; sql only reads\n";
        return kExitTrouble;
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
        return kExitTrouble;
    }
    output->finish();
    return rows > 0 ? kExitMatch : kExitNoMatch;
}

constexpr CommandHelp kSqlHelp{
    "sql", "one read-only SQL statement (SQLite) on the tables of the logs",
    "sql [--csv|--json] [--from N] [--to M] [--no-cache] \"SELECT ...\" FOLDER|FILE...",
    R"(The tables records, headlines, snippets, requests, series, files and
problems (`scenario-log schema` gives every column and its meaning), with
the functions num(text, 'word'), the number after a word; regexp(pattern,
text) and text REGEXP pattern (RE2, linear time); regexp_capture(text,
pattern[, group]). Aligned columns, or --csv, or --json (one object per
row). With --from or --to, records, headlines, snippets and requests hold
only the requests of the range. A statement that would change anything
(INSERT, UPDATE, DELETE, CREATE, ATTACH, a writing PRAGMA) is refused.

The first query imports the inputs into a cache under
$XDG_CACHE_HOME/scenario-log (else ~/.cache/scenario-log) that later
queries open while the files are unchanged, and update when they only grew;
a long import shows its progress when standard error is a terminal.

Exit status: 0 when rows came back, 1 when none did, 2 on bad usage, an SQL
error, a refused statement or an input error.
)"};

class SqlCommand : public Command {
  public:
    const CommandHelp& help() const override { return kSqlHelp; }

    void addOptions(CLI::App& app) override {
        CLI::Option* csv = app.add_flag("--csv", mCsv, "comma-separated values, a header first");
        CLI::Option* json = app.add_flag("--json", mJson, "one JSON object per row");
        csv->excludes(json);
        addNumberOption(app, "--from", mOptions.from, "only requests N and later");
        addNumberOption(app, "--to", mOptions.to, "only requests up to M")->type_name("M");
        app.add_flag("--no-cache", mOptions.noCache, "import into memory, leave the cache alone");
        app.add_option("STATEMENT", mOptions.query, "one SQL statement")->required();
        addInputsOption(app, mOptions.inputs);
    }

    std::string finishOptions() override {
        mOptions.format = mCsv ? SqlFormat::kCsv : mJson ? SqlFormat::kJson : SqlFormat::kColumns;
        return RequestRange{mOptions.from, mOptions.to}.reversed();
    }

    int run(const Console& console) override {
        mOptions.progress = isatty(STDERR_FILENO) == 1;
        return runSql(mOptions, console.out, console.err, console.terminal);
    }

  private:
    SqlOptions mOptions;
    bool mCsv = false;
    bool mJson = false;
};

constexpr CommandHelp kSchemaHelp{"schema", "the tables of sql, each column with its meaning",
                                  "schema [--json|--markdown]",
                                  R"(The schema is versioned: SELECT version FROM schema_version.

Exit status: 0.
)"};

class SchemaCommand : public Command {
  public:
    const CommandHelp& help() const override { return kSchemaHelp; }

    void addOptions(CLI::App& app) override {
        CLI::Option* json = app.add_flag(
            "--json", mJson, "one JSON object per line: the version, each table and each column");
        app.add_flag("--markdown", mMarkdown, "a Markdown table per table, as README.md has them")
            ->excludes(json);
    }

    int run(const Console& console) override {
        const SchemaFormat format = mJson       ? SchemaFormat::kJson
                                    : mMarkdown ? SchemaFormat::kMarkdown
                                                : SchemaFormat::kText;
        return runSchema(format, console.out);
    }

  private:
    bool mJson = false;
    bool mMarkdown = false;
};

}  // namespace

std::unique_ptr<Command> makeSqlCommand() {
    return std::make_unique<SqlCommand>();
}

std::unique_ptr<Command> makeSchemaCommand() {
    return std::make_unique<SchemaCommand>();
}

int runSql(const SqlOptions& options, std::ostream& out, std::ostream& err, bool terminal) {
    const QueryInputs inputs = gatherQueryInputs(options.inputs);
    if (const CatalogProblem* problem = inputProblem(inputs)) {
        err << "scenario-log: " << problem->path << ": " << problem->reason << "\n";
        return kExitTrouble;
    }
    try {
        const SqliteDb db = openSqlTables(options, inputs, err);
        if (terminal) noteProblems(db.get(), err);
        return runStatement(db.get(), options, out, err);
    } catch (const SqliteError& failure) {
        err << "scenario-log: " << failure.what() << "\n";
        return kExitTrouble;
    }
}

namespace {

// A meaning as text of a Markdown table cell.
std::string markdownCell(std::string_view text) {
    std::string cell;
    for (const char c : text) {
        if (c == '|') {
            cell += "\\|";
        } else if (c == '<') {
            cell += "&lt;";
        } else if (c == '>') {
            cell += "&gt;";
        } else {
            cell += c;
        }
    }
    return cell;
}

void printSchemaJson(std::ostream& out) {
    out << JsonObject().add("schemaVersion", kSqlSchemaVersion).str() << "\n";
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        out << JsonObject().add("table", table.name).add("meaning", table.meaning).str() << "\n";
        for (const SqlColumnDoc& column : table.columns) {
            out << JsonObject()
                       .add("table", table.name)
                       .add("column", column.name)
                       .add("type", sqlTypeName(column.type))
                       .add("meaning", column.meaning)
                       .str()
                << "\n";
        }
    }
}

void printSchemaMarkdown(std::ostream& out) {
    out << "Schema version " << kSqlSchemaVersion << ".\n";
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        out << "\n`" << table.name << "`: " << markdownCell(table.meaning) << "\n\n"
            << "| column | type | meaning |\n|---|---|---|\n";
        for (const SqlColumnDoc& column : table.columns) {
            out << "| " << column.name << " | " << sqlTypeName(column.type) << " | "
                << markdownCell(column.meaning) << " |\n";
        }
    }
}

void printSchemaText(std::ostream& out) {
    out << "The tables of `scenario-log sql`, schema version " << kSqlSchemaVersion << ":\n";
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        out << "\n" << table.name << ": " << table.meaning << "\n";
        for (const SqlColumnDoc& column : table.columns) {
            std::string name = column.name;
            name.resize(std::max<std::size_t>(name.size(), 24), ' ');
            std::string type = sqlTypeName(column.type);
            type.resize(9, ' ');
            out << "  " << name << type << column.meaning << "\n";
        }
    }
}

}  // namespace

int runSchema(SchemaFormat format, std::ostream& out) {
    switch (format) {
        case SchemaFormat::kJson:
            printSchemaJson(out);
            break;
        case SchemaFormat::kMarkdown:
            printSchemaMarkdown(out);
            break;
        case SchemaFormat::kText:
            printSchemaText(out);
            break;
    }
    return kExitMatch;
}

}  // namespace scenariolog
