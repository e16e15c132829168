// Guard that holds a request open while a thread works on it: the request's
// log is handed to output when the last guard for it is destroyed. Does
// nothing while the recorder is switched off.
#pragma once

#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

class SCENARIO_RECORDER_EXPORT ScenarioLogPrinter {
  public:
    explicit ScenarioLogPrinter(int requestNum);
    ~ScenarioLogPrinter();

    ScenarioLogPrinter(const ScenarioLogPrinter&) = delete;
    ScenarioLogPrinter& operator=(const ScenarioLogPrinter&) = delete;

  private:
    int mRequestNum;
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
