#include "Scene.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace scenariosim {

namespace {

// Frames the AE takes to settle after the light changes.
constexpr int kConvergeFrames = 6;
constexpr int kMaxExposureUs = 33000;
constexpr int kBaseIso = 100;
// Exposure at LV 0 with ISO 100, halved per LV.
constexpr double kExposureAtLv0Us = 4.0e6;

const std::map<std::string, std::vector<ScenePhase>>& scenes() {
    static const std::map<std::string, std::vector<ScenePhase>> scenes = {
        {"street", {{60, 118, 0}, {40, 115, 1}, {60, 70, 0}, {30, 68, 2}}},
        {"dusk", {{90, 95, 0}, {60, 60, 1}, {90, 35, 0}, {60, 20, 1}}},
        {"portrait", {{30, 80, 0}, {120, 80, 1}, {30, 80, 0}, {60, 45, 1}}},
    };
    return scenes;
}

void exposeFor(int lightTenths, SceneState& state) {
    const double exposure = kExposureAtLv0Us / std::pow(2.0, lightTenths / 10.0);
    state.mExposureUs = static_cast<int>(std::min(exposure, double{kMaxExposureUs}));
    state.mIso = static_cast<int>(kBaseIso * std::max(1.0, exposure / kMaxExposureUs));
}

}  // namespace

uint32_t mixSeed(uint32_t seed, std::initializer_list<uint32_t> values) {
    uint64_t x = seed;
    for (uint32_t value : values) {
        x = (x ^ value) + 0x9E3779B97F4A7C15ull;
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
        x ^= x >> 31;
    }
    return static_cast<uint32_t>(x);
}

std::optional<Scene> Scene::named(const std::string& name, uint32_t seed) {
    const auto found = scenes().find(name);
    if (found == scenes().end()) return std::nullopt;
    return Scene(found->second, seed);
}

const char* Scene::sceneNames() {
    return "street, dusk, portrait";
}

Scene::Scene(std::vector<ScenePhase> phases, uint32_t seed)
    : mPhases(std::move(phases)), mSeed(seed) {
    for (const ScenePhase& phase : mPhases) {
        mStarts.push_back(mCycleFrames);
        mCycleFrames += phase.mFrames;
    }
}

// Where `phase` starts in `cycle`, counted from the cycle's start; phase 0
// always starts the cycle.
int Scene::boundary(int cycle, size_t phase) const {
    if (phase == 0) return 0;
    if (phase == mPhases.size()) return mCycleFrames;
    const int room = std::min(mPhases[phase - 1].mFrames, mPhases[phase].mFrames) / 3;
    const uint32_t draw = mixSeed(mSeed, {static_cast<uint32_t>(cycle), uint32_t(phase)});
    return mStarts[phase] + static_cast<int>(draw % uint32_t(2 * room + 1)) - room;
}

SceneState Scene::at(int frame) const {
    const int cycle = std::max(frame, 0) / mCycleFrames;
    const int offset = std::max(frame, 0) % mCycleFrames;
    size_t phase = 0;
    while (offset >= boundary(cycle, phase + 1)) ++phase;
    const ScenePhase& now = mPhases[phase];
    const ScenePhase& before = mPhases[(phase + mPhases.size() - 1) % mPhases.size()];
    SceneState state;
    state.mLightTenths = now.mLightTenths;
    state.mFaces = now.mFaces;
    const int sinceChange = offset - boundary(cycle, phase);
    state.mConverging = sinceChange < kConvergeFrames && before.mLightTenths != now.mLightTenths;
    int light = now.mLightTenths;
    if (state.mConverging) {
        light = before.mLightTenths + (now.mLightTenths - before.mLightTenths) * (sinceChange + 1) /
                                          (kConvergeFrames + 1);
    }
    exposeFor(light, state);
    return state;
}

}  // namespace scenariosim
