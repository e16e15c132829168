// One capture request as the simulated pipeline passes it between threads.
#pragma once

#include <atomic>

#include "Scene.h"

namespace scenariosim {

struct SimRequest {
    SimRequest(int requestNum, int magicNum, int uniqueKey, bool capture, const SceneState& scene,
               int holders)
        : mRequestNum(requestNum),
          mMagicNum(magicNum),
          mUniqueKey(uniqueKey),
          mCapture(capture),
          mScene(scene),
          mHolders(holders) {}

    const int mRequestNum;  // also the frame number, as in the camera HAL
    const int mMagicNum;    // the sensor node's own numbering of the frame
    const int mUniqueKey;   // the preview session the request belongs to
    const bool mCapture;
    const SceneState mScene;  // what the camera sees on this frame

    // Records submitted for the request, all while a ScenarioLogPrinter held
    // it, so all before its log was handed off.
    std::atomic<int> mDecisions{0};
    std::atomic<int> mExecutions{0};
    std::atomic<int> mHeadlineTexts{0};

    // Threads still working on the request. Each one destroys its
    // ScenarioLogPrinter before it counts itself out, so at 0 the log has
    // been handed off.
    std::atomic<int> mHolders;
};

}  // namespace scenariosim
