// The simulated camera pipeline: a request thread that issues requests at a
// frame rate and pipeline worker threads that work on them, each holding a
// ScenarioLogPrinter for the request while it works, so that the last one to
// finish hands the request's log to the recorder's writer.
#pragma once

#include <IScenarioRecorder.h>
#include <ScenarioLogPrinter.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ModuleScripts.h"
#include "Scene.h"
#include "SimOptions.h"
#include "SimRequest.h"
#include "WorkQueue.h"

namespace scenariosim {

struct PipelineProgress {
    uint64_t mPreviewRequests;
    uint64_t mCaptureRequests;
    uint64_t mRecords;
    int mInFlight;
};

struct PipelineResult {
    std::vector<std::shared_ptr<SimRequest>> mRequests;  // in issue order
    std::vector<int> mUniqueKeys;                        // preview sessions, in order
    std::vector<int64_t> mLatenciesNs;                   // every submit call
    double mSeconds;                                     // from start to the last hand-off
};

class Pipeline {
  public:
    Pipeline(const SimOptions& options, sr::IScenarioRecorder* recorder);
    ~Pipeline();

    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    void start();
    bool finished() const { return mFinished.load(); }
    PipelineProgress progress() const;
    // Waits for every thread; the result is complete afterwards.
    void join();
    PipelineResult takeResult() { return std::move(mResult); }

  private:
    struct WorkItem {
        std::shared_ptr<SimRequest> mRequest;
        const ModuleScript* mModule = nullptr;
        std::unique_ptr<sr::ScenarioLogPrinter> mPrinter;
    };

    void requestThreadEntry();
    void workerThreadEntry(size_t worker);
    void issueRequest(RecordSink& sink);
    void endSession(RecordSink& sink);
    std::shared_ptr<SimRequest> newRequest(bool capture, int holders);
    std::vector<const ModuleScript*> workerModulesFor(bool capture) const;
    size_t workerFor(size_t module, int requestNum) const;
    void reconfigureIfDue(std::chrono::steady_clock::time_point* sessionStart);
    void finishHolding(SimRequest& request);
    void waitForRoom();
    void waitUntilIdle();
    void storeLatencies(size_t slot, RecordSink& sink);

    const SimOptions mOptions;
    sr::IScenarioRecorder* const mRecorder;
    const Scene mScene;
    // mModuleWorkers[m]: the workers that run worker module m.
    std::vector<std::vector<size_t>> mModuleWorkers;
    std::vector<std::unique_ptr<WorkQueue<WorkItem>>> mQueues;  // one per worker
    std::vector<std::thread> mThreads;

    // Requests issued and not yet handed off.
    mutable std::mutex mInFlightLock;
    std::condition_variable mInFlightCond;
    int mInFlight = 0;  // guarded by mInFlightLock

    std::atomic<uint64_t> mPreviewRequests{0};
    std::atomic<uint64_t> mCaptureRequests{0};
    std::atomic<uint64_t> mRecords{0};
    std::atomic<bool> mFinished{false};

    // Owned by the request thread until join.
    int mNextRequest = 0;
    int mUniqueKey = 0;
    // One slot per thread, the request thread's last; each thread fills its own.
    std::vector<std::vector<int64_t>> mLatencySlots;
    PipelineResult mResult;
};

}  // namespace scenariosim
