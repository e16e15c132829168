// NDD reports and the headline: which writer a report makes, the items it
// queues, and the headline's room.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using Lines = std::vector<std::string>;

class NddReports : public ::testing::Test {
  protected:
    NddReports() : mProperties(mDir.path(), 1000) { Peer::setReady(mRecorder, true); }

    testsupport::TempDir mDir;
    testsupport::RecorderProperties mProperties;
    ScenarioRecorder mRecorder;
};

TEST_F(NddReports, SecondCaptureReportIsIgnoredAndOtherRequestsFindTheDefaultWriter) {
    mRecorder.recordNddInfo(1234, 17, 3, true);
    FileWriter* writer = Peer::requestWriter(mRecorder, 17);
    ASSERT_NE(writer, nullptr);
    EXPECT_GE(writer->mFd, 0);
    EXPECT_EQ(std::string(writer->mFilePrefix), "000001234_0017_0003_capture_");
    mRecorder.recordNddInfo(999, 17, 4, true);
    EXPECT_EQ(Peer::requestWriter(mRecorder, 17), writer);
    EXPECT_EQ(testsupport::listFiles(mDir.path()).size(), 1u);
    EXPECT_EQ(Peer::headlineItems(mRecorder, 17), Lines{"[UKey: 1234][ReqNum: 17]"});
    EXPECT_EQ(mRecorder.getFileWriterFromContainer(17), writer);
    EXPECT_EQ(mRecorder.getFileWriterFromContainer(18), Peer::defaultWriter(mRecorder));
    EXPECT_EQ(Peer::writerCount(mRecorder), 1u);
}

TEST_F(NddReports, PreviewReportOpensAFileOnlyForANewUniqueKey) {
    mRecorder.recordNddInfo(-1, 5, 0, false);
    EXPECT_EQ(Peer::defaultWriter(mRecorder)->mFd, -1);
    EXPECT_TRUE(testsupport::listFiles(mDir.path()).empty());
    EXPECT_EQ(Peer::headlineItems(mRecorder, 5), Lines{"[UKey: -1][ReqNum: 5]"});
    mRecorder.recordNddInfo(-2, -1, -1, false);
    EXPECT_EQ(std::string(Peer::defaultWriter(mRecorder)->mFilePrefix),
              "-00000002_-001_-001_preview_");
    EXPECT_EQ(testsupport::listFiles(mDir.path()).size(), 1u);
}

// The old series is complete on disk when the new series' first file (and
// the storage reservation ahead of it) is made, so the reservation never
// removes a file that is still open.
TEST_F(NddReports, NewUniqueKeyClosesTheOldSeriesBeforeOpeningTheNew) {
    mRecorder.recordNddInfo(1, 0, 0, false);
    const std::string oldFile = mDir.file(testsupport::listFiles(mDir.path()).at(0));
    Peer::defaultWriter(mRecorder)->onWriteLog("last line of key 1");
    std::string oldFileAtNewOpen = "(new file not opened)";
    testsupport::LogCapture logs;
    logs.onEachLine([&](const testsupport::CapturedLine& line) {
        if (line.sink == testsupport::CapturedLine::Sink::kUnified &&
            line.text.find("[open] Write log to") == 0) {
            oldFileAtNewOpen = testsupport::readFile(oldFile);
        }
    });
    mRecorder.recordNddInfo(2, 1, 0, false);
    EXPECT_EQ(oldFileAtNewOpen, "last line of key 1\n");
    EXPECT_EQ(testsupport::listFiles(mDir.path()).size(), 2u);
}

class Headline : public ::testing::Test {
  protected:
    std::string text() const {
        return std::string(mBuffer->mHeadline,
                           ScenarioRecorder::kHeadlineSize - mBuffer->mHeadlineRemaining);
    }

    ScenarioRecorder mRecorder;
    std::unique_ptr<Peer::Buffer> mBuffer = std::make_unique<Peer::Buffer>();
    testsupport::LogCapture mLogs;
};

// An item goes in only while 2 bytes stay free behind it, and is dropped
// whole otherwise; a negative length is always dropped.
TEST_F(Headline, FullHeadlineDropsEveryFurtherItemButEmptyOnes) {
    const std::string longest(1023, 'h');
    mRecorder.writeStringToHeadline(mBuffer.get(), longest.c_str(), 1023);
    mRecorder.writeStringToHeadline(mBuffer.get(), "abc", -1);
    EXPECT_EQ(text(), "");
    mRecorder.writeStringToHeadline(mBuffer.get(), longest.c_str(), 1020);
    mRecorder.writeStringToHeadline(mBuffer.get(), ", abc", 5);
    mRecorder.writeStringToHeadline(mBuffer.get(), ", a", 2);  // 1,022 used
    mRecorder.writeStringToHeadline(mBuffer.get(), "x", 1);
    mRecorder.writeStringToHeadline(mBuffer.get(), "", 0);
    EXPECT_EQ(text(), longest.substr(0, 1020) + ", ");
    EXPECT_EQ(mBuffer->mHeadlineRemaining, 2u);
    EXPECT_EQ(
        mLogs.unifiedLinesContaining("[writeStringToHeadline] Headline size is not enough").size(),
        4u);
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
