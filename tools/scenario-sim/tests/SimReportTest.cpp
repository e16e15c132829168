#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "OutputFolder.h"
#include "SimReport.h"

namespace scenariosim {
namespace {

namespace fs = std::filesystem;

TEST(SimReportTest, LatencyPercentilesTakeTheNearestRank) {
    std::vector<int64_t> samples(1000);
    std::iota(samples.begin(), samples.end(), 1);
    std::shuffle(samples.begin(), samples.end(), std::mt19937(7));
    const LatencySummary summary = summarizeLatencies(samples);
    EXPECT_EQ(summary.mCalls, 1000u);
    EXPECT_EQ(summary.mMedianNs, 500);
    EXPECT_EQ(summary.mP99Ns, 990);
    EXPECT_EQ(summary.mP999Ns, 999);
    EXPECT_EQ(summary.mMaxNs, 1000);
}

TEST(SimReportTest, LatencyOfFewSamples) {
    EXPECT_EQ(summarizeLatencies({}).mCalls, 0u);
    const LatencySummary one = summarizeLatencies({42});
    EXPECT_EQ(one.mMedianNs, 42);
    EXPECT_EQ(one.mP999Ns, 42);
    EXPECT_EQ(one.mMaxNs, 42);
}

class SimFolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mFolder = fs::temp_directory_path() /
                  ("scenario-sim-folder-" + std::to_string(getpid()) + "-" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(mFolder);
    }
    void TearDown() override { fs::remove_all(mFolder); }

    void write(const std::string& name, const std::string& text) {
        std::ofstream(mFolder / name, std::ios::app) << text;
    }

    fs::path mFolder;
};

TEST_F(SimFolderTest, MakesTheWholeChain) {
    std::string error;
    const fs::path nested = mFolder / "a" / "b";
    ASSERT_TRUE(makeFolderChain(nested.string(), &error)) << error;
    EXPECT_TRUE(fs::is_directory(nested));
    EXPECT_TRUE(makeFolderChain(nested.string(), &error)) << "an existing folder is fine";
}

TEST_F(SimFolderTest, RefusesAFileInTheWay) {
    std::string error;
    ASSERT_TRUE(makeFolderChain(mFolder.string(), &error));
    write("taken", "x");
    EXPECT_FALSE(makeFolderChain((mFolder / "taken").string(), &error));
    EXPECT_NE(error, "");
}

TEST_F(SimFolderTest, ListsOnlyFilesNewOrChangedSinceTheSnapshot) {
    std::string error;
    ASSERT_TRUE(makeFolderChain((mFolder / "sub").string(), &error));
    write("old.txt", "old");
    write("grown.txt", "12");
    const FolderSnapshot before(mFolder.string());
    write("grown.txt", "345");
    write("new.txt", "abcd");
    write("sub/inner.txt", "ignored");

    const std::vector<WrittenFile> written = before.writtenSince();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[0].mName, "grown.txt");
    EXPECT_EQ(written[0].mSize, 5u);
    EXPECT_EQ(written[1].mName, "new.txt");
    EXPECT_EQ(written[1].mSize, 4u);
}

}  // namespace
}  // namespace scenariosim
