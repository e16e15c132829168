// Starting and stopping the recorder: the enable switch, the startup
// object's values, and init / unInit in their states.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "RecorderProperties.h"
#include "ScenarioRecorder.h"
#include "ScenarioRecorderInitializer.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;

class EnableProperty {
  public:
    explicit EnableProperty(const char* value) { property_set(kEnableProperty, value); }
    ~EnableProperty() { property_set(kEnableProperty, ""); }
};

TEST(EnableSwitch, AnyNonZeroValueSwitchesTheRecorderOn) {
    {
        ScenarioRecorder absent;
        EXPECT_FALSE(absent.isScenarioRecorderOn());
    }
    for (const char* value : {"0", "junk"}) {
        EnableProperty property(value);
        EXPECT_FALSE(ScenarioRecorder().isScenarioRecorderOn()) << value;
    }
    for (const char* value : {"1", "2", "-1"}) {
        EnableProperty property(value);
        EXPECT_TRUE(ScenarioRecorder().isScenarioRecorderOn()) << value;
    }
}

TEST(InitAndUnInit, StatesFollowStartAndStopAndRestart) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    ScenarioRecorder recorder;
    recorder.unInit();  // harmless before a start
    EXPECT_FALSE(Peer::ready(recorder));
    EXPECT_FALSE(Peer::hasThread(recorder));

    recorder.init();
    EXPECT_TRUE(Peer::running(recorder));
    EXPECT_TRUE(Peer::ready(recorder));
    EXPECT_TRUE(Peer::hasThread(recorder));
    recorder.unInit();
    EXPECT_FALSE(Peer::running(recorder));
    EXPECT_FALSE(Peer::ready(recorder));
    EXPECT_FALSE(Peer::hasThread(recorder));

    recorder.init();
    DecisionParam param;
    param.requestNum = 3;
    recorder.submitDecisionRecord(param, "accepted again");
    EXPECT_TRUE(Peer::hasActive(recorder, 3));
    recorder.unInit();
}

TEST(InitAndUnInit, SecondInitIsRefusedAndKeepsTheFirstThread) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    testsupport::LogCapture logs;
    ScenarioRecorder recorder;
    recorder.init();
    pid_t first = -1;
    ASSERT_TRUE(
        testsupport::waitFor([&] { return (first = testsupport::findServiceThread()) > 0; }));
    recorder.init();
    EXPECT_EQ(logs.unifiedLinesContaining("[init] already started; ignored").size(), 1u);
    EXPECT_EQ(testsupport::findServiceThread(), first);
    recorder.unInit();
    EXPECT_EQ(logs.unifiedLinesContaining("[unInit] unInit").size(), 1u);
}

TEST(InitAndUnInit, DestroyingARunningRecorderStopsItsThread) {
    testsupport::TempDir dir;
    testsupport::RecorderProperties properties(dir.path(), 20);
    {
        ScenarioRecorder recorder;
        recorder.init();
        ASSERT_TRUE(testsupport::waitFor([] { return testsupport::findServiceThread() > 0; }));
    }
    EXPECT_EQ(testsupport::findServiceThread(), -1);
}

// The process-wide recorder reads its switch once, so each value is tried in
// a child process of its own.
TEST(StartupObjectDeathTest, OnlyValueOneStartsTheRecorderAndTheObjectsEndStopsIt) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* value : {"1", "0", "2", "-1"}) {
        EXPECT_EXIT(
            {
                testsupport::TempDir dir;
                testsupport::RecorderProperties properties(dir.path(), 20);
                EnableProperty property(value);
                auto starter = std::make_unique<ScenarioRecorderInitializer>();
                auto* recorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
                const bool started = Peer::hasThread(*recorder) && Peer::ready(*recorder);
                starter.reset();
                const bool stopped = !Peer::hasThread(*recorder) && !Peer::ready(*recorder);
                exit(started == (std::string(value) == "1") && stopped ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "")
            << value;
    }
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
