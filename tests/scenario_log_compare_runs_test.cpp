// scenario-log compare: two hand-made runs with known differences, told as
// events; tolerances and key filters; a run against itself and from the
// cache; bad input, each with a defined answer or one line and status 2.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/ReaderRun.h"
#include "support/TempDir.h"
#include "tables/NumberTolerance.h"

using namespace scenariolog;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testsupport::listFiles;
using testsupport::ReaderRun;
using testsupport::runReader;
using testsupport::splitLines;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
const std::string kCapture = "000000042_0007_0001_capture__2025_0102_030405_TuningLog_01.txt";
const std::string kSecondSession = "000000043_0000_0000_preview__2025_0102_030409_TuningLog_01.txt";

// One request: its headline with the AE state, 3A's exposure and face AE,
// FaceDetection's faces (`faceRecords` times), and the lines in `more`.
std::string request(int n, const std::string& ae, int exposure, bool face, int faceRecords = 1,
                    const std::string& more = "") {
    std::string text = "[UKey: 42][ReqNum: " + std::to_string(n) + "], AE " + ae + ", FD 5 ms\n" +
                       "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure " +
                       std::to_string(exposure) + " us, face AE " + (face ? "on" : "off") + "\n";
    for (int i = 0; i < faceRecords; ++i) {
        text += std::string("[ModuleName: FaceDetection][Decision: TRIGGER_FEATURE] faces ") +
                (face ? "1" : "0") + "\n";
    }
    return text + more;
}

const std::string kCaptureText =
    "[UKey: 42][ReqNum: 7]\n[ModuleName: P2Capture][Decision: TOP_CONTROL] mfnr\n";

// A: requests 0-2, a face from 2, and a key of its own. B: the exposure 3 %
// higher, the face from 1 (FaceDetection twice there, with the snippets in
// another order), and request 3. Both: capture 7.
void writeRuns(const TempDir& a, const TempDir& b) {
    writeFile(a.file(kPreview),
              request(0, "stable", 1100, false) + request(1, "stable", 1100, false) +
                  request(2, "converging", 1100, true, 1,
                          "[ModuleName: P2Streaming][Stage_R2Y][Result: ISP_FLOW] r2y done\n"));
    writeFile(b.file(kPreview),
              request(0, "stable", 1130, false) +
                  "[UKey: 42][ReqNum: 1], FD 5 ms, AE converging\n"
                  "[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure 1130 us, face AE on\n"
                  "[ModuleName: FaceDetection][Decision: TRIGGER_FEATURE] faces 1\n"
                  "[ModuleName: FaceDetection][Decision: TRIGGER_FEATURE] faces 1\n" +
                  request(2, "converging", 1130, true) + request(3, "stable", 1130, true));
    writeFile(a.file(kCapture), kCaptureText);
    writeFile(b.file(kCapture), kCaptureText);
}

ReaderRun compare(const std::vector<std::string>& options, const TempDir& a, const TempDir& b) {
    std::vector<std::string> args = {"compare", "--no-cache"};
    args.insert(args.end(), options.begin(), options.end());
    args.push_back(a.path());
    args.push_back(b.path());
    return runReader(args);
}

TEST(CompareRuns, TellsTheEventsKeysRequestsAndCountsThatDiffer) {
    TempDir a, b;
    writeRuns(a, b);
    const ReaderRun run = compare({}, a, b);
    EXPECT_EQ(run.code, 1) << run.err;
    EXPECT_EQ(run.out,
              "--- A: " + a.path() + "\n+++ B: " + b.path() +
                  "\n"
                  "== preview request 0: 1 key differs\n"
                  "  3A Decision: AE_EXPOSURE_PARAM  in 3 of 3 requests, 0 to 2\n"
                  "      A: exposure 1100 us, face AE off\n"
                  "                    ^\n"
                  "      B: exposure 1130 us, face AE off\n"
                  "                    ^\n"
                  "== preview request 1: 2 keys differ\n"
                  "  headline snippets  in 1 of 3 requests, 1\n"
                  "      A: , AE stable, FD 5 ms\n"
                  "              ^^^^^^\n"
                  "      B: , AE converging, FD 5 ms\n"
                  "              ^^^^^^^^^^\n"
                  "  FaceDetection Decision: TRIGGER_FEATURE  in 1 of 3 requests, 1\n"
                  "      A: faces 0\n"
                  "               ^\n"
                  "      B: faces 1 | faces 1\n"
                  "               ^^^^^^^^^^^\n"
                  "== keys only in A\n"
                  "  - P2Streaming Stage_R2Y Result: ISP_FLOW  1 record\n"
                  "== requests only in B\n"
                  "  preview 3 (1 request)\n"
                  "== record counts that differ\n"
                  "  3A Decision: AE_EXPOSURE_PARAM  A 3, B 4\n"
                  "  FaceDetection Decision: TRIGGER_FEATURE  A 3, B 5\n"
                  "the runs differ: 3 keys in 2 events, 1 key only in A, 1 request only in B, 2 "
                  "record counts; 4 requests matched (preview 3, capture 1)\n");
    EXPECT_EQ(run.err, "");

    const ReaderRun json = compare({"--json"}, a, b);
    EXPECT_EQ(json.code, 1);
    const std::vector<std::string> lines = splitLines(json.out);
    ASSERT_EQ(lines.size(), 7u) << json.out;
    EXPECT_EQ(lines[0],
              R"({"type":"key-differs","module":"3A","kind":"decision","key":"Decision: )"
              R"(AE_EXPOSURE_PARAM","timeline":"preview","numbering":1,"event":1,"requests":3,)"
              R"("matched":3,"first":0,"last":2,"a":"exposure 1100 us, face AE off",)"
              R"("b":"exposure 1130 us, face AE off"})");
    EXPECT_THAT(lines[1],
                HasSubstr(R"("key":"snippets","timeline":"preview","numbering":1,"event":2)"));
    EXPECT_THAT(lines[3], HasSubstr(R"({"type":"key-only-in-a","module":"P2Streaming")"));
    EXPECT_EQ(lines[4],
              R"({"type":"request-only-in-b","timeline":"preview","numbering":1,"first":3,)"
              R"("last":3,"requests":1})");
    EXPECT_THAT(lines[6], HasSubstr(R"("type":"count-differs","module":"FaceDetection")"));
    EXPECT_THAT(lines[6], HasSubstr(R"("a":3,"b":5})"));
}

TEST(CompareRuns, ToleranceTakesNearNumbersAsEqualAndStatesNever) {
    TempDir a, b;
    writeRuns(a, b);
    for (const char* tolerance : {"5%", "AE_EXPOSURE_PARAM=5", "3A=2.8%"}) {
        const ReaderRun run = compare({"--tolerance", tolerance}, a, b);
        EXPECT_EQ(run.code, 1) << tolerance;
        EXPECT_THAT(run.out, HasSubstr("== preview request 1: 3 keys differ\n"
                                       "  headline snippets  in 1 of 3 requests, 1\n"))
            << tolerance;
        EXPECT_THAT(run.out, HasSubstr("  3A Decision: AE_EXPOSURE_PARAM  in 1 of 3 requests, 1\n"
                                       "      A: exposure 1100 us, face AE off\n"));
    }
    const ReaderRun tight = compare({"--tolerance", "2.6%"}, a, b);
    EXPECT_THAT(tight.out, HasSubstr("== preview request 0: 1 key differs\n"));
    const ReaderRun other = compare({"--tolerance", "ISP_FLOW=50%"}, a, b);
    EXPECT_THAT(other.out, HasSubstr("== preview request 0: 1 key differs\n"));

    EXPECT_TRUE(
        equalWithinTolerance("lv 11.5, exposure 1100 us", "lv 11.6, exposure 1130 us", 0.05));
    EXPECT_FALSE(equalWithinTolerance("exposure 1100 us", "exposure 1200 us", 0.05));
    EXPECT_FALSE(equalWithinTolerance("face AE on", "face AE off", 1.0));
    EXPECT_FALSE(equalWithinTolerance("crop 1920x1080", "crop 1920x1080 at 5", 1.0));
    EXPECT_FALSE(equalWithinTolerance("1.5", "1x5", 1.0));
    EXPECT_TRUE(equalWithinTolerance("0 and 007", "0 and 7", 0));

    for (const std::string bad : {"five", "-5%", "120%", "=5%", "5%%", "1e3"}) {
        const ReaderRun refused = compare({"--tolerance", bad}, a, b);
        EXPECT_EQ(refused.code, 2) << bad;
        EXPECT_THAT(refused.err,
                    HasSubstr("--tolerance '" + bad + "' is neither PCT nor NAME=PCT"));
        EXPECT_EQ(splitLines(refused.err).size(), 1u) << refused.err;
    }
    const ReaderRun twice = compare({"--tolerance", "3A=5%", "--tolerance", "3A=6%"}, a, b);
    EXPECT_EQ(twice.code, 2);
    EXPECT_THAT(twice.err, HasSubstr("a tolerance for 3A is given twice"));
}

TEST(CompareRuns, KeyFiltersAndIgnoredNumbersNarrowTheComparison) {
    TempDir a, b;
    writeRuns(a, b);
    const ReaderRun module = compare({"--module", "3A", "--ignore-numbers"}, a, b);
    EXPECT_EQ(module.code, 1);
    EXPECT_THAT(
        splitLines(module.out),
        ElementsAre(
            "--- A: " + a.path(), "+++ B: " + b.path(), "== preview request 1: 1 key differs",
            "  3A Decision: AE_EXPOSURE_PARAM  in 1 of 3 requests, 1",
            "      A: exposure 1100 us, face AE off", "                                    ^^",
            "      B: exposure 1130 us, face AE on", "                                    ^",
            "== requests only in B", "  preview 3 (1 request)", "== record counts that differ",
            "  3A Decision: AE_EXPOSURE_PARAM  A 3, B 4",
            "the runs differ: 1 key in 1 event, 1 request only in B, 1 record count; "
            "3 requests matched (preview 3)"));
    const ReaderRun result = compare({"--result", "ISP_FLOW"}, a, b);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr("== keys only in A\n  - P2Streaming Stage_R2Y"));
    EXPECT_THAT(result.out, HasSubstr("; 0 requests matched\n"));
}

TEST(CompareRuns, ARunAgreesWithItselfAlsoFromTheCache) {
    TempDir a, b, cache;
    writeRuns(a, b);
    const ReaderRun itself = compare({}, a, a);
    EXPECT_EQ(itself.code, 0) << itself.out;
    EXPECT_THAT(itself.out,
                HasSubstr("the runs agree: 4 requests matched (preview 3, capture 1)\n"));
    ASSERT_EQ(setenv("XDG_CACHE_HOME", cache.path().c_str(), 1), 0);
    const ReaderRun cold = runReader({"compare", "--json", a.path(), b.path()});
    const std::vector<std::string> files = listFiles(cache.file("scenario-log"));
    EXPECT_EQ(std::count_if(
                  files.begin(), files.end(),
                  [](const std::string& name) { return name.rfind(".sqlite") + 7 == name.size(); }),
              2);
    const ReaderRun cached = runReader({"compare", "--json", a.path(), b.path()});
    EXPECT_EQ(cold.code, 1);
    EXPECT_EQ(cached.code, 1);
    EXPECT_EQ(cached.out, compare({"--json"}, a, b).out);
    EXPECT_EQ(cold.out, cached.out);
}

struct BadInput {
    const char* what;
    std::function<void(const TempDir& a, const TempDir& b)> write;
    int code;
    std::string expected;  // in the output, or with status 2 the one line on stderr
    std::string problem;   // on stderr
};

TEST(CompareRuns, BadInputGivesADefinedAnswerOrOneLineAndStatusTwo) {
    const std::string torn = request(0, "stable", 1100, false) + request(1, "stable", 1100, false);
    const std::vector<BadInput> cases = {
        {"one run empty",
         [](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), request(0, "stable", 1100, false));
             writeFile(b.file(kPreview), "");
         },
         1, "== requests only in A\n  preview 0 (1 request)\n", ""},
        {"both runs empty",
         [](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), "");
             writeFile(b.file(kPreview), "");
         },
         0, "the runs agree: 0 requests matched\n", ""},
        {"a run of two sessions, numbered anew",
         [](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), request(0, "stable", 1100, false));
             writeFile(b.file(kPreview), request(0, "stable", 1100, false));
             writeFile(b.file(kSecondSession), request(0, "stable", 1100, false));
         },
         1, "== requests only in B\n  preview #2 0 (1 request)\n", ""},
        {"runs of different scenes",
         [](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), request(0, "stable", 1100, false));
             writeFile(b.file(kPreview),
                       "[UKey: 42][ReqNum: 0]\n[ModuleName: 3A][Decision: X] y\n");
         },
         1, "== keys only in B\n  + 3A Decision: X  1 record\n", ""},
        {"a torn last line",
         [torn](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), torn);
             writeFile(b.file(kPreview), torn.substr(0, torn.size() - 12));
         },
         1, "  FaceDetection Decision: TRIGGER_FEATURE  in 1 of 2 requests, 1\n",
         kPreview + ":6: "},
        {"a folder that is not a run",
         [](const TempDir& a, const TempDir& b) {
             writeFile(a.file(kPreview), "");
             writeFile(b.file("notes.txt"), "not a tuning log\n");
         },
         2, "no tuning log file", ""},
        {"a run that is not there",
         [](const TempDir& a, const TempDir&) { writeFile(a.file(kPreview), ""); }, 2, "/gone", ""},
    };
    for (const BadInput& input : cases) {
        TempDir a, b;
        input.write(a, b);
        const bool gone = input.expected == "/gone";
        const std::string pathB = gone ? b.file("gone") : b.path();
        const ReaderRun run = runReader({"compare", "--no-cache", a.path(), pathB});
        EXPECT_EQ(run.code, input.code) << input.what << ": " << run.out << run.err;
        if (input.code == 2) {
            EXPECT_EQ(run.out, "") << input.what;
            EXPECT_THAT(splitLines(run.err),
                        ElementsAre(HasSubstr("scenario-log: " + pathB + ": ")))
                << input.what;
            EXPECT_THAT(run.err, HasSubstr(gone ? "" : input.expected)) << input.what;
        } else {
            EXPECT_THAT(run.out, HasSubstr(input.expected)) << input.what;
            EXPECT_THAT(run.err, HasSubstr(input.problem)) << input.what;
        }
    }
}

}  // namespace
