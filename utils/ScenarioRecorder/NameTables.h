// The library's own view of the name tables: a lookup gives the name and its
// length, both owned by the table, so that record formatting never measures a
// name. ConvertToString gives the same pointers to the library's users.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "IScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

struct TableName {
    const char* text;  // NUL-terminated; valid until process exit
    size_t length;
};

// Fall-backs for numbers without a row.
constexpr TableName kNoModuleName = {"noModuleName", 12};
constexpr TableName kNoDecisionName = {"noDecisionName", 14};
constexpr TableName kNoStageName = {"noStageName", 11};

TableName lookupModuleName(uint32_t module);
TableName lookupDecisionName(DecisionType type);
TableName lookupStageName(int stage);

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
