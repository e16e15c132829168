// Log buffers: layout, rounding, retirement of a full buffer, the fatal
// assertion, and concurrent reservations that never lose or tear a record.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

constexpr uint64_t kData = ScenarioRecorder::kBufferDataSize;
constexpr uint64_t kHeadlineBlock = ScenarioRecorder::kHeadlineBlockSize;

TEST(LogBuffers, FirstRecordFollowsTheHeadlineBlockAndSizesRoundUpToEight) {
    ScenarioRecorder recorder;
    uint64_t used = kHeadlineBlock;
    for (const auto& [size, rounded] : {std::pair<uint64_t, uint64_t>{1, 8}, {41, 48}, {48, 48}}) {
        LogHeader* header = nullptr;
        Peer::Buffer* buffer = nullptr;
        ASSERT_TRUE(recorder.allocLogSpace(7, size, &header, &buffer));
        EXPECT_EQ(reinterpret_cast<char*>(header), buffer->mData + used) << size;
        EXPECT_EQ(header->size, rounded) << size;
        used += rounded;
        EXPECT_EQ(buffer->mRemaining, kData - used) << size;
        Peer::publish(recorder, buffer);
    }
}

TEST(LogBuffers, RecordThatExactlyFillsTheBufferStaysInItAndOneMoreRetiresIt) {
    ScenarioRecorder recorder;
    Peer::writeRecord(recorder, 3, "a");
    Peer::fillActiveBuffer(recorder, 3, 144);
    Peer::writeRecord(recorder, 3, "exact", 144);
    EXPECT_EQ(Peer::walkActive(recorder, 3).remaining, 0u);
    EXPECT_EQ(Peer::pendingCount(recorder), 0u);

    Peer::writeRecord(recorder, 3, "next");
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

TEST(LogBuffersDeathTest, OversizedReservationIsFatal) {
    ScenarioRecorder recorder;
    LogHeader* header = nullptr;
    Peer::Buffer* buffer = nullptr;
    EXPECT_DEATH(recorder.allocLogSpace(1, kData + 1, &header, &buffer),
                 "\\[allocLogSpace\\] Log size too large: 262152");
}

// Writers of different records copy at the same time; a hand-off between a
// reservation and its publication must not lose or tear the record.
TEST(LogBuffersConcurrency, ManyWritersNeverLoseOrTearARecord) {
    ScenarioRecorder recorder;
    constexpr int kThreads = 4;
    constexpr int kRecordsPerThread = 3000;
    auto lineOf = [](int thread, int index) {
        return "t" + std::to_string(thread) + " r" + std::to_string(index) +
               std::string(static_cast<size_t>(index % 97), '.');
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            // Threads 0 and 1 share request 100; the others have their own.
            const int requestNum = t < 2 ? 100 : 200 + t;
            for (int i = 0; i < kRecordsPerThread; ++i) {
                Peer::writeRecord(recorder, requestNum, lineOf(t, i));
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
            ASSERT_TRUE(thread >= 0 && thread < kThreads) << line;
            EXPECT_EQ(line, lineOf(thread, index));
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
