// Request registration counts and the hand-off of a request's log.
#include <gtest/gtest.h>

#include <map>

#include "ScenarioLogPrinter.h"
#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using Counts = std::map<int, int>;

void addRecord(ScenarioRecorder& recorder, int requestNum) {
    recorder.submitDecisionRecord(testsupport::decisionParam(requestNum), "r");
}

class RequestRegistry : public ::testing::Test {
  protected:
    RequestRegistry() { Peer::setReady(mRecorder, true); }
    ScenarioRecorder mRecorder;
};

// Only the step from 1 to 0 hands a request off; entries stay, and counts go
// below 0 without a hand-off.
TEST_F(RequestRegistry, OnlyTheLastOfARequestsRegistrationsHandsItOffAndItsEntryStays) {
    mRecorder.registerRequest(4);
    mRecorder.registerRequest(4);
    addRecord(mRecorder, 4);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 0u);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 1u);
    mRecorder.registerRequest(4);
    addRecord(mRecorder, 4);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 2u) << "registered again, handed off again";
    mRecorder.deregisterRequest(4);  // to -1
    mRecorder.registerRequest(4);    // back to 0: no hand-off
    addRecord(mRecorder, 4);
    mRecorder.deregisterRequest(4);  // -1 again
    mRecorder.registerRequest(5);
    mRecorder.deregisterRequest(5);  // nothing recorded: nothing to hand off
    mRecorder.deregisterRequest(8);  // never registered: no entry
    EXPECT_EQ(Peer::pendingCount(mRecorder), 2u);
    EXPECT_TRUE(Peer::hasActive(mRecorder, 4));
    EXPECT_EQ(Peer::requestCounts(mRecorder), (Counts{{4, -1}, {5, 0}}));
}

// The process-wide recorder reads its enable switch once; this program never
// sets the property, so the guards see a switched-off recorder. Guards of a
// switched-on recorder are the stress test's part.
TEST(ScenarioLogPrinterOff, DisabledRecorderLeavesTheRegistryEmpty) {
    auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
    ASSERT_FALSE(recorder->isScenarioRecorderOn());
    { ScenarioLogPrinter guard(11); }
    EXPECT_TRUE(Peer::requestCounts(*recorder).empty());
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
