// Names of module numbers, decision types and stage numbers, as they appear
// in the tuning log files. The tables are filled when the library is loaded
// and never change; lookups take no lock and allocate nothing. Returned
// pointers stay valid until process exit; unknown numbers give
// "noModuleName", "noDecisionName" or "noStageName".
#pragma once

#include "IScenarioRecorder.h"
#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

class SCENARIO_RECORDER_EXPORT ConvertToString {
  public:
    static ConvertToString& getInstance();

    const char* getModuleName(int module);
    const char* getDecisionName(DecisionType type);
    const char* getStageName(int stage);
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
