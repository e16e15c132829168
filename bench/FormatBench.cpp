// What a record would cost with other means, beside the recorder's own
// submit: the recorder's formatter alone, the successive-snprintf
// construction of the same line, a bare memcpy of the line, and spdlog's
// asynchronous logger writing the same content to a file.
#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <string.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "BenchSupport.h"
#include "NameTables.h"
#include "RecordFormat.h"
#include "SnprintfRecordFormat.h"

namespace bench {
namespace {

constexpr size_t kSpdlogQueueItems = 8192;  // spdlog's default queue size
// Timed-loop runs are repeated; their medians are the figures quoted.
constexpr int kRepetitions = 3;

using Line = char[sr::kRecordLineSize];

// Every formatter runs in this one loop, so that their figures differ only
// by the formatter: `format(text, line)` writes the benchmark's record with a
// text of the argument's length into `line`.
template <typename Format>
void timeFormatter(benchmark::State& state, Format format) {
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    Line line;
    for (auto _ : state) {
        benchmark::DoNotOptimize(format(text, line));
        benchmark::ClobberMemory();
    }
}

void BM_FormatDecisionLine(benchmark::State& state) {
    timeFormatter(state, [param = decisionParam(1)](const std::string& text, Line& line) {
        return sr::formatDecisionLine(param, sr::toRecordText(text), line);
    });
}

void BM_SnprintfDecisionLine(benchmark::State& state) {
    timeFormatter(state, [param = decisionParam(1)](const std::string& text, Line& line) {
        return sr::reference::snprintfDecisionLine(param, text.c_str(), line);
    });
}

void BM_FormatExecutionLine(benchmark::State& state) {
    timeFormatter(state, [param = executionParam(1, false)](const std::string& text, Line& line) {
        return sr::formatExecutionLine(param, sr::toRecordText(text), line);
    });
}

void BM_SnprintfExecutionLine(benchmark::State& state) {
    timeFormatter(state, [param = executionParam(1, false)](const std::string& text, Line& line) {
        return sr::reference::snprintfExecutionLine(param, text.c_str(), line);
    });
}

// The copy that the submit path makes of the formatted line, L bytes.
void BM_MemcpyLine(benchmark::State& state) {
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    char line[sr::kRecordLineSize];
    const size_t length = sr::formatDecisionLine(decisionParam(1), sr::toRecordText(text), line);
    char destination[sr::kRecordLineSize];
    for (auto _ : state) {
        benchmark::DoNotOptimize(line);
        memcpy(destination, line, length);
        benchmark::DoNotOptimize(destination);
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(length);
}

std::shared_ptr<spdlog::logger> spdlogLogger() {
    static std::once_flag once;
    static std::shared_ptr<spdlog::logger> logger;
    std::call_once(once, [] {
        spdlog::init_thread_pool(kSpdlogQueueItems, 1);
        logger = spdlog::create_async<spdlog::sinks::basic_file_sink_mt>(
            "bench", sharedRecorder().folder() + "/spdlog_async.log", true);
        logger->set_pattern("%v");  // the message alone, like a record line
    });
    return logger;
}

// The content of the recorder's decision line, names looked up per call as
// the recorder's formatter does.
void logDecision(spdlog::logger& logger, const sr::DecisionParam& param, const std::string& text) {
    logger.info("[SensorId: {}][FrameNum: {}][MagicNum: {}][ModuleName: {}][Decision: {}] {}",
                param.sensorId, param.frameNum, param.magicNum,
                sr::lookupModuleName(param.moduleId).text,
                sr::lookupDecisionName(param.decisionType).text, text);
}

// The same line content through spdlog's asynchronous logger: the producer
// formats into a queued message; one spdlog thread writes it to the file.
// With the queue full the producer waits (spdlog's default policy).
void BM_SpdlogAsyncDecision(benchmark::State& state) {
    const std::shared_ptr<spdlog::logger> logger = spdlogLogger();
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    const sr::DecisionParam param = decisionParam(1);
    for (auto _ : state) logDecision(*logger, param, text);
    state.SetItemsProcessed(state.iterations());
}

// The same calls, each timed like the recorder's submits.
void BM_SpdlogAsyncDecisionLatency(benchmark::State& state) {
    const std::shared_ptr<spdlog::logger> logger = spdlogLogger();
    const std::string text = benchText(static_cast<size_t>(state.range(0)));
    const sr::DecisionParam param = decisionParam(1);
    LatencySamples samples(static_cast<size_t>(state.max_iterations));
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        logDecision(*logger, param, text);
        samples.add(std::chrono::steady_clock::now() - start);
    }
    state.SetItemsProcessed(state.iterations());
    samples.report(state);
}

void flushSpdlog(const benchmark::State&) {
    spdlogLogger()->flush();
}

BENCHMARK(BM_FormatDecisionLine)->ArgName("text")->Arg(7)->Arg(100)->Repetitions(kRepetitions);
BENCHMARK(BM_SnprintfDecisionLine)->ArgName("text")->Arg(7)->Arg(100)->Repetitions(kRepetitions);
BENCHMARK(BM_FormatExecutionLine)->ArgName("text")->Arg(7)->Arg(100)->Repetitions(kRepetitions);
BENCHMARK(BM_SnprintfExecutionLine)->ArgName("text")->Arg(7)->Arg(100)->Repetitions(kRepetitions);
BENCHMARK(BM_MemcpyLine)->ArgName("text")->Arg(7)->Arg(100)->Repetitions(kRepetitions);
BENCHMARK(BM_SpdlogAsyncDecision)
    ->ArgName("text")
    ->Arg(7)
    ->Arg(100)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->MinTime(0.5)
    ->Repetitions(kRepetitions)
    ->Teardown(flushSpdlog);
BENCHMARK(BM_SpdlogAsyncDecisionLatency)
    ->ArgName("text")
    ->Arg(7)
    ->Arg(100)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->Iterations(1000000)
    ->Teardown(flushSpdlog);

}  // namespace

void shutdownSpdlog() {
    spdlog::shutdown();
}

}  // namespace bench
