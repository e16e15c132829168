// Per-request log buffers: reservation of record space, retirement of full
// buffers, the free pool, and the publication of copied records.
//
// A reservation is one hold of mBufferLock: the lookup, the retirement of a
// full buffer, taking a buffer from the pool or making a new one, the headers
// and the cursor arithmetic. Only the copy of the line happens outside it.
#include <limits>
#include <new>

#include "BriefLock.h"
#include "RecorderLog.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

constexpr uint64_t kRecordAlignment = 8;

// Saturates instead of wrapping: a size within 7 of the top of the range has
// no representable multiple of 8 above it, and must still read as too large.
uint64_t roundUpToRecordAlignment(uint64_t size) {
    if (size > std::numeric_limits<uint64_t>::max() - (kRecordAlignment - 1)) {
        return std::numeric_limits<uint64_t>::max();
    }
    return (size + kRecordAlignment - 1) & ~(kRecordAlignment - 1);
}

std::unique_ptr<ScenarioRecorder::Buffer> makeBuffer() {
    return std::unique_ptr<ScenarioRecorder::Buffer>(new (std::nothrow) ScenarioRecorder::Buffer);
}

// The headline block at the start of a buffer's first reservation: its
// header, with the text room right behind it.
void reserveHeadlineBlock(ScenarioRecorder::Buffer* buffer) {
    auto* header = reinterpret_cast<LogHeader*>(buffer->mData);
    header->size = ScenarioRecorder::kHeadlineBlockSize;
    header->text = buffer->mData + ScenarioRecorder::kLogHeaderSize;
    buffer->mCursor += ScenarioRecorder::kHeadlineBlockSize;
    buffer->mRemaining -= ScenarioRecorder::kHeadlineBlockSize;
}

}  // namespace

std::unique_ptr<ScenarioRecorder::Buffer> ScenarioRecorder::allocEmptyBuffer() {
    std::unique_ptr<Buffer> buffer;
    if (!mFreeBuffers.empty()) {
        buffer = std::move(mFreeBuffers.back());
        mFreeBuffers.pop_back();
    } else {
        buffer = makeBuffer();
        if (buffer == nullptr) return nullptr;
    }
    clock_gettime(CLOCK_REALTIME, &buffer->mCreateTime);
    return buffer;
}

// Caller holds mBufferLock. mContinued is written before the release store of
// mRetired, so a writer that sees mRetired also sees why it was retired. If
// the queue cannot grow, the flags are taken back and the buffer stays active
// and unchanged.
void ScenarioRecorder::retireActiveBuffer(
    std::unordered_map<int, std::unique_ptr<Buffer>>::iterator it, bool continued) {
    Buffer* buffer = it->second.get();
    buffer->mContinued = continued;
    buffer->mRetired.store(true, std::memory_order_release);
    try {
        mPendingBuffers.push_back(std::move(it->second));
    } catch (...) {
        buffer->mRetired.store(false, std::memory_order_relaxed);
        buffer->mContinued = false;
        throw;
    }
    mActiveBuffers.erase(it);
}

// Caller holds mBufferLock. The active buffer of `requestNum` with room for
// `rounded` bytes; a full one is retired and replaced by one from the pool or
// a new one, allocated under the lock. Null when no buffer can be had.
ScenarioRecorder::Buffer* ScenarioRecorder::activeBufferWithRoom(int requestNum, uint64_t rounded) {
    auto it = mActiveBuffers.find(requestNum);
    if (it != mActiveBuffers.end()) {
        if (it->second->mRemaining >= rounded) return it->second.get();
        retireActiveBuffer(it, /*continued=*/true);
        mWorkCond.notify_one();
    }
    std::unique_ptr<Buffer> fresh = allocEmptyBuffer();
    if (fresh == nullptr) return nullptr;
    fresh->mRequestNum = requestNum;
    Buffer* target = fresh.get();
    mActiveBuffers.emplace(requestNum, std::move(fresh));
    return target;
}

// One hold of mBufferLock from the lookup to the raise of the writer count:
// printLog and the expiry check rely on it, since a request has at most one
// active buffer and no other thread ever sees it without its headline block
// or with a reserved room whose size is not yet written. The record's text
// pointer and line are the caller's to write, outside the lock.
bool ScenarioRecorder::allocLogSpace(int requestNum, unsigned long size, LogHeader** header,
                                     Buffer** buffer) {
    const uint64_t rounded = roundUpToRecordAlignment(size);
    // Beyond the buffer's size, and also beyond what a fresh buffer holds
    // behind its headline block: such a record could never be stored.
    if (rounded > kBufferDataSize - kHeadlineBlockSize) {
        SR_FATAL("Log size too large: %zu", static_cast<size_t>(rounded));
    }

    LogHeader* reserved = nullptr;
    {
        std::unique_lock<std::mutex> lock(mBufferLock, std::defer_lock);
        lockBriefly(lock);
        Buffer* target = activeBufferWithRoom(requestNum, rounded);
        if (target != nullptr) {
            if (target->mCursor == target->mData) reserveHeadlineBlock(target);
            reserved = reinterpret_cast<LogHeader*>(target->mCursor);
            reserved->size = rounded;
            *buffer = target;
            target->mWriterCount.fetch_add(1, std::memory_order_relaxed);
            target->mCursor += rounded;
            target->mRemaining -= rounded;
        }
    }
    if (reserved == nullptr) {
        SR_LOGE("No memory for a log buffer of request %d; record dropped", requestNum);
        return false;
    }
    *header = reserved;
    return true;
}

// The writer reads mRetired before its subtraction, never after: once the
// count reaches 0 the service thread may recycle or free the buffer. A
// retirement that falls between the two is caught by the service thread's
// timed re-checks of the count.
void ScenarioRecorder::publishRecord(Buffer* buffer) {
    const bool retired = buffer->mRetired.load(std::memory_order_relaxed);
    const int32_t before = buffer->mWriterCount.fetch_sub(1, std::memory_order_release);
    if (before == 1 && retired) mBufferDrainedCond.notify_one();
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
