// Uses the installed library through its exported headers only.
#include <stdio.h>

#include "ConvertToString.h"
#include "IScenarioRecorder.h"

using NSCam::TuningUtils::scenariorecorder::ConvertToString;
using NSCam::TuningUtils::scenariorecorder::IScenarioRecorder;

int main() {
    const bool on = IScenarioRecorder::getInstance()->isScenarioRecorderOn();
    printf("recorder on: %d\n", on ? 1 : 0);
    printf("module 0x40007001: %s\n", ConvertToString::getInstance().getModuleName(0x40007001));
    return 0;
}
