// What the simulated camera sees, frame by frame: the light level and the
// faces in view, and how far the auto-exposure has followed a change of light.
//
// A scene is a cycle of phases (bright street, a shop's inside, a face in
// view, ...). The seed moves every phase boundary of every cycle by up to a
// third of the shorter phase beside it, so two seeds differ in a few frames
// around each boundary, and one seed always gives the same frames.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace scenariosim {

struct ScenePhase {
    int mFrames;       // nominal length
    int mLightTenths;  // light value in tenths (LV 11.8 = 118)
    int mFaces;
};

struct SceneState {
    int mLightTenths = 0;
    int mFaces = 0;
    bool mConverging = false;  // AE still moving towards the light of this phase
    int mExposureUs = 0;       // what AE applies on this frame
    int mIso = 0;
};

class Scene {
  public:
    // nullopt for a name that is not one of sceneNames().
    static std::optional<Scene> named(const std::string& name, uint32_t seed);
    static const char* sceneNames();  // "street, dusk, portrait"

    SceneState at(int frame) const;

  private:
    Scene(std::vector<ScenePhase> phases, uint32_t seed);
    int boundary(int cycle, size_t phase) const;

    std::vector<ScenePhase> mPhases;
    std::vector<int> mStarts;  // nominal start of each phase within a cycle
    int mCycleFrames = 0;
    uint32_t mSeed;
};

// A number from `seed` and `values`, the same on every run; for texts that
// vary per request yet repeat with the seed.
uint32_t mixSeed(uint32_t seed, std::initializer_list<uint32_t> values);

}  // namespace scenariosim
