// `sql` runs one read-only SQL statement (SQLite) on the tables of the
// inputs (SqlSchema.h), from the query cache (QueryCache.h) or, with
// --no-cache, from an import into memory; `schema` documents the tables.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "commands/SqlOutput.h"

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

enum class SchemaFormat { kText, kJson, kMarkdown };

// Every table with each column, its type and its meaning; as JSON one object
// per column: {"table", "column", "type", "meaning"}, and one per table with
// "meaning"; as Markdown a table per table.
int runSchema(SchemaFormat format, std::ostream& out);

}  // namespace scenariolog
