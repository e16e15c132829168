// The name tables: rows, gaps, shared names, fall-backs, and the pointers that
// ConvertToString and the internal lookups hand out.
#include <gtest/gtest.h>
#include <string.h>

#include "ConvertToString.h"
#include "NameTables.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;
using sr::ConvertToString;
using sr::DecisionType;

namespace {

ConvertToString& names() {
    return ConvertToString::getInstance();
}

// True when `name` is a fall-back; checks on the way that the lookup's length
// is its text's and that ConvertToString hands out the same pointer.
bool isFallback(sr::TableName name, const char* converted, const char* fallback) {
    EXPECT_EQ(name.length, strlen(name.text)) << name.text;
    EXPECT_EQ(name.text, converted) << name.text;
    return strcmp(name.text, fallback) == 0;
}

TEST(NameTables, DecisionNamesAndFallBack) {
    EXPECT_STREQ(names().getDecisionName(sr::ATMS_MAPPING), "ATMS_MAPPING");
    EXPECT_STREQ(names().getDecisionName(sr::TRIGGER_FEATURE), "TRIGGER_FEATURE");
    EXPECT_STREQ(names().getDecisionName(sr::ISP_FLOW), "ISP_FLOW");
    for (uint32_t value : {0u, 1u, 4u, 6u, 7u, 100u, 0xFFFFFFFFu}) {
        const auto type = static_cast<DecisionType>(value);
        EXPECT_EQ(isFallback(sr::lookupDecisionName(type), names().getDecisionName(type),
                             "noDecisionName"),
                  value == 0 || value > 6)
            << value;
    }
}

TEST(NameTables, StageGapsAndSharedNames) {
    for (int stage : {2, 5, 8, 10, 12, 14, 18, 37, -1, -36, INT32_MIN}) {
        EXPECT_STREQ(names().getStageName(stage), "noStageName") << stage;
    }
    EXPECT_STREQ(names().getStageName(0), "Stage_Y2Y");
    EXPECT_STREQ(names().getStageName(1), "Stage_R2Y");
    EXPECT_STREQ(names().getStageName(7), "Stage_R2Y");
    EXPECT_STREQ(names().getStageName(11), "Stage_RRZ_R2Y");
    EXPECT_STREQ(names().getStageName(13), "Stage_RRZ_R2Y");
    EXPECT_STREQ(names().getStageName(15), "Stage_RRZ_Y2Y");
    EXPECT_STREQ(names().getStageName(16), "Stage_RRZ_Y2Y");
    EXPECT_STREQ(names().getStageName(35), "Stage_PipelineMiddleware_Config");
    EXPECT_STREQ(names().getStageName(36), "Stage_Feature_Trigger");

    int rows = 0;
    for (int stage = -1000; stage <= 1000; ++stage) {
        if (!isFallback(sr::lookupStageName(stage), names().getStageName(stage), "noStageName")) {
            ++rows;
        }
    }
    EXPECT_EQ(rows, 30);
}

TEST(NameTables, ModuleNamesGapsAndFallBacks) {
    EXPECT_STREQ(names().getModuleName(0x40007001), "Utils");
    EXPECT_STREQ(names().getModuleName(0x00801000), "3A");
    EXPECT_STREQ(names().getModuleName(0x00801005), "IspTuning");
    EXPECT_STREQ(names().getModuleName(0x0020700C), "CameraMiddleware");
    EXPECT_STREQ(names().getModuleName(0x01004014), "P2Streaming");
    EXPECT_STREQ(names().getModuleName(0x08002007), "BOKEH");
    for (int module : {0x00207005, 0x01004003, 0x01004005, 0x01004009, 0, -1, 0x0020700D,
                       0x01004015, 0x00801001, 0x40007002}) {
        EXPECT_STREQ(names().getModuleName(module), "noModuleName") << std::hex << module;
    }
    for (int module : {0x08001005, 0x0800200B, 0x00404002}) {
        EXPECT_STREQ(names().getModuleName(module), "FaceDetection") << std::hex << module;
    }
    for (int module : {0x00402001, 0x01002001, 0x01002006, 0x0100200B}) {
        EXPECT_STREQ(names().getModuleName(module), "P2Capture") << std::hex << module;
    }
}

TEST(NameTables, ModuleTableHasExactly74Rows) {
    // Every row lies in one of these 4 Ki blocks; a range expanded one number
    // too far or too short, or a gap not left out, changes the count.
    const uint32_t blocks[] = {0x00202000, 0x00207000, 0x00401000, 0x00402000,
                               0x00404000, 0x00801000, 0x01002000, 0x01004000,
                               0x08001000, 0x08002000, 0x08004000, 0x40007000};
    int rows = 0;
    for (uint32_t base : blocks) {
        for (uint32_t module = base; module < base + 0x1000; ++module) {
            if (!isFallback(sr::lookupModuleName(module),
                            names().getModuleName(static_cast<int>(module)), "noModuleName")) {
                ++rows;
            }
        }
    }
    EXPECT_EQ(rows, 74);
}

}  // namespace
