#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimOptions.h"

namespace scenariosim {
namespace {

TEST(SimOptionsTest, DefaultsNeedNoArguments) {
    const ParseResult parsed = parseOptions({});
    EXPECT_EQ(parsed.mError, "");
    EXPECT_EQ(parsed.mOptions.mFps, 30);
    EXPECT_EQ(parsed.mOptions.mWorkerThreads, 4);
    EXPECT_EQ(parsed.mOptions.mOutFolder, "scenario_logs");
    EXPECT_TRUE(parsed.mOptions.mStatsJsonPath.empty());
}

TEST(SimOptionsTest, TakesValuesAfterTheNameAndAfterAnEqualsSign) {
    const ParseResult parsed =
        parseOptions({"--duration", "0.5", "--fps=60", "--threads", "7", "--capture-interval=0",
                      "--records", "9", "--out=a/b", "--stats-json", "s.json", "--quiet"});
    ASSERT_EQ(parsed.mError, "");
    EXPECT_DOUBLE_EQ(parsed.mOptions.mDurationSeconds, 0.5);
    EXPECT_EQ(parsed.mOptions.mFps, 60);
    EXPECT_EQ(parsed.mOptions.mWorkerThreads, 7);
    EXPECT_EQ(parsed.mOptions.mCaptureInterval, 0);
    EXPECT_EQ(parsed.mOptions.mRecordsPerModule, 9);
    EXPECT_EQ(parsed.mOptions.mOutFolder, "a/b");
    EXPECT_EQ(parsed.mOptions.mStatsJsonPath, "s.json");
    EXPECT_TRUE(parsed.mOptions.mQuiet);
}

TEST(SimOptionsTest, RefusesBadCommandLinesWithOneLine) {
    const std::vector<std::vector<std::string>> badLines = {
        {"--fps", "0"},    {"--fps", "1001"},   {"--threads", "2x"},
        {"--records", ""}, {"--duration", "0"}, {"--duration", "nan"},
        {"--duration"},    {"--out="},          {"--out", std::string(92, 'd')},
        {"--frames", "3"}, {"report"},          {"--stats-json="},
    };
    for (const std::vector<std::string>& args : badLines) {
        const std::string error = parseOptions(args).mError;
        EXPECT_NE(error, "") << args[0];
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
}

TEST(SimOptionsTest, HelpStopsAtOnce) {
    const ParseResult parsed = parseOptions({"--help", "--fps", "0"});
    EXPECT_TRUE(parsed.mOptions.mHelp);
    EXPECT_EQ(parsed.mError, "");
}

}  // namespace
}  // namespace scenariosim
