// The three name tables and ConvertToString. The module and stage rows are
// those of the exported ScenarioRecorderIds.h.
//
// Each table is a hash map that owns its names. The maps are function-local
// statics, so a caller in another translation unit that runs during static
// initialisation still finds them complete; the file-scope references below
// build all three while the library loads (decision, stage, module), so no
// client thread ever pays for or races on the first construction. After that
// a lookup is one hash look-up: no lock, no allocation, no copy, and the
// returned pointer is the node's own characters until process exit.
#include <stdint.h>

#include <iterator>
#include <string>
#include <unordered_map>

#include "ConvertToString.h"
#include "NameTables.h"
#include "ScenarioRecorderIds.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

using DecisionNameTable = std::unordered_map<DecisionType, std::string>;
using StageNameTable = std::unordered_map<int, std::string>;
using ModuleNameTable = std::unordered_map<uint32_t, std::string>;

struct DecisionRow {
    DecisionType key;
    const char* name;
};

struct StageRow {
    int key;
    const char* name;
};

struct ModuleRow {
    uint32_t key;
    const char* name;
};

constexpr DecisionRow kDecisionRows[] = {
    {ATMS_MAPPING, "ATMS_MAPPING"},         {TOP_CONTROL, "TOP_CONTROL"},
    {NORMAL_DATA_DUMP, "NORMAL_DATA_DUMP"}, {AE_EXPOSURE_PARAM, "AE_EXPOSURE_PARAM"},
    {TRIGGER_FEATURE, "TRIGGER_FEATURE"},   {ISP_FLOW, "ISP_FLOW"},
};

// The rows of ScenarioRecorderIds.h, keyed by its constants.
#define SCENARIO_RECORDER_STAGE_ROW(constant, number, name) {kStage##constant, name},
#define SCENARIO_RECORDER_MODULE_ROW(constant, number, name) {kModule##constant, name},
constexpr StageRow kStageRows[] = {SCENARIO_RECORDER_STAGE_ROWS(SCENARIO_RECORDER_STAGE_ROW)};
constexpr ModuleRow kModuleRows[] = {SCENARIO_RECORDER_MODULE_ROWS(SCENARIO_RECORDER_MODULE_ROW)};
#undef SCENARIO_RECORDER_STAGE_ROW
#undef SCENARIO_RECORDER_MODULE_ROW

DecisionNameTable buildDecisionTable() {
    DecisionNameTable table;
    for (const DecisionRow& row : kDecisionRows) table.emplace(row.key, row.name);
    return table;
}

StageNameTable buildStageTable() {
    StageNameTable table;
    for (const StageRow& row : kStageRows) table.emplace(row.key, row.name);
    return table;
}

ModuleNameTable buildModuleTable() {
    ModuleNameTable table;
    table.reserve(std::size(kModuleRows));
    for (const ModuleRow& row : kModuleRows) table.emplace(row.key, row.name);
    return table;
}

const DecisionNameTable& decisionTable() {
    static const DecisionNameTable table = buildDecisionTable();
    return table;
}

const StageNameTable& stageTable() {
    static const StageNameTable table = buildStageTable();
    return table;
}

const ModuleNameTable& moduleTable() {
    static const ModuleNameTable table = buildModuleTable();
    return table;
}

// Built at load in this order; at exit they go in the reverse order. Only
// an allocation can throw here, and a library that cannot allocate its
// tables at load has nothing better to do than end the process.
// NOLINTBEGIN(cert-err58-cpp)
[[maybe_unused]] const DecisionNameTable& sDecisionNameTable = decisionTable();
[[maybe_unused]] const StageNameTable& sStageNameTable = stageTable();
[[maybe_unused]] const ModuleNameTable& sModuleNameTable = moduleTable();
// NOLINTEND(cert-err58-cpp)

template <typename Table, typename Key>
TableName lookup(const Table& table, Key key, TableName fallback) {
    auto found = table.find(key);
    if (found == table.end()) return fallback;
    return {found->second.c_str(), found->second.size()};
}

// No data members and a trivial constructor: constant-initialised, so usable
// from any other static initialiser.
ConvertToString sConvertToString;

}  // namespace

TableName lookupModuleName(uint32_t module) {
    return lookup(moduleTable(), module, kNoModuleName);
}

TableName lookupDecisionName(DecisionType type) {
    return lookup(decisionTable(), type, kNoDecisionName);
}

TableName lookupStageName(int stage) {
    return lookup(stageTable(), stage, kNoStageName);
}

ConvertToString& ConvertToString::getInstance() {
    return sConvertToString;
}

const char* ConvertToString::getModuleName(int module) {
    return lookupModuleName(static_cast<uint32_t>(module)).text;
}

const char* ConvertToString::getDecisionName(DecisionType type) {
    return lookupDecisionName(type).text;
}

const char* ConvertToString::getStageName(int stage) {
    return lookupStageName(stage).text;
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
