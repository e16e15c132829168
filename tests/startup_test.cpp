// Starting and stopping the recorder: the enable switch and the startup
// object, init and unInit in their states, and a running recorder destroyed.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "RecorderProperties.h"
#include "ScenarioRecorder.h"
#include "ScenarioRecorderInitializer.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using testsupport::findServiceThread;
using testsupport::waitFor;

// The process-wide recorder reads its switch once, so each value is tried in
// a child process of its own.
TEST(StartupObjectDeathTest, OnlyValueOneStartsTheRecorderAndAnyNonZeroValueSwitchesItOn) {
    for (const std::string value : {"1", "0", "", "2", "-1"}) {
        EXPECT_EXIT(
            {
                testsupport::TempDir dir;
                testsupport::RecorderProperties properties(dir.path(), 20);
                property_set(kEnableProperty, value.c_str());
                auto starter = std::make_unique<ScenarioRecorderInitializer>();
                auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
                const bool on = recorder->isScenarioRecorderOn() == (value != "0" && value != "");
                const bool started = Peer::hasThread(*recorder) && Peer::ready(*recorder);
                starter.reset();
                const bool stopped = !Peer::hasThread(*recorder) && !Peer::ready(*recorder);
                exit(on && started == (value == "1") && stopped ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "")
            << "value \"" << value << "\"";
    }
}

TEST(InitAndUnInit, ASecondInitIsRefusedAndAnInitAfterUnInitStartsAgain) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    testsupport::LogCapture logs;
    ScenarioRecorder recorder;
    recorder.unInit();  // harmless before a start
    EXPECT_FALSE(Peer::ready(recorder));

    recorder.init();
    pid_t first = -1;
    ASSERT_TRUE(waitFor([&] { return (first = findServiceThread()) > 0; }));
    recorder.init();
    EXPECT_EQ(logs.unifiedLinesContaining("[init] already started; ignored").size(), 1u);
    EXPECT_EQ(findServiceThread(), first);
    recorder.unInit();
    EXPECT_FALSE(Peer::ready(recorder));
    // The join returns when the thread's id is cleared; the task is listed a little longer.
    EXPECT_TRUE(waitFor([] { return findServiceThread() == -1; }));

    recorder.init();
    recorder.submitDecisionRecord(testsupport::decisionParam(3), "accepted again");
    EXPECT_TRUE(Peer::hasActive(recorder, 3));
    recorder.unInit();
}

TEST(InitAndUnInit, DestroyingARunningRecorderStopsItsThread) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    {
        ScenarioRecorder recorder;
        recorder.init();
        ASSERT_TRUE(waitFor([] { return findServiceThread() > 0; }));
    }
    EXPECT_TRUE(waitFor([] { return findServiceThread() == -1; }));
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
