// The service thread's side: sustained throughput of log text into files
// while one producer submits at full rate, the raw bandwidth of the writes
// it makes to the same folder, and the memory the recorder holds.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "FileWriter.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kSustainedRun = std::chrono::seconds(10);
constexpr auto kSampleInterval = std::chrono::milliseconds(500);
constexpr auto kDrainTimeout = std::chrono::seconds(300);
// A producer that gets this far ahead of the files stops early: the service
// thread is then not keeping up, and memory would grow without end.
constexpr uint64_t kBacklogLimit = 6ull << 30;
constexpr double kMiB = 1024.0 * 1024.0;
constexpr int kMemoryRequests = 32;
constexpr int kMemoryRecordsPerRequest = 100;
constexpr int kMemoryFirstRequest = 500000;

// Bytes handed to the recorder that have reached no file yet, sampled by a
// thread of its own while the producer runs.
class BacklogSampler {
  public:
    BacklogSampler(const std::string& folder, uint64_t baseFileBytes,
                   const std::atomic<uint64_t>& produced)
        : mFolder(folder), mBase(baseFileBytes), mProduced(produced) {
        mThread = std::thread([this] { run(); });
    }

    ~BacklogSampler() { stop(); }

    void stop() {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mStop = true;
        }
        mWake.notify_one();
        if (mThread.joinable()) mThread.join();
    }

    uint64_t latest() const { return mLatest.load(std::memory_order_relaxed); }
    // Backlog of the last sample taken at or before `when` since the start.
    double backlogMiBAt(Clock::duration when) const {
        double backlog = 0;
        for (const Sample& sample : mSamples) {
            if (sample.when <= when) backlog = static_cast<double>(sample.backlog) / kMiB;
        }
        return backlog;
    }

  private:
    struct Sample {
        Clock::duration when;
        uint64_t backlog;
    };

    void run() {
        const auto start = Clock::now();
        std::unique_lock<std::mutex> lock(mLock);
        while (!mWake.wait_for(lock, kSampleInterval, [this] { return mStop; })) {
            const uint64_t produced = mProduced.load(std::memory_order_relaxed);
            const uint64_t written = tuningLogBytes(mFolder) - mBase;
            const uint64_t backlog = produced > written ? produced - written : 0;
            mSamples.push_back({Clock::now() - start, backlog});
            mLatest.store(backlog, std::memory_order_relaxed);
        }
    }

    std::string mFolder;
    uint64_t mBase;
    const std::atomic<uint64_t>& mProduced;
    std::vector<Sample> mSamples;
    std::atomic<uint64_t> mLatest{0};
    std::mutex mLock;
    std::condition_variable mWake;
    bool mStop = false;
    std::thread mThread;
};

// The most that a sustained run wrote; the raw run writes as much.
uint64_t gSustainedBytes = 0;

// Holds a producer to `bytesPerSecond` (0: no limit) by sleeping whenever it
// is ahead of that rate.
class Pacer {
  public:
    Pacer(Clock::time_point start, double bytesPerSecond)
        : mStart(start), mBytesPerSecond(bytesPerSecond) {}

    void produced(uint64_t bytes) const {
        if (mBytesPerSecond <= 0) return;
        const auto due = mStart + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(bytes / mBytesPerSecond));
        if (due > Clock::now()) std::this_thread::sleep_until(due);
    }

  private:
    Clock::time_point mStart;
    double mBytesPerSecond;
};

struct SustainedRun {
    uint64_t records = 0;
    double producingSeconds = 0;
    double totalSeconds = 0;  // until everything was in the files
    bool drained = false;
    int64_t residentGrowth = 0;
};

// Submits `text` as decision records for kSustainedRun, paced by `pacer`,
// publishing the bytes handed over in `produced`; stops early when the
// backlog passes kBacklogLimit. Then waits until everything is written.
SustainedRun produceFor(RunningRecorder& shared, const std::string& text, uint64_t lineBytes,
                        const Pacer& pacer, const BacklogSampler& sampler,
                        std::atomic<uint64_t>& produced, Clock::time_point start) {
    sr::ScenarioRecorder& recorder = shared.get();
    SustainedRun run;
    const int64_t baseResident = memoryUse().residentBytes;
    int64_t peakResident = baseResident;
    RequestCycle cycle(0);
    const auto end = start + kSustainedRun;
    while (Clock::now() < end && sampler.latest() < kBacklogLimit) {
        for (int i = 0; i < kRecordsPerRequest; ++i) {
            recorder.submitDecisionRecord(decisionParam(cycle.current()), text);
            cycle.recorded(recorder);
        }
        run.records += kRecordsPerRequest;
        produced.store(run.records * lineBytes, std::memory_order_relaxed);
        pacer.produced(run.records * lineBytes);
        if (run.records % (kRecordsPerRequest * 1024) == 0) {
            peakResident = std::max(peakResident, memoryUse().residentBytes);
        }
    }
    run.producingSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    cycle.finish(recorder);
    run.drained = shared.waitUntilWritten(kDrainTimeout);
    run.totalSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    run.residentGrowth = peakResident - baseResident;
    return run;
}

// One producer for 10 seconds, at full rate (argument 0) or held to the
// argument's MiB/s: 100-character decision lines, each request handed off
// after kRecordsPerRequest records. A line takes L bytes in the file (its
// characters and the newline).
void BM_ServiceThreadSustained(benchmark::State& state) {
    RunningRecorder& shared = sharedRecorder();
    const std::string text = textForDecisionLineOf100();
    const uint64_t lineBytes = decisionLineLength(text);
    for (auto _ : state) {
        if (shared.waitUntilWritten(kDrainTimeout)) shared.removeWrittenLogs();
        sync();
        const uint64_t baseBytes = tuningLogBytes(shared.folder());
        std::atomic<uint64_t> produced{0};
        BacklogSampler sampler(shared.folder(), baseBytes, produced);
        const auto start = Clock::now();
        const Pacer pacer(start, static_cast<double>(state.range(0)) * kMiB);
        const SustainedRun run =
            produceFor(shared, text, lineBytes, pacer, sampler, produced, start);
        sampler.stop();

        const double written = static_cast<double>(tuningLogBytes(shared.folder()) - baseBytes);
        gSustainedBytes = std::max(gSustainedBytes, static_cast<uint64_t>(written));
        const double producedBytes = static_cast<double>(run.records * lineBytes);
        state.counters["run_s"] = run.producingSeconds;
        state.counters["produced_MiBps"] = producedBytes / kMiB / run.producingSeconds;
        state.counters["written_MiBps"] = written / kMiB / run.totalSeconds;
        state.counters["written_MiB"] = written / kMiB;
        state.counters["drain_s"] = run.totalSeconds - run.producingSeconds;
        state.counters["drained"] = run.drained ? 1 : 0;
        state.counters["backlog_5s_MiB"] = sampler.backlogMiBAt(std::chrono::seconds(5));
        state.counters["backlog_10s_MiB"] = sampler.backlogMiBAt(kSustainedRun);
        state.counters["records_per_s"] = static_cast<double>(run.records) / run.producingSeconds;
        state.counters["rss_growth_MiB"] = static_cast<double>(run.residentGrowth) / kMiB;
    }
}

// write() calls of the file writer's buffer size to a file in the same
// folder, as many bytes as the sustained run wrote, then one fsync.
void BM_RawWrite24KiB(benchmark::State& state) {
    constexpr uint64_t kDefaultBytes = 1ull << 30;
    const uint64_t total = gSustainedBytes > 0 ? gSustainedBytes : kDefaultBytes;
    const std::string path = sharedRecorder().folder() + "/raw_write.bin";
    std::vector<char> chunk(sr::FileWriter::kWriterBufferSize, 'x');
    for (auto _ : state) {
        sync();
        const auto start = Clock::now();
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (uint64_t done = 0; fd >= 0 && done < total; done += chunk.size()) {
            if (write(fd, chunk.data(), chunk.size()) < 0) break;
        }
        const double writeSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (fd >= 0) {
            fsync(fd);
            close(fd);
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        state.counters["written_MiB"] = static_cast<double>(total) / kMiB;
        state.counters["written_MiBps"] = static_cast<double>(total) / kMiB / seconds;
        state.counters["before_fsync_MiBps"] = static_cast<double>(total) / kMiB / writeSeconds;
        unlink(path.c_str());
    }
}

void submitRequest(sr::ScenarioRecorder& recorder, int requestNum, const std::string& text) {
    for (int i = 0; i < kMemoryRecordsPerRequest; ++i) {
        recorder.submitDecisionRecord(decisionParam(requestNum), text);
    }
}

// A recorder of its own in a folder of its own: the memory it holds started
// and idle, per request in flight (100 records each; argument 1 makes them
// capture requests with a writer and a file each), and at rest once every
// request has been written.
void BM_MemoryPerRequest(benchmark::State& state) {
    const bool capture = state.range(0) != 0;
    const std::string text = textForDecisionLineOf100();
    for (auto _ : state) {
        ScratchFolder folder("scenario_recorder_memory");
        const MemoryUse before = memoryUse();
        {
            RunningRecorder recorder(folder.path());
            const MemoryUse started = memoryUse();
            for (int r = 0; r < kMemoryRequests; ++r) {
                const int requestNum = kMemoryFirstRequest + r;
                if (capture) recorder.get().recordNddInfo(7, requestNum, r, /*isCapture=*/true);
                submitRequest(recorder.get(), requestNum, text);
            }
            const MemoryUse inFlight = memoryUse();
            for (int r = 0; r < kMemoryRequests; ++r) {
                recorder.get().printLog(kMemoryFirstRequest + r);
            }
            recorder.waitUntilWritten(kDrainTimeout);
            const MemoryUse atRest = memoryUse();
            state.counters["started_KiB"] =
                static_cast<double>(started.heapBytes - before.heapBytes) / 1024;
            state.counters["in_flight_heap_KiB_per_request"] =
                static_cast<double>(inFlight.heapBytes - started.heapBytes) / 1024 /
                kMemoryRequests;
            state.counters["at_rest_heap_KiB"] =
                static_cast<double>(atRest.heapBytes - before.heapBytes) / 1024;
        }
        state.counters["buffer_bytes"] = static_cast<double>(sizeof(sr::ScenarioRecorder::Buffer));
        state.counters["file_writer_bytes"] = static_cast<double>(sizeof(sr::FileWriter));
    }
    // The shared recorder's writers open their files where they were.
    useFolderForNewWriters(sharedRecorder().folder());
}

BENCHMARK(BM_ServiceThreadSustained)
    ->ArgName("MiBps")
    ->Arg(0)
    ->Arg(100)
    ->Arg(250)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);
BENCHMARK(BM_RawWrite24KiB)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);
BENCHMARK(BM_MemoryPerRequest)
    ->ArgName("capture")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bench
