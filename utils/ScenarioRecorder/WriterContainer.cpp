// The writers of the recorder: the default (preview) writer and one writer
// per capture request.
#include <stdio.h>

#include "RecorderLog.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

void ScenarioRecorder::openFileWriter(FileWriter* writer, const char* kind) {
    if (writer == nullptr) return;
    char prefix[FileWriter::kFilePrefixSize] = {};
    const int length = snprintf(prefix, sizeof(prefix), "%09d_%04d_%04d_%s_", writer->mUniqueKey,
                                writer->mRequestNum, writer->mTagNumber, kind);
    if (length < 1) {
        SR_LOGW("snprintf for file name fail");
        return;
    }
    char folder[kFolderPathSize] = {};
    getFolderPath(folder, sizeof(folder));
    writer->mFolder = folder;
    writer->open(true, prefix, false);
}

FileWriter* ScenarioRecorder::getFileWriterFromContainer(int requestNum) {
    std::lock_guard<std::mutex> lock(mWriterLock);
    auto it = mFileWriters.find(requestNum);
    return it != mFileWriters.end() ? it->second.get() : mDefaultWriter.get();
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
