// Decision and execution records: the exact lines, the cut at 1,023
// characters, reservations, headline snippets, and records that vanish while
// the recorder is not ready.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;

constexpr uint32_t kCameraMiddleware = 0x00202001;
constexpr int kStageMdp = 9;
constexpr int kRequest = 12;

DecisionParam decision(int sensor = 0, int frame = 12, int magic = 345) {
    DecisionParam param;
    param.requestNum = kRequest;
    param.sensorId = sensor;
    param.frameNum = frame;
    param.magicNum = magic;
    param.decisionType = ISP_FLOW;
    param.moduleId = kCameraMiddleware;
    return param;
}

ResultParam execution(int sensor = 0, int frame = 12, int magic = 345, bool headline = false) {
    ResultParam param;
    param.requestNum = kRequest;
    param.sensorId = sensor;
    param.frameNum = frame;
    param.magicNum = magic;
    param.decisionType = ISP_FLOW;
    param.stageId = kStageMdp;
    param.moduleId = kCameraMiddleware;
    param.addToHeadline = headline;
    return param;
}

class Records : public ::testing::Test {
  protected:
    Records() { Peer::setReady(mRecorder, true); }

    std::vector<std::string> lines() { return Peer::walkActive(mRecorder, kRequest).records; }
    uint64_t lastSize() { return Peer::walkActive(mRecorder, kRequest).sizes.back(); }

    ScenarioRecorder mRecorder;
};

TEST_F(Records, DecisionAndExecutionLinesReadAsDocumented) {
    mRecorder.submitDecisionRecord(decision(), "done");
    mRecorder.submitExecutionRecord(execution(), "done");
    mRecorder.submitExecutionRecord(execution(0, -1, -1), "done");
    EXPECT_EQ(
        lines(),
        (std::vector<std::string>{
            "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
            "[Decision: ISP_FLOW] done",
            "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
            "[Stage_MDP][Result: ISP_FLOW] done",
            "[SensorId: 0][ModuleName: CameraMiddleware][Stage_MDP][Result: ISP_FLOW] done"}));
}

TEST_F(Records, AbsentNumbersAreLeftOutAndOtherNegativesPrinted) {
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), "x");
    mRecorder.submitDecisionRecord(decision(-2, -1, -2147483647 - 1), "x");
    EXPECT_EQ(lines()[0], "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] x");
    EXPECT_EQ(lines()[1],
              "[SensorId: -2][MagicNum: -2147483648][ModuleName: CameraMiddleware]"
              "[Decision: ISP_FLOW] x");
}

TEST_F(Records, UnknownNumbersPrintFallbackNames) {
    DecisionParam unknownDecision = decision(-1, -1, -1);
    unknownDecision.moduleId = 0x00207005;
    unknownDecision.decisionType = static_cast<DecisionType>(7);
    mRecorder.submitDecisionRecord(unknownDecision, "x");
    ResultParam unknownResult = execution(-1, -1, -1);
    unknownResult.stageId = 2;
    unknownResult.decisionType = static_cast<DecisionType>(0);
    mRecorder.submitExecutionRecord(unknownResult, "x");
    ResultParam defaults;  // nothing set: every name falls back
    defaults.requestNum = kRequest;
    mRecorder.submitExecutionRecord(defaults, "");
    EXPECT_EQ(lines(), (std::vector<std::string>{
                           "[ModuleName: noModuleName][Decision: noDecisionName] x",
                           "[ModuleName: CameraMiddleware][noStageName][Result: noDecisionName] x",
                           "[ModuleName: noModuleName][noStageName][Result: noDecisionName] "}));
}

TEST_F(Records, TextEndsAtItsFirstNul) {
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string("visible\0hidden", 14));
    EXPECT_EQ(lines()[0], "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] visible");
}

TEST_F(Records, ReservationIsTheLineLengthPlus41RoundedUp) {
    const std::string prefix = "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] ";
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string(100 - prefix.size(), 'a'));
    EXPECT_EQ(lines().back().size(), 100u);
    EXPECT_EQ(lastSize(), 144u);
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string(103 - prefix.size(), 'a'));
    EXPECT_EQ(lastSize(), 144u);
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string(104 - prefix.size(), 'a'));
    EXPECT_EQ(lastSize(), 152u);
}

TEST_F(Records, LinesAreCutAfter1023Characters) {
    const std::string prefix = "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] ";
    const std::string exact(1023 - prefix.size(), 'e');
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), exact);
    EXPECT_EQ(lines().back(), prefix + exact);
    EXPECT_EQ(lastSize(), 1064u);
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), exact + "X");
    EXPECT_EQ(lines().back(), prefix + exact) << "the 1,024th character is cut";
    EXPECT_EQ(lastSize(), 1064u);
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string(5000, 'z'));
    EXPECT_EQ(lines().back().size(), 1023u);
    EXPECT_EQ(lastSize(), 1064u);
}

TEST_F(Records, MarkedExecutionTextsAreQueuedForTheHeadline) {
    mRecorder.submitExecutionRecord(execution(0, 12, 345, true), "done");
    mRecorder.submitExecutionRecord(execution(0, 12, 345, false), "not queued");
    mRecorder.submitExecutionRecord(execution(0, 12, 345, true), "");
    EXPECT_EQ(Peer::headlineItems(mRecorder, kRequest), (std::vector<std::string>{", done", ", "}));
    EXPECT_EQ(Peer::headlineLengths(mRecorder, kRequest), (std::vector<int>{6, 2}));
    EXPECT_EQ(lines().size(), 3u);
}

TEST_F(Records, HeadlineTextsOfMoreThan1023CharactersAreNotQueued) {
    mRecorder.submitExecutionRecord(execution(-1, -1, -1, true), std::string(1023, 'h'));
    mRecorder.submitExecutionRecord(execution(-1, -1, -1, true), std::string(1024, 'h'));
    EXPECT_EQ(Peer::headlineLengths(mRecorder, kRequest), (std::vector<int>{1025}));
    EXPECT_EQ(lines().size(), 2u) << "both lines are stored all the same";
}

TEST(RecordsNotReady, RecordsVanishBeforeStartAndAfterStop) {
    ScenarioRecorder recorder;
    recorder.submitDecisionRecord(decision(), "early");
    recorder.submitExecutionRecord(execution(0, 1, 1, true), "early");
    EXPECT_EQ(Peer::activeCount(recorder), 0u);
    EXPECT_EQ(Peer::headlineQueueCount(recorder), 0u);

    Peer::setReady(recorder, true);
    recorder.submitDecisionRecord(decision(), "accepted");
    Peer::setReady(recorder, false);
    recorder.submitDecisionRecord(decision(), "late");
    EXPECT_EQ(Peer::walkActive(recorder, kRequest).records.size(), 1u);
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
