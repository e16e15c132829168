// scenario-log diff and changes on hand-made folders with known differences.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ReaderRun.h"
#include "support/TempDir.h"

using namespace scenariolog;
using ::testing::HasSubstr;
using ::testing::Not;
using testsupport::ReaderRun;
using testsupport::runReader;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
const std::string kCapture = "000000042_0007_0001_capture__2025_0102_030405_TuningLog_01.txt";

std::string decision(const std::string& module, const std::string& name, const std::string& text) {
    return "[SensorId: 0][ModuleName: " + module + "][Decision: " + name + "] " + text + "\n";
}

std::string execution(const std::string& module, const std::string& stage,
                      const std::string& text) {
    return "[ModuleName: " + module + "][" + stage + "][Result: ISP_FLOW] " + text + "\n";
}

std::string headline(int request, const std::string& snippets = "") {
    return "[UKey: 42][ReqNum: " + std::to_string(request) + "]" + snippets + "\n";
}

// Capture request 7 in A (two blocks) and in B: one key
// only in A, one only in B, a changed state, changed numbers only, and a
// repeated key whose second record differs in its number.
void writePair(const TempDir& a, const TempDir& b) {
    writeFile(a.file(kCapture), headline(7, ", AE stable") +
                                    decision("P2Streaming", "ISP_FLOW", "3DNR on, EIS on") +
                                    decision("3A", "AE_EXPOSURE_PARAM", "exposure 15762 us") +
                                    decision("FaceDetection", "TRIGGER_FEATURE", "faces 0") +
                                    execution("3A", "Stage_MDP", "AF 1") + "\n" +
                                    execution("3A", "Stage_MDP", "AF 2"));
    writeFile(b.file(kCapture),
              headline(7, ", AE stable") + decision("P2Streaming", "ISP_FLOW", "3DNR off, EIS on") +
                  decision("3A", "AE_EXPOSURE_PARAM", "exposure 15801 us") +
                  execution("3A", "Stage_MDP", "AF 1") + execution("3A", "Stage_MDP", "AF 3") +
                  execution("P2Streaming", "Stage_R2Y", "r2y done"));
}

TEST(ScenarioLogDiff, ShowsKeysOnlyInEitherAndMarksWhatChanged) {
    TempDir a, b;
    writePair(a, b);
    const ReaderRun plain = runReader({"diff", a.path() + ":7", b.path() + ":7"});
    EXPECT_EQ(plain.code, 1) << plain.err;
    EXPECT_THAT(plain.out, HasSubstr("== P2Streaming\n"
                                     "  + Stage_R2Y Result: ISP_FLOW #1  r2y done\n"
                                     "  ~ Decision: ISP_FLOW #1\n"
                                     "      A: 3DNR on, EIS on\n"
                                     "               ^\n"
                                     "      B: 3DNR off, EIS on\n"
                                     "               ^^\n"));
    EXPECT_THAT(plain.out,
                HasSubstr("== FaceDetection\n  - Decision: TRIGGER_FEATURE #1  faces 0\n"));
    EXPECT_THAT(plain.out, HasSubstr("  ~ Stage_MDP Result: ISP_FLOW #2\n"));
    EXPECT_THAT(plain.out, Not(HasSubstr("== headline")));
    EXPECT_THAT(plain.out, HasSubstr("\n1 only in A, 1 only in B, 3 changed\n"));

    const ReaderRun numbers =
        runReader({"diff", "--ignore-numbers", "--json", a.path() + ":7", b.path() + ":7"});
    EXPECT_EQ(numbers.code, 1);
    std::vector<std::string> changes;
    for (const std::string& line : testsupport::splitLines(numbers.out))
        changes.push_back(line.substr(0, line.find(",\"key\"")));
    EXPECT_EQ(changes, (std::vector<std::string>{
                           R"({"type":"difference","change":"onlyA","group":"FaceDetection")",
                           R"({"type":"difference","change":"onlyB","group":"P2Streaming")",
                           R"({"type":"difference","change":"changed","group":"P2Streaming")"}));

    const ReaderRun same = runReader({"diff", "--req", "7", "--req", "7", a.path()});
    EXPECT_EQ(same.code, 0);
    EXPECT_THAT(same.out, HasSubstr("\nidentical\n"));
}

// Blocks arrive out of number order, as requests end; one key flips at 6,
// one counts, one has two records per request. A later series whose numbering
// starts again is a timeline of its own.
TEST(ScenarioLogChanges, RunsPerKeyInRequestOrder) {
    TempDir dir;
    std::string file;
    for (int request : {1, 0, 2, 4, 3, 5, 6, 8, 7, 9, 10, 11}) {
        file += headline(request) +
                decision("P2Streaming", "ISP_FLOW", request < 6 ? "3DNR on" : "3DNR off") +
                decision("3A", "AE_EXPOSURE_PARAM", "exposure " + std::to_string(100 + request)) +
                execution("FaceDetection", "Stage_Y2Y", "a") +
                execution("FaceDetection", "Stage_Y2Y", "b");
    }
    writeFile(dir.file(kPreview), file + "[ModuleName: 3A][Deci");
    writeFile(dir.file("000000043_0000_0000_preview__2025_0102_030406_TuningLog_01.txt"),
              headline(0) + decision("P2Streaming", "ISP_FLOW", "3DNR on") + headline(1) +
                  decision("P2Streaming", "ISP_FLOW", "3DNR on"));
    const ReaderRun changes = runReader({"changes", dir.path()});
    EXPECT_EQ(changes.code, kExitMatch);
    EXPECT_THAT(changes.err, HasSubstr(kPreview + ":61: last line has no line break"));
    EXPECT_EQ(changes.out,
              "== preview requests 0-11 from 2025_0102_030405: 12 requests, 3 keys\n"
              "3A Decision: AE_EXPOSURE_PARAM  0-11  12 distinct texts in 12 requests "
              "(--all lists them)\n"
              "FaceDetection Stage_Y2Y Result: ISP_FLOW  0-11  \"a | b\"\n"
              "P2Streaming Decision: ISP_FLOW\n"
              "      0-5  \"3DNR on\"\n"
              "    → 6-11  \"3DNR off\"\n"
              "== preview requests 0-1 from 2025_0102_030406: 2 requests, 1 key\n"
              "P2Streaming Decision: ISP_FLOW  0-1  \"3DNR on\"\n");

    const ReaderRun steady =
        runReader({"changes", "--ignore-numbers", "--from", "3", "--module", "3A", dir.path()});
    EXPECT_THAT(steady.out, HasSubstr("3A Decision: AE_EXPOSURE_PARAM  3-11  \"exposure 103\"\n"));
    EXPECT_THAT(steady.out, Not(HasSubstr("P2Streaming")));
    const ReaderRun all = runReader({"changes", "--all", "--module", "3A", dir.path()});
    EXPECT_THAT(all.out, HasSubstr("    → 11  \"exposure 111\"\n"));
}

// Captures on both sides of 9,999 in one time-stamp second, whose names sort
// "10019" before "9959" as text, are one capture timeline in number order.
TEST(ScenarioLogChanges, CapturesPastRequest9999AreOneTimeline) {
    TempDir dir;
    for (int request : {9959, 9989, 10019, 10049}) {
        writeFile(dir.file("000000042_" + std::to_string(request) +
                           "_0001_capture__2025_0102_030405_TuningLog_01.txt"),
                  headline(request) + decision("P1_NODE", "TOP_CONTROL", "sensor mode 0"));
    }
    const std::string summary = runReader({"summary", dir.path()}).out;
    std::vector<std::size_t> places;
    for (const char* request : {"_9959_", "_9989_", "_10019_", "_10049_"}) {
        places.push_back(summary.find(request));
    }
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << summary;
    EXPECT_NE(places.back(), std::string::npos);
    const ReaderRun changes =
        runReader({"changes", "--module", "P1_NODE", "--decision", "TOP_CONTROL", dir.path()});
    EXPECT_EQ(changes.out,
              "== capture requests 9959-10049 from 2025_0102_030405: 4 requests, 1 key\n"
              "P1_NODE Decision: TOP_CONTROL  9959-10049  \"sensor mode 0\"\n");
}

}  // namespace
