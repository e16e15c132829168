// Startup and shutdown of the recorder.
#include "ScenarioRecorderInitializer.h"

#include <cutils/properties.h>

#include <exception>
#include <thread>

#include "RecorderLog.h"
#include "RecorderProperties.h"
#include "ReportFailures.h"
#include "ScenarioRecorder.h"
#include "ScenarioRecorderInitializerImpl.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {
constexpr int kStartValue = 1;
}

// Without memory for its implementation the object starts nothing, and its
// destruction then stops nothing.
ScenarioRecorderInitializer::ScenarioRecorderInitializer() {
    runReportingFailures("ScenarioRecorderInitializer",
                         [this] { mImpl = std::make_unique<ScenarioRecorderInitializerImpl>(); });
}

ScenarioRecorderInitializer::~ScenarioRecorderInitializer() = default;

// Only the value 1 starts the recorder; other non-zero values switch the
// recorder's own enable flag on without starting it.
ScenarioRecorderInitializerImpl::ScenarioRecorderInitializerImpl()
    : mEnableValue(property_get_int32(kEnableProperty, 0)), mRecorder(nullptr) {
    if (mEnableValue != kStartValue) return;
    mRecorder = static_cast<ScenarioRecorder*>(IScenarioRecorder::getInstance());
    if (mRecorder != nullptr) mRecorder->init();
}

ScenarioRecorderInitializerImpl::~ScenarioRecorderInitializerImpl() {
    if (mRecorder != nullptr) mRecorder->unInit();
}

// A second init while a service thread exists is refused, so the first
// thread is never lost. A thread that cannot be created leaves the recorder
// not ready, so records keep being dropped, and a later unInit and init work.
void ScenarioRecorder::init() {
    if (mServiceThread.joinable()) {
        SR_LOGW("already started; ignored");
        return;
    }
    mRunning.store(true);
    try {
        mServiceThread = std::thread(&ScenarioRecorder::serviceThreadEntry, this);
    } catch (const std::exception& error) {  // std::system_error or std::bad_alloc
        mRunning.store(false);
        mReady.store(false);
        SR_LOGE("Unable to start the service thread: %s", error.what());
        return;
    }
    mReady.store(true);
}

void ScenarioRecorder::unInit() {
    SR_LOGD("unInit");
    if (mRunning.load()) {
        {
            std::lock_guard<std::mutex> lock(mBufferLock);
            mRunning.store(false);
            mWorkCond.notify_all();
        }
        mServiceThread.join();
        runReportingFailures(__func__, [this] { discardUnwrittenBuffers(); });
    }
    mReady.store(false);
}

// Buffers never retired, and buffers retired after the service thread's last
// look, are taken out of their containers in one hold of mBufferLock and freed
// unwritten after it. They are not freed inside that hold: a client thread may
// still be copying a record into one of them (its count was raised while the
// buffer was active), and freeing it there would free memory that thread is
// writing. The count can only fall once the buffer has left mActiveBuffers,
// so each is freed once its count is 0.
void ScenarioRecorder::discardUnwrittenBuffers() {
    std::unordered_map<int, std::unique_ptr<Buffer>> active;
    std::deque<std::unique_ptr<Buffer>> pending;
    {
        std::lock_guard<std::mutex> lock(mBufferLock);
        active.swap(mActiveBuffers);
        pending.swap(mPendingBuffers);
    }
    auto waitForCopies = [](const Buffer& buffer) {
        while (buffer.mWriterCount.load(std::memory_order_acquire) > 0) {
            std::this_thread::yield();
        }
    };
    for (const auto& entry : active) waitForCopies(*entry.second);
    for (const auto& buffer : pending) waitForCopies(*buffer);
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
