// Choice of the log folder: the property's folder, its fall-backs and the
// last resort. The built-in fall-backs live under /data; where this machine
// has /data, the cases that would create folders there are skipped.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "RecorderProperties.h"
#include "ScenarioRecorder.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

class LogFolder : public ::testing::Test {
  protected:
    ~LogFolder() override { property_set(kFolderProperty, ""); }

    std::string folderFor(const std::string& property) {
        property_set(kFolderProperty, property.c_str());
        char area[128] = {};
        mRecorder.getFolderPath(area, sizeof(area));
        return area;
    }

    testsupport::TempDir mDir;
    testsupport::LogCapture mLogs;
    ScenarioRecorder mRecorder;
};

// A regular file at the path counts as the folder too.
TEST_F(LogFolder, PropertysFolderIsCreatedWithoutAMessage) {
    const std::string folder = mDir.file("logs");
    EXPECT_EQ(folderFor(folder), folder);
    struct stat info;
    ASSERT_EQ(stat(folder.c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0771u & ~static_cast<unsigned>(umask(022)));
    EXPECT_EQ(folderFor(folder), folder) << "an existing folder is used unchanged";
    const std::string file = mDir.file("plain");
    testsupport::writeFile(file, "x");
    EXPECT_EQ(folderFor(file), file);
    EXPECT_TRUE(mLogs.lines().empty());
}

TEST_F(LogFolder, UncreatableFolderFallsBackToTheLastResort) {
    if (access("/data", F_OK) == 0)
        GTEST_SKIP() << "this machine has /data; fall-backs would be created there";
    const std::string folder = mDir.file("missing/sub");
    property_set(kFolderProperty, folder.c_str());
    char area[128];
    memset(area, 'x', sizeof(area));
    mRecorder.getFolderPath(area, sizeof(area));
    EXPECT_EQ(std::string(area, sizeof(area)), "/data/vendor" + std::string(116, '\0'))
        << "the rest of the area is filled with NULs";
    // The one line: no fall-back was made. (A substring such as "OK" could
    // stand in the random name of the temporary folder.)
    EXPECT_EQ(mLogs.unifiedLinesContaining(""),
              std::vector<std::string>{"[getFolderPath] mkdir(" + folder + ") failed, errno = 2"});
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
