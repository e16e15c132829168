// The name tables: rows, gaps, shared names, fall-backs, and the pointers that
// ConvertToString and the internal lookups hand out.
#include <gtest/gtest.h>
#include <string.h>

#include <thread>
#include <vector>

#include "ConvertToString.h"
#include "NameTables.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;
using sr::ConvertToString;
using sr::DecisionType;

namespace {

ConvertToString& names() {
    return ConvertToString::getInstance();
}

TEST(NameTables, GetInstanceAlwaysGivesTheSameObject) {
    EXPECT_EQ(&ConvertToString::getInstance(), &ConvertToString::getInstance());
}

TEST(NameTables, DecisionNamesAndFallBack) {
    EXPECT_STREQ(names().getDecisionName(sr::ATMS_MAPPING), "ATMS_MAPPING");
    EXPECT_STREQ(names().getDecisionName(sr::TRIGGER_FEATURE), "TRIGGER_FEATURE");
    EXPECT_STREQ(names().getDecisionName(sr::ISP_FLOW), "ISP_FLOW");
    for (uint32_t value : {0u, 7u, 100u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(names().getDecisionName(static_cast<DecisionType>(value)), "noDecisionName")
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
    EXPECT_EQ(strlen(names().getStageName(35)), 31u);
    EXPECT_STREQ(names().getStageName(36), "Stage_Feature_Trigger");

    int rows = 0;
    for (int stage = -1000; stage <= 1000; ++stage) {
        if (strcmp(sr::lookupStageName(stage).text, "noStageName") != 0) ++rows;
    }
    EXPECT_EQ(rows, 30);
}

TEST(NameTables, ModuleNamesGapsAndFallBacks) {
    EXPECT_STREQ(names().getModuleName(0x40007001), "Utils");
    EXPECT_STREQ(names().getModuleName(0x00801000), "3A");
    EXPECT_STREQ(names().getModuleName(0x00801005), "IspTuning");
    EXPECT_STREQ(names().getModuleName(0x0020700C), "CameraMiddleware");
    EXPECT_STREQ(names().getModuleName(0x01004014), "P2Streaming");
    for (int module : {0x00207005, 0x01004003, 0x01004005, 0x01004009, 0, -1, 0x0020700D,
                       0x01004015, 0x00801001, 0x40007002}) {
        EXPECT_STREQ(names().getModuleName(module), "noModuleName") << std::hex << module;
    }
    for (int module : {0x08001005, 0x0800200B, 0x00404002}) {
        EXPECT_STREQ(names().getModuleName(module), "FaceDetection") << std::hex << module;
    }
    EXPECT_STREQ(names().getModuleName(0x00402001), "P2Capture");
    for (int module = 0x01002001; module <= 0x0100200B; ++module) {
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
            if (strcmp(sr::lookupModuleName(module).text, "noModuleName") != 0) ++rows;
        }
    }
    EXPECT_EQ(rows, 74);
}

TEST(NameTables, LookupsShareTheTablesOwnCharactersAndLengths) {
    const char* first = names().getModuleName(0x08002007);
    EXPECT_EQ(first, names().getModuleName(0x08002007));
    EXPECT_EQ(first, sr::lookupModuleName(0x08002007).text);
    EXPECT_EQ(sr::lookupModuleName(0x08002007).length, strlen("BOKEH"));

    const sr::TableName stage = sr::lookupStageName(35);
    EXPECT_EQ(stage.text, names().getStageName(35));
    EXPECT_EQ(stage.length, strlen(stage.text));

    const sr::TableName decision = sr::lookupDecisionName(sr::AE_EXPOSURE_PARAM);
    EXPECT_EQ(decision.text, names().getDecisionName(sr::AE_EXPOSURE_PARAM));
    EXPECT_EQ(decision.length, strlen("AE_EXPOSURE_PARAM"));

    const sr::TableName missing = sr::lookupModuleName(0);
    EXPECT_STREQ(missing.text, "noModuleName");
    EXPECT_EQ(missing.length, strlen(missing.text));
    EXPECT_EQ(sr::lookupDecisionName(static_cast<DecisionType>(0)).length,
              strlen("noDecisionName"));
    EXPECT_EQ(sr::lookupStageName(2).length, strlen("noStageName"));
}

TEST(NameTables, ConcurrentLookupsSeeTheSamePointers) {
    const char* expected = names().getStageName(21);
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (size_t t = 0; t < mismatches.size(); ++t) {
        threads.emplace_back([&mismatches, expected, t] {
            for (int i = 0; i < 20000; ++i) {
                if (ConvertToString::getInstance().getStageName(21) != expected) ++mismatches[t];
                if (sr::lookupModuleName(0x40007001).length != 5) ++mismatches[t];
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int count : mismatches) EXPECT_EQ(count, 0);
}

}  // namespace
