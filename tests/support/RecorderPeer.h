// Test access to a recorder's internal state, under the locks that guard it.
#pragma once

#include <string.h>

#include <map>
#include <string>
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

    static bool hasActive(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        return recorder.mActiveBuffers.count(requestNum) != 0;
    }
    static WalkedBuffer walkActive(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        return walk(*recorder.mActiveBuffers.at(requestNum));
    }
    static Buffer* activeBuffer(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        auto it = recorder.mActiveBuffers.find(requestNum);
        return it == recorder.mActiveBuffers.end() ? nullptr : it->second.get();
    }
    static std::vector<WalkedBuffer> walkPending(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        std::vector<WalkedBuffer> walked;
        for (const auto& buffer : recorder.mPendingBuffers) walked.push_back(walk(*buffer));
        return walked;
    }
    static size_t pendingCount(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        return recorder.mPendingBuffers.size();
    }
    static size_t activeCount(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        return recorder.mActiveBuffers.size();
    }
    static std::vector<Buffer*> freeBuffers(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        std::vector<Buffer*> buffers;
        for (const auto& buffer : recorder.mFreeBuffers) buffers.push_back(buffer.get());
        return buffers;
    }
    // Moves the creation time of a request's active buffer `seconds` back.
    static void ageActiveBuffer(ScenarioRecorder& recorder, int requestNum, int seconds) {
        std::lock_guard<std::mutex> lock(recorder.mBufferLock);
        recorder.mActiveBuffers.at(requestNum)->mCreateTime.tv_sec -= seconds;
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
    static std::vector<std::string> mergePendingHeadlines(ScenarioRecorder& recorder) {
        std::vector<Buffer*> pending;
        {
            std::lock_guard<std::mutex> lock(recorder.mBufferLock);
            for (const auto& buffer : recorder.mPendingBuffers) pending.push_back(buffer.get());
        }
        std::vector<std::string> headlines;
        for (Buffer* buffer : pending) {
            recorder.mergeHeadlineItems(buffer);
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
    static size_t headlineQueueCount(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mNddLock);
        return recorder.mNddInfos.size();
    }

    static std::map<int, int> requestCounts(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mRequestLock);
        return std::map<int, int>(recorder.mRequestRefCounts.begin(),
                                  recorder.mRequestRefCounts.end());
    }

    static FileWriter* defaultWriter(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mWriterLock);
        return recorder.mDefaultWriter.get();
    }
    static FileWriter* requestWriter(ScenarioRecorder& recorder, int requestNum) {
        std::lock_guard<std::mutex> lock(recorder.mWriterLock);
        auto it = recorder.mFileWriters.find(requestNum);
        return it == recorder.mFileWriters.end() ? nullptr : it->second.get();
    }
    static size_t writerCount(ScenarioRecorder& recorder) {
        std::lock_guard<std::mutex> lock(recorder.mWriterLock);
        return recorder.mFileWriters.size();
    }
};

// The short name the tests use.
using Peer = ScenarioRecorderTestPeer;

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
