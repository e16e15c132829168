// The process-wide instance, construction and destruction of the recorder.
#include "ScenarioRecorder.h"

#include <cutils/properties.h>

#include "RecorderProperties.h"
#include "ReportFailures.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

IScenarioRecorder::~IScenarioRecorder() = default;

IScenarioRecorder* IScenarioRecorder::getInstance() {
    // The owner is destroyed at process exit or library unload, which
    // destroys the recorder. The atomic pointer is the lock-free fast path;
    // it is stored inside the once-only step, after construction completes.
    static std::unique_ptr<IScenarioRecorder> sOwner;
    static std::once_flag sOnce;
    static std::atomic<IScenarioRecorder*> sInstance{nullptr};
    IScenarioRecorder* instance = sInstance.load(std::memory_order_acquire);
    if (instance != nullptr) return instance;
    // A construction that throws leaves the flag unset: this call returns
    // null and a later one tries again.
    runReportingFailures("getInstance", [] {
        std::call_once(sOnce, [] {
            sOwner.reset(new ScenarioRecorder());
            sInstance.store(sOwner.get(), std::memory_order_release);
        });
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

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
