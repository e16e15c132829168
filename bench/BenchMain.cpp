// One benchmark binary: a started recorder in a scratch folder serves every
// benchmark, so that all figures come from one run on one machine state.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <zyncam/utils/ULog.h>

#include "BenchSupport.h"

namespace bench {
void shutdownSpdlog();
}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    // Errors only: the headline runs queue far more items than a headline
    // holds, and each dropped item would log a warning on the service thread.
    NSCam::Utils::ULog::ULogger::sDetailsLevel = 1;
    if (bench::decisionLineLength(bench::benchText(7)) != 101) {
        fprintf(stderr, "the benchmark's decision line with a 7-character text is not 100 long\n");
        return 1;
    }
    bench::ScratchFolder folder("scenario_recorder_bench");
    {
        bench::RunningRecorder recorder(folder.path());
        bench::setSharedRecorder(&recorder);
        benchmark::RunSpecifiedBenchmarks();
        bench::shutdownSpdlog();
        bench::setSharedRecorder(nullptr);
    }
    benchmark::Shutdown();
    return 0;
}
