// The system properties the recorder reads.
#pragma once

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// Switches the recorder on; read at construction and by the startup object.
constexpr const char* kEnableProperty = "vendor.debug.camera.scenarioRecorder.enable";
// Idle interval of the service thread in ms; read when the thread starts.
constexpr const char* kFlushIntervalProperty = "vendor.debug.camera.scenariorecorder.flushms";
// Folder of the log files; read each time a writer is opened.
constexpr const char* kFolderProperty = "vendor.debug.camera.scenariorecorder.folder";

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
