// The host stand-in of the property service: a key of its seed file that
// starts like the recorder's keys but is none of them is reported once on
// standard error with the nearest of the recorder's keys, and kept all the
// same.
#include <cutils/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <regex>
#include <string>

#include "RecorderProperties.h"
#include "support/TempDir.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

// The child names its own temporary file at the start of each line.
std::string withoutFileNames(const std::string& text) {
    return std::regex_replace(text, std::regex("(^|\n)[^\n:]*: "), "$1");
}

// The seed file is read once per process, at first use: each run reads it in
// a child process of its own.
TEST(HostPropertiesDeathTest, MisspeltRecorderKeysAreReportedOnceWithTheNearestKey) {
    // In a scope of its own, so that the temporary folder is removed before
    // the child exits.
    const auto readsTheRightKeys = [] {
        testsupport::TempDir dir;
        testsupport::writeFile(dir.file("seed.prop"),
                               "vendor.debug.camera.scenariorecorder.enable=1\n"
                               "vendor.debug.camera.scenarioRecorder.folder=/tmp/logs\n"
                               "vendor.debug.camera.scenariorecorder.enable=1\n"
                               "vendor.debug.camera.ScenarioRecorder.flushMs=5\n"
                               "vendor.debug.camera.scenariorecorder.flushms=7\n"
                               "vendor.debug.camera.scenario=1\n"
                               "vendor.debug.camera.other=1\n");
        setenv("ZYNCAM_HOST_PROPERTIES", dir.file("seed.prop").c_str(), 1);
        char kept[PROPERTY_VALUE_MAX] = {};
        property_get("vendor.debug.camera.scenariorecorder.enable", kept, "");
        const bool rightKeyRead = property_get_int32(kFlushIntervalProperty, 0) == 7;
        return strcmp(kept, "1") == 0 && rightKeyRead;
    };
    EXPECT_EXIT(
        exit(readsTheRightKeys() ? 0 : 1), ::testing::ExitedWithCode(0),
        ::testing::ResultOf(
            withoutFileNames,
            ::testing::StrEq(
                "unknown property vendor.debug.camera.scenariorecorder.enable, which the "
                "scenario recorder ignores; did you mean "
                "vendor.debug.camera.scenarioRecorder.enable?\n"
                "unknown property vendor.debug.camera.scenarioRecorder.folder, which the "
                "scenario recorder ignores; did you mean "
                "vendor.debug.camera.scenariorecorder.folder?\n"
                "unknown property vendor.debug.camera.ScenarioRecorder.flushMs, which the "
                "scenario recorder ignores; did you mean "
                "vendor.debug.camera.scenariorecorder.flushms?\n"
                "unknown property vendor.debug.camera.scenario, which the scenario recorder "
                "ignores; did you mean vendor.debug.camera.scenarioRecorder.enable?\n")));
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
