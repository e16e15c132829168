// Per-request log buffers: reservation of record space, retirement of full
// buffers, the free pool, and the publication of copied records.
//
// Under mBufferLock a reservation does a hash lookup, cursor arithmetic and
// the raise of the writer count only. A 256 KiB buffer is made outside the
// lock: when the pool is empty, allocLogSpace drops the lock, makes one, and
// looks again.
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

// A record's header: `size` bytes from `start`, text right behind the header.
void writeHeader(char* start, uint64_t size) {
    auto* header = reinterpret_cast<LogHeader*>(start);
    header->size = size;
    header->text = start + ScenarioRecorder::kLogHeaderSize;
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
// mRetired, so a writer that sees mRetired also sees why it was retired. The
// queue grows first: if that throws, the buffer stays active and unchanged.
void ScenarioRecorder::retireActiveBuffer(
    std::unordered_map<int, std::unique_ptr<Buffer>>::iterator it, bool continued) {
    Buffer* buffer = it->second.get();
    mPendingBuffers.push_back(std::move(it->second));
    mActiveBuffers.erase(it);
    buffer->mContinued = continued;
    buffer->mRetired.store(true, std::memory_order_release);
}

// The active buffer of `requestNum` with room for `rounded` bytes, made or
// replaced as needed; null when no buffer can be had. Caller holds `lock` on
// mBufferLock. When the pool is empty the lock is dropped while `spare` is
// made, so the lookup is repeated afterwards.
ScenarioRecorder::Buffer* ScenarioRecorder::activeBufferWithRoom(int requestNum, uint64_t rounded,
                                                                 std::unique_lock<std::mutex>& lock,
                                                                 std::unique_ptr<Buffer>& spare) {
    auto it = mActiveBuffers.find(requestNum);
    if (it != mActiveBuffers.end() && it->second->mRemaining >= rounded) return it->second.get();
    if (mFreeBuffers.empty()) {
        lock.unlock();
        spare = makeBuffer();
        lock.lock();
        it = mActiveBuffers.find(requestNum);
        if (it != mActiveBuffers.end() && it->second->mRemaining >= rounded) {
            return it->second.get();
        }
    }
    if (it != mActiveBuffers.end()) {
        retireActiveBuffer(it, /*continued=*/true);
        mWorkCond.notify_one();
    }
    std::unique_ptr<Buffer> fresh;
    if (!mFreeBuffers.empty() || spare == nullptr) {
        fresh = allocEmptyBuffer();
    } else {
        fresh = std::move(spare);
        clock_gettime(CLOCK_REALTIME, &fresh->mCreateTime);
    }
    if (fresh == nullptr) return nullptr;
    fresh->mRequestNum = requestNum;
    Buffer* target = fresh.get();
    mActiveBuffers.emplace(requestNum, std::move(fresh));
    return target;
}

// Under mBufferLock only the lookup, the cursor arithmetic and the raise of
// the writer count. The headers are written after the lock is released: the
// reserved room (and, for a buffer's first record, its headline block) is
// this caller's alone until it publishes, and its first touch may miss the
// cache, which the raise's full barrier would otherwise wait for under the
// lock.
bool ScenarioRecorder::allocLogSpace(int requestNum, unsigned long size, LogHeader** header,
                                     Buffer** buffer) {
    const uint64_t rounded = roundUpToRecordAlignment(size);
    // Beyond the buffer's size, and also beyond what a fresh buffer holds
    // behind its headline block: such a record could never be stored.
    if (rounded > kBufferDataSize - kHeadlineBlockSize) {
        SR_FATAL("Log size too large: %zu", static_cast<size_t>(rounded));
    }

    std::unique_ptr<Buffer> spare;  // made outside the lock when the pool ran dry
    std::unique_lock<std::mutex> lock(mBufferLock, std::defer_lock);
    lockBriefly(lock);
    Buffer* target = activeBufferWithRoom(requestNum, rounded, lock, spare);
    if (target == nullptr) {
        lock.unlock();
        SR_LOGE("No memory for a log buffer of request %d; record dropped", requestNum);
        return false;
    }
    const bool firstRecord = target->mCursor == target->mData;
    if (firstRecord) {
        target->mCursor += kHeadlineBlockSize;
        target->mRemaining -= kHeadlineBlockSize;
    }
    auto* reserved = reinterpret_cast<LogHeader*>(target->mCursor);
    target->mWriterCount.fetch_add(1, std::memory_order_relaxed);
    target->mCursor += rounded;
    target->mRemaining -= rounded;
    lock.unlock();

    if (firstRecord) writeHeader(target->mData, kHeadlineBlockSize);
    writeHeader(reinterpret_cast<char*>(reserved), rounded);
    // A spare that lost the race to a pooled buffer joins the pool, or is
    // freed here, outside the lock. Nothing may throw from here on: the room
    // is reserved and the caller must publish it.
    if (spare != nullptr) {
        try {
            std::lock_guard<std::mutex> relock(mBufferLock);
            if (mFreeBuffers.size() < kMaxFreeBuffers) mFreeBuffers.push_back(std::move(spare));
        } catch (const std::bad_alloc&) {
            // The pool could not grow; the spare is freed instead.
        }
    }
    *buffer = target;
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
