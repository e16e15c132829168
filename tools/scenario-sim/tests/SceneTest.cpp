// A seed gives the same frames on every run; another seed moves the scene's
// changes by a few frames and changes nothing else.
#include <gtest/gtest.h>

#include <tuple>

#include "Scene.h"

namespace scenariosim {
namespace {

TEST(SceneTest, ASeedRepeatsItselfAndAnotherMovesOnlyTheChanges) {
    const Scene one = Scene::named("dusk", 1).value();
    const Scene again = Scene::named("dusk", 1).value();
    const Scene other = Scene::named("dusk", 2).value();
    constexpr int kFrames = 600;  // two cycles of three moving changes
    int differing = 0;
    bool night = false, faces = false, converging = false;
    for (int frame = 0; frame < kFrames; ++frame) {
        const SceneState a = one.at(frame);
        const SceneState b = again.at(frame);
        const SceneState c = other.at(frame);
        ASSERT_EQ(std::tie(a.mLightTenths, a.mFaces, a.mConverging, a.mExposureUs, a.mIso),
                  std::tie(b.mLightTenths, b.mFaces, b.mConverging, b.mExposureUs, b.mIso));
        differing += a.mLightTenths != c.mLightTenths || a.mFaces != c.mFaces;
        night |= a.mLightTenths < 40 && a.mIso > 100;
        faces |= a.mFaces > 0;
        converging |= a.mConverging;
    }
    EXPECT_GT(differing, 0);
    EXPECT_LT(differing, kFrames / 2);
    EXPECT_TRUE(night && faces && converging);
}

}  // namespace
}  // namespace scenariosim
