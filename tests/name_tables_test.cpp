// The name tables at their edges: numbers beside and between rows, names
// shared by several numbers, the longest name and the fall-backs. The names'
// stored lengths are held to them by record_path_fuzz, which compares whole
// lines with the snprintf construction.
#include <gtest/gtest.h>
#include <stdint.h>

#include <utility>

#include "ConvertToString.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;

namespace {

sr::ConvertToString& names() {
    return sr::ConvertToString::getInstance();
}

TEST(NameTables, DecisionNamesFallBackOutsideOneToSix) {
    EXPECT_STREQ(names().getDecisionName(sr::TRIGGER_FEATURE), "TRIGGER_FEATURE");
    for (uint32_t value : {0u, 7u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(names().getDecisionName(static_cast<sr::DecisionType>(value)),
                     "noDecisionName")
            << value;
    }
}

TEST(NameTables, StageGapsFallBackAndSharedNamesRepeat) {
    for (int stage : {2, 5, 8, 10, 12, 14, 18, 37, -1, INT32_MIN}) {
        EXPECT_STREQ(names().getStageName(stage), "noStageName") << stage;
    }
    for (auto [stage, name] : {std::pair<int, const char*>{1, "Stage_R2Y"},
                               {7, "Stage_R2Y"},
                               {11, "Stage_RRZ_R2Y"},
                               {13, "Stage_RRZ_R2Y"},
                               {15, "Stage_RRZ_Y2Y"},
                               {16, "Stage_RRZ_Y2Y"},
                               {35, "Stage_PipelineMiddleware_Config"}}) {
        EXPECT_STREQ(names().getStageName(stage), name) << stage;
    }
}

TEST(NameTables, ModuleRangesEndWhereTheyShouldAndSkipTheirGaps) {
    EXPECT_STREQ(names().getModuleName(0x40007001), "Utils");
    EXPECT_STREQ(names().getModuleName(0x00801000), "3A");
    EXPECT_STREQ(names().getModuleName(0x0020700C), "CameraMiddleware");
    EXPECT_STREQ(names().getModuleName(0x01004014), "P2Streaming");
    // Gaps inside ranges, numbers just past a range's end, 0 and -1.
    for (int module : {0x00207005, 0x01004003, 0x01004005, 0x01004009, 0x0020700D, 0x01004015,
                       0x00801001, 0x40007002, 0, -1}) {
        EXPECT_STREQ(names().getModuleName(module), "noModuleName") << std::hex << module;
    }
    for (int module : {0x08001005, 0x0800200B, 0x00404002}) {
        EXPECT_STREQ(names().getModuleName(module), "FaceDetection") << std::hex << module;
    }
    for (int module : {0x00402001, 0x01002001, 0x0100200B}) {
        EXPECT_STREQ(names().getModuleName(module), "P2Capture") << std::hex << module;
    }
}

}  // namespace
