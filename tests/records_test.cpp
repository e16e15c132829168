// Decision and execution records: the exact lines, the cut at 1,023
// characters, reservations, headline snippets, and records that vanish while
// the recorder is not ready.
#include <gtest/gtest.h>

#include <string>
#include <utility>
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

TEST_F(Records, LinesReadAsDocumented) {
    mRecorder.submitDecisionRecord(decision(), "done");
    mRecorder.submitExecutionRecord(execution(), "done");
    // Absent numbers are left out, other negatives printed.
    mRecorder.submitExecutionRecord(execution(0, -1, -1), "done");
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), "x");
    mRecorder.submitDecisionRecord(decision(-2, -1, -2147483647 - 1), "x");
    // Unknown numbers print fall-back names.
    DecisionParam unknownDecision = decision(-1, -1, -1);
    unknownDecision.moduleId = 0x00207005;
    unknownDecision.decisionType = static_cast<DecisionType>(7);
    mRecorder.submitDecisionRecord(unknownDecision, "x");
    ResultParam unknownResult = execution(-1, -1, -1);
    unknownResult.stageId = 2;
    unknownResult.decisionType = static_cast<DecisionType>(0);
    mRecorder.submitExecutionRecord(unknownResult, "x");
    ResultParam defaults;  // nothing set: every number absent, every name falls back
    defaults.requestNum = kRequest;
    mRecorder.submitExecutionRecord(defaults, "");
    // The text ends at its first NUL.
    mRecorder.submitDecisionRecord(decision(-1, -1, -1), std::string("visible\0hidden", 14));
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
                  "[Decision: ISP_FLOW] done",
                  "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: CameraMiddleware]"
                  "[Stage_MDP][Result: ISP_FLOW] done",
                  "[SensorId: 0][ModuleName: CameraMiddleware][Stage_MDP][Result: ISP_FLOW] done",
                  "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] x",
                  "[SensorId: -2][MagicNum: -2147483648][ModuleName: CameraMiddleware]"
                  "[Decision: ISP_FLOW] x",
                  "[ModuleName: noModuleName][Decision: noDecisionName] x",
                  "[ModuleName: CameraMiddleware][noStageName][Result: noDecisionName] x",
                  "[ModuleName: noModuleName][noStageName][Result: noDecisionName] ",
                  "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] visible"}));
}

TEST_F(Records, LinesAreCutAfter1023CharactersAndReserveTheirLengthPlus41RoundedUp) {
    const std::string prefix = "[ModuleName: CameraMiddleware][Decision: ISP_FLOW] ";
    // The line's length before any cut, and the room reserved for it.
    const std::pair<size_t, uint64_t> cases[] = {{100, 144},   {103, 144},   {104, 152},
                                                 {1023, 1064}, {1024, 1064}, {5000, 1064}};
    for (const auto& [length, reserved] : cases) {
        const std::string text(length - prefix.size(), 'a');
        mRecorder.submitDecisionRecord(decision(-1, -1, -1), text);
        EXPECT_EQ(lines().back(), (prefix + text).substr(0, 1023)) << length;
        EXPECT_EQ(lastSize(), reserved) << length;
    }
}

TEST_F(Records, MarkedExecutionTextsOfAtMost1023CharactersAreQueuedForTheHeadline) {
    mRecorder.submitExecutionRecord(execution(0, 12, 345, true), "done");
    mRecorder.submitExecutionRecord(execution(0, 12, 345, false), "not queued");
    mRecorder.submitExecutionRecord(execution(0, 12, 345, true), "");
    EXPECT_EQ(Peer::headlineItems(mRecorder, kRequest), (std::vector<std::string>{", done", ", "}));
    mRecorder.submitExecutionRecord(execution(-1, -1, -1, true), std::string(1023, 'h'));
    mRecorder.submitExecutionRecord(execution(-1, -1, -1, true), std::string(1024, 'h'));
    EXPECT_EQ(Peer::headlineLengths(mRecorder, kRequest), (std::vector<int>{6, 2, 1025}));
    EXPECT_EQ(lines().size(), 5u) << "every line is stored all the same";
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
