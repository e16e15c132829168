// Shared pieces of the benchmarks: a started recorder writing into a scratch
// folder, the benchmark's records, request numbers recycled through printLog,
// per-call latency samples, and byte and memory meters.
#pragma once

#include <benchmark/benchmark.h>
#include <stddef.h>
#include <stdint.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "ScenarioRecorder.h"

namespace bench {

namespace sr = NSCam::TuningUtils::scenariorecorder;

// A request collects this many records before its log is handed off; about
// 36 KiB of 100-character lines, well inside one buffer.
constexpr int kRecordsPerRequest = 256;
constexpr int kRequestsPerThread = 64;

// A fresh folder under $TMPDIR (or /tmp), removed with its content.
class ScratchFolder {
  public:
    explicit ScratchFolder(const char* name);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return mPath; }

  private:
    std::string mPath;
};

// A recorder constructed and started the way the host starts it, with its
// preview writer's first file open in `folder`.
class RunningRecorder {
  public:
    explicit RunningRecorder(const std::string& folder);
    ~RunningRecorder();
    RunningRecorder(const RunningRecorder&) = delete;
    RunningRecorder& operator=(const RunningRecorder&) = delete;

    sr::ScenarioRecorder& get() { return *mRecorder; }
    const std::string& folder() const { return mFolder; }

    // Returns once every record handed off so far is in the files and
    // flushed: a marker record is handed off last, goes to the preview
    // series (the default writer), and is waited for at the end of its newest
    // file. The service thread writes buffers in the order they were handed
    // off. False on timeout. Call with no producer running.
    bool waitUntilWritten(std::chrono::seconds timeout);
    // Removes the tuning log files of the folder but the newest preview
    // file, which the writer holds open. A run of the suite writes tens of
    // GiB; kept, they would fill a shared disk. Call once written.
    void removeWrittenLogs();

  private:
    std::string mFolder;
    std::unique_ptr<sr::ScenarioRecorder> mRecorder;
    int mMarkers = 0;
};

// Sets the folder property that writers read when they open.
void useFolderForNewWriters(const std::string& folder);

// The recorder that the submit benchmarks share; set up by main.
RunningRecorder& sharedRecorder();
void setSharedRecorder(RunningRecorder* recorder);

// The benchmark's records: sensor 0, frame 12, magic number 345, module
// CameraMiddleware, decision ISP_FLOW, stage Stage_MDP.
sr::DecisionParam decisionParam(int requestNum);
sr::ResultParam executionParam(int requestNum, bool addToHeadline);
// The stored length L of the benchmark's decision line with `text`: the
// bytes it takes in a file, newline included.
size_t decisionLineLength(const std::string& text);
// Printable text of `length` characters.
std::string benchText(size_t length);
// A text of the length that makes the benchmark's decision line exactly 100
// characters long (L = 101, a 144-byte reservation).
std::string textForDecisionLineOf100();

// Walks one thread through its own request numbers, handing each request's
// log off with printLog after kRecordsPerRequest records.
class RequestCycle {
  public:
    explicit RequestCycle(int threadIndex);

    int current() const { return mFirst + mIndex; }
    // True when the next record is its request's first.
    bool atFirstRecord() const { return mCount == 0; }
    // Counts one record; hands the request off when it is complete.
    void recorded(sr::ScenarioRecorder& recorder) {
        if (++mCount < kRecordsPerRequest) return;
        next(recorder);
    }
    // Hands the current request off, records or not.
    void finish(sr::ScenarioRecorder& recorder) {
        if (mCount > 0) next(recorder);
    }
    uint64_t handedOff() const { return mHandedOff; }

  private:
    void next(sr::ScenarioRecorder& recorder);

    int mFirst;
    int mIndex = 0;
    int mCount = 0;
    uint64_t mHandedOff = 0;
};

// Durations of single calls, kept in memory reserved before the timed loop.
class LatencySamples {
  public:
    explicit LatencySamples(size_t capacity);

    // `first` marks the first record of a request, the call that takes a
    // buffer from the pool or makes one.
    void add(std::chrono::steady_clock::duration elapsed, bool first = false) {
        const int64_t nanoseconds =
            std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count();
        mNanoseconds.push_back(nanoseconds);
        if (nanoseconds > kSlowCallNanoseconds) {
            ++mSlowCalls;
            if (first) ++mSlowFirstCalls;
        }
    }
    // Sets p50_ns, p99_ns, p99.9_ns, p99.99_ns and clock_ns (the median
    // cost of one timing, included in every sample), averaged over the
    // threads, and the calls over 5 µs per 1,000 (all, and first records of
    // a request).
    void report(benchmark::State& state);

  private:
    static constexpr int64_t kSlowCallNanoseconds = 5000;

    std::vector<int64_t> mNanoseconds;
    int64_t mClockNanoseconds;
    uint64_t mSlowCalls = 0;
    uint64_t mSlowFirstCalls = 0;
};

// CPU time (user and system) that the recorders' service threads have used
// so far, found by their thread name.
double serviceThreadCpuSeconds();

// Bytes in the tuning log files of `folder`.
uint64_t tuningLogBytes(const std::string& folder);

struct MemoryUse {
    int64_t heapBytes;      // allocated through malloc, mmapped chunks included
    int64_t residentBytes;  // resident set of the process
};
MemoryUse memoryUse();

}  // namespace bench
