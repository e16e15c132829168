// The process-wide instance, construction and destruction of the recorder.
#include "ScenarioRecorder.h"

#include <cutils/properties.h>

#include "RecorderProperties.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

IScenarioRecorder::~IScenarioRecorder() = default;

IScenarioRecorder* IScenarioRecorder::getInstance() {
    // The instance is never destroyed. exit() does not stop the host's other
    // threads, so pipeline threads may still be submitting records while the
    // exit handlers run; destroying the recorder there would free memory under
    // them. At exit it is only stopped and its files written and closed, by
    // the stopper registered right after construction; sOnce and sInstance
    // have nothing to destroy. The atomic pointer is the lock-free fast path;
    // it is stored inside the once-only step, after construction completes.
    static std::once_flag sOnce;
    static std::atomic<ScenarioRecorder*> sInstance{nullptr};
    ScenarioRecorder* instance = sInstance.load(std::memory_order_acquire);
    if (instance != nullptr) return instance;
    std::call_once(sOnce, [] {
        struct ExitStopper {
            ~ExitStopper() { sInstance.load(std::memory_order_acquire)->stopAtExit(); }
        };
        sInstance.store(new ScenarioRecorder(), std::memory_order_release);
        static ExitStopper sStopper;
    });
    return sInstance.load(std::memory_order_acquire);
}

ScenarioRecorder::Buffer::Buffer()
    : mRetired(false),
      mWriterCount(0),
      mCursor(mData),
      mRemaining(kBufferDataSize),
      mRequestNum(-1),
      mCreateTime{0, 0},
      mContinued(false),
      mHeadlineCursor(mHeadline),
      mHeadlineRemaining(kHeadlineSize) {
    clock_gettime(CLOCK_REALTIME, &mCreateTime);
}

ScenarioRecorder::ScenarioRecorder()
    : mRunning(false),
      mReady(false),
      mEnabled(property_get_int32(kEnableProperty, 0) != 0),
      mDefaultWriter(std::make_unique<FileWriter>(-1, -1, -1)) {
    mReady.store(false);
}

// In the ordinary course the startup object has stopped the recorder before
// the instance is destroyed. If the service thread still exists here, it is
// stopped and joined first: it reads every member below, so it must never
// outlive them.
ScenarioRecorder::~ScenarioRecorder() {
    if (mServiceThread.joinable()) unInit();
}

bool ScenarioRecorder::isScenarioRecorderOn() {
    return mEnabled;
}

// The writers are closed, not destroyed: a thread that was already inside
// recordNddInfo when the recorder stopped may still find them, under
// mWriterLock, until the process ends.
void ScenarioRecorder::stopAtExit() {
    unInit();
    std::lock_guard<std::mutex> lock(mWriterLock);
    for (auto& entry : mFileWriters) entry.second->close();
    mDefaultWriter->close();
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
