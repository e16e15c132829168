// Request registration counts and the hand-off of a request's log.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "RecorderProperties.h"
#include "ScenarioLogPrinter.h"
#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;

void addRecord(ScenarioRecorder& recorder, int requestNum) {
    DecisionParam param;
    param.requestNum = requestNum;
    recorder.submitDecisionRecord(param, "r");
}

class RequestRegistry : public ::testing::Test {
  protected:
    RequestRegistry() { Peer::setReady(mRecorder, true); }
    ScenarioRecorder mRecorder;
};

TEST_F(RequestRegistry, LastOfTwoRegistrationsHandsOffOnceAndARegisteredAgainRequestAgain) {
    mRecorder.registerRequest(4);
    mRecorder.registerRequest(4);
    addRecord(mRecorder, 4);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 0u);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 1u);
    EXPECT_EQ(Peer::requestCount(mRecorder, 4), 0) << "the entry stays";

    mRecorder.registerRequest(4);
    EXPECT_EQ(Peer::requestCount(mRecorder, 4), 1);
    addRecord(mRecorder, 4);
    mRecorder.deregisterRequest(4);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 2u);
}

TEST_F(RequestRegistry, HandOffWithoutRecordsDoesNothingAndUnknownRequestsMakeNoEntry) {
    mRecorder.registerRequest(5);
    mRecorder.deregisterRequest(5);
    EXPECT_EQ(Peer::pendingCount(mRecorder) + Peer::activeCount(mRecorder), 0u);
    mRecorder.deregisterRequest(8);
    EXPECT_FALSE(Peer::hasRequestCount(mRecorder, 8));
}

TEST_F(RequestRegistry, CountsBelowZeroDoNotHandOff) {
    mRecorder.registerRequest(7);
    mRecorder.deregisterRequest(7);
    mRecorder.deregisterRequest(7);
    EXPECT_EQ(Peer::requestCount(mRecorder, 7), -1);
    mRecorder.registerRequest(7);
    EXPECT_EQ(Peer::requestCount(mRecorder, 7), 0);
    addRecord(mRecorder, 7);
    mRecorder.deregisterRequest(7);
    EXPECT_EQ(Peer::requestCount(mRecorder, 7), -1);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 0u);
    EXPECT_TRUE(Peer::hasActive(mRecorder, 7));
}

// The process-wide recorder reads its enable switch once; this program never
// sets the property, so the guards see a switched-off recorder.
TEST(ScenarioLogPrinterOff, DisabledRecorderLeavesTheRegistryEmpty) {
    auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
    ASSERT_FALSE(recorder->isScenarioRecorderOn());
    { ScenarioLogPrinter guard(11); }
    EXPECT_EQ(Peer::requestEntries(*recorder), 0u);
}

// Guards reach the process-wide recorder, whose switch is read once: the
// switched-on case runs in a child process of its own.
TEST(ScenarioLogPrinterDeathTest, GuardsOfOneRequestHandItsLogOffOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            property_set(kEnableProperty, "2");
            auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
            Peer::setReady(*recorder, true);
            auto first = std::make_unique<ScenarioLogPrinter>(21);
            auto second = std::make_unique<ScenarioLogPrinter>(21);
            addRecord(*recorder, 21);
            const bool counted = Peer::requestCount(*recorder, 21) == 2;
            first.reset();
            const bool held = Peer::pendingCount(*recorder) == 0;
            std::thread([&] { second.reset(); }).join();  // may end on another thread
            const bool handedOff = Peer::pendingCount(*recorder) == 1;
            exit(counted && held && handedOff ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
