// What other threads can rely on while the recorder's service thread holds
// one of its locks: each step that its documented steps put under a lock is
// done in one hold of it, file work and logging included.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
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

constexpr int kPipeSize = 4096;  // the smallest a pipe can be made

class LockHolds : public ::testing::Test {
  protected:
    LockHolds() : mProperties(mDir.path(), 20) { mRecorder.init(); }

    LogCapture mLogs;  // before the thread starts: its settings must not change under it
    TempDir mDir;
    RecorderProperties mProperties;
    ScenarioRecorder mRecorder;
};

// A capture series' first file, as a FIFO with a small pipe behind it, for
// each second in which the writer may open it: the writer's last bytes then
// block in its destructor until the test reads them.
class FifoFiles {
  public:
    FifoFiles(const std::string& folder, const std::string& prefix) {
        const time_t now = time(nullptr);
        for (time_t second = now - 1; second <= now + 3; ++second) {
            tm local{};
            localtime_r(&second, &local);
            char stamp[40];
            strftime(stamp, sizeof(stamp), "%Y_%m%d_%H%M%S", &local);
            const std::string path = folder + "/" + prefix + "_" + stamp + "_TuningLog_01.txt";
            mkfifo(path.c_str(), 0644);
            const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
            fcntl(fd, F_SETPIPE_SZ, kPipeSize);
            mReaders.emplace_back(stamp, fd);
        }
    }
    ~FifoFiles() {
        for (const auto& reader : mReaders) close(reader.second);
    }
    FifoFiles(const FifoFiles&) = delete;
    FifoFiles& operator=(const FifoFiles&) = delete;

    // The read end of the FIFO of time stamp `stamp`, or -1.
    int reader(const std::string& stamp) const {
        for (const auto& reader : mReaders) {
            if (reader.first == stamp) return reader.second;
        }
        return -1;
    }

  private:
    std::vector<std::pair<std::string, int>> mReaders;
};

int bytesWaiting(int fd) {
    int bytes = 0;
    ioctl(fd, FIONREAD, &bytes);
    return bytes;
}

// Reads until every writer has closed the FIFO.
std::string readToEnd(int fd) {
    std::string content;
    char chunk[4096];
    for (;;) {
        pollfd readable{fd, POLLIN, 0};
        poll(&readable, 1, 100);
        const ssize_t got = read(fd, chunk, sizeof(chunk));
        if (got == 0) return content;
        if (got > 0) content.append(chunk, static_cast<size_t>(got));
    }
}

TEST_F(LockHolds, AnEndedRequestsFileIsCompleteAndClosedBeforeTheWriterLockIsFreeAgain) {
    FifoFiles fifos(mDir.path(), "000000001_0017_0000_capture_");
    mRecorder.recordNddInfo(1, 17, 0, true);
    const FileWriter* writer = Peer::requestWriter(mRecorder, 17);
    ASSERT_NE(writer, nullptr);
    const int reader = fifos.reader(writer->mTimeStamp);
    ASSERT_GE(reader, 0) << "no FIFO for " << writer->mTimeStamp;
    mRecorder.recordNddInfo(1, 18, 0, true);

    // Request 17's lines, twice the pipe, stay in its writer's memory until
    // the writer is destroyed: request 18 queued behind it spares it the flush.
    Peer::Buffer* held = Peer::reserve(mRecorder, 17, "reserved first, published last");
    Lines expected{nddText(1, 17), "reserved first, published last"};
    for (int i = 0; i < 8; ++i) {
        const std::string text(900, static_cast<char>('a' + i));
        mRecorder.submitDecisionRecord(decisionParam(17), text);
        expected.push_back(decisionLine(text));
    }
    mRecorder.printLog(17);
    mRecorder.submitDecisionRecord(decisionParam(18), "behind");
    mRecorder.printLog(18);
    Peer::publish(mRecorder, held);

    // The pipe is full: the service thread is writing the ended writer's last
    // bytes, and must be doing so under the writer lock.
    ASSERT_TRUE(waitFor([&] { return bytesWaiting(reader) == kPipeSize; }));
    EXPECT_FALSE(Peer::writerLockFree(mRecorder));

    std::atomic<bool> reported{false};
    std::thread nextCapture([&] {
        mRecorder.recordNddInfo(1, 19, 0, true);
        reported = true;
    });
    const std::string content = readToEnd(reader);
    nextCapture.join();
    EXPECT_TRUE(reported);
    EXPECT_EQ(splitLines(content), expected);
    EXPECT_EQ(Peer::requestWriter(mRecorder, 17), nullptr);
    EXPECT_NE(Peer::requestWriter(mRecorder, 19), nullptr);
}

// The expiry's debug line is logged inside the hold that moved the buffer,
// and the hold lasts until the service thread has taken it: a retirement on
// another thread lands behind it and cannot change how it is written.
TEST_F(LockHolds, AnExpiredBufferIsLoggedAndTakenInTheHoldThatExpiredIt) {
    std::atomic<int> expiries{0};
    std::atomic<int> lockFreeDuringExpiry{0};
    mLogs.onEachLine([&](const CapturedLine& line) {
        if (line.sink != CapturedLine::Sink::kUnified) return;
        if (line.text.find("is expired") == std::string::npos) return;
        ++expiries;
        if (Peer::bufferLockFree(mRecorder)) ++lockFreeDuringExpiry;
    });
    mRecorder.recordNddInfo(1, 30, 0, false);
    mRecorder.submitDecisionRecord(decisionParam(30), "forgotten");
    Peer::ageActiveBuffer(mRecorder, 30, 11);
    ASSERT_TRUE(waitFor([&] { return expiries > 0 && Peer::pendingCount(mRecorder) == 0; }));
    mLogs.onEachLine(nullptr);
    EXPECT_EQ(lockFreeDuringExpiry, 0);
    // 11 seconds old, or 12 when a second began between the aging and the check.
    const Lines expired = mLogs.unifiedLinesContaining("is expired");
    ASSERT_EQ(expired.size(), 1u);
    EXPECT_TRUE(std::regex_match(
        expired[0],
        std::regex(
            R"(\[serviceThreadEntry\] Request\(30\)'s buffer is expired\. It's life time is\(1[12]\))")))
        << expired[0];
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
