// Request registration counts and the hand-off of a finished request's log.
#include "ReportFailures.h"
#include "ScenarioLogPrinter.h"
#include "ScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

ScenarioLogPrinter::ScenarioLogPrinter(int requestNum) : mRequestNum(requestNum) {
    IScenarioRecorder* recorder = IScenarioRecorder::getInstance();
    if (recorder != nullptr && recorder->isScenarioRecorderOn())
        recorder->registerRequest(requestNum);
}

// The enable switch is fixed when the recorder is made, so a guard
// deregisters exactly when it registered.
ScenarioLogPrinter::~ScenarioLogPrinter() {
    IScenarioRecorder* recorder = IScenarioRecorder::getInstance();
    if (recorder != nullptr && recorder->isScenarioRecorderOn()) {
        recorder->deregisterRequest(mRequestNum);
    }
}

void ScenarioRecorder::registerRequest(int requestNum) {
    runReportingFailures(__func__, [&] {
        std::lock_guard<std::mutex> lock(mRequestLock);
        ++mRequestRefCounts[requestNum];
    });
}

// Only the step from 1 to 0 hands the log off; surplus deregistrations count
// below 0 without one. Entries stay, so a number registered again counts on
// from where it is.
void ScenarioRecorder::deregisterRequest(int requestNum) {
    std::lock_guard<std::mutex> lock(mRequestLock);
    auto it = mRequestRefCounts.find(requestNum);
    if (it == mRequestRefCounts.end()) return;
    if (--it->second == 0) printLog(requestNum);  // mRequestLock before mBufferLock
}

// A hand-off that fails (the pending queue could not grow) leaves the buffer
// active, to be handed off again or expired.
void ScenarioRecorder::printLog(int requestNum) {
    runReportingFailures(__func__, [&] {
        std::lock_guard<std::mutex> lock(mBufferLock);
        auto it = mActiveBuffers.find(requestNum);
        if (it == mActiveBuffers.end()) return;
        retireActiveBuffer(it, /*continued=*/false);
        mWorkCond.notify_one();
    });
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
