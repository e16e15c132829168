// Cost of a record to its caller, with the recorder started and its service
// thread writing the handed-off requests into files.
//
// Each thread submits to its own requests and hands each off with printLog
// after kRecordsPerRequest records. The argument is the text length: 7 gives
// a 100-character decision line, 100 a 100-character text. Throughput runs
// time the loop only (aggregate records per second); latency runs time every
// call with the steady clock into memory reserved beforehand.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <sys/resource.h>

#include <chrono>
#include <string>

#include "BenchSupport.h"

namespace bench {
namespace {

constexpr int64_t kLatencyIterations = 1000000;  // per thread
// Timed-loop runs are repeated; their medians are the figures quoted.
constexpr int kRepetitions = 3;
constexpr auto kDrainTimeout = std::chrono::seconds(120);

enum class Kind { kDecision, kExecution, kExecutionWithHeadline };

template <Kind kKind>
void submit(sr::ScenarioRecorder& recorder, int requestNum, const std::string& text) {
    if (kKind == Kind::kDecision) {
        recorder.submitDecisionRecord(decisionParam(requestNum), text);
    } else {
        recorder.submitExecutionRecord(
            executionParam(requestNum, kKind == Kind::kExecutionWithHeadline), text);
    }
}

// After every run, with all of its threads done: the next run starts with
// nothing queued, and the files written so far are removed.
void drainRecorder(const benchmark::State&) {
    if (!sharedRecorder().waitUntilWritten(kDrainTimeout)) {
        fprintf(stderr, "recorder did not drain within %lld s\n",
                static_cast<long long>(kDrainTimeout.count()));
        return;
    }
    sharedRecorder().removeWrittenLogs();
}

// The share of a core that the service thread used while thread 0 ran.
class ServiceThreadLoad {
  public:
    explicit ServiceThreadLoad(const benchmark::State& state)
        : mMeasuring(state.thread_index() == 0),
          mStartCpu(mMeasuring ? serviceThreadCpuSeconds() : 0),
          mStart(std::chrono::steady_clock::now()) {}

    void report(benchmark::State& state) const {
        if (!mMeasuring) return;
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - mStart).count();
        state.counters["service_cores"] = (serviceThreadCpuSeconds() - mStartCpu) / elapsed;
    }

  private:
    bool mMeasuring;
    double mStartCpu;
    std::chrono::steady_clock::time_point mStart;
};

// Page faults taken by the calling thread (first touches of freshly
// allocated memory) and its context switches: voluntary (it slept, on a lock
// or in the kernel) and involuntary (it was preempted).
struct ThreadEvents {
    long faults;
    long voluntarySwitches;
    long involuntarySwitches;
};

ThreadEvents threadEvents() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return {usage.ru_minflt + usage.ru_majflt, usage.ru_nvcsw, usage.ru_nivcsw};
}

// Events of the calling thread since `before`, per 1,000 records.
void reportThreadEvents(benchmark::State& state, const ThreadEvents& before) {
    const ThreadEvents after = threadEvents();
    const auto perThousand = [](long count) {
        return benchmark::Counter(static_cast<double>(count) * 1000,
                                  benchmark::Counter::kAvgIterations);
    };
    state.counters["faults_per_krecord"] = perThousand(after.faults - before.faults);
    state.counters["vcsw_per_krecord"] =
        perThousand(after.voluntarySwitches - before.voluntarySwitches);
    state.counters["icsw_per_krecord"] =
        perThousand(after.involuntarySwitches - before.involuntarySwitches);
}

template <Kind kKind>
void BM_Submit(benchmark::State& state) {
    sr::ScenarioRecorder& recorder = sharedRecorder().get();
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    RequestCycle cycle(state.thread_index());
    const ServiceThreadLoad load(state);
    const ThreadEvents eventsBefore = threadEvents();
    for (auto _ : state) {
        submit<kKind>(recorder, cycle.current(), text);
        cycle.recorded(recorder);
    }
    cycle.finish(recorder);
    state.SetItemsProcessed(state.iterations());
    reportThreadEvents(state, eventsBefore);
    load.report(state);
}

template <Kind kKind>
void BM_SubmitLatency(benchmark::State& state) {
    sr::ScenarioRecorder& recorder = sharedRecorder().get();
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    RequestCycle cycle(state.thread_index());
    LatencySamples samples(static_cast<size_t>(state.max_iterations));
    const ThreadEvents eventsBefore = threadEvents();
    for (auto _ : state) {
        const bool first = cycle.atFirstRecord();
        const auto start = std::chrono::steady_clock::now();
        submit<kKind>(recorder, cycle.current(), text);
        samples.add(std::chrono::steady_clock::now() - start, first);
        cycle.recorded(recorder);
    }
    cycle.finish(recorder);
    reportThreadEvents(state, eventsBefore);
    state.SetItemsProcessed(state.iterations());
    samples.report(state);
}

// The reservation alone: allocLogSpace and the publication, no formatting
// and no copy beyond an empty line. Argument 1 puts all threads on the same
// requests, 0 gives each thread its own.
void BM_ReserveAndPublish(benchmark::State& state) {
    constexpr unsigned long kReservation = 144;  // a 100-character line
    sr::ScenarioRecorder& recorder = sharedRecorder().get();
    RequestCycle cycle(state.range(0) != 0 ? 0 : state.thread_index());
    for (auto _ : state) {
        sr::LogHeader* header = nullptr;
        sr::ScenarioRecorder::Buffer* buffer = nullptr;
        recorder.allocLogSpace(cycle.current(), kReservation, &header, &buffer);
        header->text = reinterpret_cast<char*>(header) + sr::ScenarioRecorder::kLogHeaderSize;
        header->text[0] = '\0';
        // Published as the submit path does; a buffer retired meanwhile by the
        // other thread is picked up by the service thread's timed re-check.
        buffer->mWriterCount.fetch_sub(1, std::memory_order_release);
        cycle.recorded(recorder);
    }
    cycle.finish(recorder);
    state.SetItemsProcessed(state.iterations());
}

void threadCounts(benchmark::internal::Benchmark* benchmark) {
    benchmark->Threads(1)->Threads(2)->Threads(4);
}

#define SUBMIT_BENCHMARK(kind)                 \
    BENCHMARK_TEMPLATE(BM_Submit, kind)        \
        ->ArgName("text")                      \
        ->Arg(7)                               \
        ->Arg(100)                             \
        ->Apply(threadCounts)                  \
        ->UseRealTime()                        \
        ->MinTime(0.5)                         \
        ->Repetitions(kRepetitions)            \
        ->Teardown(drainRecorder);             \
    BENCHMARK_TEMPLATE(BM_SubmitLatency, kind) \
        ->ArgName("text")                      \
        ->Arg(7)                               \
        ->Arg(100)                             \
        ->Apply(threadCounts)                  \
        ->UseRealTime()                        \
        ->Iterations(kLatencyIterations)       \
        ->Teardown(drainRecorder)

SUBMIT_BENCHMARK(Kind::kDecision);
SUBMIT_BENCHMARK(Kind::kExecution);
SUBMIT_BENCHMARK(Kind::kExecutionWithHeadline);

BENCHMARK(BM_ReserveAndPublish)
    ->ArgName("shared")
    ->Arg(0)
    ->Arg(1)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->MinTime(0.5)
    ->Repetitions(kRepetitions)
    ->Teardown(drainRecorder);

}  // namespace
}  // namespace bench
