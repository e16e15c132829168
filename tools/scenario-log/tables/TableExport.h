// `export`: the tables of `sql` (SqlSchema.h) written out for other engines,
// as JSON Lines and CSV files in a folder (ExportFolder.cpp) or as one
// standalone SQLite database (ExportSqlite.cpp), streamed a row at a time
// from a database of the tables, so that memory stays bounded.
//
// The contract is the schema's: each table's columns in the documented order
// with the documented types (integers as numbers, NULL as null or an empty
// field, texts as UTF-8 strings). A text byte that is not part of valid UTF-8
// is carried as the character of the same number, U+0080 to U+00FF
// (base/Utf8.h), so that every engine reads every row.
//
// Each JSON Lines or CSV row starts with the column schema_version: exports
// of several reader versions pooled into one table (a fleet's, loaded with
// one glob) still tell their rows apart, where a version beside the files
// would be lost with the file names. The SQLite database has a
// schema_version table, as `sql` has, and one version for the whole file.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tables/SqlSchema.h"

namespace scenariolog {

// An output that cannot be written; what() is "PATH: reason" with the path as
// the user named it (never a temporary file).
class ExportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr const char* kVersionColumn = "schema_version";

// The tables that an export writes, in their order: records, requests,
// headlines, series, files, problems. (snippets is headlines.snippets split at
// each ', ', which every engine can do.)
std::vector<const SqlTableDoc*> exportedTables();

struct TableRows {
    std::string table;
    std::uint64_t rows = 0;
};

struct ExportSummary {
    std::vector<std::string> inputs;  // as given
    std::vector<TableRows> tables;    // in exportedTables()' order
};

// One table on its way into a target.
class TableSink {
  public:
    virtual ~TableSink() = default;
    // The current row of `row`, whose columns are the table's, in order.
    virtual void row(sqlite3_stmt* row) = 0;
    // After its last row. Throws ExportError.
    virtual void finish() = 0;
};

// Where an export goes. Nothing shows at the target's path until commit():
// an export that fails leaves what was there before.
class ExportTarget {
  public:
    virtual ~ExportTarget() = default;
    // Throws ExportError.
    virtual std::unique_ptr<TableSink> openTable(const SqlTableDoc& table) = 0;
    // After every table: puts the export in place whole. Throws ExportError.
    virtual void commit(const ExportSummary& summary) = 0;
};

// JSON Lines (`jsonLines`) and CSV (`csv`) files in `folder`, made when
// missing: TABLE.jsonl and TABLE.csv, and manifest.json, written last.
std::unique_ptr<ExportTarget> makeFolderExport(const std::string& folder, bool jsonLines, bool csv);
// One SQLite database at `file`, built beside it and renamed into place.
std::unique_ptr<ExportTarget> makeSqliteExport(const std::string& file);

// Streams every exported table of `tables` (a database of SqlSchema.h) into
// each target, then commits them. Throws ExportError or SqliteError.
ExportSummary exportTables(sqlite3* tables, const std::vector<std::string>& inputs,
                           const std::vector<ExportTarget*>& targets);

}  // namespace scenariolog
