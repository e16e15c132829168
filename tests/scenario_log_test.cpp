// scenario-log: file names, line forms, odd input, and the reports built from
// real files in a temporary folder. That recorder lines parse back to their
// fields and that LineReader returns every byte is left to the fuzz target.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "base/Json.h"
#include "reading/LineReader.h"
#include "support/ReaderRun.h"
#include "support/TempDir.h"

using namespace scenariolog;
using ::testing::HasSubstr;
using testsupport::ReaderRun;
using testsupport::runReader;
using testsupport::splitLines;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0005_0001_preview__2025_0102_030405_TuningLog_";
const std::string kCapture = "000000042_0007_0003_capture__2025_0102_030406_TuningLog_";
const std::string kOlderPreview = "-00000001_-001_-001_preview__2025_0102_030300_TuningLog_";

// A preview series of two files (the second CONTINUED, a block running on
// into it) and a capture series of two files, one second later.
void writeTwoSeries(const TempDir& dir) {
    writeFile(dir.file(kPreview + "01.txt"),
              "[UKey: 42][ReqNum: 5], AE settled\n"
              "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
              "[Decision: ISP_FLOW] done\n"
              "[SensorId: 0][ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] mdp\n"
              "\n"
              "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] of no known request\n"
              "[UKey: 42][ReqNum: 7]\n"
              "[FrameNum: 13][ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] preview of 7\n");
    writeFile(dir.file(kPreview + "02.txt"),
              "-- CONTINUED --\n"
              "[MagicNum: 346][ModuleName: FaceDetection][Decision: TRIGGER_FEATURE] \n"
              "[UKey: 43][ReqNum: 5][UKey: 42][ReqNum: 5]\n"
              "[ModuleName: P2Streaming][Stage_R2Y][Result: ISP_FLOW] late\n");
    writeFile(dir.file(kCapture + "01.txt"),
              "[UKey: 42][ReqNum: 7], capture start\n"
              "[SensorId: 0][ModuleName: P2Capture][Decision: TOP_CONTROL] decided\n");
    writeFile(dir.file(kCapture + "02.txt"),
              "-- CONTINUED --\n"
              "[SensorId: 0][ModuleName: P2Capture][Stage_MDP][Result: TOP_CONTROL] done\n");
}

}  // namespace

TEST(ScenarioLogReport, SummaryCountsPerSeries) {
    TempDir dir;
    writeTwoSeries(dir);
    const ReaderRun result = runReader({"summary", "--json", dir.path()});
    EXPECT_EQ(result.code, kExitMatch) << result.err << result.out;
    const auto series = splitLines(result.out);
    ASSERT_EQ(series.size(), 3u) << result.out;
    EXPECT_THAT(
        series[0],
        HasSubstr("\"requests\":[[5,5],[7,7]],\"blocks\":4,\"decisionRecords\":4,"
                  "\"executionRecords\":2,\"unknownRequestRecords\":1,"
                  "\"modules\":{\"3A\":2,\"CameraMiddleware\":1,\"FaceDetection\":1,"
                  "\"P2Streaming\":2},\"decisions\":{\"AE_EXPOSURE_PARAM\":2,\"ISP_FLOW\":1,"
                  "\"TRIGGER_FEATURE\":1},\"stages\":{\"Stage_MDP\":1,\"Stage_R2Y\":1},"
                  "\"results\":{\"ISP_FLOW\":2}"));
    EXPECT_THAT(series[1], HasSubstr("\"requests\":[[7,7]],\"blocks\":1,\"decisionRecords\":1,"
                                     "\"executionRecords\":1,\"unknownRequestRecords\":0"));
    EXPECT_THAT(series[2], HasSubstr("\"type\":\"totals\",\"series\":2,\"files\":4,\"records\":8,"
                                     "\"unknownRequestRecords\":1,\"problems\":0"));
}

TEST(ScenarioLogReport, ShowFollowsRequestAcrossSeriesAndContinuedFiles) {
    TempDir dir;
    writeTwoSeries(dir);
    const ReaderRun result = runReader({"show", "--req", "7", dir.path()});
    EXPECT_EQ(result.code, kExitMatch) << result.err;
    const std::string p1 = dir.file(kPreview + "01.txt");
    const std::string p2 = dir.file(kPreview + "02.txt");
    const std::string c1 = dir.file(kCapture + "01.txt");
    const std::string c2 = dir.file(kCapture + "02.txt");
    EXPECT_EQ(splitLines(result.out),
              (std::vector<std::string>{
                  "== preview series 000000042_0005_0001_preview_ 2025_0102_030405",
                  p1 + ":6: [UKey: 42][ReqNum: 7]",
                  p1 + ":7: [FrameNum: 13][ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] "
                       "preview of 7",
                  p2 + ":2: [MagicNum: 346][ModuleName: FaceDetection][Decision: "
                       "TRIGGER_FEATURE] ",
                  "== capture series 000000042_0007_0003_capture_ 2025_0102_030406",
                  c1 + ":1: [UKey: 42][ReqNum: 7], capture start",
                  c1 + ":2: [SensorId: 0][ModuleName: P2Capture][Decision: TOP_CONTROL] decided",
                  c2 + ":2: [SensorId: 0][ModuleName: P2Capture][Stage_MDP][Result: "
                       "TOP_CONTROL] done",
              }));
    EXPECT_THAT(result.err, HasSubstr("1 record of unknown request"));
}

// Every problem inside a file is listed with its file and line, and the
// records around it are still counted: a lost file or a headline naming two
// requests leaves the records after it without a known request; the same file
// named twice is read once and a copy from another folder is skipped. None of
// them turns the answer into a failure.
TEST(ScenarioLogReport, ProblemsAreListedAndTheReportGoesOn) {
    TempDir dir;
    TempDir copies;
    writeTwoSeries(dir);
    writeTwoSeries(copies);
    writeFile(dir.file("notes.txt"), "not a log\n");
    writeFile(dir.file(kOlderPreview + "01.txt"),
              "[UKey: 1][ReqNum: 3]\n"
              "[ModuleName: 3A][Decision: TOP_CONTROL] first half\n"
              "second half\n" +
                  std::string(LineReader::kMaxLineBytes * 2 + 5, 'x') +
                  "\n"
                  "[ModuleName: 3A][Decision: TOP_CONTROL] still request 3\n"
                  "[UKey: 1][ReqNum: 4][UKey: 1][ReqNum: 3]\n"
                  "[ModuleName: 3A][Decision: TOP_CONTROL] of either request\n"
                  "-- CONTINUED --\n"
                  "[ModuleName: 3A][Decision: TOP_CON");
    writeFile(dir.file(kOlderPreview + "03.txt"),
              "-- CONTINUED --\n[ModuleName: 3A][Decision: TOP_CONTROL] after a lost file\n");
    const std::string copy = copies.file(kCapture + "02.txt");
    const ReaderRun result =
        runReader({"summary", dir.path(), dir.file(kCapture + "01.txt"), copy});
    EXPECT_EQ(result.code, kExitMatch);
    const std::string older = dir.file(kOlderPreview + "01.txt");
    EXPECT_EQ(
        splitLines(result.err),
        (std::vector<std::string>{
            dir.file("notes.txt") + ": not a tuning log file name; skipped",
            copy + ": same series and index as " + dir.file(kCapture + "02.txt") + "; skipped",
            older + ":3: neither a headline nor a record line",
            older + ":4: line longer than 65536 bytes; skipped",
            older + ":6: headline names different requests; its block counts as unknown "
                    "request",
            older + ":8: unexpected \"-- CONTINUED --\" line",
            older + ":9: last line has no line break (torn write)",
            dir.file(kOlderPreview + "03.txt") + ": file with index 2 of this series is missing"}));
    EXPECT_THAT(result.out,
                HasSubstr("  requests: 3\n  blocks 2, records 4 (decision 4, execution 0), "
                          "of unknown request 2\n"));
    EXPECT_THAT(
        result.out,
        HasSubstr("total: 3 series, 6 files, 12 records (3 of unknown request), 8 problems"));
}

// A NUL byte makes its line a problem; the lines around it, read in the same
// chunk of the file, still count.
TEST(ScenarioLogReport, LineWithANulByteIsAProblem) {
    TempDir dir;
    const std::string nul(1, '\0');
    writeFile(dir.file(kPreview + "01.txt"),
              "[UKey: 42][ReqNum: 5]\n"
              "[ModuleName: 3A][Decision: A" +
                  nul +
                  "B] t\n"
                  "[ModuleName: 3A][Decision: AB] t\n");
    const ReaderRun result = runReader({"summary", dir.path()});
    EXPECT_EQ(result.code, kExitMatch);
    EXPECT_EQ(result.err, dir.file(kPreview + "01.txt") + ":2: contains a NUL byte\n");
    EXPECT_THAT(result.out, HasSubstr("records 1 (decision 1, execution 0)"));
    EXPECT_THAT(result.out, HasSubstr("1 file, 1 record (0 of unknown request), 1 problem\n"));
}

// With --json every line on standard output is one object, problems
// included, whatever bytes the record text holds.
TEST(ScenarioLogReport, JsonLinesCarryRecordsAndProblems) {
    TempDir dir;
    const std::string file = dir.file(kPreview + "01.txt");
    writeFile(file,
              "\n[ModuleName: 3A][Decision: TOP_CONTROL] q\"\x01\xc3\xa9\xff\n"
              "[ModuleName: 3A][Deci");
    const ReaderRun result = runReader({"grep", "--json", "--module", "3A", dir.path()});
    EXPECT_EQ(result.code, kExitMatch);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(splitLines(result.out),
              (std::vector<std::string>{
                  "{\"type\":\"record\",\"file\":" + jsonString(file) +
                      ",\"line\":2,\"series\":\"000000042_0005_0001_preview__2025_0102_030405\","
                      "\"seriesKind\":\"preview\",\"request\":null,\"kind\":\"decision\","
                      "\"sensorId\":null,\"frameNum\":null,\"magicNum\":null,\"module\":\"3A\","
                      "\"decision\":\"TOP_CONTROL\",\"text\":\"q\\\"\\u0001\xc3\xa9\\u00ff\"}",
                  "{\"type\":\"problem\",\"file\":" + jsonString(file) +
                      ",\"line\":3,\"reason\":\"last line has no line break (torn write)\"}"}));
}

// `report` writes its page whole or not at all, naming the page (never its
// temporary file) when it cannot, and the page beside the logs is no foreign
// file when the folder is read again.
TEST(ScenarioLogReport, ReportPageIsWrittenWholeOrNotAtAll) {
    TempDir dir;
    writeTwoSeries(dir);
    const ReaderRun failed = runReader({"report", dir.path(), "-o", dir.file("none/page.html")});
    EXPECT_EQ(failed.code, kExitTrouble);
    EXPECT_EQ(failed.err, "scenario-log: cannot write " + dir.file("none/page.html") +
                              ": No such file or directory\n");
    const ReaderRun written = runReader({"report", dir.path(), "-o", dir.file("page.html")});
    EXPECT_EQ(written.code, kExitMatch) << written.err;
    EXPECT_EQ(testsupport::listFiles(dir.path()).size(), 5u);
    EXPECT_THAT(testsupport::readFile(dir.file("page.html")),
                HasSubstr("<script type=\"application/octet-stream\" id=\"series-1\">"));
    EXPECT_EQ(runReader({"summary", dir.path()}).code, kExitMatch);
}

// Names of one folder and one time-stamp second whose text order is not their
// number order: requests of four, five and six digits, unique keys of nine and
// ten, negative numbers, file index 100, and prefixes cut at 29 characters
// (after the word, inside it, and inside the tag). Every command walks them
// by time stamp, unique key, request and tag as numbers; files by index.
TEST(ScenarioLogFileNames, SeriesOfOneSecondComeInNumberOrder) {
    struct Series {
        std::string prefix;
        int request;
        std::string parsed;  // as `summary --json` has it, from "kind" to the files' first index
    };
    const std::string stamp = R"("timeStamp":"2025_0102_030405",)";
    const std::vector<Series> ordered = {
        {"-2147483648_-2147483648_12345", INT_MIN,
         R"("kind":"unknown","prefix":"-2147483648_-2147483648_12345",)" + stamp +
             R"("uniqueKey":-2147483648,"requestNum":-2147483648,"tagNumber":null,)"
             R"("prefixCut":true,"files":[{"index":1,)"},
        {"-00000001_-002_0001_capture_", -2,
         R"("uniqueKey":-1,"requestNum":-2,"tagNumber":1,"prefixCut":false,)"},
        {"-00000001_-001_-001_capture_", -1,
         R"("uniqueKey":-1,"requestNum":-1,"tagNumber":-1,"prefixCut":false,)"},
        {"000000042_0000_0000_preview_", 0,
         R"("kind":"preview","prefix":"000000042_0000_0000_preview_",)" + stamp +
             R"("uniqueKey":42,"requestNum":0,"tagNumber":0,"prefixCut":false,)"
             R"("files":[{"index":99,)"},
        {"000000042_9999_0001_capture_", 9999, R"("requestNum":9999,"tagNumber":1,)"},
        {"000000042_10000_0001_capture_", 10000,
         R"("requestNum":10000,"tagNumber":1,"prefixCut":false,)"},
        {"000000042_100000_0001_capture", 100000,
         R"("kind":"capture","prefix":"000000042_100000_0001_capture",)" + stamp +
             R"("uniqueKey":42,"requestNum":100000,"tagNumber":1,"prefixCut":true,)"},
        {"999999999_0005_0001_capture_", 5, R"("uniqueKey":999999999,"requestNum":5,)"},
        {"1000000000_0005_0001_capture_", 5,
         R"("uniqueKey":1000000000,"requestNum":5,"tagNumber":1,"prefixCut":false,)"},
        {"1000000000_100000_12345_captu", 100000,
         R"("kind":"capture","prefix":"1000000000_100000_12345_captu",)" + stamp +
             R"("uniqueKey":1000000000,"requestNum":100000,"tagNumber":12345,"prefixCut":true,)"},
    };
    TempDir dir;
    std::vector<std::string> places;  // of the records, in the order expected
    for (const Series& series : ordered) {
        const std::string block = "[UKey: 1][ReqNum: " + std::to_string(series.request) +
                                  "]\n[ModuleName: M][Decision: D] text\n";
        const std::string name = dir.file(series.prefix + "_2025_0102_030405_TuningLog_");
        if (series.request != 0) {
            writeFile(name + "01.txt", block);
            places.push_back(name + "01.txt:2");
            continue;
        }
        for (const std::string index : {"99", "100"}) {
            writeFile(name + index + ".txt", "-- CONTINUED --\n" + block);
            places.push_back(name + index + ".txt:3");
        }
    }
    const ReaderRun summary = runReader({"summary", "--json", dir.path()});
    EXPECT_EQ(summary.code, kExitMatch) << summary.err;
    const auto lines = splitLines(summary.out);
    ASSERT_EQ(lines.size(), ordered.size() + 1) << summary.out;
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        EXPECT_THAT(lines[i], HasSubstr(ordered[i].parsed)) << ordered[i].prefix;
    }
    EXPECT_THAT(lines[3], HasSubstr(R"(.txt"},{"index":100,)"));

    std::vector<std::string> grepped;
    for (const std::string& line :
         splitLines(runReader({"grep", "--module", "M", dir.path()}).out)) {
        grepped.push_back(line.substr(0, line.find(": request")));
    }
    EXPECT_EQ(grepped, places);
    const std::string shown = runReader({"show", "--req", "5", dir.path()}).out;
    EXPECT_LT(shown.find("series 999999999_0005_"), shown.find("series 1000000000_0005_"));
    EXPECT_NE(shown.find("series 1000000000_0005_"), std::string::npos);
}
