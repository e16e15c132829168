// Log buffers: layout, rounding, retirement, the free pool, and concurrent
// reservations that never lose or tear a record.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using Peer = ScenarioRecorderTestPeer;
using Buffer = ScenarioRecorder::Buffer;

constexpr uint64_t kData = ScenarioRecorder::kBufferDataSize;
constexpr uint64_t kHeadlineBlock = ScenarioRecorder::kHeadlineBlockSize;

// Reserves `size` bytes, writes `line` into the room and publishes it.
void writeRecord(ScenarioRecorder& recorder, int requestNum, const std::string& line,
                 uint64_t size = 0) {
    LogHeader* header = nullptr;
    Buffer* buffer = nullptr;
    if (size == 0) size = line.size() + 1 + ScenarioRecorder::kLogHeaderSize;
    ASSERT_TRUE(recorder.allocLogSpace(requestNum, size, &header, &buffer));
    header->text = reinterpret_cast<char*>(header) + ScenarioRecorder::kLogHeaderSize;
    memcpy(header->text, line.c_str(), line.size() + 1);
    buffer->mWriterCount.fetch_sub(1, std::memory_order_release);
}

TEST(LogBuffers, FirstRecordFollowsTheHeadlineBlock) {
    ScenarioRecorder recorder;
    writeRecord(recorder, 7, "first");
    writeRecord(recorder, 7, "second");
    WalkedBuffer walked = Peer::walkActive(recorder, 7);
    EXPECT_EQ(walked.requestNum, 7);
    ASSERT_EQ(walked.sizes.size(), 3u);
    EXPECT_EQ(walked.sizes[0], kHeadlineBlock);
    EXPECT_EQ(walked.sizes[1], 48u);  // 40 + 6 rounded up
    EXPECT_EQ(walked.records, (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(walked.remaining, kData - kHeadlineBlock - 48 - 48);
    const Buffer* buffer = Peer::activeBuffer(recorder, 7);
    const auto* headline = reinterpret_cast<const LogHeader*>(buffer->mData);
    EXPECT_EQ(headline->text, buffer->mData + 40);
}

TEST(LogBuffers, SizesRoundUpToMultiplesOfEight) {
    ScenarioRecorder recorder;
    uint64_t remaining = kData - kHeadlineBlock;
    for (uint64_t size : {1u, 41u, 48u}) {
        LogHeader* header = nullptr;
        Buffer* buffer = nullptr;
        ASSERT_TRUE(recorder.allocLogSpace(1, size, &header, &buffer));
        buffer->mWriterCount.fetch_sub(1);
        const uint64_t expected = size == 1 ? 8 : 48;
        EXPECT_EQ(header->size, expected) << size;
        remaining -= expected;
        EXPECT_EQ(buffer->mRemaining, remaining) << size;
        EXPECT_EQ(buffer->mCursor, buffer->mData + (kData - remaining));
    }
}

TEST(LogBuffers, RecordThatExactlyFillsTheBufferStaysInItAndOneMoreRetiresIt) {
    ScenarioRecorder recorder;
    writeRecord(recorder, 3, "a");
    Peer::fillActiveBuffer(recorder, 3, 144);
    writeRecord(recorder, 3, "exact", 144);
    EXPECT_EQ(Peer::walkActive(recorder, 3).remaining, 0u);
    EXPECT_EQ(Peer::pendingCount(recorder), 0u);

    writeRecord(recorder, 3, "next");
    std::vector<WalkedBuffer> pending = Peer::walkPending(recorder);
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_TRUE(pending[0].continued);
    EXPECT_TRUE(pending[0].retired);
    EXPECT_EQ(pending[0].records, (std::vector<std::string>{"a", "", "exact"}));

    WalkedBuffer fresh = Peer::walkActive(recorder, 3);
    EXPECT_EQ(fresh.requestNum, 3);
    EXPECT_FALSE(fresh.retired);
    EXPECT_EQ(fresh.sizes, (std::vector<uint64_t>{kHeadlineBlock, 48}));
    EXPECT_EQ(fresh.records, (std::vector<std::string>{"next"}));
}

TEST(LogBuffers, PrintLogRetiresTheRequestsActiveBufferAsFinal) {
    ScenarioRecorder recorder;
    recorder.printLog(5);  // nothing active: no effect
    EXPECT_EQ(Peer::pendingCount(recorder), 0u);
    writeRecord(recorder, 5, "x");
    writeRecord(recorder, 6, "other request");
    recorder.printLog(5);
    std::vector<WalkedBuffer> pending = Peer::walkPending(recorder);
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_FALSE(pending[0].continued);
    EXPECT_TRUE(pending[0].retired);
    EXPECT_EQ(pending[0].records, (std::vector<std::string>{"x"}));
    EXPECT_FALSE(Peer::hasActive(recorder, 5));
    EXPECT_EQ(Peer::walkActive(recorder, 6).records, (std::vector<std::string>{"other request"}));
    writeRecord(recorder, 5, "after hand-off");
    EXPECT_EQ(Peer::walkActive(recorder, 5).records, (std::vector<std::string>{"after hand-off"}));
}

TEST(LogBuffersDeathTest, OversizedReservationIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ScenarioRecorder recorder;
    LogHeader* header = nullptr;
    Buffer* buffer = nullptr;
    EXPECT_DEATH(recorder.allocLogSpace(1, kData + 1, &header, &buffer),
                 "\\[allocLogSpace\\] Log size too large: 262152");
}

// Writers of different records copy at the same time; a hand-off between a
// reservation and its publication must not lose or tear the record.
TEST(LogBuffersConcurrency, ManyWritersNeverLoseOrTearARecord) {
    ScenarioRecorder recorder;
    constexpr int kThreads = 4;
    constexpr int kRecordsPerThread = 3000;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&recorder, t] {
            for (int i = 0; i < kRecordsPerThread; ++i) {
                // Threads 0 and 1 share request 100; the others have their own.
                const int requestNum = t < 2 ? 100 : 200 + t;
                const std::string line = "t" + std::to_string(t) + " r" + std::to_string(i) +
                                         std::string(static_cast<size_t>(i % 97), '.');
                writeRecord(recorder, requestNum, line);
            }
        });
    }
    std::thread handOff([&] {
        while (!stop.load()) {
            recorder.printLog(100);
            // Every hand-off retires a 256 KiB buffer that nothing writes
            // out here; pace them to keep the test's memory small.
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    for (auto& thread : threads) thread.join();
    stop.store(true);
    handOff.join();

    std::vector<WalkedBuffer> all = Peer::walkPending(recorder);
    for (int requestNum : {100, 202, 203}) {
        if (Peer::hasActive(recorder, requestNum)) {
            all.push_back(Peer::walkActive(recorder, requestNum));
        }
    }
    std::vector<int> nextIndex(kThreads, 0);
    size_t total = 0;
    for (const WalkedBuffer& buffer : all) {
        for (const std::string& line : buffer.records) {
            ++total;
            const size_t space = line.find(" r");
            ASSERT_NE(space, std::string::npos) << line;
            const int thread = std::stoi(line.substr(1, space - 1));
            const int index = std::stoi(line.substr(space + 2));
            EXPECT_EQ(line, "t" + std::to_string(thread) + " r" + std::to_string(index) +
                                std::string(static_cast<size_t>(index % 97), '.'));
            // Each thread's records appear in the order it reserved them.
            EXPECT_EQ(index, nextIndex[thread]) << "thread " << thread;
            nextIndex[thread] = index + 1;
        }
    }
    EXPECT_EQ(total, static_cast<size_t>(kThreads * kRecordsPerThread));
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
