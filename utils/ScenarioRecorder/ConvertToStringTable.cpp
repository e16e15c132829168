// The three name tables and ConvertToString.
//
// Each table is a hash map that owns its names. The maps are function-local
// statics, so a caller in another translation unit that runs during static
// initialisation still finds them complete; the file-scope references below
// build all three while the library loads (decision, stage, module), so no
// client thread ever pays for or races on the first construction. After that
// a lookup is one hash look-up: no lock, no allocation, no copy, and the
// returned pointer is the node's own characters until process exit.
#include <stdint.h>

#include <string>
#include <unordered_map>

#include "ConvertToString.h"
#include "NameTables.h"

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

// Every number from `first` to `last` has a row, except the listed gaps.
struct ModuleRange {
    uint32_t first;
    uint32_t last;
    const char* name;
};

constexpr DecisionRow kDecisionRows[] = {
    {ATMS_MAPPING, "ATMS_MAPPING"},         {TOP_CONTROL, "TOP_CONTROL"},
    {NORMAL_DATA_DUMP, "NORMAL_DATA_DUMP"}, {AE_EXPOSURE_PARAM, "AE_EXPOSURE_PARAM"},
    {TRIGGER_FEATURE, "TRIGGER_FEATURE"},   {ISP_FLOW, "ISP_FLOW"},
};

constexpr StageRow kStageRows[] = {
    {0, "Stage_Y2Y"},
    {1, "Stage_R2Y"},
    {3, "Stage_Y2YDCE_1stRun"},
    {4, "Stage_R2YDCE_1stRun"},
    {6, "Stage_Y2YDCE_2ndRun"},
    {7, "Stage_R2Y"},
    {9, "Stage_MDP"},
    {11, "Stage_RRZ_R2Y"},
    {13, "Stage_RRZ_R2Y"},
    {15, "Stage_RRZ_Y2Y"},
    {16, "Stage_RRZ_Y2Y"},
    {17, "Stage_MSNR_BFBLD"},
    {19, "Stage_MSNR_BFBLD_NN16"},
    {20, "Stage_MSNR_BFBLD_NN12"},
    {21, "Stage_MSNR_MSF_Y0"},
    {22, "Stage_MSNR_MSF_0"},
    {23, "Stage_MSNR_MSF_1"},
    {24, "Stage_MSNR_MSF_2"},
    {25, "Stage_MSNR_MSF_3"},
    {26, "Stage_MSNR_MSF_4"},
    {27, "Stage_MSNR_MSF_5"},
    {28, "Stage_MSNR_MSF_6"},
    {29, "Stage_MSNR_DCE"},
    {30, "Stage_AIBC_FE"},
    {31, "Stage_chromaNR"},
    {32, "Stage_DSDN10_1stRun"},
    {33, "Stage_DSDN10_2ndRun"},
    {34, "Stage_DSDN20_2ndRun"},
    {35, "Stage_PipelineMiddleware_Config"},
    {36, "Stage_Feature_Trigger"},
};

constexpr ModuleRange kModuleRanges[] = {
    {0x00202001, 0x00202002, "CameraMiddleware"},
    {0x00207001, 0x0020700C, "CameraMiddleware"},
    {0x00401001, 0x00401003, "P1_NODE"},
    {0x00402001, 0x00402001, "P2Capture"},
    {0x00402002, 0x00402002, "JPEG_Node"},
    {0x00402003, 0x00402003, "RAW16_NODE"},
    {0x00404001, 0x00404001, "P2Streaming"},
    {0x00404002, 0x00404002, "FaceDetection"},
    {0x00801000, 0x00801000, "3A"},
    {0x00801005, 0x00801005, "IspTuning"},
    {0x01002001, 0x0100200B, "P2Capture"},
    {0x01004001, 0x01004014, "P2Streaming"},
    {0x08001001, 0x08001001, "PD_HAL"},
    {0x08001002, 0x08001002, "LMV_HAL"},
    {0x08001003, 0x08001003, "VHDR_HAL"},
    {0x08001004, 0x08001004, "CHDR_HAL"},
    {0x08001005, 0x08001005, "FaceDetection"},
    {0x08001006, 0x08001006, "ASD_HAL"},
    {0x08002001, 0x08002001, "MFNR"},
    {0x08002002, 0x08002002, "AINR"},
    {0x08002003, 0x08002003, "SWNR"},
    {0x08002004, 0x08002004, "HDR"},
    {0x08002005, 0x08002005, "ZSDHDR"},
    {0x08002006, 0x08002006, "DEPTH"},
    {0x08002007, 0x08002007, "BOKEH"},
    {0x08002008, 0x08002008, "FUSION"},
    {0x08002009, 0x08002009, "PUREBOKEH"},
    {0x0800200A, 0x0800200A, "ABF"},
    {0x0800200B, 0x0800200B, "FaceDetection"},
    {0x0800200C, 0x0800200C, "LPNR"},
    {0x08004001, 0x08004001, "EIS"},
    {0x08004002, 0x08004002, "3DNR"},
    {0x08004003, 0x08004003, "FSC"},
    {0x08004004, 0x08004004, "RSS"},
    {0x40007001, 0x40007001, "Utils"},
};

// Numbers inside the ranges above that have no row.
constexpr uint32_t kModuleGaps[] = {0x00207005, 0x01004003, 0x01004005, 0x01004009};

constexpr size_t kModuleRowCount = 74;

bool isModuleGap(uint32_t module) {
    for (uint32_t gap : kModuleGaps) {
        if (gap == module) return true;
    }
    return false;
}

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
    table.reserve(kModuleRowCount);
    for (const ModuleRange& range : kModuleRanges) {
        for (uint32_t module = range.first; module <= range.last; ++module) {
            if (!isModuleGap(module)) table.emplace(module, range.name);
        }
    }
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
