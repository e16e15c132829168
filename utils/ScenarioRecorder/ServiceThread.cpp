// The service thread: the only place where records reach files.
//
// It takes retired buffers from the front of mPendingBuffers in order, waits
// until every record copy into the buffer is published, merges the request's
// headline items, writes the lines through the request's writer with no
// recorder lock held, and returns the buffer to the pool. While idle it
// expires active buffers that have lived too long.
#include <cutils/properties.h>
#include <sched.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "BriefLock.h"
#include "RecorderLog.h"
#include "RecorderProperties.h"
#include "ReportFailures.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

using log::Level;

constexpr const char* kThreadName = "ScenarioRecorder";
// Every line of this thread carries the thread function's name.
constexpr const char* kFunctionName = "serviceThreadEntry";
constexpr int kDefaultFlushIntervalMs = 1000;
constexpr auto kDrainWait = std::chrono::milliseconds(40);
constexpr int32_t kExpirySeconds = 11;
constexpr size_t kTopLevelQueueLength = 11;  // more than 10 queued
constexpr size_t kRaisedLevelQueueLength = 4;
constexpr int kNiceByLevel[] = {19, 10, 0, -4};
constexpr int kTopLevel = 3;
constexpr int kRaisedLevel = 2;

void applyNice(int level) {
    setpriority(PRIO_PROCESS, gettid(), kNiceByLevel[level]);
}

// Raises the level for a queue of `queueLength` buffers, the one about to be
// taken included. Level 1 is reached only on the way down.
void raisePriority(int* level, size_t queueLength) {
    if (*level == kTopLevel) return;
    if (queueLength >= kTopLevelQueueLength) {
        *level = kTopLevel;
        applyNice(*level);
    } else if (queueLength >= kRaisedLevelQueueLength && *level != kRaisedLevel) {
        *level = kRaisedLevel;
        applyNice(*level);
    }
}

void lowerPriority(int* level) {
    if (*level == 0) return;
    --*level;
    applyNice(*level);
}

int32_t ageInSeconds(const timespec& since) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int32_t>(now.tv_sec) - static_cast<int32_t>(since.tv_sec);
}

}  // namespace

void ScenarioRecorder::serviceThreadEntry() {
    prctl(PR_SET_NAME, kThreadName, 0, 0, 0);
    int priorityLevel = 0;
    applyNice(priorityLevel);
    const int flushIntervalMs = property_get_int32(kFlushIntervalProperty, kDefaultFlushIntervalMs);
    SR_LOGI("ScenarioRecorder is running; flushInterval = %d ms", flushIntervalMs);

    for (;;) {
        size_t buffersBehind = 0;
        Buffer* buffer = waitForPendingBuffer(&buffersBehind, &priorityLevel, flushIntervalMs);
        if (buffer == nullptr) break;
        // A buffer that cannot be written (memory ran out) is still handed
        // back, so the thread goes on with the next.
        runReportingFailures(kFunctionName, [&] { writeBuffer(buffer, buffersBehind); });
        handBackBuffer(buffer);
    }
    SR_LOG_AS(Level::kInfo, kFunctionName, "Scenario recorder stopped");
}

// Returns the front pending buffer once its writers have all published, or
// null when the recorder is stopped and nothing is queued. The buffer stays
// the front entry of mPendingBuffers: producers only append at the back, and
// unInit clears the queue only after joining this thread.
ScenarioRecorder::Buffer* ScenarioRecorder::waitForPendingBuffer(size_t* buffersBehind,
                                                                 int* priorityLevel,
                                                                 int flushIntervalMs) {
    std::unique_lock<std::mutex> lock(mBufferLock);
    while (mRunning.load() || !mPendingBuffers.empty()) {
        if (!mPendingBuffers.empty()) {
            raisePriority(priorityLevel, mPendingBuffers.size());
            Buffer* front = mPendingBuffers.front().get();
            // A timeout and a notification are treated alike: a lost
            // notification, or an expired buffer's silent last writer, only
            // delays the walk by one wait.
            while (front->mWriterCount.load(std::memory_order_acquire) > 0) {
                mBufferDrainedCond.wait_for(lock, kDrainWait);
            }
            *buffersBehind = mPendingBuffers.size() - 1;
            return front;
        }
        lowerPriority(priorityLevel);
        if (!mRunning.load()) continue;
        if (flushIntervalMs >= 1) {
            mWorkCond.wait_for(lock, std::chrono::milliseconds(flushIntervalMs));
        } else {
            // Polling: producers and unInit need the lock while we yield.
            lock.unlock();
            sched_yield();
            lock.lock();
        }
        if (!mRunning.load() && mPendingBuffers.empty()) break;
        expireOneBuffer();
    }
    return nullptr;
}

// Caller holds mBufferLock, and keeps it from the move through the debug
// line to the loop's next look at the queue: no retirement slips in between,
// so the expired buffer is taken with the queue as the expiry left it, and
// written with the flush and the priority that queue calls for. Retires at most one buffer per idle
// pass; an expired buffer keeps mRetired and mContinued false, so the request's writer is dropped
// once it is written.
void ScenarioRecorder::expireOneBuffer() {
    for (auto it = mActiveBuffers.begin(); it != mActiveBuffers.end(); ++it) {
        const int32_t age = ageInSeconds(it->second->mCreateTime);
        if (age < kExpirySeconds) continue;
        const int requestNum = it->first;
        mPendingBuffers.push_back(std::move(it->second));
        mActiveBuffers.erase(it);
        SR_LOG_AS(Level::kDebug, kFunctionName,
                  "Request(%d)'s buffer is expired. It's life time is(%d)", requestNum, age);
        return;
    }
}

void ScenarioRecorder::writeBuffer(Buffer* buffer, size_t buffersBehind) {
    FileWriter* writer = nullptr;
    {
        std::lock_guard<std::mutex> lock(mWriterLock);
        auto it = mFileWriters.find(buffer->mRequestNum);
        writer = it != mFileWriters.end() ? it->second.get() : mDefaultWriter.get();
        mWriterInUse = writer;
    }
    if (writer->mFd < 0) {
        SR_LOG_AS(Level::kError, kFunctionName,
                  "Unable to open file. Please disable SELinux and restart lumenhostd. !!!");
        return;
    }

    mergeHeadlineItems(buffer);
    const uint64_t used = static_cast<uint64_t>(buffer->mCursor - buffer->mData);
    for (uint64_t offset = 0; offset < used;) {
        const auto* header = reinterpret_cast<const LogHeader*>(buffer->mData + offset);
        writer->onWriteLog(header->text);
        offset += header->size;
    }
    if (buffersBehind == 0) writer->flush(true);
}

// Puts the request's queued headline items into the buffer's headline and
// copies the headline into the buffer's headline block, where it becomes the
// block's line. The items are merged and their entry erased, which frees
// them, in one hold of mNddLock: an item that another thread queues for the
// request is either wholly in this buffer's headline or wholly left, in an
// entry of its own, for the request's next buffer.
void ScenarioRecorder::mergeHeadlineItems(Buffer* buffer) {
    {
        std::unique_lock<std::mutex> lock(mNddLock, std::defer_lock);
        lockBriefly(lock);
        auto it = mNddInfos.find(buffer->mRequestNum);
        if (it != mNddInfos.end()) {
            for (const HeadlineItem& item : it->second) {
                writeStringToHeadline(buffer, item.first.get(), item.second);
            }
            mNddInfos.erase(it);
        }
    }

    const size_t headlineLength = kHeadlineSize - buffer->mHeadlineRemaining;
    char* headlineRoom = reinterpret_cast<LogHeader*>(buffer->mData)->text;
    memcpy(headlineRoom, buffer->mHeadline, headlineLength);
    headlineRoom[headlineLength] = '\0';
}

// Drops the writer of a request that has ended and recycles the buffer.
// The ended request's writer is destroyed under mWriterLock, which writes its
// remaining bytes and closes its file: once another thread's recordNddInfo
// holds the lock, that file is complete and closed. Default writers replaced
// while this thread wrote through them go the same way. The buffer is reset,
// an evicted free buffer destroyed and the queue's front moved to the pool in
// one hold of mBufferLock.
void ScenarioRecorder::handBackBuffer(Buffer* buffer) {
    {
        std::lock_guard<std::mutex> lock(mWriterLock);
        if (!buffer->mContinued) mFileWriters.erase(buffer->mRequestNum);
        mWriterInUse = nullptr;
        mReplacedWriters.clear();
    }
    std::lock_guard<std::mutex> lock(mBufferLock);
    buffer->mRetired.store(false, std::memory_order_relaxed);
    buffer->mContinued = false;
    buffer->mCursor = buffer->mData;
    buffer->mRemaining = kBufferDataSize;
    buffer->mHeadlineCursor = buffer->mHeadline;
    buffer->mHeadlineRemaining = kHeadlineSize;
    if (mFreeBuffers.size() >= kMaxFreeBuffers) mFreeBuffers.pop_front();
    mFreeBuffers.push_back(std::move(mPendingBuffers.front()));
    mPendingBuffers.pop_front();
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
