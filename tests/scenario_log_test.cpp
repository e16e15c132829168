// scenario-log: file names, line forms, odd input, and the reports built from
// real files in a temporary folder.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Json.h"
#include "LineReader.h"
#include "LogFileName.h"
#include "LogParser.h"
#include "ProblemReport.h"
#include "RangeSet.h"
#include "Report.h"
#include "support/TempDir.h"

using namespace scenariolog;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0005_0001_preview__2025_0102_030405_TuningLog_";
const std::string kCapture = "000000042_0007_0003_capture__2025_0102_030406_TuningLog_";
const std::string kOlderPreview = "-00000001_-001_-001_preview__2025_0102_030300_TuningLog_";

struct RunResult {
    int code = 0;
    std::string out;
    std::string err;
};

RunResult run(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    RunResult result;
    result.code = runScenarioLog(args, out, err);
    result.out = out.str();
    result.err = err.str();
    return result;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) all.push_back(line);
    return all;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::vector<std::string> linesContaining(const std::string& text, const std::string& part) {
    std::vector<std::string> found;
    for (const std::string& line : lines(text)) {
        if (has(line, part)) found.push_back(line);
    }
    return found;
}

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

TEST(ScenarioLogFileName, ParsesCaptureNegativeAndLongIndexNames) {
    // Kind, prefix, time stamp, request and index of such names are read back
    // in the reports below.
    const auto capture = parseLogFileName(kCapture + "01.txt");
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->uniqueKey, 42);
    EXPECT_EQ(capture->tagNumber, 3);
    EXPECT_FALSE(capture->prefixCut);

    const auto negative = parseLogFileName(kOlderPreview + "100.txt");
    ASSERT_TRUE(negative);
    EXPECT_EQ(negative->kind, SeriesKind::kPreview);
    EXPECT_EQ(negative->uniqueKey, -1);
    EXPECT_EQ(negative->requestNum, -1);
    EXPECT_EQ(negative->tagNumber, -1);
    EXPECT_EQ(negative->index, 100);
}

TEST(ScenarioLogFileName, CutPrefixKeepsUniqueKeyAndRequest) {
    // 29 characters: the trailing underscore is gone.
    const auto noUnderscore =
        parseLogFileName("1234567890_12345_0003_capture_2025_0102_030405_TuningLog_01.txt");
    ASSERT_TRUE(noUnderscore);
    EXPECT_EQ(noUnderscore->kind, SeriesKind::kCapture);
    EXPECT_EQ(noUnderscore->requestNum, 12345);
    EXPECT_TRUE(noUnderscore->prefixCut);

    const auto cutWord =
        parseLogFileName("-1234567890_-12345_-1234_prev_2025_0102_030405_TuningLog_02.txt");
    ASSERT_TRUE(cutWord);
    EXPECT_EQ(cutWord->kind, SeriesKind::kPreview);
    EXPECT_EQ(cutWord->uniqueKey, -1234567890);
    EXPECT_EQ(cutWord->tagNumber, -1234);

    const auto cutTag =
        parseLogFileName("-1234567890_-1234567890_-1234_2025_0102_030405_TuningLog_01.txt");
    ASSERT_TRUE(cutTag);
    EXPECT_EQ(cutTag->kind, SeriesKind::kUnknown);
    EXPECT_EQ(cutTag->requestNum, -1234567890);
    EXPECT_FALSE(cutTag->tagNumber);

    // Only a 29-character prefix can have been cut.
    EXPECT_FALSE(parseLogFileName("000000042_0007_0003_capt_2025_0102_030406_TuningLog_01.txt"));
}

TEST(ScenarioLogFileName, RejectsForeignNames) {
    for (const std::string name :
         {"notes.txt", "000000042_0007_0003_capture__2025_0102_030406_TuningLog_01.log",
          "000000042_0007_0003_capture__2025_0102_030406_TuningLog_1.txt",
          "000000042_0007_0003_capture__2025_0102_3040_TuningLog_01.txt",
          "000000042_0007_0003_video__2025_0102_030406_TuningLog_01.txt",
          "000000042_0007_0003_capture___TuningLog_01.txt",
          "99999999999_0007_0003_capture__2025_0102_030406_TuningLog_01.txt"}) {
        EXPECT_FALSE(parseLogFileName(name)) << name;
    }
}

TEST(ScenarioLogParser, RecordLines) {
    const auto decision = parseLine(
        "[SensorId: -2][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
        "[Decision: ISP_FLOW] a [ModuleName: x] text");
    ASSERT_EQ(decision.kind, LineKind::kRecord);
    EXPECT_EQ(decision.record.sensorId, -2);
    EXPECT_EQ(decision.record.magicNum, 345);
    EXPECT_EQ(decision.record.text, "a [ModuleName: x] text");

    const auto execution =
        parseLine("[ModuleName: noModuleName][noStageName][Result: TOP_CONTROL] ");
    ASSERT_EQ(execution.kind, LineKind::kRecord);
    EXPECT_EQ(execution.record.kind, RecordKind::kExecution);
    EXPECT_FALSE(execution.record.sensorId);
    EXPECT_EQ(execution.record.stage, "noStageName");
    EXPECT_EQ(execution.record.text, "");
}

TEST(ScenarioLogParser, HeadlinesAndUnparsableLines) {
    EXPECT_EQ(parseLine("").kind, LineKind::kHeadline);
    const auto two = parseLine("[UKey: 9][ReqNum: 7][UKey: 8][ReqNum: 7], A, B");
    ASSERT_EQ(two.kind, LineKind::kHeadline);
    EXPECT_EQ(two.headline.nddCount, 2);
    EXPECT_EQ(two.headline.uniqueKey, 9);
    EXPECT_EQ(two.headline.requestNum, 7);
    EXPECT_TRUE(two.headline.requestsAgree);
    EXPECT_EQ(two.headline.snippets, ", A, B");
    EXPECT_FALSE(parseLine("[UKey: 1][ReqNum: 7][UKey: 1][ReqNum: 8]").headline.requestsAgree);
    const auto snippetsOnly = parseLine(", [UKey: 1][ReqNum: 2]");
    ASSERT_EQ(snippetsOnly.kind, LineKind::kHeadline);
    EXPECT_FALSE(snippetsOnly.headline.requestNum);

    for (const std::string& line : std::vector<std::string>{
             "[UKey: 4", "[UKey: 4][ReqNum: 5]junk", "[SensorId: 0][Fra", "[SensorId: x]",
             "rest of a text after its line break", "[ModuleName: 3A][Decision: ISP_FLOW]",
             "[ModuleName: 3A][Stage_MDP] no result", std::string("[ModuleName: 3A]\0", 17)}) {
        EXPECT_EQ(parseLine(line).kind, LineKind::kUnparsable) << line;
    }
}

TEST(ScenarioLogLineReader, TornLastLineAndOverlongLine) {
    TempDir dir;
    const std::string longLine(LineReader::kMaxLineBytes * 2 + 5, 'x');
    writeFile(dir.file("f"), "first\n" + longLine + "\nafter\ntorn");
    LineReader reader(dir.file("f"));
    ASSERT_EQ(reader.openError(), "");
    std::vector<std::string> seen;  // each line's text, its size when too long, and its flags
    for (Line line; reader.next(line);) {
        seen.push_back((line.tooLong ? std::to_string(line.text.size()) + " too long"
                                     : std::string(line.text)) +
                       (line.unterminated ? " unterminated" : ""));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "first", std::to_string(LineReader::kMaxLineBytes) + " too long", "after",
                        "torn unterminated"}));
    EXPECT_NE(LineReader(dir.file("missing")).openError(), "");
}

TEST(ScenarioLogRanges, MergesNeighboursInAnyOrder) {
    RangeSet requests;
    for (int request : {5, 3, 9, 4, 7, 8, 3, -1, 2147483647, -2147483647 - 1}) {
        requests.insert(request);
    }
    EXPECT_EQ(requests.toString(), "-2147483648, -1, 3-5, 7-9, 2147483647");
    requests.insert(6);
    EXPECT_EQ(requests.toString(), "-2147483648, -1, 3-9, 2147483647");
}

TEST(ScenarioLogProblems, ListsAFewPerFileAndCountsAll) {
    std::ostringstream out;
    std::ostringstream err;
    ProblemReport problems(out, err, false);
    for (std::uint64_t line = 1; line <= ProblemReport::kListedPerFile + 7; ++line) {
        problems.report("a.txt", line, "bad");
    }
    problems.report("b.txt", std::nullopt, "foreign");
    problems.finish();
    const auto listed = lines(err.str());
    ASSERT_EQ(listed.size(), ProblemReport::kListedPerFile + 2);
    EXPECT_EQ(listed[0], "a.txt:1: bad");
    EXPECT_EQ(listed[ProblemReport::kListedPerFile],
              "a.txt: 7 more problems in this file not listed");
    EXPECT_EQ(listed.back(), "b.txt: foreign");
    EXPECT_EQ(problems.count(), ProblemReport::kListedPerFile + 8);
    EXPECT_EQ(out.str(), "");

    ProblemReport json(out, err, true);
    json.report("b\".txt", std::nullopt, "foreign");
    json.report("b\".txt", 3, "torn");
    EXPECT_EQ(out.str(),
              "{\"type\":\"problem\",\"file\":\"b\\\".txt\",\"line\":null,\"reason\":\"foreign\"}\n"
              "{\"type\":\"problem\",\"file\":\"b\\\".txt\",\"line\":3,\"reason\":\"torn\"}\n");
}

TEST(ScenarioLogReport, SummaryCountsPerSeries) {
    TempDir dir;
    writeTwoSeries(dir);
    const RunResult result = run({"summary", "--json", dir.path()});
    EXPECT_EQ(result.code, kExitClean) << result.err << result.out;

    const auto series = linesContaining(result.out, "\"type\":\"series\"");
    ASSERT_EQ(series.size(), 2u);
    for (const char* part :
         {"\"kind\":\"preview\"", "\"requests\":[[5,5],[7,7]]",
          "\"blocks\":4,\"decisionRecords\":4,\"executionRecords\":2,\"unknownRequestRecords\":1",
          "\"modules\":{\"3A\":2,\"CameraMiddleware\":1,\"FaceDetection\":1,\"P2Streaming\":2}",
          "\"decisions\":{\"AE_EXPOSURE_PARAM\":2,\"ISP_FLOW\":1,\"TRIGGER_FEATURE\":1}",
          "\"stages\":{\"Stage_MDP\":1,\"Stage_R2Y\":1},\"results\":{\"ISP_FLOW\":2}"}) {
        EXPECT_TRUE(has(series[0], part)) << part << "\n" << series[0];
    }
    for (const char* part :
         {"\"kind\":\"capture\"", "\"requests\":[[7,7]]",
          "\"decisionRecords\":1,\"executionRecords\":1,\"unknownRequestRecords\":0"}) {
        EXPECT_TRUE(has(series[1], part)) << part << "\n" << series[1];
    }
    EXPECT_TRUE(has(result.out,
                    "\"type\":\"totals\",\"series\":2,\"files\":4,\"records\":8,"
                    "\"unknownRequestRecords\":1,\"problems\":0"))
        << result.out;
}

TEST(ScenarioLogReport, ShowFollowsRequestAcrossSeriesAndContinuedFiles) {
    TempDir dir;
    writeTwoSeries(dir);
    const RunResult result = run({"show", "--req", "7", dir.path()});
    EXPECT_EQ(result.code, kExitClean) << result.err;
    const std::string p1 = dir.file(kPreview + "01.txt");
    const std::string p2 = dir.file(kPreview + "02.txt");
    const std::string c1 = dir.file(kCapture + "01.txt");
    const std::string c2 = dir.file(kCapture + "02.txt");
    EXPECT_EQ(lines(result.out),
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
    EXPECT_NE(result.err.find("1 records of unknown request"), std::string::npos);
}

TEST(ScenarioLogReport, ProblemsAreListedAndTheReportGoesOn) {
    TempDir dir;
    writeTwoSeries(dir);
    writeFile(dir.file("notes.txt"), "not a log\n");
    writeFile(dir.file(kOlderPreview + "01.txt"),
              "[UKey: 1][ReqNum: 3]\n"
              "[ModuleName: 3A][Decision: TOP_CONTROL] first half\n"
              "second half\n"
              "[ModuleName: 3A][Decision: TOP_CONTROL] still request 3\n"
              "-- CONTINUED --\n"
              "[ModuleName: 3A][Decision: TOP_CON");
    writeFile(dir.file(kOlderPreview + "03.txt"),
              "-- CONTINUED --\n[ModuleName: 3A][Decision: TOP_CONTROL] after a lost file\n");
    const RunResult result = run({"summary", dir.path(), dir.file("absent")});
    EXPECT_EQ(result.code, kExitProblems);
    const std::string older = dir.file(kOlderPreview + "01.txt");
    for (const std::string& expected :
         {dir.file("notes.txt") + ": not a tuning log file name; skipped",
          dir.file("absent") + ": cannot read: ",
          older + ":3: neither a headline nor a record line",
          older + ":5: unexpected \"-- CONTINUED --\" line",
          older + ":6: last line has no line break (torn write)",
          dir.file(kOlderPreview + "03.txt") + ": file(s) with index 2 to 2 of this series are "
                                               "missing"}) {
        EXPECT_EQ(linesContaining(result.err, expected).size(), 1u) << expected << "\n"
                                                                    << result.err;
    }
    EXPECT_EQ(lines(result.err).size(), 6u) << result.err;
    // The lost file leaves the record after it without a known request.
    EXPECT_TRUE(has(result.out,
                    "  requests: 3\n  blocks 1, records 3 (decision 3, execution 0), "
                    "of unknown request 1\n"))
        << result.out;
    EXPECT_TRUE(
        has(result.out, "total: 3 series, 6 files, 11 records (2 of unknown request), 6 problems"))
        << result.out;
}

TEST(ScenarioLogReport, CaptureSeriesKeepsItsRequestWhateverTheHeadline) {
    TempDir dir;
    writeFile(dir.file(kCapture + "01.txt"),
              "\n[ModuleName: 3A][Decision: TOP_CONTROL] a\n"
              "[UKey: 42][ReqNum: 8]\n[ModuleName: 3A][Decision: TOP_CONTROL] b\n");
    const RunResult result = run({"grep", "--module", "3A", dir.path()});
    EXPECT_EQ(result.code, kExitProblems);
    const std::string c1 = dir.file(kCapture + "01.txt");
    EXPECT_EQ(lines(result.out),
              (std::vector<std::string>{
                  c1 + ":2: request 7: [ModuleName: 3A][Decision: TOP_CONTROL] a",
                  c1 + ":4: request 7: [ModuleName: 3A][Decision: TOP_CONTROL] b"}));
    EXPECT_EQ(lines(result.err),
              (std::vector<std::string>{
                  c1 + ":3: headline names a request other than the capture series' request"}));
}

TEST(ScenarioLogReport, FileNamedTwiceIsReadOnceAndCopiesAreSkipped) {
    TempDir dir;
    TempDir copies;
    writeTwoSeries(dir);
    writeTwoSeries(copies);
    const std::string c1 = dir.file(kCapture + "01.txt");
    const RunResult result =
        run({"grep", "--module", "P2Capture", dir.path(), c1, copies.file(kCapture + "02.txt")});
    EXPECT_EQ(result.code, kExitProblems);
    EXPECT_EQ(lines(result.out).size(), 2u) << result.out;
    EXPECT_EQ(
        lines(result.err),
        (std::vector<std::string>{copies.file(kCapture + "02.txt") + ": same series and index as " +
                                  dir.file(kCapture + "02.txt") + "; skipped"}));
}

TEST(ScenarioLogReport, GrepCombinesFilters) {
    TempDir dir;
    writeTwoSeries(dir);
    const std::string p1 = dir.file(kPreview + "01.txt");
    auto grep = [&](std::vector<std::string> filters) {
        filters.insert(filters.begin(), "grep");
        filters.push_back(dir.path());
        return run(filters).out;
    };
    EXPECT_EQ(grep({"--module", "3A", "--frame", "13"}),
              p1 + ":7: request 7: [FrameNum: 13][ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] "
                   "preview of 7\n");
    EXPECT_EQ(grep({"--sensor=0", "--text", "mdp"}),
              p1 + ":3: request 5: [SensorId: 0][ModuleName: P2Streaming][Stage_MDP][Result: "
                   "ISP_FLOW] mdp\n");
    EXPECT_EQ(lines(grep({"--result", "TOP_CONTROL"})).size(), 1u);
    EXPECT_EQ(lines(grep({"--decision", "ISP_FLOW"})).size(), 1u);
    EXPECT_EQ(lines(grep({"--stage", "Stage_MDP", "--module", "P2Capture"})).size(), 1u);
    const RunResult none = run({"grep", "--magic", "1", dir.path()});
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.code, kExitClean);
}

TEST(ScenarioLogReport, JsonLinesEscapeTextAndNameUnknownRequestsNull) {
    TempDir dir;
    writeFile(dir.file(kPreview + "01.txt"),
              "\n[ModuleName: 3A][Decision: TOP_CONTROL] q\"b\\s\ttab\x01\xc3\xa9\xff\n");
    const RunResult result = run({"grep", "--json", "--module", "3A", dir.path()});
    EXPECT_EQ(result.code, kExitClean);
    EXPECT_EQ(result.out,
              "{\"type\":\"record\",\"file\":" + jsonString(dir.file(kPreview + "01.txt")) +
                  ",\"line\":2,\"series\":\"000000042_0005_0001_preview__2025_0102_030405\","
                  "\"seriesKind\":\"preview\",\"request\":null,\"kind\":\"decision\","
                  "\"sensorId\":null,\"frameNum\":null,\"magicNum\":null,\"module\":\"3A\","
                  "\"decision\":\"TOP_CONTROL\","
                  "\"text\":\"q\\\"b\\\\s\\ttab\\u0001\xc3\xa9\\u00ff\"}\n");
}

TEST(ScenarioLogCommandLine, BadUsageGivesOneLineAndExitTwo) {
    TempDir dir;
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{},
                                               {"list", dir.path()},
                                               {"show", dir.path()},
                                               {"show", "--req", "seven", dir.path()},
                                               {"show", "--req"},
                                               {"summary", "--module", "3A", dir.path()},
                                               {"grep", "--req", "1", dir.path()},
                                               {"grep", "--colour", dir.path()},
                                               {"summary", "--json=yes", dir.path()},
                                               {"summary"}}) {
        const RunResult result = run(args);
        EXPECT_EQ(result.code, kExitUsage) << (args.empty() ? "" : args[0]);
        EXPECT_EQ(lines(result.err).size(), 1u) << result.err;
        EXPECT_EQ(result.out, "");
    }
    const RunResult help = run({"grep", "--help"});
    EXPECT_EQ(help.code, kExitClean);
    EXPECT_NE(help.out.find("substring"), std::string::npos);

    const CommandLine dashed = parseCommandLine({"summary", "--", "--odd", kOlderPreview});
    ASSERT_TRUE(dashed.options);
    EXPECT_EQ(dashed.options->inputs, (std::vector<std::string>{"--odd", kOlderPreview}));
}
