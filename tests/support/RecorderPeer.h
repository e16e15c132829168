// Test access to a recorder's internal state, under the locks that guard it.
#pragma once

#include <string.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// One buffer as the service thread would walk it: the headline block's text
// followed by the records' lines, in reservation order.
struct WalkedBuffer {
    int requestNum = -1;
    bool continued = false;
    bool retired = false;
    uint64_t remaining = 0;
    std::vector<uint64_t> sizes;       // every block's size, headline block first
    std::vector<std::string> records;  // the records' lines, without the headline
};

class ScenarioRecorderTestPeer {
  public:
    using Buffer = ScenarioRecorder::Buffer;
    using R = ScenarioRecorder;

    // Opens or closes the recorder for records without starting its thread.
    static void setReady(ScenarioRecorder& recorder, bool ready) { recorder.mReady.store(ready); }
    static bool ready(ScenarioRecorder& recorder) { return recorder.mReady.load(); }
    static bool hasThread(ScenarioRecorder& recorder) { return recorder.mServiceThread.joinable(); }

    // Reserves `size` bytes (by default what the line needs) for a record of
    // `requestNum` and copies `line` in, leaving it to be published.
    static Buffer* reserve(ScenarioRecorder& recorder, int requestNum, const std::string& line,
                           uint64_t size = 0) {
        LogHeader* header = nullptr;
        Buffer* buffer = nullptr;
        if (size == 0) size = line.size() + 1 + ScenarioRecorder::kLogHeaderSize;
        if (!recorder.allocLogSpace(requestNum, size, &header, &buffer)) return nullptr;
        header->text = reinterpret_cast<char*>(header) + ScenarioRecorder::kLogHeaderSize;
        memcpy(header->text, line.c_str(), line.size() + 1);
        return buffer;
    }
    static void publish(ScenarioRecorder& recorder, Buffer* buffer) {
        recorder.publishRecord(buffer);
    }
    static void writeRecord(ScenarioRecorder& recorder, int requestNum, const std::string& line,
                            uint64_t size = 0) {
        Buffer* buffer = reserve(recorder, requestNum, line, size);
        if (buffer != nullptr) publish(recorder, buffer);
    }

    static WalkedBuffer walk(const Buffer& buffer) {
        WalkedBuffer walked;
        walked.requestNum = buffer.mRequestNum;
        walked.continued = buffer.mContinued;
        walked.retired = buffer.mRetired.load();
        walked.remaining = buffer.mRemaining;
        const uint64_t used = static_cast<uint64_t>(buffer.mCursor - buffer.mData);
        for (uint64_t offset = 0; offset < used;) {
            const auto* header = reinterpret_cast<const LogHeader*>(buffer.mData + offset);
            walked.sizes.push_back(header->size);
            if (offset != 0) walked.records.emplace_back(header->text);
            offset += header->size;
        }
        return walked;
    }

    // `hold(lock), expression` evaluates the expression under `lock`: the
    // guard lives to the end of the full expression.
    static std::lock_guard<std::mutex> hold(std::mutex& lock) {
        return std::lock_guard<std::mutex>(lock);
    }
    // The value at `key` of `map`, or null.
    template <typename Map>
    static auto* find(const Map& map, int key) {
        auto it = map.find(key);
        return it == map.end() ? nullptr : it->second.get();
    }

    static bool hasActive(R& r, int requestNum) {
        return hold(r.mBufferLock), r.mActiveBuffers.count(requestNum) != 0;
    }
    static WalkedBuffer walkActive(R& r, int requestNum) {
        return hold(r.mBufferLock), walk(*r.mActiveBuffers.at(requestNum));
    }
    static Buffer* activeBuffer(R& r, int requestNum) {
        return hold(r.mBufferLock), find(r.mActiveBuffers, requestNum);
    }
    // The buffers of `list`, which the caller reads under mBufferLock.
    template <typename List>
    static std::vector<Buffer*> pointers(const List& list) {
        std::vector<Buffer*> buffers;
        for (const auto& buffer : list) buffers.push_back(buffer.get());
        return buffers;
    }
    static std::vector<WalkedBuffer> walkPending(R& r) {
        std::lock_guard<std::mutex> lock(r.mBufferLock);
        std::vector<WalkedBuffer> walked;
        for (const auto& buffer : r.mPendingBuffers) walked.push_back(walk(*buffer));
        return walked;
    }
    static size_t pendingCount(R& r) { return hold(r.mBufferLock), r.mPendingBuffers.size(); }
    static size_t activeCount(R& r) { return hold(r.mBufferLock), r.mActiveBuffers.size(); }
    static std::vector<Buffer*> freeBuffers(R& r) {
        return hold(r.mBufferLock), pointers(r.mFreeBuffers);
    }
    // Moves the creation time of a request's active buffer `seconds` back.
    static void ageActiveBuffer(R& r, int requestNum, int seconds) {
        hold(r.mBufferLock), r.mActiveBuffers.at(requestNum)->mCreateTime.tv_sec -= seconds;
    }
    // Fills the request's active buffer so that `left` bytes remain, as if
    // records had been written; the filler is one record.
    static void fillActiveBuffer(ScenarioRecorder& recorder, int requestNum, uint64_t left) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        Buffer& buffer = *recorder.mActiveBuffers.at(requestNum);
        const uint64_t filler = buffer.mRemaining - left;
        auto* header = reinterpret_cast<LogHeader*>(buffer.mCursor);
        header->size = filler;
        header->text = buffer.mCursor + ScenarioRecorder::kLogHeaderSize;
        header->text[0] = '\0';
        buffer.mCursor += filler;
        buffer.mRemaining -= filler;
    }

    // Runs the service thread's headline merge on every pending buffer, as
    // if each were about to be written, and returns the headline lines.
    static std::vector<std::string> mergePendingHeadlines(R& r) {
        const std::vector<Buffer*> pending = (hold(r.mBufferLock), pointers(r.mPendingBuffers));
        std::vector<std::string> headlines;
        for (Buffer* buffer : pending) {
            r.mergeHeadlineItems(buffer);
            headlines.emplace_back(reinterpret_cast<const LogHeader*>(buffer->mData)->text);
        }
        return headlines;
    }

    static std::vector<std::string> headlineItems(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mNddLock);
        std::vector<std::string> items;
        auto it = recorder.mNddInfos.find(requestNum);
        if (it == recorder.mNddInfos.end()) return items;
        for (const auto& item : it->second) items.emplace_back(item.first.get(), item.second);
        return items;
    }
    static std::vector<int> headlineLengths(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mNddLock);
        std::vector<int> lengths;
        auto it = recorder.mNddInfos.find(requestNum);
        if (it == recorder.mNddInfos.end()) return lengths;
        for (const auto& item : it->second) lengths.push_back(item.second);
        return lengths;
    }
    static size_t headlineQueueCount(R& r) { return hold(r.mNddLock), r.mNddInfos.size(); }

    static std::map<int, int> requestCounts(R& r) {
        const auto& counts = r.mRequestRefCounts;
        return hold(r.mRequestLock), std::map<int, int>(counts.begin(), counts.end());
    }

    // Whether another thread could take the lock right now: false while any
    // thread, the caller included, holds it.
    static bool freeForAnotherThread(std::mutex& lock) {
        bool taken = false;
        std::thread([&] {
            taken = lock.try_lock();
            if (taken) lock.unlock();
        }).join();
        return taken;
    }
    static bool bufferLockFree(R& r) { return freeForAnotherThread(r.mBufferLock); }
    static bool writerLockFree(R& r) { return freeForAnotherThread(r.mWriterLock); }

    static FileWriter* defaultWriter(R& r) { return hold(r.mWriterLock), r.mDefaultWriter.get(); }
    static FileWriter* requestWriter(R& r, int requestNum) {
        return hold(r.mWriterLock), find(r.mFileWriters, requestNum);
    }
    static size_t writerCount(R& r) { return hold(r.mWriterLock), r.mFileWriters.size(); }
};

// The short name the tests use.
using Peer = ScenarioRecorderTestPeer;

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
