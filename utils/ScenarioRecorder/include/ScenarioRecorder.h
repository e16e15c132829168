// The one implementation of IScenarioRecorder. It owns every piece of the
// library's shared state: the log buffers, the headline items waiting for
// them, the file writers, the request registration counts and the service
// thread that writes buffers into files.
//
// Records are reserved in per-request 256 KiB buffers under mBufferLock and
// copied outside it; full or finished buffers are retired to a queue that the
// service thread writes out, with no recorder lock held while it writes.
#pragma once

#include <stdint.h>
#include <time.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "FileWriter.h"
#include "IScenarioRecorder.h"
#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// The header in front of every record in a buffer's data area. It takes
// kLogHeaderSize bytes; the record's line starts right behind it.
struct LogHeader {
    uint64_t size;  // whole record, header included; a multiple of 8
    char* text;     // the record's NUL-terminated line, 40 bytes behind the header
    char unused[24];
};
static_assert(sizeof(LogHeader) == 40, "records start 40 bytes behind their header");

class SCENARIO_RECORDER_EXPORT ScenarioRecorder : public IScenarioRecorder {
  public:
    static constexpr uint64_t kBufferDataSize = 262144;  // 256 KiB
    static constexpr uint64_t kHeadlineSize = 1024;
    static constexpr uint64_t kLogHeaderSize = sizeof(LogHeader);
    // The first block of every buffer: a header and room for the headline.
    static constexpr uint64_t kHeadlineBlockSize = kLogHeaderSize + kHeadlineSize;
    static constexpr size_t kFolderPathSize = 128;
    static constexpr size_t kMaxFreeBuffers = 3;

    // A request's record area. Owned through a unique_ptr that sits in exactly
    // one of mActiveBuffers, mPendingBuffers or mFreeBuffers, or is held by
    // the operation moving it between them.
    struct SCENARIO_RECORDER_EXPORT Buffer {
        Buffer();

        // Set, with release ordering, when the buffer leaves mActiveBuffers
        // through printLog or for being full; tells the last writer to signal.
        std::atomic<bool> mRetired;
        // Records reserved but not yet published. Rises only under
        // mBufferLock while the buffer is active; falls with release ordering.
        std::atomic<int32_t> mWriterCount;
        // --- Guarded by mBufferLock while the buffer is active. ---
        char* mCursor;        // always mData + (kBufferDataSize - mRemaining)
        uint64_t mRemaining;  // bytes left in mData
        int32_t mRequestNum;
        // Headline block, then records back to back. Every record's size is a
        // multiple of 8, so with the area aligned every LogHeader is too.
        alignas(LogHeader) char mData[kBufferDataSize];
        timespec mCreateTime;  // when the buffer was last handed to a request
        bool mContinued;       // retired because full: the request goes on
        // --- Touched only by the service thread, once retired and drained. ---
        std::mutex mHeadlineLock;  // constructed with the headline; never taken
        char* mHeadlineCursor;     // always mHeadline + (kHeadlineSize - mHeadlineRemaining)
        char mHeadline[kHeadlineSize];
        uint64_t mHeadlineRemaining;  // never below 2 once an item was added
    };

    ScenarioRecorder();
    ~ScenarioRecorder() override;

    ScenarioRecorder(const ScenarioRecorder&) = delete;
    ScenarioRecorder& operator=(const ScenarioRecorder&) = delete;

    // IScenarioRecorder
    void recordNddInfo(int uniqueKey, int requestNum, int tagNumber, bool isCapture) override;
    bool isScenarioRecorderOn() override;
    void submitDecisionRecord(const DecisionParam& param, const std::string& text) override;
    void submitExecutionRecord(const ResultParam& param, const std::string& text) override;
    void printLog(int requestNum) override;
    void registerRequest(int requestNum) override;
    void deregisterRequest(int requestNum) override;

    // Starts the service thread and opens the recorder for records.
    void init();
    // Writes every retired buffer, stops the service thread and discards the
    // buffers that were never retired.
    void unInit();
    // Body of the service thread.
    void serviceThreadEntry();
    // Reserves `size` bytes (rounded up to 8) for a record of `requestNum`.
    // The caller copies its line behind *header and then publishes it by
    // lowering (*buffer)->mWriterCount, exactly once.
    bool allocLogSpace(int requestNum, unsigned long size, LogHeader** header, Buffer** buffer);
    // The most recently freed buffer, or a new one; caller holds mBufferLock.
    std::unique_ptr<Buffer> allocEmptyBuffer();
    // Queues "[UKey: %d][ReqNum: %d]" at the front of the request's headline.
    void writeNDDToHeadline(int uniqueKey, int requestNum);
    // Appends `len` bytes to the buffer's headline when at least 2 bytes stay
    // free afterwards; drops the item with a warning otherwise.
    void writeStringToHeadline(Buffer* buffer, const char* str, int len);
    // Chooses, creates if needed, and writes into `folderPath` the log folder.
    void getFolderPath(char* folderPath, unsigned long folderPathSize);
    // Gives a new writer its folder and prefix and opens its first file.
    void openFileWriter(FileWriter* writer, const char* kind);
    // The request's own writer, or the default writer.
    FileWriter* getFileWriterFromContainer(int requestNum);

  private:
    friend class ScenarioRecorderTestPeer;

    using HeadlineItem = std::pair<std::unique_ptr<char[]>, int>;

    SCENARIO_RECORDER_LOCAL void queueHeadlineItem(int requestNum, HeadlineItem item, bool atFront);
    SCENARIO_RECORDER_LOCAL void replaceDefaultWriter(int uniqueKey, int requestNum, int tagNumber);
    SCENARIO_RECORDER_LOCAL void discardUnwrittenBuffers();
    SCENARIO_RECORDER_LOCAL void retireActiveBuffer(
        std::unordered_map<int, std::unique_ptr<Buffer>>::iterator it, bool continued);
    SCENARIO_RECORDER_LOCAL Buffer* activeBufferWithRoom(int requestNum, uint64_t rounded);
    SCENARIO_RECORDER_LOCAL void publishRecord(Buffer* buffer);

    // Service thread steps; see ServiceThread.cpp.
    SCENARIO_RECORDER_LOCAL Buffer* waitForPendingBuffer(size_t* buffersBehind, int* priorityLevel,
                                                         int flushIntervalMs);
    SCENARIO_RECORDER_LOCAL void writeBuffer(Buffer* buffer, size_t buffersBehind);
    SCENARIO_RECORDER_LOCAL void mergeHeadlineItems(Buffer* buffer);
    SCENARIO_RECORDER_LOCAL void handBackBuffer(Buffer* buffer);
    SCENARIO_RECORDER_LOCAL void expireOneBuffer();

    // Lock order: mRequestLock before mBufferLock (deregisterRequest calls
    // printLog), and mWriterLock before mNddLock (recordNddInfo). Nothing else
    // nests; the service thread and unInit hold at most one of them at a time.

    std::mutex mBufferLock;
    std::deque<std::unique_ptr<Buffer>> mPendingBuffers;  // guarded by mBufferLock; oldest first
    std::deque<std::unique_ptr<Buffer>> mFreeBuffers;     // guarded by mBufferLock; reuse from back
    std::unordered_map<int, std::unique_ptr<Buffer>> mActiveBuffers;  // guarded by mBufferLock
    std::mutex mNddLock;
    // Request number to its headline items (text block, length): NDD texts at
    // the front, execution snippets at the back. Guarded by mNddLock.
    std::unordered_map<int, std::deque<HeadlineItem>> mNddInfos;
    // Set by init; cleared under mBufferLock by unInit; read by the service
    // thread under mBufferLock.
    std::atomic<bool> mRunning;
    std::condition_variable mBufferDrainedCond;  // waited on with mBufferLock
    std::condition_variable mWorkCond;           // waited on with mBufferLock
    std::mutex mWriterLock;
    std::unordered_map<int, std::unique_ptr<FileWriter>> mFileWriters;  // guarded by mWriterLock
    std::atomic<bool> mReady;                    // records are accepted only while set
    bool mEnabled;                               // written once in the constructor, then only read
    std::unique_ptr<FileWriter> mDefaultWriter;  // guarded by mWriterLock; never null
    std::mutex mRequestLock;
    std::unordered_map<int, int> mRequestRefCounts;  // guarded by mRequestLock
    std::thread mServiceThread;                      // started and joined only by init and unInit

    // The writer the service thread is writing a buffer through, from its
    // choice to its hand-back; null otherwise. Guarded by mWriterLock.
    FileWriter* mWriterInUse = nullptr;
    // Default writers replaced by recordNddInfo while the service thread was
    // writing through them. They keep their file open until the service
    // thread hands its buffer back, and are destroyed then, which writes
    // their remaining bytes into their own file. Guarded by mWriterLock.
    std::vector<std::unique_ptr<FileWriter>> mReplacedWriters;
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
