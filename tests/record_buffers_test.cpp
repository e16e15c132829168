// Log buffers: layout, rounding, retirement of a full buffer and the fatal
// assertion. Concurrent writers are the stress ledger's part.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "ScenarioRecorder.h"
#include "support/RecorderPeer.h"

namespace NSCam::TuningUtils::scenariorecorder {
namespace {

constexpr uint64_t kData = ScenarioRecorder::kBufferDataSize;
constexpr uint64_t kHeadlineBlock = ScenarioRecorder::kHeadlineBlockSize;

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
    // Sizes whose round-up to 8 would wrap past zero.
    for (unsigned long size : {ULONG_MAX, ULONG_MAX - 6}) {
        EXPECT_DEATH(recorder.allocLogSpace(1, size, &header, &buffer),
                     "\\[allocLogSpace\\] Log size too large: 18446744073709551615");
    }
}

}  // namespace
}  // namespace NSCam::TuningUtils::scenariorecorder
