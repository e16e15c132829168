// Bad command lines are refused with one line (scenario-sim then exits with
// status 2); the log folder travels through a property of at most 91 characters.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimOptions.h"

namespace scenariosim {
namespace {

TEST(SimOptionsTest, RefusesBadCommandLinesWithOneLine) {
    const std::vector<std::vector<std::string>> badLines = {
        {"--fps", "1001"}, {"--threads", "2x"}, {"--duration", "nan"}, {"--duration"},
        {"--frames", "3"}, {"report"},          {"--scene", "moon"},   {"--seed", "-1"},
    };
    for (const std::vector<std::string>& args : badLines) {
        const std::string error = parseOptions(args).mError;
        EXPECT_NE(error, "") << args[0];
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    EXPECT_NE(parseOptions({"--out", std::string(92, 'd')}).mError, "");
    const ParseResult good =
        parseOptions({"--fps=60", "--out", std::string(91, 'd'), "--scene", "dusk"});
    EXPECT_EQ(good.mError, "");
    EXPECT_EQ(good.mOptions.mFps, 60);
    EXPECT_EQ(good.mOptions.mScene, "dusk");
}

}  // namespace
}  // namespace scenariosim
