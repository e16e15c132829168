// scenario-log sql and schema: the tables of hand-made files, the functions,
// the refusal of statements that would write, the output formats, and the
// query cache: reused, updated when files grew, rebuilt when they changed
// otherwise or the cache is damaged, and built by concurrent readers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/PrefilteredRegex.h"
#include "commands/SqlCommand.h"
#include "support/ReaderRun.h"
#include "support/TempDir.h"
#include "tables/QueryCache.h"
#include "tables/SqlFunctions.h"
#include "tables/SqlImport.h"
#include "tables/SqlSchema.h"

using namespace scenariolog;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using testsupport::ReaderRun;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0005_0001_preview__2025_0102_030405_TuningLog_";
const std::string kCapture = "000000042_0007_0003_capture__2025_0102_030406_TuningLog_01.txt";
const std::string kAllRecords =
    "SELECT series, line, request, kind, unique_key, tag, block, sensor, frame, magic, module, "
    "record_kind, decision, stage, result, text FROM records ORDER BY series, file, line";

// A preview series of two files (request 5 has a block in each, an empty
// headline leaves a block unknown, the second file has a line that is no
// record) and a capture series.
void writeLogs(const TempDir& logs) {
    writeFile(logs.file(kPreview + "01.txt"),
              "[UKey: 42][ReqNum: 5], AE stable, 3DNR level 1\n"
              "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: 3A]"
              "[Decision: AE_EXPOSURE_PARAM] lv 11.5, exposure 1190 us, iso 100, face AE on\n"
              "[SensorId: 0][ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] mdp\n"
              "\n"
              "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] of no known request\n"
              "[UKey: 42][ReqNum: 6]\n"
              "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure 2000 us, iso 800\n");
    writeFile(logs.file(kPreview + "02.txt"),
              "-- CONTINUED --\n"
              "[ModuleName: P2Streaming][Decision: ISP_FLOW] 3DNR off\n"
              "[UKey: 42][ReqNum: 5], AE converging\n"
              "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure 3000.5 us\n"
              "not a record\n");
    writeFile(logs.file(kCapture),
              "[UKey: 42][ReqNum: 7], capture start\n"
              "[SensorId: 0][ModuleName: P2Capture][Decision: TOP_CONTROL] decided\n");
}

void appendFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::app | std::ios::binary) << text;
}

ReaderRun sql(const std::string& query, const std::vector<std::string>& inputs,
              const std::string& cache = "", SqlFormat format = SqlFormat::kCsv) {
    SqlOptions options;
    options.query = query;
    options.inputs = inputs;
    options.format = format;
    options.noCache = cache.empty();
    options.cacheFolder = cache;
    std::ostringstream out;
    std::ostringstream err;
    const int code = runSql(options, out, err, false);
    return {code, out.str(), err.str()};
}

// CSV lines without their "\r".
std::vector<std::string> lines(const ReaderRun& run) {
    std::vector<std::string> rows = testsupport::splitLines(run.out);
    for (std::string& row : rows) {
        if (!row.empty() && row.back() == '\r') row.pop_back();
    }
    return rows;
}

// The one cache file in `folder`.
std::string cacheFile(const std::string& folder) {
    for (const std::string& name : testsupport::listFiles(folder)) {
        if (name.size() > 7 && name.substr(name.size() - 7) == ".sqlite")
            return folder + "/" + name;
    }
    return "";
}

ino_t inodeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

TEST(SqlTables, RecordsHeadlinesRequestsAndSeriesOfHandMadeFiles) {
    TempDir logs;
    writeLogs(logs);
    const std::vector<std::string> in = {logs.path()};
    EXPECT_THAT(
        lines(sql(kAllRecords, in)),
        ElementsAre("series,line,request,kind,unique_key,tag,block,sensor,frame,magic,module,"
                    "record_kind,decision,stage,result,text",
                    "1,2,5,preview,42,1,1,0,12,345,3A,decision,AE_EXPOSURE_PARAM,,,"
                    "\"lv 11.5, exposure 1190 us, iso 100, face AE on\"",
                    "1,3,5,preview,42,1,1,0,,,P2Streaming,execution,,Stage_MDP,ISP_FLOW,mdp",
                    "1,5,,preview,42,1,,,,,3A,decision,AE_EXPOSURE_PARAM,,,of no known request",
                    "1,7,6,preview,42,1,1,,,,3A,decision,AE_EXPOSURE_PARAM,,,"
                    "\"exposure 2000 us, iso 800\"",
                    "1,2,6,preview,42,1,1,,,,P2Streaming,decision,ISP_FLOW,,,3DNR off",
                    "1,4,5,preview,42,1,2,,,,3A,decision,AE_EXPOSURE_PARAM,,,exposure 3000.5 us",
                    "2,2,7,capture,42,3,1,0,,,P2Capture,decision,TOP_CONTROL,,,decided"));
    // Export reads the records through joins, sql through lookups: the same
    // rows, in file order.
    EXPECT_EQ(sql("SELECT * FROM stored_records_joined", in).out,
              sql("SELECT * FROM records", in).out);
    EXPECT_THAT(lines(sql("SELECT series, line, request, block, unique_key, ndd, snippets "
                          "FROM headlines ORDER BY series, file, line",
                          in)),
                ElementsAre("series,line,request,block,unique_key,ndd,snippets",
                            "1,1,5,1,42,[UKey: 42][ReqNum: 5],\", AE stable, 3DNR level 1\"",
                            "1,4,,,,,", "1,6,6,1,42,[UKey: 42][ReqNum: 6],",
                            "1,3,5,2,42,[UKey: 42][ReqNum: 5],\", AE converging\"",
                            "2,1,7,1,42,[UKey: 42][ReqNum: 7],\", capture start\""));
    EXPECT_THAT(lines(sql("SELECT request, position, text FROM snippets "
                          "ORDER BY series, file, line, position",
                          in)),
                ElementsAre("request,position,text", "5,1,AE stable", "5,2,3DNR level 1",
                            "5,1,AE converging", "7,1,capture start"));
    EXPECT_THAT(lines(sql("SELECT series, request, kind, blocks, records, headline, line "
                          "FROM requests ORDER BY series, request",
                          in)),
                ElementsAre("series,request,kind,blocks,records,headline,line",
                            "1,5,preview,2,3,\"AE stable, 3DNR level 1, AE converging\",1",
                            "1,6,preview,1,2,,6", "2,7,capture,1,1,capture start,1"));
    EXPECT_THAT(lines(sql("SELECT series, kind, files, blocks, records, unknown_request_records, "
                          "problems FROM series",
                          in)),
                ElementsAre("series,kind,files,blocks,records,unknown_request_records,problems",
                            "1,preview,2,4,6,1,1", "2,capture,1,1,1,0,0"));
    EXPECT_THAT(
        lines(sql("SELECT f.series, f.file_index, f.continued, f.size, p.line, p.reason FROM files "
                  "f LEFT JOIN problems p ON p.file = f.path ORDER BY f.series, f.file_index",
                  in)),
        ElementsAre("series,file_index,continued,size,line,reason", "1,1,0,415,,",
                    "1,2,1,186,5,neither a headline nor a record line", "2,1,0,105,,"));
}

// A request seen again after its totals were written out continues from them.
TEST(SqlTables, RequestTotalsSurviveTheBatchesOfALongSeries) {
    TempDir logs;
    std::string text;
    const int requests = static_cast<int>(SqlImport::kRequestBatch) + 10;
    for (int request = 0; request <= requests; ++request) {
        text += "[UKey: 1][ReqNum: " + std::to_string(request % requests) + "], s" +
                std::to_string(request) + "\n[ModuleName: 3A][Decision: TOP_CONTROL] t\n";
    }
    writeFile(logs.file(kPreview + "01.txt"), text);
    EXPECT_THAT(lines(sql("SELECT count(*), sum(blocks), max(blocks), sum(records) FROM requests",
                          {logs.path()})),
                ElementsAre("count(*),sum(blocks),max(blocks),sum(records)",
                            std::to_string(requests) + "," + std::to_string(requests + 1) + ",2," +
                                std::to_string(requests + 1)));
    EXPECT_THAT(lines(sql("SELECT headline, line FROM requests WHERE request = 0", {logs.path()})),
                ElementsAre("headline,line", "\"s0, s" + std::to_string(requests) + "\",1"));
}

TEST(SqlTables, SchemaDocumentsEveryColumnOfEveryView) {
    TempDir logs;
    writeLogs(logs);
    std::string views;
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        views += std::string(views.empty() ? "" : ",") + "'" + table.name + "'";
        std::vector<std::string> expected = {"name"};
        for (const SqlColumnDoc& column : table.columns) expected.emplace_back(column.name);
        EXPECT_EQ(lines(sql(std::string("SELECT name FROM pragma_table_info('") + table.name + "')",
                            {logs.path()})),
                  expected)
            << table.name;
    }
    // Views named stored_* are storage, as the tables behind them are.
    EXPECT_EQ(sql("SELECT count(*) FROM sqlite_master WHERE type = 'view' AND name NOT IN (" +
                      views + ") AND name NOT LIKE 'stored!_%' ESCAPE '!'",
                  {logs.path()})
                  .out,
              "count(*)\r\n0\r\n");
    EXPECT_EQ(sql("SELECT version FROM schema_version", {logs.path()}).out,
              "version\r\n" + std::to_string(kSqlSchemaVersion) + "\r\n");
    const ReaderRun schema = testsupport::runReader({"schema"});
    EXPECT_EQ(schema.code, kExitMatch);
    EXPECT_THAT(schema.out,
                HasSubstr("\n  unknown_request_records INTEGER  its records whose request"));
}

TEST(SqlFunctions, NumReadsTheNumberRightAfterAWholeWord) {
    const auto num = [](const char* text, const char* word) { return numberAfterWord(text, word); };
    EXPECT_EQ(num("lv 11.5, exposure 1190 us, iso 100", "exposure"), SqlNumber(1190));
    EXPECT_EQ(num("lv 11.5, exposure 1190 us", "lv"), SqlNumber(11.5));
    EXPECT_EQ(num("offset: -3 px", "offset"), SqlNumber(-3));
    EXPECT_EQ(num("crop 1920x1080", "crop"), SqlNumber(1920));
    EXPECT_EQ(num("gain=7", "gain"), SqlNumber(7));
    EXPECT_EQ(num("isp gain 1024, afe gain 2048", "afe gain"), SqlNumber(2048));
    EXPECT_EQ(num("superiso 5, iso 100", "iso"), SqlNumber(100));
    EXPECT_EQ(num("face AE on", "AE"), std::nullopt);
    EXPECT_EQ(num("iso100", "iso"), std::nullopt);
    EXPECT_EQ(num("exposure", "exposure"), std::nullopt);
    EXPECT_EQ(num("exposure 5.", "exposure"), SqlNumber(5));
    EXPECT_EQ(num("n 99999999999999999999", "n"), SqlNumber(1e20));
}

TEST(SqlFunctions, RegexpMatchesCapturesAndNamesABadPattern) {
    TempDir logs;
    writeLogs(logs);
    const std::vector<std::string> in = {logs.path()};
    EXPECT_THAT(lines(sql("SELECT line, num(text, 'exposure') AS e, "
                          "regexp_capture(text, 'iso (\\d+)') AS iso, "
                          "regexp_capture(text, '(lv|exposure) ([0-9.]+)', 2) AS first, "
                          "text REGEXP 'face AE (on|off)' AS face, regexp('^exp', text) AS starts "
                          "FROM records WHERE module = '3A' AND request IS NOT NULL "
                          "ORDER BY file, line",
                          in)),
                ElementsAre("line,e,iso,first,face,starts", "2,1190,100,11.5,1,0",
                            "7,2000,800,2000,0,1", "4,3000.5,,3000.5,0,1"));
    EXPECT_EQ(
        sql("SELECT count(*) FROM records WHERE text REGEXP '^(a+)+$' OR num(text, NULL)", in).out,
        "count(*)\r\n0\r\n");
    for (const char* query : {"SELECT regexp('(', text) FROM records",
                              "SELECT regexp_capture(text, 'x(', 1) FROM records"}) {
        const ReaderRun bad = sql(query, in);
        EXPECT_EQ(bad.code, kExitTrouble) << query;
        EXPECT_THAT(bad.err, StartsWith("scenario-log: regexp"));
        EXPECT_THAT(bad.err, HasSubstr("bad pattern '"));
    }
    const ReaderRun group = sql("SELECT regexp_capture('a', '(a)', 2)", in);
    EXPECT_EQ(group.code, kExitTrouble);
    EXPECT_EQ(group.err, "scenario-log: regexp_capture: pattern '(a)' has 1 groups, no group 2\n");
}

// The literal prefilter only ever spares RE2 a text that cannot match: for
// every pattern and text the answer is RE2's own.
TEST(SqlFunctions, TheLiteralPrefilterAnswersAsRe2Does) {
    const char* patterns[] = {"(\\d+) us",  "^faces [1-9]|face AE on",
                              "Face",       "(?i)FACE ae",
                              "(?i)k",      "(?i)mask",
                              "\\d+",       "a.*b",
                              "iso (\\d+)", "3DNR (on|off)",
                              "x*",         "(?i)straße"};
    const char* texts[] = {"deque after 31801 us",
                           "apply shutter 22158 us, afe gain 1024",
                           "lv 11.8, exposure 22224 us, iso 100, face AE off",
                           "faces 0",
                           "faces 3, face AE on",
                           "x face ae ON",
                           "FACE AE on",
                           "Face",
                           "mas\u212A",  // Kelvin sign: (?i)k matches it
                           "\u212A",
                           "3dnr on",
                           "3DNR off, EIS on",
                           "STRASSE",
                           "stra\u00dfe",
                           "",
                           "us"};
    for (const char* pattern : patterns) {
        const PrefilteredRegex regex(pattern);
        ASSERT_TRUE(regex.ok()) << pattern;
        for (const char* text : texts) {
            EXPECT_EQ(regex.matches(text), RE2::PartialMatch(text, regex.regex()))
                << pattern << " in " << text;
        }
    }
    // A text without the literal is answered without RE2; one with it is not.
    const PrefilteredRegex microseconds("(\\d+) us");
    EXPECT_FALSE(microseconds.mayMatch("iso 100, face AE on"));
    EXPECT_TRUE(microseconds.mayMatch("waits for us"));
    EXPECT_FALSE(microseconds.matches("waits for us"));
    EXPECT_TRUE(PrefilteredRegex("\\d+").mayMatch("no digits"));
}

// A count per module and decision walks the keys in name order and counts
// each key's records in its index, without a sort; a grouped question that
// needs the texts scans the records once and sorts what passes, rather than
// seek each record of a key, which lie on every page of the table.
TEST(SqlPlans, GroupedQueriesReadTheKeyIndexOnlyWhenItAnswersAlone) {
    TempDir logs;
    constexpr int kSeries = 40;
    constexpr int kRequestsPerSeries = 200;
    const char* keys[] = {"[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure ",
                          "[ModuleName: 3A][Decision: AWB_GAIN] gain ",
                          "[ModuleName: P2Streaming][Decision: ISP_FLOW] 3DNR on, crop ",
                          "[ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] mdp in ",
                          "[ModuleName: FaceDetection][Decision: FD_MODE] faces ",
                          "[ModuleName: P1_NODE][Stage_RRZ_R2Y][Result: DONE] deque after "};
    for (int series = 0; series < kSeries; ++series) {
        std::string text;
        for (int i = 0; i < kRequestsPerSeries; ++i) {
            const int request = series * kRequestsPerSeries + i;
            text += "[UKey: 42][ReqNum: " + std::to_string(request) + "]\n";
            for (int repeat = 0; repeat < 2; ++repeat) {
                for (const char* key : keys) {
                    text += key + std::to_string(request + repeat) + " us\n";
                }
            }
        }
        char name[80];
        std::snprintf(name, sizeof name,
                      "%09d_%04d_0000_preview__2025_0102_0304%02d_TuningLog_01.txt", 100 + series,
                      series * kRequestsPerSeries, series);
        writeFile(logs.file(name), text);
    }
    constexpr int kRecords = kSeries * kRequestsPerSeries * 12;
    TempDir cache;
    const std::vector<std::string> in = {logs.path()};
    ASSERT_EQ(sql("SELECT count(*) FROM records", in, cache.path()).out,
              "count(*)\r\n" + std::to_string(kRecords) + "\r\n");
    const auto plan = [&](const std::string& query) {
        return sql("EXPLAIN QUERY PLAN " + query, in, cache.path()).out;
    };
    const std::string counted =
        plan("SELECT module, decision, count(*) FROM records GROUP BY module, decision");
    EXPECT_THAT(counted, HasSubstr("SEARCH r USING COVERING INDEX stored_records_by_key"));
    EXPECT_THAT(counted, Not(HasSubstr("TEMP B-TREE")));
    for (const char* query :
         {"SELECT module, max(length(text)) FROM records GROUP BY module",
          "SELECT module, min(us) FROM (SELECT module, CAST(regexp_capture(text, '(\\d+) us') "
          "AS INTEGER) AS us FROM records) WHERE us IS NOT NULL GROUP BY module",
          "SELECT * FROM records"}) {
        const std::string scanned = plan(query);
        EXPECT_THAT(scanned, HasSubstr("SCAN r\r\n")) << query;
        EXPECT_THAT(scanned, Not(HasSubstr("stored_records_by_key"))) << query;
    }
    EXPECT_EQ(lines(sql("SELECT module, decision, count(*) FROM records "
                        "GROUP BY module, decision ORDER BY module, decision",
                        in, cache.path())),
              lines(sql("SELECT module, decision, count(*) FROM records "
                        "GROUP BY module, decision ORDER BY module, decision",
                        in)));
    // Every text ends in "<request + repeat> us"; regexp_capture's answers
    // are kept across the sort, past the bound of what it keeps.
    constexpr int kLast = kSeries * kRequestsPerSeries;
    const auto perModule = [&](const char* module, int keys) {
        return std::string(module) + ",0," + std::to_string(kLast) + "," +
               std::to_string(kLast * 2 * keys);
    };
    EXPECT_THAT(lines(sql("SELECT module, min(us), max(us), count(us) FROM (SELECT module, "
                          "CAST(regexp_capture(text, '(\\d+) us') AS INTEGER) AS us FROM records) "
                          "WHERE us IS NOT NULL GROUP BY module ORDER BY module",
                          in, cache.path())),
                ElementsAre("module,min(us),max(us),count(us)", perModule("3A", 2),
                            perModule("FaceDetection", 1), perModule("P1_NODE", 1),
                            perModule("P2Streaming", 2)));
}

// The statements go to the cache and to an import into memory alike; the
// cache file keeps its bytes.
TEST(SqlReadOnly, StatementsThatWouldWriteAreRefusedAndChangeNothing) {
    TempDir logs;
    TempDir cache;
    writeLogs(logs);
    const std::vector<std::string> in = {logs.path()};
    const std::string before = sql(kAllRecords, in, cache.path()).out;
    const std::string cached = testsupport::readFile(cacheFile(cache.path()));
    for (const std::string& folder : {cache.path(), std::string()}) {
        for (const char* statement :
             {"DELETE FROM records", "DELETE FROM stored_records",
              "UPDATE stored_records SET text = 'x'",
              "INSERT INTO stored_keys(module, "
              "record_kind) VALUES ('m', 'decision')",
              "DROP VIEW records", "CREATE TABLE t(x)", "CREATE TEMP VIEW v AS SELECT 1",
              "ATTACH ':memory:' AS other", "PRAGMA writable_schema = 1", "PRAGMA user_version = 3",
              "BEGIN", "VACUUM",
              "WITH gone AS (DELETE FROM stored_records RETURNING id) SELECT 1"}) {
            const ReaderRun refused = sql(statement, in, folder);
            EXPECT_EQ(refused.code, kExitTrouble) << statement;
            EXPECT_EQ(testsupport::splitLines(refused.err).size(), 1u) << refused.err;
            EXPECT_THAT(refused.err, StartsWith("scenario-log: ")) << statement;
        }
        EXPECT_EQ(sql(kAllRecords, in, folder).out, before);
    }
    EXPECT_EQ(testsupport::readFile(cacheFile(cache.path())), cached);
    const ReaderRun cli =
        testsupport::runReader({"sql", "--no-cache", "DELETE FROM stored_records", logs.path()});
    EXPECT_EQ(cli.code, kExitTrouble);
    EXPECT_EQ(cli.err,
              "scenario-log: refused: DELETE FROM stored_records would change the tables; sql "
              "only reads\n");
}

TEST(SqlOutput, AlignedColumnsCsvAndJsonAndNoRows) {
    TempDir logs;
    writeLogs(logs);
    const std::vector<std::string> in = {logs.path()};
    const std::string query =
        "SELECT request, module, num(text, 'exposure') AS e FROM records "
        "WHERE decision = 'AE_EXPOSURE_PARAM' ORDER BY file, line LIMIT 3";
    EXPECT_EQ(sql(query, in, "", SqlFormat::kColumns).out,
              "request  module  e\n"
              "-------  ------  ----\n"
              "      5  3A      1190\n"
              "         3A\n"
              "      6  3A      2000\n");
    EXPECT_EQ(sql("SELECT 'a,\"b\"' AS t, NULL AS n, 2.5 AS x, x'00ff' AS b", in).out,
              "t,n,x,b\r\n\"a,\"\"b\"\"\",,2.5,x'00ff'\r\n");
    EXPECT_EQ(sql("SELECT 'q\"\x01' AS t, NULL AS n, 2.5 AS x, 7 AS i, 6.0 AS r", in, "",
                  SqlFormat::kJson)
                  .out,
              "{\"t\":\"q\\\"\\u0001\",\"n\":null,\"x\":2.5,\"i\":7,\"r\":6.0}\n");
    for (const SqlFormat format : {SqlFormat::kColumns, SqlFormat::kJson}) {
        const ReaderRun none = sql("SELECT * FROM records WHERE request = 99", in, "", format);
        EXPECT_EQ(none.code, 1);
        EXPECT_EQ(none.out, "");
    }
    EXPECT_EQ(sql("SELECT 1 FROM nowhere", in).err, "scenario-log: no such table: nowhere\n");
    EXPECT_EQ(sql("SELECT 1", {logs.file("absent")}).code, kExitTrouble);
}

// --from/--to narrow every table with a request column, and only those.
TEST(SqlOutput, ARequestRangeNarrowsTheTablesOfRequests) {
    TempDir logs;
    writeLogs(logs);
    const ReaderRun ranged = testsupport::runReader(
        {"sql", "--csv", "--no-cache", "--from", "6",
         "SELECT (SELECT group_concat(DISTINCT request) FROM records), "
         "(SELECT count(*) FROM headlines), (SELECT count(*) FROM requests), "
         "(SELECT count(*) FROM series)",
         logs.path()});
    EXPECT_EQ(ranged.code, kExitMatch) << ranged.err;
    EXPECT_THAT(testsupport::splitLines(ranged.out), ElementsAre(testing::_, "\"6,7\",2,2,2\r"));
}

TEST(SqlCache, AnUnchangedCacheIsOpenedAsItIs) {
    TempDir logs;
    TempDir cache;
    writeLogs(logs);
    const ReaderRun first = sql(kAllRecords, {logs.path()}, cache.path());
    const std::string file = cacheFile(cache.path());
    const ino_t inode = inodeOf(file);
    const ReaderRun second = sql(kAllRecords, {logs.path()}, cache.path());
    EXPECT_EQ(second.out, first.out);
    EXPECT_EQ(second.out, sql(kAllRecords, {logs.path()}).out);
    EXPECT_EQ(inodeOf(file), inode);
    EXPECT_EQ(testsupport::listFiles(cache.path()).size(), 2u);  // the cache and its lock file
}

// The preview series grows by a block and a file: only it is imported again,
// and the answers are those of a whole import.
TEST(SqlCache, FilesThatOnlyGrewAreImportedOnTopOfTheCache) {
    TempDir logs;
    TempDir cache;
    writeLogs(logs);
    (void)sql("SELECT 1", {logs.path()}, cache.path());
    const ino_t inode = inodeOf(cacheFile(cache.path()));
    appendFile(logs.file(kPreview + "02.txt"),
               "[UKey: 42][ReqNum: 8]\n[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] "
               "exposure 4000 us\n");
    writeFile(logs.file(kPreview + "03.txt"),
              "-- CONTINUED --\n[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure 5 us\n");
    const ReaderRun grown = sql(kAllRecords, {logs.path()}, cache.path());
    EXPECT_EQ(grown.out, sql(kAllRecords, {logs.path()}).out);
    EXPECT_THAT(grown.out, HasSubstr("\n1,2,8,preview,42,1,1,,,,3A,decision,AE_EXPOSURE_PARAM,,,"
                                     "exposure 5 us\r\n"));
    EXPECT_NE(inodeOf(cacheFile(cache.path())), inode);
    EXPECT_THAT(lines(sql("SELECT id, generation FROM stored_series", {logs.path()}, cache.path())),
                ElementsAre("id,generation", "1,2", "2,1"));
    EXPECT_THAT(lines(sql("SELECT request, blocks, records FROM requests WHERE series = 1",
                          {logs.path()}, cache.path())),
                ElementsAre("request,blocks,records", "5,2,3", "6,1,2", "8,1,2"));
}

TEST(SqlCache, AFileChangedOtherwiseRebuildsTheCache) {
    TempDir logs;
    TempDir cache;
    writeLogs(logs);
    (void)sql("SELECT 1", {logs.path()}, cache.path());
    writeFile(logs.file(kCapture),
              "[UKey: 42][ReqNum: 7]\n[ModuleName: P2Capture]"
              "[Decision: TOP_CONTROL] other\n");
    const ReaderRun changed = sql(kAllRecords, {logs.path()}, cache.path());
    EXPECT_EQ(changed.out, sql(kAllRecords, {logs.path()}).out);
    EXPECT_THAT(changed.out, HasSubstr("TOP_CONTROL,,,other\r\n"));
    std::filesystem::remove(logs.file(kPreview + "02.txt"));
    EXPECT_EQ(sql(kAllRecords, {logs.path()}, cache.path()).out,
              sql(kAllRecords, {logs.path()}).out);
    EXPECT_THAT(lines(sql("SELECT id, generation FROM stored_series", {logs.path()}, cache.path())),
                ElementsAre("id,generation", "1,1", "2,1"));
}

TEST(SqlCache, ACorruptTruncatedOrOtherVersionCacheIsRebuilt) {
    TempDir logs;
    writeLogs(logs);
    const std::string expected = sql(kAllRecords, {logs.path()}).out;
    const auto overwrite = [](const std::string& path) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        const std::string garbage(8192, '\xA5');
        file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
    };
    const auto truncate = [](const std::string& path) {
        std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    };
    // Sealed again, so that only a version row tells.
    const auto setInfo = [](const std::string& path, const char* name) {
        std::filesystem::resize_file(path, std::filesystem::file_size(path) - kCacheTrailerBytes);
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        const std::string update =
            std::string("UPDATE cache_info SET value = 999 WHERE name = '") + name + "'";
        EXPECT_EQ(sqlite3_exec(db, update.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        EXPECT_EQ(sqlite3_changes(db), 1) << name;
        sqlite3_close(db);
        sealCacheFile(path);
    };
    const auto otherVersion = [&setInfo](const std::string& path) {
        setInfo(path, "schema_version");
    };
    const auto otherStorage = [&setInfo](const std::string& path) {
        setInfo(path, "storage_version");
    };
    const auto empty = [](const std::string& path) { writeFile(path, ""); };
    for (const auto& damage : std::vector<std::function<void(const std::string&)>>{
             overwrite, truncate, otherVersion, otherStorage, empty}) {
        TempDir cache;
        (void)sql("SELECT 1", {logs.path()}, cache.path());
        damage(cacheFile(cache.path()));
        const ReaderRun run = sql(kAllRecords, {logs.path()}, cache.path());
        EXPECT_EQ(run.code, kExitMatch) << run.err;
        EXPECT_EQ(run.out, expected);
        EXPECT_EQ(sql("SELECT version FROM schema_version", {logs.path()}, cache.path()).out,
                  "version\r\n" + std::to_string(kSqlSchemaVersion) + "\r\n");
        EXPECT_EQ(sql("SELECT value FROM cache_info WHERE name = 'storage_version'", {logs.path()},
                      cache.path())
                      .out,
                  "value\r\n" + std::to_string(kSqlStorageVersion) + "\r\n");
    }
}

// Readers that find no cache build it at once: each answers right, one
// after the other takes the lock, and no temporary file is left behind.
TEST(SqlCache, ConcurrentReadersBuildingOneCacheAllAnswerRight) {
    TempDir logs;
    writeLogs(logs);
    const std::string expected = sql(kAllRecords, {logs.path()}).out;
    for (int round = 0; round < 3; ++round) {
        TempDir cache;
        std::vector<ReaderRun> runs(4);
        std::vector<std::thread> readers;
        for (ReaderRun& run : runs) {
            readers.emplace_back(
                [&run, &logs, &cache] { run = sql(kAllRecords, {logs.path()}, cache.path()); });
        }
        for (std::thread& reader : readers) reader.join();
        for (const ReaderRun& run : runs) {
            EXPECT_EQ(run.code, kExitMatch) << run.err;
            EXPECT_EQ(run.out, expected);
        }
        EXPECT_EQ(testsupport::listFiles(cache.path()).size(), 2u);
    }
}

TEST(SqlCache, ACacheFolderThatCannotBeWrittenLeavesTheQueryToMemory) {
    TempDir logs;
    writeLogs(logs);
    const std::string notAFolder = logs.file(kCapture);
    const ReaderRun run = sql(kAllRecords, {logs.path()}, notAFolder + "/cache");
    EXPECT_EQ(run.code, kExitMatch);
    EXPECT_EQ(run.out, sql(kAllRecords, {logs.path()}).out);
    EXPECT_THAT(run.err, HasSubstr("; reading into memory\n"));
}
