// A camera HAL in miniature, as a HAL engineer builds the recorder in: it
// starts the recorder from its properties, runs four preview requests and
// one capture request through a request thread and a pipeline thread,
// records what the modules decided and how a stage ended, stops the recorder
// and prints the tuning log files that it wrote.
//
// On the host the properties come from the file that ZYNCAM_HOST_PROPERTIES
// names (see example.properties):
//   ZYNCAM_HOST_PROPERTIES=examples/example.properties ./hal_example
#include <cutils/properties.h>
#include <stdio.h>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "IScenarioRecorder.h"
#include "ScenarioLogPrinter.h"
#include "ScenarioRecorderIds.h"
#include "ScenarioRecorderInitializer.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;

namespace {

constexpr const char* kFolderProperty = "vendor.debug.camera.scenariorecorder.folder";
constexpr const char* kDefaultFolder = "/data/vendor/camera_dump";
constexpr int kUniqueKey = 7;  // the preview session: its requests share one file series
constexpr int kRequests = 5;
constexpr int kCaptureRequest = 3;  // a capture request gets a file series of its own
constexpr int kSensorId = 0;

struct Request {
    int requestNum;
    bool isCapture;
    // The pipeline thread's hold on the request's log. It is taken on the
    // request thread, before the request thread lets go of its own, so the
    // log is handed off only when both threads are done with the request.
    std::unique_ptr<sr::ScenarioLogPrinter> hold;
};

// The pipeline thread: processes the requests in order and records the
// decision of its P2 module and how the MDP stage ended.
class Pipeline {
  public:
    Pipeline() : mThread([this] { run(); }) {}

    ~Pipeline() {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mStopping = true;
        }
        mWork.notify_one();
        mThread.join();
    }

    void submit(Request request) {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mQueue.push_back(std::move(request));
        }
        mWork.notify_one();
    }

  private:
    void run() {
        std::unique_lock<std::mutex> lock(mLock);
        for (;;) {
            mWork.wait(lock, [this] { return mStopping || !mQueue.empty(); });
            if (mQueue.empty()) return;
            Request request = std::move(mQueue.front());
            mQueue.pop_front();
            lock.unlock();
            process(request);
            request.hold.reset();  // the last hold of a request hands its log off
            lock.lock();
        }
    }

    static void process(const Request& request) {
        sr::IScenarioRecorder* recorder = sr::IScenarioRecorder::getInstance();
        const uint32_t module = request.isCapture ? sr::kModuleP2Capture : sr::kModuleP2Streaming;

        sr::DecisionParam decision;
        decision.requestNum = request.requestNum;
        decision.sensorId = kSensorId;
        decision.moduleId = module;
        decision.decisionType = sr::ISP_FLOW;
        recorder->submitDecisionRecord(decision,
                                       "tuning index " + std::to_string(40 + request.requestNum));

        sr::ResultParam result;
        result.requestNum = request.requestNum;
        result.sensorId = kSensorId;
        result.moduleId = module;
        result.stageId = sr::kStageMdp;
        result.decisionType = sr::ISP_FLOW;
        result.addToHeadline = true;  // the text also heads the request's block in the file
        recorder->submitExecutionRecord(
            result, request.isCapture ? "MDP out 4000x3000" : "MDP out 1920x1080");
    }

    std::mutex mLock;
    std::condition_variable mWork;  // waited on with mLock
    std::deque<Request> mQueue;     // guarded by mLock
    bool mStopping = false;         // guarded by mLock
    std::thread mThread;            // last: starts once the members above exist
};

// The request thread's part of one request: the hold, the NDD report and the
// middleware's decision, before the pipeline thread gets the request.
void runRequest(sr::IScenarioRecorder* recorder, Pipeline* pipeline, int requestNum) {
    const bool isCapture = requestNum == kCaptureRequest;
    sr::ScenarioLogPrinter hold(requestNum);
    // Names the file series of the request's records: the preview requests
    // of one unique key share one, a capture request gets its own. Before
    // the first preview report there is no series: the records of a request
    // without a report are dropped, and the writer thread logs "Unable to
    // open file...".
    recorder->recordNddInfo(kUniqueKey, requestNum, /*tagNumber=*/isCapture ? 1 : 0, isCapture);

    sr::DecisionParam decision;
    decision.requestNum = requestNum;
    decision.sensorId = kSensorId;
    decision.moduleId = sr::kModuleCameraMiddleware;
    decision.decisionType = sr::TRIGGER_FEATURE;
    recorder->submitDecisionRecord(decision, isCapture ? "features MFNR" : "features 3DNR|EIS");

    pipeline->submit({requestNum, isCapture, std::make_unique<sr::ScenarioLogPrinter>(requestNum)});
}

std::set<std::filesystem::path> tuningLogFiles(const std::filesystem::path& folder) {
    std::set<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().filename().string().find("_TuningLog_") != std::string::npos)
            files.insert(entry.path());
    }
    return files;
}

}  // namespace

int main() {
    // Once per process, early: with the enable property at 1 it starts the
    // recorder's writer thread; its destruction stops it.
    auto starter = std::make_unique<sr::ScenarioRecorderInitializer>();
    sr::IScenarioRecorder* recorder = sr::IScenarioRecorder::getInstance();
    if (recorder == nullptr || !recorder->isScenarioRecorderOn()) {
        fprintf(stderr,
                "hal_example: the recorder is off: set vendor.debug.camera.scenarioRecorder.enable "
                "to 1 (on the host in the file that ZYNCAM_HOST_PROPERTIES names, such as "
                "examples/example.properties)\n");
        return 1;
    }
    char folder[PROPERTY_VALUE_MAX] = {};
    property_get(kFolderProperty, folder, kDefaultFolder);
    const std::set<std::filesystem::path> before = tuningLogFiles(folder);

    {
        Pipeline pipeline;
        for (int requestNum = 0; requestNum < kRequests; ++requestNum) {
            runRequest(recorder, &pipeline, requestNum);
        }
    }
    // Every request was handed off; stopping writes all of them into files.
    starter.reset();

    int written = 0;
    for (const std::filesystem::path& file : tuningLogFiles(folder)) {
        if (before.count(file) != 0) continue;
        printf("%8ju  %s\n", static_cast<uintmax_t>(std::filesystem::file_size(file)),
               file.c_str());
        ++written;
    }
    printf("hal_example: %d requests, %d files written in %s\n", kRequests, written, folder);
    return written > 0 ? 0 : 1;
}
