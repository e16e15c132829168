// The folder of the tuning log files.
#include <cutils/properties.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "RecorderLog.h"
#include "RecorderProperties.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

constexpr const char* kDefaultFolder = "/data/vendor/camera_dump";
constexpr const char* kFallbackFolders[] = {
    "/data/vendor/camera_dump",
    "/data/vendor/scenario_recorder_log",
    "/data/scenario_recorder_log",
};
constexpr const char* kLastResortFolder = "/data/vendor";
constexpr mode_t kFolderMode = 0771;

// Copies `source` into `destination` of `size` bytes, always terminated;
// returns the length of `source`, so a result of `size` or more means cut.
size_t copyTerminated(char* destination, const char* source, size_t size) {
    const size_t length = strlen(source);
    if (size > 0) {
        const size_t copied = length < size ? length : size - 1;
        memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}

// An existing entry of any kind at the path counts as the folder.
bool makeFolder(const char* path) {
    return mkdir(path, kFolderMode) == 0 || errno == EEXIST;
}

}  // namespace

void ScenarioRecorder::getFolderPath(char* folderPath, unsigned long folderPathSize) {
    if (folderPath == nullptr) {
        SR_LOGE("folderPath is nullptr");
        return;
    }
    property_get(kFolderProperty, folderPath, kDefaultFolder);
    if (makeFolder(folderPath)) return;
    SR_LOGE("mkdir(%s) failed, errno = %d", folderPath, errno);

    auto tryCandidate = [folderPath, folderPathSize](const char* candidatePath) {
        if (copyTerminated(folderPath, candidatePath, folderPathSize) >= folderPathSize) {
            SR_LOGE("candidatePath size is too long");
            return false;
        }
        if (!makeFolder(folderPath)) return false;
        SR_LOGD("mkdir(%s) OK", folderPath);
        return true;
    };
    for (const char* candidate : kFallbackFolders) {
        if (tryCandidate(candidate)) return;
    }
    // The rest of the caller's area is cleared, not only terminated; the area
    // is never shorter than a property value, so the last byte stays a NUL.
    if (folderPathSize == 0) return;
    strncpy(folderPath, kLastResortFolder, folderPathSize);
    folderPath[folderPathSize - 1] = '\0';
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
