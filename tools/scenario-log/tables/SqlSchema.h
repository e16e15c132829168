// The tables that `sql` queries: their storage, the views over it that make
// the documented schema, and the documentation that `schema` prints.
//
// The schema is a versioned contract: the views and their columns keep their
// names and meanings within a version (schema_version.version). What repeats
// is stored once: record keys (module, kind, decision, stage, result) in
// stored_keys, series and files by number; the stored_* tables behind the
// views are not part of the contract.
#pragma once

#include <sqlite3.h>

#include <vector>

namespace scenariolog {

constexpr int kSqlSchemaVersion = 1;

// Creates the storage tables, the views and the version row in an empty
// database. The index of records by request is made by createSqlIndexes(),
// after a bulk import (cheaper than keeping it while inserting).
void createSqlSchema(sqlite3* db);
void createSqlIndexes(sqlite3* db);
// Gives SQLite's planner the sizes of the tables and indexes (a self-join of
// records by request then looks up one record key, not every record).
void analyzeSqlTables(sqlite3* db);

// The type of a column's values; NULL aside, every value of the column is
// of it. Exports write them as such (JSON numbers or strings).
enum class SqlType { kInteger, kText };

// "INTEGER" or "TEXT".
const char* sqlTypeName(SqlType type);

struct SqlColumnDoc {
    const char* name;
    SqlType type;
    const char* meaning;
};

struct SqlTableDoc {
    const char* name;
    const char* meaning;
    std::vector<SqlColumnDoc> columns;
};

// Every view of the schema with each of its columns, in their order.
const std::vector<SqlTableDoc>& sqlSchemaDocs();

}  // namespace scenariolog
