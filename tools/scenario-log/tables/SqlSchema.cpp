#include "tables/SqlSchema.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/Sqlite.h"

namespace scenariolog {
namespace {

// Storage. Every series' records are inserted in one run, so that they hold
// one range of ids (first_record to last_record), which an update of the
// cache deletes at once.
constexpr const char* kStorage = R"(
CREATE TABLE cache_info(name TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE stored_series(
  id INTEGER PRIMARY KEY, name TEXT NOT NULL, kind TEXT NOT NULL, prefix TEXT NOT NULL,
  time_stamp TEXT NOT NULL, unique_key INTEGER, request INTEGER, tag INTEGER,
  prefix_cut INTEGER NOT NULL, files INTEGER, blocks INTEGER, records INTEGER,
  unknown_request_records INTEGER, problems INTEGER, first_record INTEGER, last_record INTEGER,
  generation INTEGER NOT NULL);
CREATE TABLE stored_files(
  id INTEGER PRIMARY KEY, series INTEGER NOT NULL, path TEXT NOT NULL,
  file_index INTEGER NOT NULL, size INTEGER, continued INTEGER, device INTEGER, inode INTEGER,
  mtime_ns INTEGER, head_hash INTEGER, tail_hash INTEGER);
CREATE TABLE stored_keys(
  id INTEGER PRIMARY KEY, module TEXT NOT NULL, record_kind TEXT NOT NULL, decision TEXT,
  stage TEXT, result TEXT);
CREATE TABLE stored_records(
  id INTEGER PRIMARY KEY, series INTEGER, file INTEGER, line INTEGER, request INTEGER,
  block INTEGER, key INTEGER NOT NULL, sensor INTEGER, frame INTEGER, magic INTEGER, text TEXT);
CREATE TABLE stored_headlines(
  id INTEGER PRIMARY KEY, series INTEGER, file INTEGER, line INTEGER, request INTEGER,
  block INTEGER, unique_key INTEGER, ndd TEXT, snippets TEXT);
CREATE TABLE stored_requests(
  series INTEGER, request INTEGER, blocks INTEGER, records INTEGER, headline TEXT,
  file INTEGER, line INTEGER, PRIMARY KEY(series, request)) WITHOUT ROWID;
CREATE TABLE stored_problems(
  id INTEGER PRIMARY KEY, series INTEGER, path TEXT NOT NULL, line INTEGER, reason TEXT NOT NULL);
)";

// The documented schema. Every record has a key, so its join is an inner
// one, which SQLite may turn around: a query grouped by module and decision
// then walks the keys in the order of their names and counts each key's
// records in the index of records by key, without sorting them (see
// analyzeSqlTables()). The columns of the record's file and series are
// scalar subqueries, which SQLite evaluates only for a query that uses them;
// as LEFT JOINs they would make that index too narrow for such a count
// (SQLite keeps the unused LEFT JOINs of a grouped query). For reading every
// record (export), stored_records_joined has the same columns through joins,
// which cost less than four lookups a row; it reads in file order.
constexpr const char* kViews = R"(
CREATE VIEW schema_version AS
  SELECT CAST(value AS INTEGER) AS version FROM cache_info WHERE name = 'schema_version';
CREATE VIEW series AS
  SELECT id AS series, name, kind, prefix, time_stamp, unique_key, request, tag, prefix_cut,
         files, blocks, records, unknown_request_records, problems
  FROM stored_series;
CREATE VIEW files AS
  SELECT series, path, file_index, size, continued FROM stored_files;
CREATE VIEW records AS
  SELECT r.series AS series, (SELECT path FROM stored_files WHERE id = r.file) AS file,
         r.line AS line, r.request AS request,
         (SELECT kind FROM stored_series WHERE id = r.series) AS kind,
         (SELECT unique_key FROM stored_series WHERE id = r.series) AS unique_key,
         (SELECT tag FROM stored_series WHERE id = r.series) AS tag, r.block AS block,
         r.sensor AS sensor, r.frame AS frame, r.magic AS magic, k.module AS module,
         k.record_kind AS record_kind, k.decision AS decision, k.stage AS stage,
         k.result AS result, r.text AS text
  FROM stored_records AS r
  JOIN stored_keys AS k ON k.id = r.key;
CREATE VIEW stored_records_joined AS
  SELECT r.series AS series, f.path AS file, r.line AS line, r.request AS request,
         s.kind AS kind, s.unique_key AS unique_key, s.tag AS tag, r.block AS block,
         r.sensor AS sensor, r.frame AS frame, r.magic AS magic, k.module AS module,
         k.record_kind AS record_kind, k.decision AS decision, k.stage AS stage,
         k.result AS result, r.text AS text
  FROM stored_records AS r
  LEFT JOIN stored_keys AS k ON k.id = r.key
  LEFT JOIN stored_files AS f ON f.id = r.file
  LEFT JOIN stored_series AS s ON s.id = r.series;
CREATE VIEW headlines AS
  SELECT h.series AS series, f.path AS file, h.line AS line, h.request AS request,
         h.block AS block, h.unique_key AS unique_key, h.ndd AS ndd, h.snippets AS snippets
  FROM stored_headlines AS h LEFT JOIN stored_files AS f ON f.id = h.file;
CREATE VIEW snippets AS
  WITH RECURSIVE split(id, position, text, rest) AS (
    SELECT id, 0, NULL, substr(snippets, 3) || ', ' FROM stored_headlines WHERE snippets <> ''
    UNION ALL
    SELECT id, position + 1, substr(rest, 1, instr(rest, ', ') - 1),
           substr(rest, instr(rest, ', ') + 2)
    FROM split WHERE rest <> '')
  SELECT h.series AS series, f.path AS file, h.line AS line, h.request AS request,
         h.block AS block, s.position AS position, s.text AS text
  FROM split AS s
  JOIN stored_headlines AS h ON h.id = s.id
  LEFT JOIN stored_files AS f ON f.id = h.file
  WHERE s.position > 0;
CREATE VIEW requests AS
  SELECT q.series AS series, q.request AS request, s.kind AS kind, q.blocks AS blocks,
         q.records AS records, q.headline AS headline, f.path AS file, q.line AS line
  FROM stored_requests AS q
  LEFT JOIN stored_series AS s ON s.id = q.series
  LEFT JOIN stored_files AS f ON f.id = q.file;
CREATE VIEW problems AS
  SELECT series, path AS file, line, reason FROM stored_problems;
)";

// The planner's statistics of keys and records (analyzeSqlTables()).
constexpr std::int64_t kStatedKeys = 2000;
constexpr std::int64_t kKeyShare = 64;

constexpr SqlType kInteger = SqlType::kInteger;
constexpr SqlType kText = SqlType::kText;

}  // namespace

void createSqlSchema(sqlite3* db) {
    execSql(db, kStorage);
    execSql(db, kViews);
    const std::string version = "INSERT INTO cache_info VALUES ('schema_version', " +
                                std::to_string(kSqlSchemaVersion) + "), ('storage_version', " +
                                std::to_string(kSqlStorageVersion) + ")";
    execSql(db, version.c_str());
}

void createSqlIndexes(sqlite3* db) {
    execSql(db, "CREATE INDEX IF NOT EXISTS stored_records_by_key ON stored_records(key)");
    execSql(db,
            "CREATE INDEX IF NOT EXISTS stored_keys_by_name "
            "ON stored_keys(module, decision, record_kind, stage, result)");
}

void analyzeSqlTables(sqlite3* db) {
    execSql(db,
            "ANALYZE stored_series; ANALYZE stored_files; ANALYZE stored_headlines; "
            "ANALYZE stored_requests");
    // The statistics of the records and keys are not measured but set. The
    // records of a key lie on every page of the table, so that reading them
    // through the key index costs a seek each: worth it only when the index
    // alone answers (a count per module and decision), not when the texts
    // are needed (a number in the texts per module), which a scan and a sort
    // of the rows that pass do faster. SQLite's planner, told the true
    // number of keys and records per key, walks the index in both cases.
    // Told that there are 2000 keys and that a key holds a 64th of the
    // records, it walks the index only when the index answers alone; this
    // holds from about 2,000 to 100 million records (checked with the plans
    // of both queries), and below that it sorts, which costs next to nothing.
    const std::int64_t records =
        std::max<std::int64_t>(1, queryInt(db, "SELECT count(*) FROM stored_records").value_or(1));
    const std::string perKey = std::to_string(std::max<std::int64_t>(1, records / kKeyShare));
    const std::string statistics =
        "DELETE FROM sqlite_stat1 WHERE tbl IN ('stored_records', 'stored_keys');"
        "INSERT INTO sqlite_stat1 VALUES ('stored_records', 'stored_records_by_key', '" +
        std::to_string(records) + ' ' + perKey +
        "');"
        "INSERT INTO sqlite_stat1 VALUES ('stored_keys', 'stored_keys_by_name', '" +
        std::to_string(kStatedKeys) +
        " 5 2 2 1 1');"
        "ANALYZE sqlite_schema";
    execSql(db, statistics.c_str());
}

const char* sqlTypeName(SqlType type) {
    return type == SqlType::kInteger ? "INTEGER" : "TEXT";
}

const std::vector<SqlTableDoc>& sqlSchemaDocs() {
    static const std::vector<SqlTableDoc> docs = {
        {"records",
         "one row per record line",
         {
             {"series", kInteger, "number of the series (series.series)"},
             {"file", kText, "path of the file that holds the line"},
             {"line", kInteger, "line number in the file, 1 for the first"},
             {"request", kInteger,
              "request number; NULL when unknown (a preview block without [ReqNum])"},
             {"kind", kText,
              "kind of the series: preview, capture, or unknown when the name was cut"},
             {"unique_key", kInteger, "unique key of the series, from its file name"},
             {"tag", kInteger, "tag number of the series; NULL when the file name's cut lost it"},
             {"block", kInteger,
              "the n-th handed-off block of the request in its series, from 1; NULL when the "
              "block's headline is unknown"},
             {"sensor", kInteger, "[SensorId: N]; NULL when the line has none"},
             {"frame", kInteger, "[FrameNum: N]; NULL when the line has none"},
             {"magic", kInteger, "[MagicNum: N]; NULL when the line has none"},
             {"module", kText, "[ModuleName: NAME]"},
             {"record_kind", kText, "decision or execution"},
             {"decision", kText,
              "[Decision: NAME] of a decision record; NULL for execution records"},
             {"stage", kText, "the stage of an execution record ([Stage_MDP]); NULL for decisions"},
             {"result", kText, "[Result: NAME] of an execution record; NULL for decisions"},
             {"text", kText, "the record's text after the names and a space"},
         }},
        {"headlines",
         "one row per headline line: the first line of each block",
         {
             {"series", kInteger, "number of the series"},
             {"file", kText, "path of the file"},
             {"line", kInteger, "line number in the file"},
             {"request", kInteger, "request of the block; NULL when unknown"},
             {"block", kInteger, "the n-th block of the request in its series, from 1"},
             {"unique_key", kInteger,
              "unique key of the first [UKey: N][ReqNum: N] text; NULL when none"},
             {"ndd", kText,
              "the [UKey: N][ReqNum: N] texts as written, most recent first; '' if none"},
             {"snippets", kText, "the ', text' snippets as written; '' if none"},
         }},
        {"snippets",
         "one row per ', text' snippet of a headline (split at each ', ')",
         {
             {"series", kInteger, "number of the series"},
             {"file", kText, "path of the file"},
             {"line", kInteger, "line number of the headline"},
             {"request", kInteger, "request of the block; NULL when unknown"},
             {"block", kInteger, "the n-th block of the request in its series"},
             {"position", kInteger, "1 for the headline's first snippet"},
             {"text", kText, "the snippet without its ', '"},
         }},
        {"requests",
         "one row per request and series",
         {
             {"series", kInteger, "number of the series"},
             {"request", kInteger, "request number"},
             {"kind", kText, "kind of the series: preview, capture or unknown"},
             {"blocks", kInteger, "number of its blocks (headlines) in the series"},
             {"records", kInteger, "number of its records in the series"},
             {"headline", kText, "the snippets of its headlines without ', ', joined by ', '"},
             {"file", kText, "path of the file of its first line"},
             {"line", kInteger, "line number of its first line"},
         }},
        {"series",
         "one row per series of files (same name prefix and time stamp)",
         {
             {"series", kInteger, "number of the series, in the order the reader walks them"},
             {"name", kText, "prefix and time stamp, '<prefix>_<time stamp>'"},
             {"kind", kText, "preview, capture, or unknown when the name was cut"},
             {"prefix", kText, "the file name's prefix as written"},
             {"time_stamp", kText, "the file name's time stamp, YYYY_MMDD_HHMMSS"},
             {"unique_key", kInteger, "unique key from the file name"},
             {"request", kInteger, "request number from the file name"},
             {"tag", kInteger, "tag number from the file name; NULL when the cut lost it"},
             {"prefix_cut", kInteger, "1 when the writer cut the prefix at 29 characters"},
             {"files", kInteger, "number of its files"},
             {"blocks", kInteger, "number of its blocks"},
             {"records", kInteger, "number of its records"},
             {"unknown_request_records", kInteger, "its records whose request is unknown"},
             {"problems", kInteger, "number of problems found in its files"},
         }},
        {"files",
         "one row per tuning log file read",
         {
             {"series", kInteger, "number of its series"},
             {"path", kText, "path as given or found in a given folder"},
             {"file_index", kInteger, "index of the file in its series, 1 for the first"},
             {"size", kInteger, "size in bytes when it was read"},
             {"continued", kInteger, "1 when it starts with \"-- CONTINUED --\""},
         }},
        {"problems",
         "what the reader could not read or understand, as summary lists it",
         {
             {"series", kInteger, "number of the series; NULL for an input or a file outside any"},
             {"file", kText, "path of the file or input"},
             {"line", kInteger, "line number; NULL when the problem is the whole file"},
             {"reason", kText, "what is wrong"},
         }},
        {"schema_version",
         "one row: the version of this schema",
         {
             {"version", kInteger, "raised whenever a table or column changes its name or meaning"},
         }},
    };
    return docs;
}

}  // namespace scenariolog
