// Records as stored: their lines, headline snippets, and records dropped while
// not ready. The cut and rooms are record_path_fuzz's checks.
#include "support/Records.h"

#include <gtest/gtest.h>
#include <limits.h>

#include <string>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using testsupport::decisionParam;
using testsupport::resultParam;
using Lines = std::vector<std::string>;

constexpr int kRequest = 12;

class Records : public ::testing::Test {
  protected:
    Records() { Peer::setReady(mRecorder, true); }

    WalkedBuffer walked() { return Peer::walkActive(mRecorder, kRequest); }

    ScenarioRecorder mRecorder;
};

TEST_F(Records, LinesReadAsDocumented) {
    mRecorder.submitDecisionRecord(decisionParam(kRequest, {0, 12, 345}), "done");
    mRecorder.submitExecutionRecord(resultParam(kRequest, false, {0, 12, 345}), "done");
    // Absent numbers are left out, other negatives printed.
    mRecorder.submitExecutionRecord(resultParam(kRequest, false, {0}), "done");
    mRecorder.submitDecisionRecord(decisionParam(kRequest, {-2, -1, INT_MIN}), "x");
    // Unknown numbers print the fall-back names; an empty text keeps its space.
    DecisionParam unknown = decisionParam(kRequest);
    unknown.moduleId = 0x00207005;  // a gap in a range of the module table
    unknown.decisionType = static_cast<DecisionType>(7);
    mRecorder.submitDecisionRecord(unknown, "x");
    ResultParam defaults;
    defaults.requestNum = kRequest;
    mRecorder.submitExecutionRecord(defaults, "");
    // The text ends at its first NUL.
    mRecorder.submitDecisionRecord(decisionParam(kRequest), std::string("visible\0hidden", 14));
    EXPECT_EQ(walked().records,
              (Lines{"[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: P2Streaming]"
                     "[Decision: TOP_CONTROL] done",
                     "[SensorId: 0][FrameNum: 12][MagicNum: 345][ModuleName: P2Streaming]"
                     "[Stage_MDP][Result: ISP_FLOW] done",
                     "[SensorId: 0][ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] done",
                     "[SensorId: -2][MagicNum: -2147483648][ModuleName: P2Streaming]"
                     "[Decision: TOP_CONTROL] x",
                     "[ModuleName: noModuleName][Decision: noDecisionName] x",
                     "[ModuleName: noModuleName][noStageName][Result: noDecisionName] ",
                     "[ModuleName: P2Streaming][Decision: TOP_CONTROL] visible"}));
}

TEST_F(Records, MarkedExecutionTextsOfAtMost1023CharactersAreQueuedForTheHeadline) {
    mRecorder.submitExecutionRecord(resultParam(kRequest, true), "done");
    mRecorder.submitExecutionRecord(resultParam(kRequest, false), "not queued");
    mRecorder.submitExecutionRecord(resultParam(kRequest, true), "");
    EXPECT_EQ(Peer::headlineItems(mRecorder, kRequest), (Lines{", done", ", "}));
    mRecorder.submitExecutionRecord(resultParam(kRequest, true), std::string(1023, 'h'));
    mRecorder.submitExecutionRecord(resultParam(kRequest, true), std::string(1024, 'h'));
    // The whole text counts, past an embedded NUL too.
    std::string withNul(2003, 'n');
    withNul[2] = '\0';
    mRecorder.submitExecutionRecord(resultParam(kRequest, true), withNul);
    EXPECT_EQ(Peer::headlineLengths(mRecorder, kRequest), (std::vector<int>{6, 2, 1025}));
    EXPECT_EQ(walked().records.size(), 6u) << "every line is stored all the same";
}

// NDD reports too: a recorder that never starts opens no file.
TEST(RecordsNotReady, RecordsAndReportsVanishBeforeStartAndAfterStop) {
    ScenarioRecorder recorder;
    recorder.submitDecisionRecord(decisionParam(kRequest), "early");
    recorder.submitExecutionRecord(resultParam(kRequest, true), "early");
    recorder.recordNddInfo(1, kRequest, 3, true);
    recorder.recordNddInfo(4, 5, 6, false);
    EXPECT_EQ(Peer::activeCount(recorder), 0u);
    EXPECT_EQ(Peer::headlineQueueCount(recorder), 0u);
    EXPECT_EQ(Peer::writerCount(recorder), 0u);
    EXPECT_EQ(Peer::defaultWriter(recorder)->mFd, -1);

    Peer::setReady(recorder, true);
    recorder.submitDecisionRecord(decisionParam(kRequest), "accepted");
    Peer::setReady(recorder, false);
    recorder.submitDecisionRecord(decisionParam(kRequest), "late");
    EXPECT_EQ(Peer::walkActive(recorder, kRequest).records,
              Lines{testsupport::decisionLine("accepted")});
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
