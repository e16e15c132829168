// `sql` runs one read-only SQL statement (SQLite) on the tables of the
// inputs (SqlSchema.h), from the query cache (QueryCache.h) or, with
// --no-cache, from an import into memory; `schema` documents the tables.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "base/Sqlite.h"
#include "commands/SqlOutput.h"
#include "tables/SqlDatabase.h"

namespace scenariolog {

struct SqlOptions {
    std::string query;
    std::vector<std::string> inputs;
    SqlFormat format = SqlFormat::kColumns;
    bool noCache = false;
    std::string cacheFolder;  // empty: defaultCacheFolder()
    bool progress = false;    // `err` is a terminal: show a long import's progress there
    // --from N --to M: the tables with a request column show only the
    // requests of the range (both ends included; either may be open).
    std::optional<int> from;
    std::optional<int> to;
};

// Exit status: 0 when rows came back, 1 when none, 2 for a usage, SQL or input
// error (one line on `err`; SQLite's own message for SQL errors). A statement
// that would change anything is refused with status 2 and changes nothing.
// `terminal`: `out` is a terminal, read by a person, who is told on `err`
// when the logs had problems.
int runSql(const SqlOptions& options, std::ostream& out, std::ostream& err, bool terminal);

// The tables of `inputs`, from the query cache (in options.cacheFolder, else
// defaultCacheFolder()) when it can be had, else imported into memory, as
// also with options.noCache (saying why on `err`). Throws SqliteError.
SqliteDb openSqlTables(const SqlOptions& options, const QueryInputs& inputs, std::ostream& err);

// The problem of an input as named on the command line (it cannot be read, or
// holds no tuning log file), or null: an input error, before any answer.
const CatalogProblem* inputProblem(const QueryInputs& inputs);

enum class SchemaFormat { kText, kJson, kMarkdown };

// Every table with each column, its type and its meaning; as JSON one object
// per column: {"table", "column", "type", "meaning"}, and one per table with
// "meaning"; as Markdown a table per table.
int runSchema(SchemaFormat format, std::ostream& out);

}  // namespace scenariolog
