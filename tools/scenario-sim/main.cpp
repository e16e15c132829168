// scenario-sim: plays a camera session against the scenario recorder, the way
// the camera HAL server process does; see `scenario-sim --help`.
#include <IScenarioRecorder.h>
#include <ScenarioRecorderInitializer.h>
#include <cutils/properties.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "OutputFolder.h"
#include "Pipeline.h"
#include "SimOptions.h"
#include "SimReport.h"

namespace {

using namespace scenariosim;

constexpr const char* kProgramName = "scenario-sim";
constexpr const char* kEnableProperty = "vendor.debug.camera.scenarioRecorder.enable";
constexpr const char* kFolderProperty = "vendor.debug.camera.scenariorecorder.folder";
constexpr const char* kFlushProperty = "vendor.debug.camera.scenariorecorder.flushms";
constexpr auto kProgressInterval = std::chrono::milliseconds(200);
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

int fail(const std::string& message) {
    std::cerr << kProgramName << ": " << message << "\n";
    return kExitFailure;
}

// The recorder reads its switch once, when it is first made, so every
// property is in place before anything touches it.
bool switchRecorderOn(const SimOptions& options) {
    const std::string flushMs = std::to_string(options.mFlushIntervalMs);
    return property_set(kEnableProperty, "1") == 0 &&
           property_set(kFolderProperty, options.mOutFolder.c_str()) == 0 &&
           property_set(kFlushProperty, flushMs.c_str()) == 0;
}

void printProgress(const PipelineProgress& progress, double seconds) {
    printf("\r%6.1f s  requests %llu (preview %llu, capture %llu)  records %llu  in flight %d   ",
           seconds,
           static_cast<unsigned long long>(progress.mPreviewRequests) + progress.mCaptureRequests,
           static_cast<unsigned long long>(progress.mPreviewRequests),
           static_cast<unsigned long long>(progress.mCaptureRequests),
           static_cast<unsigned long long>(progress.mRecords), progress.mInFlight);
    (void)fflush(stdout);  // a progress line that does not show is no error
}

void showProgressUntilDone(const Pipeline& pipeline, bool show) {
    const auto start = std::chrono::steady_clock::now();
    while (!pipeline.finished()) {
        std::this_thread::sleep_for(kProgressInterval);
        if (!show) continue;
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        printProgress(pipeline.progress(), elapsed.count());
    }
    if (show) printf("\r%*s\r", 90, "");
}

// Runs the session between start and stop of the recorder; the stop writes
// everything that was handed off.
int runSession(const SimOptions& options, PipelineResult* result) {
    const bool showProgress = !options.mQuiet && isatty(STDOUT_FILENO) == 1;
    sr::ScenarioRecorderInitializer initializer;
    sr::IScenarioRecorder* recorder = sr::IScenarioRecorder::getInstance();
    if (!recorder->isScenarioRecorderOn()) return fail("the recorder did not switch on");
    Pipeline pipeline(options, recorder);
    pipeline.start();
    showProgressUntilDone(pipeline, showProgress);
    pipeline.join();
    *result = pipeline.takeResult();
    return 0;
}

int run(const std::vector<std::string>& args) {
    const ParseResult parsed = parseOptions(args);
    if (!parsed.mError.empty()) {
        std::cerr << kProgramName << ": " << parsed.mError << "\n";
        return kExitUsage;
    }
    const SimOptions& options = parsed.mOptions;
    if (options.mHelp) {
        std::cout << kHelpText;
        return 0;
    }
    std::string error;
    if (!makeFolderChain(options.mOutFolder, &error)) return fail(error);
    if (!switchRecorderOn(options)) return fail("cannot set the recorder's properties");
    const FolderSnapshot before(options.mOutFolder);

    PipelineResult result;
    if (const int status = runSession(options, &result); status != 0) return status;

    if (!options.mStatsJsonPath.empty() &&
        !writeStatsJson(options.mStatsJsonPath, options, result, &error)) {
        return fail(error);
    }
    if (!options.mQuiet) printSummary(std::cout, options, result, before.writtenSince());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& e) {
        return fail(e.what());
    } catch (...) {
        return fail("unexpected failure");
    }
}
