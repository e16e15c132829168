// Starts the recorder for the life of this object. Construct one per process,
// early, on the host's start-up thread: when the property
// "vendor.debug.camera.scenarioRecorder.enable" is 1 it starts the recorder's
// writer thread, and its destruction stops it after everything handed off has
// been written. Any other value starts nothing.
#pragma once

#include <memory>

#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

class ScenarioRecorderInitializerImpl;

class SCENARIO_RECORDER_EXPORT ScenarioRecorderInitializer {
  public:
    ScenarioRecorderInitializer();
    ~ScenarioRecorderInitializer();

    ScenarioRecorderInitializer(const ScenarioRecorderInitializer&) = delete;
    ScenarioRecorderInitializer& operator=(const ScenarioRecorderInitializer&) = delete;

  private:
    std::unique_ptr<ScenarioRecorderInitializerImpl> mImpl;
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
