// End to end through the service thread, on real files in a temporary
// folder: file names and contents, headlines, hand-offs, the free
// pool, priorities, and writers without files.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
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
using testsupport::logFiles;
using testsupport::readLines;
using testsupport::waitFor;

constexpr uint32_t kP2Streaming = 0x00404001;
constexpr int kStageMdp = 9;

DecisionParam decision(int requestNum, int frame) {
    DecisionParam param;
    param.requestNum = requestNum;
    param.frameNum = frame;
    param.decisionType = TOP_CONTROL;
    param.moduleId = kP2Streaming;
    return param;
}

ResultParam execution(int requestNum, bool headline) {
    ResultParam param;
    param.requestNum = requestNum;
    param.decisionType = ISP_FLOW;
    param.stageId = kStageMdp;
    param.moduleId = kP2Streaming;
    param.addToHeadline = headline;
    return param;
}

std::string decisionLine(int frame, const std::string& text) {
    return "[FrameNum: " + std::to_string(frame) +
           "][ModuleName: P2Streaming][Decision: TOP_CONTROL] " + text;
}

std::string executionLine(const std::string& text) {
    return "[ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] " + text;
}

class ServiceThread : public ::testing::Test {
  protected:
    explicit ServiceThread(int flushMs = 20) : mProperties(mDir.path(), flushMs) {}

    void start() { mRecorder->init(); }
    void stop() { mRecorder->unInit(); }

    std::vector<std::string> capture() { return logFiles(mDir.path(), "capture"); }
    std::vector<std::string> preview() { return logFiles(mDir.path(), "preview"); }

    testsupport::TempDir mDir;
    testsupport::RecorderProperties mProperties;
    std::unique_ptr<ScenarioRecorder> mRecorder = std::make_unique<ScenarioRecorder>();
};

TEST_F(ServiceThread, CaptureRequestGetsItsOwnNamedFileWithHeadlineAndRecords) {
    start();
    mRecorder->submitExecutionRecord(execution(17, true), "A");  // before the NDD report
    mRecorder->recordNddInfo(1234, 17, 3, true);
    mRecorder->submitDecisionRecord(decision(17, 1), "first");
    mRecorder->submitExecutionRecord(execution(17, true), "B");
    mRecorder->submitExecutionRecord(execution(17, false), "plain");
    mRecorder->printLog(17);
    ASSERT_TRUE(waitFor([&] { return Peer::requestWriter(*mRecorder, 17) == nullptr; }))
        << "the request's writer is dropped after its last buffer";
    stop();

    std::vector<std::string> files = capture();
    ASSERT_EQ(files.size(), 1u);
    const std::string name = files[0].substr(mDir.path().size() + 1);
    EXPECT_EQ(name.rfind("000001234_0017_0003_capture__", 0), 0u) << name;
    EXPECT_EQ(name.substr(name.size() - 17), "_TuningLog_01.txt") << name;
    EXPECT_EQ(readLines(files[0]),
              (std::vector<std::string>{"[UKey: 1234][ReqNum: 17], A, B", executionLine("A"),
                                        decisionLine(1, "first"), executionLine("B"),
                                        executionLine("plain")}));
}

TEST_F(ServiceThread, PreviewRequestsShareOneSeriesUntilTheUniqueKeyChanges) {
    start();
    mRecorder->recordNddInfo(42, 7, 3, false);
    mRecorder->recordNddInfo(42, 8, 3, false);
    mRecorder->submitDecisionRecord(decision(7, 70), "seven");
    mRecorder->printLog(7);
    mRecorder->submitDecisionRecord(decision(8, 80), "eight");
    mRecorder->printLog(8);
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(*mRecorder) == 0; }));
    ASSERT_EQ(preview().size(), 1u);
    const std::string first = preview()[0];
    EXPECT_NE(first.find("/000000042_0007_0003_preview__"), std::string::npos) << first;

    mRecorder->recordNddInfo(43, 9, 4, false);  // a new session: the old file is closed
    EXPECT_EQ(readLines(first),
              (std::vector<std::string>{"[UKey: 42][ReqNum: 7]", decisionLine(70, "seven"),
                                        "[UKey: 42][ReqNum: 8]", decisionLine(80, "eight")}));
    mRecorder->submitDecisionRecord(decision(9, 90), "nine");
    mRecorder->printLog(9);
    stop();
    ASSERT_EQ(preview().size(), 2u);
    const std::string second = preview()[0] == first ? preview()[1] : preview()[0];
    EXPECT_NE(second.find("/000000043_0009_0004_preview__"), std::string::npos) << second;
    EXPECT_EQ(readLines(second),
              (std::vector<std::string>{"[UKey: 43][ReqNum: 9]", decisionLine(90, "nine")}));
}

TEST_F(ServiceThread, FullBufferContinuesInTheSameFileWithItsWriterKept) {
    start();
    mRecorder->recordNddInfo(5, 20, 1, true);
    const std::string text(90, 'r');
    int count = 0;
    while (Peer::pendingCount(*mRecorder) == 0 && count < 5000) {
        mRecorder->submitDecisionRecord(decision(20, count++), text);
    }
    ASSERT_LT(count, 5000) << "the buffer never filled";
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(*mRecorder) == 0; }));
    EXPECT_NE(Peer::requestWriter(*mRecorder, 20), nullptr) << "kept for the next buffer";
    mRecorder->submitDecisionRecord(decision(20, count++), text);
    mRecorder->printLog(20);
    stop();

    ASSERT_EQ(capture().size(), 1u);
    std::vector<std::string> lines = readLines(capture()[0]);
    ASSERT_EQ(lines.size(), static_cast<size_t>(count) + 2);
    EXPECT_EQ(lines[0], "[UKey: 5][ReqNum: 20]");
    const size_t firstBlockEnd = static_cast<size_t>(count) - 2;
    EXPECT_EQ(lines[firstBlockEnd], decisionLine(count - 3, text)) << "last of the full buffer";
    EXPECT_EQ(lines[firstBlockEnd + 1], "") << "the second block's headline is empty";
    EXPECT_EQ(lines.back(), decisionLine(count - 1, text));
    EXPECT_EQ(Peer::writerCount(*mRecorder), 0u);
}

TEST_F(ServiceThread, RotationReachedThroughTheRecorderContinuesInTheNextFile) {
    start();
    mRecorder->recordNddInfo(6, 21, 1, true);
    Peer::bringWriterNearRotation(*mRecorder, 21, 10);
    mRecorder->submitDecisionRecord(decision(21, 1), "crosses the limit");
    mRecorder->submitDecisionRecord(decision(21, 2), "in the next file");
    mRecorder->printLog(21);
    stop();
    std::vector<std::string> files = capture();
    ASSERT_EQ(files.size(), 2u);
    EXPECT_NE(files[0].find("_TuningLog_01.txt"), std::string::npos);
    EXPECT_NE(files[1].find("_TuningLog_02.txt"), std::string::npos);
    EXPECT_EQ(readLines(files[0]), (std::vector<std::string>{"[UKey: 6][ReqNum: 21]"}));
    EXPECT_EQ(readLines(files[1]),
              (std::vector<std::string>{"-- CONTINUED --", decisionLine(1, "crosses the limit"),
                                        decisionLine(2, "in the next file")}));
}

TEST_F(ServiceThread, UnInitWritesRetiredBuffersAndDiscardsTheRest) {
    start();
    mRecorder->recordNddInfo(7, 30, 0, false);
    for (int request = 30; request < 33; ++request) {
        mRecorder->submitDecisionRecord(decision(request, request), "retired");
        mRecorder->printLog(request);
    }
    mRecorder->submitDecisionRecord(decision(33, 33), "never retired");
    stop();
    // The default writer stays open after unInit: what is in its file was
    // flushed when the queue ran dry. Requests without an NDD report have an
    // empty headline.
    ASSERT_EQ(preview().size(), 1u);
    std::vector<std::string> lines = readLines(preview()[0]);
    EXPECT_EQ(lines, (std::vector<std::string>{"[UKey: 7][ReqNum: 30]", decisionLine(30, "retired"),
                                               "", decisionLine(31, "retired"), "",
                                               decisionLine(32, "retired")}));
    EXPECT_EQ(Peer::activeCount(*mRecorder), 0u);
    EXPECT_EQ(Peer::pendingCount(*mRecorder), 0u);
    EXPECT_FALSE(Peer::hasThread(*mRecorder));
}

TEST_F(ServiceThread, WriterWithoutAFileReportsAndKeepsTheHeadlineItems) {
    testsupport::LogCapture logs;
    start();
    mRecorder->submitExecutionRecord(execution(40, true), "kept");
    mRecorder->printLog(40);
    stop();
    EXPECT_EQ(logs.unifiedLinesContaining("Unable to open file"),
              (std::vector<std::string>{"[serviceThreadEntry] Unable to open file. Please disable "
                                        "SELinux and restart lumenhostd. !!!"}));
    EXPECT_TRUE(testsupport::listFiles(mDir.path()).empty());
    EXPECT_EQ(Peer::headlineItems(*mRecorder, 40), (std::vector<std::string>{", kept"}));
}

TEST_F(ServiceThread, FreePoolKeepsThreeBuffersAndReusesTheLastReturned) {
    start();
    for (int request = 0; request < 5; ++request) {
        mRecorder->submitDecisionRecord(decision(request, 0), "x");
    }
    for (int request = 0; request < 5; ++request) mRecorder->printLog(request);
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(*mRecorder) == 0; }));
    ASSERT_TRUE(waitFor([&] { return Peer::freeBuffers(*mRecorder).size() == 3; }));
    Peer::Buffer* lastReturned = Peer::freeBuffers(*mRecorder).back();
    mRecorder->submitDecisionRecord(decision(9, 0), "reuse");
    EXPECT_EQ(Peer::activeBuffer(*mRecorder, 9), lastReturned);
    EXPECT_EQ(Peer::walkActive(*mRecorder, 9).records,
              (std::vector<std::string>{decisionLine(0, "reuse")}));
    EXPECT_EQ(Peer::freeBuffers(*mRecorder).size(), 2u);
    stop();
}

// A record whose room was reserved before its buffer was retired is written
// whole once its writer publishes, however late.
TEST_F(ServiceThread, BufferIsWalkedOnlyAfterItsLastWriterPublished) {
    start();
    mRecorder->recordNddInfo(9, 70, 0, true);
    LogHeader* header = nullptr;
    Peer::Buffer* buffer = nullptr;
    ASSERT_TRUE(mRecorder->allocLogSpace(70, 64, &header, &buffer));
    mRecorder->printLog(70);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_NE(Peer::requestWriter(*mRecorder, 70), nullptr) << "not written while copying";
    header->text = reinterpret_cast<char*>(header) + ScenarioRecorder::kLogHeaderSize;
    strcpy(header->text, "published late");
    buffer->mWriterCount.fetch_sub(1, std::memory_order_release);
    ASSERT_TRUE(waitFor([&] { return Peer::requestWriter(*mRecorder, 70) == nullptr; }));
    stop();
    EXPECT_EQ(readLines(capture()[0]),
              (std::vector<std::string>{"[UKey: 9][ReqNum: 70]", "published late"}));
}

class ServiceThreadPriority : public ServiceThread {
  protected:
    // Each idle pass lowers the level by one; a long interval between passes
    // lets the watcher see every step even on a loaded machine.
    ServiceThreadPriority() : ServiceThread(1000) {}

    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "lowering a nice value needs privileges";
        start();
        ASSERT_TRUE(waitFor([&] { return (mThread = testsupport::findServiceThread()) > 0; }));
        ASSERT_TRUE(waitFor([&] { return nice() == 19; }));
    }

    int nice() const { return getpriority(PRIO_PROCESS, static_cast<id_t>(mThread)); }

    // Retires a buffer of `requestNum` whose one record is still being
    // copied, so the service thread stops in front of it.
    Peer::Buffer* retireUnpublished(int requestNum) {
        LogHeader* header = nullptr;
        Peer::Buffer* buffer = nullptr;
        EXPECT_TRUE(mRecorder->allocLogSpace(requestNum, 64, &header, &buffer));
        header->text = reinterpret_cast<char*>(header) + ScenarioRecorder::kLogHeaderSize;
        strcpy(header->text, "held");
        mRecorder->printLog(requestNum);
        return buffer;
    }

    void retirePublished(int requestNum) {
        mRecorder->submitDecisionRecord(decision(requestNum, 0), "queued");
        mRecorder->printLog(requestNum);
    }

    // Holds the thread in front of two unpublished buffers with `behind` more
    // queued after them, then lets the first go: the thread takes the second
    // with `behind` + 1 queued and must reach `raised`. Returns the nice
    // values seen from then on, each change once, until the thread is idle
    // at 19 again.
    std::vector<int> stepsAfterQueueing(int firstRequest, int behind, int raised) {
        Peer::Buffer* first = retireUnpublished(firstRequest);
        Peer::Buffer* second = retireUnpublished(firstRequest + 1);
        for (int i = 0; i < behind; ++i) retirePublished(firstRequest + 2 + i);
        first->mWriterCount.fetch_sub(1, std::memory_order_release);
        EXPECT_TRUE(waitFor([&] { return nice() == raised; })) << behind + 1 << " queued";
        second->mWriterCount.fetch_sub(1, std::memory_order_release);
        std::vector<int> seen;
        waitFor([&] {
            const int now = nice();
            if (seen.empty() || seen.back() != now) seen.push_back(now);
            return now == 19;
        });
        return seen;
    }

    pid_t mThread = -1;
};

TEST_F(ServiceThreadPriority, QueueLengthRaisesThePriorityAndIdlePassesStepItBackDown) {
    retirePublished(50);
    ASSERT_TRUE(waitFor([&] { return Peer::pendingCount(*mRecorder) == 0; }));
    EXPECT_EQ(nice(), 19) << "a queue of one changes nothing";
    EXPECT_EQ(stepsAfterQueueing(100, 3, 0), (std::vector<int>{0, 10, 19}));
    EXPECT_EQ(stepsAfterQueueing(200, 11, -4), (std::vector<int>{-4, 0, 10, 19}));
    stop();
}

// Preview buffers are written through the default writer while other
// threads replace it; every record must land whole in some preview file.
TEST_F(ServiceThread, ReplacingTheDefaultWriterWhileItIsWrittenLosesNothing) {
    start();
    mRecorder->recordNddInfo(1000, 0, 0, false);
    constexpr int kRequests = 300;
    constexpr int kRecordsPerRequest = 20;
    constexpr int kReplacements = 30;
    std::thread producer([&] {
        for (int request = 0; request < kRequests; ++request) {
            for (int i = 0; i < kRecordsPerRequest; ++i) {
                mRecorder->submitDecisionRecord(decision(request, i), "preview");
            }
            mRecorder->printLog(request);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    std::thread reconfigurer([&] {
        for (int key = 1001; key < 1001 + kReplacements; ++key) {
            mRecorder->recordNddInfo(key, key, 0, false);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    producer.join();
    reconfigurer.join();
    stop();
    mRecorder.reset();  // the last default writer writes out and closes

    size_t records = 0;
    for (const std::string& file : preview()) {
        for (const std::string& line : readLines(file)) {
            if (line.find("[Decision: TOP_CONTROL] preview") != std::string::npos) ++records;
        }
    }
    EXPECT_EQ(records, static_cast<size_t>(kRequests * kRecordsPerRequest));
    EXPECT_EQ(preview().size(), static_cast<size_t>(kReplacements) + 1);
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
