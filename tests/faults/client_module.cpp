// A client module that the host program loads with dlopen. It starts the
// recorder on a log folder and either records one capture request and stops
// the recorder again, or leaves pipeline threads submitting records for good
// with the startup object never destroyed.
#include <cutils/properties.h>

#include <atomic>
#include <chrono>
#include <thread>

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

// Returns once the threads have handed off 2,000 requests between them.
extern "C" __attribute__((visibility("default"))) void faultsShimSubmitForever(const char* folder) {
    setProperties(folder);
    gStarter = new ScenarioRecorderInitializer();
    constexpr int kThreads = 4;
    static std::atomic<long> sHandedOff{0};
    for (int t = 0; t < kThreads; ++t) {
        std::thread([t] {
            IScenarioRecorder* recorder = IScenarioRecorder::getInstance();
            for (int request = t;; request += kThreads) {
                ScenarioLogPrinter guard(request);
                recorder->recordNddInfo(7, request, 0, request % 100 == 0);
                submitDecision(recorder, request, "before exit");
                submitDecision(recorder, request, "still before exit");
                sHandedOff.fetch_add(1, std::memory_order_relaxed);
            }
        }).detach();
    }
    while (sHandedOff.load(std::memory_order_relaxed) < 2000) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
