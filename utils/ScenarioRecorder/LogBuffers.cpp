// Per-request log buffers: reservation of record space, retirement of full
// buffers, the free pool, and the publication of copied records.
//
// Under mBufferLock a reservation does a hash lookup and cursor arithmetic
// only. A 256 KiB buffer is made outside the lock: when the pool is empty,
// allocLogSpace drops the lock, makes one, and looks again.
#include <new>

#include "RecorderLog.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

constexpr uint64_t kRecordAlignment = 8;

uint64_t roundUpToRecordAlignment(uint64_t size) {
    return (size + kRecordAlignment - 1) & ~(kRecordAlignment - 1);
}

std::unique_ptr<ScenarioRecorder::Buffer> makeBuffer() {
    return std::unique_ptr<ScenarioRecorder::Buffer>(new (std::nothrow) ScenarioRecorder::Buffer);
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
// mRetired, so a writer that sees mRetired also sees why it was retired.
void ScenarioRecorder::retireActiveBuffer(
    std::unordered_map<int, std::unique_ptr<Buffer>>::iterator it, bool continued) {
    Buffer* buffer = it->second.get();
    buffer->mContinued = continued;
    buffer->mRetired.store(true, std::memory_order_release);
    mPendingBuffers.push_back(std::move(it->second));
    mActiveBuffers.erase(it);
}

bool ScenarioRecorder::allocLogSpace(int requestNum, unsigned long size, LogHeader** header,
                                     Buffer** buffer) {
    const uint64_t rounded = roundUpToRecordAlignment(size);
    if (rounded > kBufferDataSize)
        SR_FATAL("Log size too large: %zu", static_cast<size_t>(rounded));
    // A record must also fit into a fresh buffer behind its headline block;
    // larger ones could never be stored, so they are refused the same way.
    if (rounded > kBufferDataSize - kHeadlineBlockSize) {
        SR_FATAL("Log size too large: %zu", static_cast<size_t>(rounded));
    }

    std::unique_ptr<Buffer> spare;  // made outside the lock when the pool ran dry
    std::unique_lock<std::mutex> lock(mBufferLock);
    auto it = mActiveBuffers.find(requestNum);
    Buffer* target = nullptr;
    if (it != mActiveBuffers.end() && it->second->mRemaining >= rounded) {
        target = it->second.get();
    } else {
        if (mFreeBuffers.empty()) {
            lock.unlock();
            spare = makeBuffer();
            lock.lock();
        }
        // The lock may have been dropped: look again before replacing.
        it = mActiveBuffers.find(requestNum);
        if (it != mActiveBuffers.end() && it->second->mRemaining >= rounded) {
            target = it->second.get();
        } else {
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
            if (fresh == nullptr) {
                lock.unlock();
                SR_LOGE("No memory for a log buffer of request %d; record dropped", requestNum);
                return false;
            }
            fresh->mRequestNum = requestNum;
            target = fresh.get();
            mActiveBuffers.emplace(requestNum, std::move(fresh));
        }
    }

    if (target->mCursor == target->mData) {
        auto* headlineBlock = reinterpret_cast<LogHeader*>(target->mData);
        headlineBlock->size = kHeadlineBlockSize;
        headlineBlock->text = target->mData + kLogHeaderSize;
        target->mCursor += kHeadlineBlockSize;
        target->mRemaining -= kHeadlineBlockSize;
    }
    auto* reserved = reinterpret_cast<LogHeader*>(target->mCursor);
    reserved->size = rounded;
    *buffer = target;
    target->mWriterCount.fetch_add(1, std::memory_order_relaxed);
    target->mCursor += rounded;
    target->mRemaining -= rounded;
    lock.unlock();

    // A spare that lost the race to a pooled buffer joins the pool, or is
    // freed here, outside the lock.
    if (spare != nullptr) {
        std::lock_guard<std::mutex> relock(mBufferLock);
        if (mFreeBuffers.size() < kMaxFreeBuffers) mFreeBuffers.push_back(std::move(spare));
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
