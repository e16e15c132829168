#include "Pipeline.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace scenariosim {

namespace {

using Clock = std::chrono::steady_clock;

// Requests the pipeline holds at once, as a HAL bounds its in-flight
// requests; the request thread waits for room like a HAL's would.
constexpr int kMaxInFlight = 12;
// The preview session is reconfigured (a new unique key) this often.
constexpr auto kSessionLength = std::chrono::seconds(2);
constexpr int kPreviewTag = 0;
constexpr int kCaptureTag = 1;
constexpr int kFirstMagicNum = 1;

// Unique keys differ between runs, as in the HAL, so that a second run in
// the same folder starts series of its own.
int firstUniqueKey() {
    constexpr long kKeyRange = 10000000;
    constexpr int kKeysPerRun = 10;
    return static_cast<int>(time(nullptr) % kKeyRange) * kKeysPerRun;
}

}  // namespace

Pipeline::Pipeline(const SimOptions& options, sr::IScenarioRecorder* recorder)
    : mOptions(options),
      mRecorder(recorder),
      mScene(Scene::named(options.mScene, options.mSeed).value()) {
    const size_t workers = static_cast<size_t>(options.mWorkerThreads);
    const size_t modules = workerModules().size();
    mModuleWorkers.resize(modules);
    if (workers <= modules) {
        for (size_t m = 0; m < modules; ++m) mModuleWorkers[m].push_back(m % workers);
    } else {
        for (size_t w = 0; w < workers; ++w) mModuleWorkers[w % modules].push_back(w);
    }
    for (size_t w = 0; w < workers; ++w) {
        mQueues.push_back(std::make_unique<WorkQueue<WorkItem>>());
    }
    mLatencySlots.resize(workers + 1);
}

Pipeline::~Pipeline() {
    for (auto& queue : mQueues) queue->close();
    for (std::thread& thread : mThreads) {
        if (thread.joinable()) thread.join();
    }
}

void Pipeline::start() {
    mNextRequest = mOptions.mFirstRequest;
    mUniqueKey = firstUniqueKey();
    mResult.mUniqueKeys.push_back(mUniqueKey);
    for (size_t w = 0; w < mQueues.size(); ++w) {
        mThreads.emplace_back(&Pipeline::workerThreadEntry, this, w);
    }
    mThreads.emplace_back(&Pipeline::requestThreadEntry, this);
}

PipelineProgress Pipeline::progress() const {
    PipelineProgress progress;
    progress.mPreviewRequests = mPreviewRequests.load(std::memory_order_relaxed);
    progress.mCaptureRequests = mCaptureRequests.load(std::memory_order_relaxed);
    progress.mRecords = mRecords.load(std::memory_order_relaxed);
    {
        std::lock_guard<std::mutex> lock(mInFlightLock);
        progress.mInFlight = mInFlight;
    }
    return progress;
}

void Pipeline::join() {
    for (std::thread& thread : mThreads) thread.join();
    mThreads.clear();
    for (std::vector<int64_t>& slot : mLatencySlots) {
        mResult.mLatenciesNs.insert(mResult.mLatenciesNs.end(), slot.begin(), slot.end());
        slot = std::vector<int64_t>();
    }
}

void Pipeline::requestThreadEntry() {
    RecordSink sink(mRecorder, &mRecords);
    const Clock::time_point start = Clock::now();
    const Clock::time_point end =
        start + std::chrono::duration_cast<Clock::duration>(
                    std::chrono::duration<double>(mOptions.mDurationSeconds));
    const auto period = std::chrono::nanoseconds(1000000000LL / mOptions.mFps);
    Clock::time_point deadline = start;
    Clock::time_point sessionStart = start;
    // With a number of frames the session's requests do not depend on how
    // late the frames come, only the time it takes does.
    const int frames = mOptions.mFrames;
    for (int frame = 0; frames > 0 ? frame < frames : deadline < end; ++frame) {
        std::this_thread::sleep_until(deadline);
        reconfigureIfDue(&sessionStart);
        issueRequest(sink);
        // A late frame is not made up for: the next one follows a period later.
        deadline = std::max(deadline + period, Clock::now());
    }
    waitUntilIdle();
    endSession(sink);
    mResult.mSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    for (auto& queue : mQueues) queue->close();
    storeLatencies(mQueues.size(), sink);
    mFinished.store(true);
}

void Pipeline::workerThreadEntry(size_t worker) {
    RecordSink sink(mRecorder, &mRecords);
    WorkItem item;
    while (mQueues[worker]->pop(&item)) {
        playModule(*item.mModule, *item.mRequest, mOptions.mRecordsPerModule, sink, mOptions.mSeed);
        item.mPrinter.reset();
        finishHolding(*item.mRequest);
        item = WorkItem();
    }
    storeLatencies(worker, sink);
}

// The request thread holds the request while its own modules report, and
// takes a printer for every worker module before it lets go, so the request
// never looks finished while a worker still has it queued.
void Pipeline::issueRequest(RecordSink& sink) {
    const bool capture =
        mOptions.mCaptureInterval > 0 && (mNextRequest + 1) % mOptions.mCaptureInterval == 0;
    const std::vector<const ModuleScript*> modules = workerModulesFor(capture);
    waitForRoom();
    std::shared_ptr<SimRequest> request = newRequest(capture, static_cast<int>(modules.size()) + 1);
    const int requestNum = request->mRequestNum;
    {
        sr::ScenarioLogPrinter printer(requestNum);
        mRecorder->recordNddInfo(mUniqueKey, requestNum, capture ? kCaptureTag : kPreviewTag,
                                 capture);
        for (const ModuleScript& module : requestThreadModules()) {
            if (capture ? module.mOnCapture : module.mOnPreview) {
                playModule(module, *request, mOptions.mRecordsPerModule, sink, mOptions.mSeed);
            }
        }
        for (const ModuleScript* module : modules) {
            const size_t index = static_cast<size_t>(module - workerModules().data());
            WorkItem item;
            item.mRequest = request;
            item.mModule = module;
            item.mPrinter = std::make_unique<sr::ScenarioLogPrinter>(requestNum);
            mQueues[workerFor(index, requestNum)]->push(std::move(item));
        }
    }
    finishHolding(*request);
}

// The last request of the session is a preview request, so the last buffer
// that the writer takes goes to the preview writer, which is then flushed.
void Pipeline::endSession(RecordSink& sink) {
    waitForRoom();
    std::shared_ptr<SimRequest> request = newRequest(false, 1);
    const ModuleScript& module = sessionEndModule();
    {
        sr::ScenarioLogPrinter printer(request->mRequestNum);
        mRecorder->recordNddInfo(mUniqueKey, request->mRequestNum, kPreviewTag, false);
        playModule(module, *request, static_cast<int>(module.mRecords.size()), sink,
                   mOptions.mSeed);
    }
    finishHolding(*request);
    waitUntilIdle();
}

std::shared_ptr<SimRequest> Pipeline::newRequest(bool capture, int holders) {
    const int requestNum = mNextRequest++;
    auto request = std::make_shared<SimRequest>(requestNum, kFirstMagicNum + requestNum, mUniqueKey,
                                                capture, mScene.at(requestNum), holders);
    mResult.mRequests.push_back(request);
    (capture ? mCaptureRequests : mPreviewRequests).fetch_add(1, std::memory_order_relaxed);
    return request;
}

std::vector<const ModuleScript*> Pipeline::workerModulesFor(bool capture) const {
    std::vector<const ModuleScript*> modules;
    for (const ModuleScript& module : workerModules()) {
        if (capture ? module.mOnCapture : module.mOnPreview) modules.push_back(&module);
    }
    return modules;
}

size_t Pipeline::workerFor(size_t module, int requestNum) const {
    const std::vector<size_t>& workers = mModuleWorkers[module];
    return workers[static_cast<size_t>(requestNum) % workers.size()];
}

// A reconfiguration drains the pipeline first, as a HAL flushes it before
// it builds the new session.
void Pipeline::reconfigureIfDue(Clock::time_point* sessionStart) {
    if (Clock::now() - *sessionStart < kSessionLength) return;
    waitUntilIdle();
    ++mUniqueKey;
    mResult.mUniqueKeys.push_back(mUniqueKey);
    *sessionStart = Clock::now();
}

void Pipeline::finishHolding(SimRequest& request) {
    if (request.mHolders.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    {
        std::lock_guard<std::mutex> lock(mInFlightLock);
        --mInFlight;
    }
    mInFlightCond.notify_all();
}

void Pipeline::waitForRoom() {
    std::unique_lock<std::mutex> lock(mInFlightLock);
    mInFlightCond.wait(lock, [this] { return mInFlight < kMaxInFlight; });
    ++mInFlight;
}

void Pipeline::waitUntilIdle() {
    std::unique_lock<std::mutex> lock(mInFlightLock);
    mInFlightCond.wait(lock, [this] { return mInFlight == 0; });
}

void Pipeline::storeLatencies(size_t slot, RecordSink& sink) {
    mLatencySlots[slot] = sink.takeLatencies();
}

}  // namespace scenariosim
