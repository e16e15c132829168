// Through the service thread to real files. Many threads, preview sessions,
// full buffers and expiry are the stress test's part.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/RecorderFiles.h"
#include "support/RecorderPeer.h"
#include "support/Records.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

using namespace testsupport;
using Lines = std::vector<std::string>;

class ServiceThread : public ::testing::Test {
  protected:
    explicit ServiceThread(int flushMs = 20) : mProperties(mDir.path(), flushMs) {
        mRecorder.init();
    }

    // Set up before the thread starts: the logger's settings are not to
    // change while another thread logs.
    LogCapture mLogs;
    TempDir mDir;
    RecorderProperties mProperties;
    ScenarioRecorder mRecorder;
};

// The last record's room is reserved before the request is handed off and
// its copy published after: the buffer is written only then, and whole.
TEST_F(ServiceThread, CaptureRequestGetsItsOwnNamedFileOnceItsLastRecordIsPublished) {
    mRecorder.submitExecutionRecord(resultParam(17, true), "A");  // before the NDD report
    mRecorder.recordNddInfo(1234, 17, 3, true);
    mRecorder.submitDecisionRecord(decisionParam(17), "first");
    mRecorder.submitExecutionRecord(resultParam(17, true), "B");
    Peer::Buffer* buffer = Peer::reserve(mRecorder, 17, "published late");
    ASSERT_NE(buffer, nullptr);
    mRecorder.printLog(17);
    // No condition tells that the thread saw it; one that did not wait shows it.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_NE(Peer::requestWriter(mRecorder, 17), nullptr) << "written while being copied";
    Peer::publish(mRecorder, buffer);
    ASSERT_TRUE(waitFor([&] { return Peer::requestWriter(mRecorder, 17) == nullptr; }))
        << "the request's writer is dropped after its last buffer";

    const Lines files = logFiles(mDir.path(), "capture");
    ASSERT_EQ(files.size(), 1u);
    const std::regex name(
        ".*/000001234_0017_0003_capture__\\d{4}_\\d{4}_\\d{6}_TuningLog_01\\.txt");
    EXPECT_TRUE(std::regex_match(files[0], name)) << files[0];
    EXPECT_EQ(readLines(files[0]),
              (Lines{"[UKey: 1234][ReqNum: 17], A, B", resultLine("A"), decisionLine("first"),
                     resultLine("B"), "published late"}));
}

TEST_F(ServiceThread, UnInitWritesRetiredBuffersAndDiscardsTheRest) {
    mRecorder.recordNddInfo(7, 30, 0, false);
    for (int request = 30; request < 33; ++request) {
        mRecorder.submitDecisionRecord(decisionParam(request),
                                       "retired " + std::to_string(request));
        mRecorder.printLog(request);
    }
    mRecorder.submitDecisionRecord(decisionParam(33), "never retired");
    mRecorder.unInit();
    // The default writer stays open: its file was flushed when the queue ran
    // dry. Requests without an NDD report have an empty headline.
    const Lines files = logFiles(mDir.path(), "preview");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(readLines(files[0]),
              (Lines{"[UKey: 7][ReqNum: 30]", decisionLine("retired 30"), "",
                     decisionLine("retired 31"), "", decisionLine("retired 32")}));
    EXPECT_EQ(Peer::activeCount(mRecorder), 0u);
    EXPECT_EQ(Peer::pendingCount(mRecorder), 0u);
    EXPECT_FALSE(Peer::hasThread(mRecorder));
}

TEST_F(ServiceThread, WriterWithoutAFileReportsAndKeepsTheHeadlineItems) {
    mRecorder.submitExecutionRecord(resultParam(40, true), "kept");
    mRecorder.printLog(40);
    mRecorder.unInit();
    EXPECT_EQ(mLogs.unifiedLinesContaining("Unable to open file"),
              Lines{"[serviceThreadEntry] Unable to open file. Please disable SELinux and restart "
                    "lumenhostd. !!!"});
    EXPECT_TRUE(listFiles(mDir.path()).empty());
    EXPECT_EQ(Peer::headlineItems(mRecorder, 40), Lines{", kept"});
}

TEST_F(ServiceThread, FreePoolKeepsThreeBuffersAndReusesTheLastReturned) {
    for (int request = 0; request < 5; ++request) {
        mRecorder.submitDecisionRecord(decisionParam(request), "x");
    }
    for (int request = 0; request < 5; ++request) mRecorder.printLog(request);
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(mRecorder) == 0; }));
    ASSERT_TRUE(waitFor([&] { return Peer::freeBuffers(mRecorder).size() == 3; }));
    Peer::Buffer* lastReturned = Peer::freeBuffers(mRecorder).back();
    mRecorder.submitDecisionRecord(decisionParam(9), "reuse");
    EXPECT_EQ(Peer::activeBuffer(mRecorder, 9), lastReturned);
    EXPECT_EQ(Peer::walkActive(mRecorder, 9).records, Lines{decisionLine("reuse")});
    EXPECT_EQ(Peer::freeBuffers(mRecorder).size(), 2u);
}

class ServiceThreadPriority : public ServiceThread {
  protected:
    // Idle passes lower the level one by one, a second apart: every step is seen.
    ServiceThreadPriority() : ServiceThread(1000) {}
};

TEST_F(ServiceThreadPriority, QueueLengthRaisesThePriorityAndIdlePassesStepItBackDown) {
    if (geteuid() != 0) GTEST_SKIP() << "lowering a nice value needs privileges";
    pid_t thread = -1;
    ASSERT_TRUE(waitFor([&] { return (thread = findServiceThread()) > 0; }));
    const auto nice = [&] { return getpriority(PRIO_PROCESS, static_cast<id_t>(thread)); };
    ASSERT_TRUE(waitFor([&] { return nice() == 19; }));
    // Retires a buffer whose one record is published or not: the thread stops
    // in front of it until it is.
    const auto retire = [&](int requestNum, bool published) {
        Peer::Buffer* buffer = Peer::reserve(mRecorder, requestNum, "queued");
        if (published) Peer::publish(mRecorder, buffer);
        mRecorder.printLog(requestNum);
        return buffer;
    };
    // Holds the thread in front of two unpublished buffers and `behind` more,
    // lets the first go so that the thread takes the second with `behind` + 1
    // queued and must reach `raised`, then the second: returns each nice value
    // seen from then until the thread is idle at 19 again.
    const auto stepsAfterQueueing = [&](int firstRequest, int behind, int raised) {
        Peer::Buffer* first = retire(firstRequest, false);
        Peer::Buffer* second = retire(firstRequest + 1, false);
        for (int i = 0; i < behind; ++i) retire(firstRequest + 2 + i, true);
        Peer::publish(mRecorder, first);
        EXPECT_TRUE(waitFor([&] { return nice() == raised; })) << behind + 1 << " queued";
        std::vector<int> seen{nice()};
        Peer::publish(mRecorder, second);
        waitFor([&] {
            const int now = nice();
            if (seen.back() != now) seen.push_back(now);
            return now == 19;
        });
        return seen;
    };

    retire(50, true);
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(mRecorder) == 0; }));
    EXPECT_EQ(nice(), 19) << "a queue of one changes nothing";
    EXPECT_EQ(stepsAfterQueueing(100, 3, 0), (std::vector<int>{0, 10, 19}));
    EXPECT_EQ(stepsAfterQueueing(200, 11, -4), (std::vector<int>{-4, 0, 10, 19}));
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
