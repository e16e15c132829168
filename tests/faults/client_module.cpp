// A client module that the host program loads with dlopen. It starts the
// recorder on a log folder and either records one capture request and stops
// the recorder again, or lets pipeline threads hand off requests and leaves
// the startup object undestroyed, so that only process exit stops the
// recorder.
#include <cutils/properties.h>

#include <thread>
#include <vector>

#include "IScenarioRecorder.h"
#include "RecorderProperties.h"
#include "ScenarioLogPrinter.h"
#include "ScenarioRecorderInitializer.h"

using namespace NSCam::TuningUtils::scenariorecorder;

namespace {

void setProperties(const char* folder) {
    property_set(kEnableProperty, "1");
    property_set(kFolderProperty, folder);
    property_set(kFlushIntervalProperty, "5");
}

void submitDecision(IScenarioRecorder* recorder, int requestNum, const char* text) {
    DecisionParam decision;
    decision.requestNum = requestNum;
    decision.decisionType = TOP_CONTROL;
    decision.moduleId = 0x00404001;
    recorder->submitDecisionRecord(decision, text);
}

// Reachable from here, so that leak checkers do not count it.
ScenarioRecorderInitializer* gStarter = nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) int faultsShimRecordOneRequest(const char* folder,
                                                                                 int requestNum) {
    setProperties(folder);
    ScenarioRecorderInitializer starter;
    IScenarioRecorder* recorder = IScenarioRecorder::getInstance();
    if (!recorder->isScenarioRecorderOn()) return 1;
    ScenarioLogPrinter guard(requestNum);
    recorder->recordNddInfo(5, requestNum, 0, true);
    submitDecision(recorder, requestNum, "before unload");
    return 0;
}

// Four threads hand off `requests` requests between them, two records each;
// returns once they have ended. Every hundredth request is a capture request.
// The properties come from the host's seed file.
extern "C" __attribute__((visibility("default"))) void faultsShimHandOffAndLeave(int requests) {
    gStarter = new ScenarioRecorderInitializer();
    constexpr int kThreads = 4;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, requests] {
            IScenarioRecorder* recorder = IScenarioRecorder::getInstance();
            for (int request = t; request < requests; request += kThreads) {
                ScenarioLogPrinter guard(request);
                recorder->recordNddInfo(7, request, 0, request % 100 == 0);
                submitDecision(recorder, request, "before exit");
                submitDecision(recorder, request, "still before exit");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}
