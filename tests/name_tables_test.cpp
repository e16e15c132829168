// The name tables through ConvertToString: every constant of
// ScenarioRecorderIds.h converts back to its row's name and is named after
// it, and numbers without a row fall back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <vector>

#include "ConvertToString.h"
#include "ScenarioRecorderIds.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

struct Row {
    std::string constant;  // without its kModule or kStage
    int value;             // the constant's value
    const char* name;      // the row's name
};

#define MODULE_ROW(constant, number, name) \
    Row{#constant, static_cast<int>(kModule##constant), name},
#define STAGE_ROW(constant, number, name) Row{#constant, kStage##constant, name},
const std::vector<Row> kModuleRows = {SCENARIO_RECORDER_MODULE_ROWS(MODULE_ROW)};
const std::vector<Row> kStageRows = {SCENARIO_RECORDER_STAGE_ROWS(STAGE_ROW)};
#undef MODULE_ROW
#undef STAGE_ROW

// Lower case, without underscores: "Stage_RRZ_R2Y" and "RrzR2Y" both give "rrzr2y".
std::string folded(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '_'), text.end());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The constant spells the name, then at most one of the header's suffixes.
bool isNamedAfter(const Row& row, const std::string& prefix) {
    const std::string constant = folded(row.constant);
    const std::string name = folded(std::string(row.name).substr(prefix.size()));
    if (constant.compare(0, name.size(), name) != 0) return false;
    const std::string suffix = constant.substr(name.size());
    if (suffix.empty() || suffix == "b" || suffix == "c" || suffix == "hal" || suffix == "capture")
        return true;
    return suffix == "unit" + std::to_string(row.value & 0xfff);
}

TEST(NameTables, EveryModuleConstantConvertsBackToItsRowAndIsNamedAfterIt) {
    ConvertToString& names = ConvertToString::getInstance();
    std::set<int> numbers;
    for (const Row& row : kModuleRows) {
        EXPECT_STREQ(names.getModuleName(row.value), row.name) << "kModule" << row.constant;
        EXPECT_TRUE(isNamedAfter(row, "")) << "kModule" << row.constant << " for " << row.name;
        numbers.insert(row.value);
    }
    EXPECT_EQ(numbers.size(), 74u) << "one constant for each of the table's 74 rows";
}

TEST(NameTables, EveryStageConstantConvertsBackToItsRowAndIsNamedAfterIt) {
    ConvertToString& names = ConvertToString::getInstance();
    std::set<int> numbers;
    for (const Row& row : kStageRows) {
        EXPECT_STREQ(names.getStageName(row.value), row.name) << "kStage" << row.constant;
        EXPECT_TRUE(isNamedAfter(row, "Stage_")) << "kStage" << row.constant << " for " << row.name;
        numbers.insert(row.value);
    }
    EXPECT_EQ(numbers.size(), 30u) << "one constant for each of the table's 30 rows";
}

TEST(NameTables, NumbersWithoutARowFallBack) {
    ConvertToString& names = ConvertToString::getInstance();
    for (int module : {0x00207005, 0x01004003, 0x01004005, 0x01004009, 0, -1})
        EXPECT_STREQ(names.getModuleName(module), "noModuleName") << std::hex << module;
    for (int stage : {2, 5, 8, 10, 12, 14, 18, 37, -1})
        EXPECT_STREQ(names.getStageName(stage), "noStageName") << stage;
    for (uint32_t type : {0u, 7u})
        EXPECT_STREQ(names.getDecisionName(static_cast<DecisionType>(type)), "noDecisionName");
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
