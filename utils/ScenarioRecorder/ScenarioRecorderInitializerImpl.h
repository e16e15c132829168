// The startup object's implementation: starts the recorder for the value 1
// of the enable property and stops what it started.
#pragma once

#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

class ScenarioRecorder;

class SCENARIO_RECORDER_EXPORT ScenarioRecorderInitializerImpl {
  public:
    ScenarioRecorderInitializerImpl();
    ~ScenarioRecorderInitializerImpl();

    ScenarioRecorderInitializerImpl(const ScenarioRecorderInitializerImpl&) = delete;
    ScenarioRecorderInitializerImpl& operator=(const ScenarioRecorderInitializerImpl&) = delete;

  private:
    int mEnableValue;             // the enable property at construction
    ScenarioRecorder* mRecorder;  // the recorder this object started, or null; not owned
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
