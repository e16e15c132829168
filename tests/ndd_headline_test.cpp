// NDD reports and the headline: which writer a report makes, the order of
// queued items, and the headline's room.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;
using Buffer = ScenarioRecorder::Buffer;

class NddReports : public ::testing::Test {
  protected:
    NddReports() : mProperties(mDir.path(), 1000) { Peer::setReady(mRecorder, true); }

    testsupport::TempDir mDir;
    testsupport::RecorderProperties mProperties;
    ScenarioRecorder mRecorder;
};

TEST_F(NddReports, SecondCaptureReportForARequestIsIgnored) {
    mRecorder.recordNddInfo(1234, 17, 3, true);
    FileWriter* writer = Peer::requestWriter(mRecorder, 17);
    ASSERT_NE(writer, nullptr);
    EXPECT_GE(writer->mFd, 0);
    EXPECT_EQ(std::string(writer->mFilePrefix), "000001234_0017_0003_capture_");
    mRecorder.recordNddInfo(999, 17, 4, true);
    EXPECT_EQ(Peer::requestWriter(mRecorder, 17), writer);
    EXPECT_EQ(testsupport::listFiles(mDir.path()).size(), 1u);
    EXPECT_EQ(Peer::headlineItems(mRecorder, 17),
              (std::vector<std::string>{"[UKey: 1234][ReqNum: 17]"}));
}

TEST_F(NddReports, PreviewReportWithTheDefaultWritersKeyOpensNoFile) {
    mRecorder.recordNddInfo(-1, 5, 0, false);
    EXPECT_EQ(Peer::defaultWriter(mRecorder)->mFd, -1);
    EXPECT_TRUE(testsupport::listFiles(mDir.path()).empty());
    EXPECT_EQ(Peer::headlineItems(mRecorder, 5),
              (std::vector<std::string>{"[UKey: -1][ReqNum: 5]"}));
}

TEST_F(NddReports, PreviewWritersGetThePrefixOfTheirIdentities) {
    mRecorder.recordNddInfo(-2, -1, -1, false);
    EXPECT_EQ(std::string(Peer::defaultWriter(mRecorder)->mFilePrefix),
              "-00000002_-001_-001_preview_");
}

TEST_F(NddReports, NddTextsPrecedeSnippetsMostRecentFirst) {
    ResultParam param;
    param.requestNum = 9;
    param.addToHeadline = true;
    mRecorder.submitExecutionRecord(param, "snippet");
    mRecorder.recordNddInfo(1, 9, 0, false);
    mRecorder.recordNddInfo(1, 9, 0, false);
    mRecorder.recordNddInfo(2, 9, 0, false);
    EXPECT_EQ(Peer::headlineItems(mRecorder, 9),
              (std::vector<std::string>{"[UKey: 2][ReqNum: 9]", "[UKey: 1][ReqNum: 9]",
                                        "[UKey: 1][ReqNum: 9]", ", snippet"}));
    EXPECT_EQ(Peer::headlineLengths(mRecorder, 9)[0], 20);
}

TEST_F(NddReports, ReportsAreIgnoredWhileTheRecorderIsNotStarted) {
    Peer::setReady(mRecorder, false);
    mRecorder.recordNddInfo(1, 2, 3, true);
    mRecorder.recordNddInfo(4, 5, 6, false);
    EXPECT_EQ(Peer::writerCount(mRecorder), 0u);
    EXPECT_EQ(Peer::headlineQueueCount(mRecorder), 0u);
    EXPECT_TRUE(testsupport::listFiles(mDir.path()).empty());
}

TEST_F(NddReports, LookupFallsBackToTheDefaultWriter) {
    mRecorder.recordNddInfo(1, 30, 0, true);
    EXPECT_EQ(mRecorder.getFileWriterFromContainer(30), Peer::requestWriter(mRecorder, 30));
    EXPECT_EQ(mRecorder.getFileWriterFromContainer(31), Peer::defaultWriter(mRecorder));
    EXPECT_EQ(Peer::writerCount(mRecorder), 1u);
    mRecorder.openFileWriter(nullptr, "capture");  // no effect
}

class Headline : public ::testing::Test {
  protected:
    std::string text() const {
        return std::string(mBuffer->mHeadline,
                           ScenarioRecorder::kHeadlineSize - mBuffer->mHeadlineRemaining);
    }

    ScenarioRecorder mRecorder;
    std::unique_ptr<Buffer> mBuffer = std::make_unique<Buffer>();
    testsupport::LogCapture mLogs;
};

TEST_F(Headline, ItemOf1022CharactersFitsAndOf1023OrNegativeLengthDoesNot) {
    const std::string longest(1023, 'h');
    mRecorder.writeStringToHeadline(mBuffer.get(), longest.c_str(), 1023);
    mRecorder.writeStringToHeadline(mBuffer.get(), "abc", -1);
    EXPECT_EQ(text(), "");
    EXPECT_EQ(
        mLogs.unifiedLinesContaining("[writeStringToHeadline] Headline size is not enough").size(),
        2u);
    mRecorder.writeStringToHeadline(mBuffer.get(), longest.c_str(), 1022);
    EXPECT_EQ(text(), longest.substr(0, 1022));
    EXPECT_EQ(mBuffer->mHeadlineRemaining, 2u);
}

TEST_F(Headline, FullHeadlineDropsEveryFurtherItemButEmptyOnes) {
    const std::string filler(1020, 'f');
    mRecorder.writeStringToHeadline(mBuffer.get(), filler.c_str(), 1020);
    mRecorder.writeStringToHeadline(mBuffer.get(), ", abc", 5);  // does not fit: dropped whole
    mRecorder.writeStringToHeadline(mBuffer.get(), ", a", 2);    // fits: 1,022 used
    mRecorder.writeStringToHeadline(mBuffer.get(), "x", 1);
    mRecorder.writeStringToHeadline(mBuffer.get(), "", 0);
    EXPECT_EQ(text(), filler + ", ");
    EXPECT_EQ(mLogs.unifiedLinesContaining("Headline size is not enough").size(), 2u);
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
