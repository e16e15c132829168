// scenario-log export: JSON Lines, CSV and SQLite files of hand-made logs,
// with the documented columns and types, texts that are not UTF-8 carried
// as documented, the answer and the errors of bad inputs and outputs, and
// README's schema, which is `schema --markdown`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "base/ExitStatus.h"
#include "support/ReaderRun.h"
#include "support/TempDir.h"
#include "tables/SqlSchema.h"

using namespace scenariolog;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testsupport::ReaderRun;
using testsupport::readFile;
using testsupport::readLines;
using testsupport::runReader;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kLog = "000000042_0005_0001_preview__2025_0102_030405_TuningLog_01.txt";

// A headline, a record whose text holds bytes that are not UTF-8 (é in
// Latin-1, then é in UTF-8), quotes and a comma, an execution record with an
// empty text, and a torn last line.
void writeLogs(const TempDir& logs) {
    writeFile(logs.file(kLog),
              "[UKey: 42][ReqNum: 5], AE stable\n"
              "[SensorId: 0][ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] \xE9t\xE9 \xC3\xA9 "
              "\"q\", exposure 1190 us\n"
              "[ModuleName: P2][Stage_MDP][Result: ISP_FLOW] \n"
              "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] tor");
}

ReaderRun exportTo(const std::vector<std::string>& options, const std::string& logs) {
    std::vector<std::string> args = {"export", "--no-cache"};
    args.insert(args.end(), options.begin(), options.end());
    args.push_back(logs);
    return runReader(args);
}

std::vector<std::string> query(sqlite3* db, const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string row;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            const auto* text = sqlite3_column_text(statement, i);
            row += (i > 0 ? "|" : "") +
                   (text != nullptr ? std::string(reinterpret_cast<const char*>(text)) : "NULL");
        }
        rows.push_back(row);
    }
    sqlite3_finalize(statement);
    return rows;
}

}  // namespace

TEST(Export, JsonLinesAndCsvHoldEveryColumnWithItsTypeAndTextsAsUtf8) {
    TempDir logs;
    TempDir out;
    writeLogs(logs);
    const ReaderRun run = exportTo({"--jsonl", "--csv", "--out", out.file("x")}, logs.path());
    ASSERT_EQ(run.code, kExitMatch) << run.err;
    EXPECT_THAT(run.out, HasSubstr("records    2 rows\nrequests   1 row\n"));
    const std::string file = "\"file\":\"" + logs.file(kLog) + "\"";
    EXPECT_THAT(
        readLines(out.file("x/records.jsonl")),
        ElementsAre("{\"schema_version\":1,\"series\":1," + file +
                        ",\"line\":2,\"request\":5,\"kind\":\"preview\",\"unique_key\":42,"
                        "\"tag\":1,\"block\":1,\"sensor\":0,\"frame\":null,\"magic\":null,"
                        "\"module\":\"3A\",\"record_kind\":\"decision\",\"decision\":"
                        "\"AE_EXPOSURE_PARAM\",\"stage\":null,\"result\":null,\"text\":"
                        "\"\\u00e9t\\u00e9 \xC3\xA9 \\\"q\\\", exposure 1190 us\"}",
                    HasSubstr(",\"stage\":\"Stage_MDP\",\"result\":\"ISP_FLOW\",\"text\":\"\"}")));
    EXPECT_THAT(readFile(out.file("x/records.csv")),
                HasSubstr(",AE_EXPOSURE_PARAM,,,\"\xC3\xA9t\xC3\xA9 \xC3\xA9 \"\"q\"\", exposure "
                          "1190 us\"\r\n1,1," +
                          logs.file(kLog) +
                          ",3,5,preview,42,1,1,,,,P2,"
                          "execution,,Stage_MDP,ISP_FLOW,\"\"\r\n"));
    EXPECT_THAT(readLines(out.file("x/problems.jsonl")),
                ElementsAre(HasSubstr("\"line\":4,\"reason\":\"last line has no line break")));
    const std::string manifest = readFile(out.file("x/manifest.json"));
    EXPECT_THAT(manifest, HasSubstr("{\"schema_version\":1,\"reader\":\"scenario-log "));
    EXPECT_THAT(manifest,
                HasSubstr("{\"name\":\"records\",\"rows\":2,\"columns\":[{\"name\":"
                          "\"schema_version\",\"type\":\"INTEGER\"},{\"name\":\"series\""));
    EXPECT_EQ(testsupport::listFiles(out.file("x")).size(), 13u);  // no temporary file is left
}

TEST(Export, SqliteHoldsRealTablesAsSqlShowsThem) {
    TempDir logs;
    TempDir out;
    writeLogs(logs);
    ASSERT_EQ(exportTo({"--sqlite", out.file("x.sqlite")}, logs.path()).code, kExitMatch);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(out.file("x.sqlite").c_str(), &db, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    EXPECT_THAT(
        query(db, "SELECT type, name FROM sqlite_master WHERE type <> 'index' ORDER BY name"),
        ElementsAre("table|files", "table|headlines", "table|problems", "table|records",
                    "table|requests", "table|schema_version", "table|series",
                    "table|sqlite_stat1"));
    EXPECT_THAT(
        query(db, "SELECT request, typeof(sensor), decision, stage, text FROM records"),
        ElementsAre(
            "5|integer|AE_EXPOSURE_PARAM|NULL|\xC3\xA9t\xC3\xA9 \xC3\xA9 \"q\", exposure 1190 us",
            "5|null|NULL|Stage_MDP|"));
    EXPECT_THAT(query(db, "SELECT version FROM schema_version"), ElementsAre("1"));
    sqlite3_close(db);
    EXPECT_THAT(testsupport::listFiles(out.path()), ElementsAre("x.sqlite"));
}

TEST(Export, EveryValueOfTheTablesIsOfItsDocumentedType) {
    TempDir logs;
    writeLogs(logs);
    for (const SqlTableDoc& table : sqlSchemaDocs()) {
        for (const SqlColumnDoc& column : table.columns) {
            const std::string type = column.type == SqlType::kInteger ? "integer" : "text";
            const ReaderRun run =
                runReader({"sql", "--csv", "--no-cache",
                           std::string("SELECT count(*) FROM ") + table.name + " WHERE typeof(" +
                               column.name + ") NOT IN ('null', '" + type + "')",
                           logs.path()});
            EXPECT_EQ(run.out, "count(*)\r\n0\r\n") << table.name << "." << column.name;
        }
    }
}

TEST(Export, NoRecordsIsStatusOneAndBadInputsOrOutputsAreOneLineErrors) {
    TempDir logs;
    TempDir out;
    writeFile(logs.file(kLog), "[UKey: 42][ReqNum: 5]\nnot a record\n");
    EXPECT_EQ(exportTo({"--jsonl", "--out", out.file("empty")}, logs.path()).code, kExitNoMatch);
    EXPECT_EQ(readFile(out.file("empty/records.jsonl")), "");
    writeFile(out.file("plain"), "");
    const std::vector<std::pair<std::vector<std::string>, std::string>> failures = {
        {{"--jsonl", "--out", out.file("plain")}, out.file("plain") + ": Not a directory"},
        {{"--sqlite", out.file("no/x.sqlite")}, out.file("no/x.sqlite") + ": unable to open"},
    };
    for (const auto& [options, error] : failures) {
        const ReaderRun run = exportTo(options, logs.path());
        EXPECT_EQ(run.code, kExitTrouble) << error;
        EXPECT_THAT(run.err, HasSubstr(error));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    const ReaderRun notARun = exportTo({"--sqlite", out.file("y.sqlite")}, out.path());
    EXPECT_EQ(notARun.err,
              "scenario-log: " + out.path() + ": no tuning log files in this folder\n");
    EXPECT_FALSE(std::filesystem::exists(out.file("y.sqlite")));
}

TEST(Export, ReadmeDocumentsTheSchemaAsSchemaMarkdownPrintsIt) {
    const ReaderRun schema = runReader({"schema", "--markdown"});
    ASSERT_EQ(schema.code, kExitMatch);
    EXPECT_THAT(schema.out, HasSubstr("| unknown_request_records | INTEGER | its records whose"));
    const std::string readme = readFile(std::string(SCENARIO_RECORDER_SOURCE_DIR) + "/README.md");
    EXPECT_NE(readme.find(schema.out), std::string::npos)
        << "README.md's schema differs from `scenario-log schema --markdown`:\n"
        << schema.out;
}
