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
// The layout of the stored_* tables, their indexes and statistics, which a
// cache of another layout is rebuilt for; the documented schema can stay
// the same across layouts.
constexpr int kSqlStorageVersion = 2;

// Creates the storage tables, the views and the version row in an empty
// database. The indexes of records by key and of keys by name are made by
// createSqlIndexes(), after a bulk import (cheaper than keeping them while
// inserting).
void createSqlSchema(sqlite3* db);
void createSqlIndexes(sqlite3* db);
// Gives SQLite's planner the sizes of the tables and indexes; those of the
// records and keys are set so that it reads records by key only from the
// index alone (see the definition).
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
