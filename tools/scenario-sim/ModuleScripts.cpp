#include "ModuleScripts.h"

#include <cstdarg>
#include <cstdio>
#include <thread>

namespace scenariosim {

namespace {

using std::chrono::microseconds;

// Module numbers of the unified camera logger.
constexpr uint32_t kCameraMiddleware = 0x00202001;
constexpr uint32_t kP1Node = 0x00401001;
constexpr uint32_t kP2Capture = 0x00402001;
constexpr uint32_t kP2Streaming = 0x00404001;
constexpr uint32_t kFaceDetection = 0x00404002;
constexpr uint32_t k3A = 0x00801000;

// Processing stages.
constexpr int kStageY2Y = 0;
constexpr int kStageR2Y = 1;
constexpr int kStageY2YDce1stRun = 3;
constexpr int kStageR2YDce1stRun = 4;
constexpr int kStageMdp = 9;
constexpr int kStageRrzR2Y = 11;
constexpr int kStageRrzY2Y = 15;
constexpr int kStageMsnrBfbldNn16 = 19;
constexpr int kStageMsnrMsf2 = 24;
constexpr int kStageMsnrDce = 29;
constexpr int kStageAibcFe = 30;
constexpr int kStageChromaNr = 31;
constexpr int kStageDsdn10_2ndRun = 33;
constexpr int kStageMiddlewareConfig = 35;
constexpr int kStageFeatureTrigger = 36;

constexpr int kNoStage = -1;

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* pattern, ...) {
    char text[256];
    va_list args;
    va_start(args, pattern);
    (void)vsnprintf(text, sizeof(text), pattern, args);  // a cut text is still a record text
    va_end(args);
    return text;
}

int pick(std::mt19937& rng, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(rng);
}

const char* onOff(bool on) {
    return on ? "on" : "off";
}

// Light in tenths of LV below which the pipeline takes night measures, and
// below which temporal noise reduction is worth its cost.
constexpr int kNightLight = 40;
constexpr int kDimLight = 80;

bool night(const SimRequest& r) {
    return r.mScene.mLightTenths < kNightLight;
}

bool dim(const SimRequest& r) {
    return r.mScene.mLightTenths < kDimLight;
}

// The tuning set chosen for the light: its name and index.
std::pair<const char*, int> tuningFor(const SimRequest& r) {
    const int light = r.mScene.mLightTenths;
    if (light >= 100) return {"bright", 2};
    if (light >= 60) return {"indoor", 3};
    if (light >= kNightLight) return {"dim", 4};
    return {"night", 5};
}

// The exposure AE applies, give or take a few microseconds.
int exposureUs(const SimRequest& r, std::mt19937& rng) {
    const int exposure = r.mScene.mExposureUs;
    return exposure + pick(rng, -exposure / 50, exposure / 50);
}

RecordKind decision(sr::DecisionType type, bool withMagic) {
    return {false, type, kNoStage, false, withMagic};
}

RecordKind execution(sr::DecisionType type, int stage, bool headline, bool withMagic) {
    return {true, type, stage, headline, withMagic};
}

ModuleScript p1Node() {
    return {"P1_NODE",
            kP1Node,
            true,
            true,
            microseconds(0),
            {
                {decision(sr::TOP_CONTROL, true),
                 [](const SimRequest& r, std::mt19937&) {
                     return r.mCapture ? format("sensor mode 0 (capture) 4000x3000@30fps")
                                       : format("sensor mode 1 (preview) 2000x1500@30fps, binning");
                 }},
                {execution(sr::ISP_FLOW, kStageRrzR2Y, false, true),
                 [](const SimRequest& r, std::mt19937& rng) {
                     return format("rrzo 1920x1440 imgo %s, deque after %d us", onOff(r.mCapture),
                                   pick(rng, 31000, 34500));
                 }},
                {decision(sr::AE_EXPOSURE_PARAM, true),
                 [](const SimRequest& r, std::mt19937& rng) {
                     return format("apply shutter %d us, afe gain %d, isp gain %d at magic %d",
                                   exposureUs(r, rng), r.mScene.mIso * 1024 / 100,
                                   pick(rng, 1024, 1088), r.mMagicNum);
                 }},
                {execution(sr::TRIGGER_FEATURE, kStageR2Y, false, true),
                 [](const SimRequest& r, std::mt19937&) {
                     return format("lmvo %s, rsso %s", onOff(!night(r)), onOff(dim(r)));
                 }},
            }};
}

ModuleScript cameraMiddleware() {
    return {"CameraMiddleware",
            kCameraMiddleware,
            true,
            true,
            microseconds(0),
            {
                {decision(sr::ATMS_MAPPING, false),
                 [](const SimRequest& r, std::mt19937&) {
                     const auto [name, index] = tuningFor(r);
                     return r.mCapture
                                ? format("scenario capture_%s -> tuning index %d", name, index + 10)
                                : format("scenario preview_%s -> tuning index %d", name, index);
                 }},
                {execution(sr::TOP_CONTROL, kStageMiddlewareConfig, false, false),
                 [](const SimRequest& r, std::mt19937&) {
                     return format("pipeline session %d ready, %d streams", r.mUniqueKey,
                                   r.mCapture ? 3 : 2);
                 }},
                {decision(sr::TRIGGER_FEATURE, false),
                 [](const SimRequest& r, std::mt19937&) {
                     const char* face = r.mScene.mFaces > 0 ? "|FACE_AE" : "";
                     const char* nightMode = night(r) ? "|NIGHT" : "";
                     return r.mCapture ? format("features MFNR|AINR%s%s", face, nightMode)
                                       : format("features 3DNR|EIS%s%s", face, nightMode);
                 }},
                {execution(sr::TRIGGER_FEATURE, kStageFeatureTrigger, true, false),
                 [](const SimRequest& r, std::mt19937&) {
                     const int level = night(r) ? 3 : dim(r) ? 2 : 1;
                     return r.mCapture ? format("MFNR %d frames", 3 + level)
                                       : format("3DNR level %d", level);
                 }},
            }};
}

ModuleScript p2Streaming() {
    return {"P2Streaming",
            kP2Streaming,
            true,
            true,
            microseconds(4000),
            {
                {decision(sr::ISP_FLOW, false),
                 [](const SimRequest& r, std::mt19937& rng) {
                     return format("3DNR %s, EIS %s, crop %dx%d at (%d,%d)", onOff(dim(r)),
                                   onOff(!night(r)), 1920, 1080, pick(rng, 0, 64),
                                   pick(rng, 0, 48));
                 }},
                {execution(sr::ISP_FLOW, kStageR2Y, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("r2y pass done in %d us", pick(rng, 1800, 2600));
                 }},
                {execution(sr::ISP_FLOW, kStageMdp, true, false),
                 [](const SimRequest&, std::mt19937&) {
                     return format("MDP out 1920x1080 + 640x480");
                 }},
                {execution(sr::ISP_FLOW, kStageChromaNr, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("chroma NR level %d", pick(rng, 0, 5));
                 }},
                {execution(sr::ISP_FLOW, kStageRrzY2Y, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("y2y tnr blend %d%%", pick(rng, 20, 80));
                 }},
            }};
}

ModuleScript threeA() {
    return {"3A",
            k3A,
            true,
            true,
            microseconds(2000),
            {
                {decision(sr::AE_EXPOSURE_PARAM, true),
                 [](const SimRequest& r, std::mt19937& rng) {
                     const int light = r.mScene.mLightTenths;
                     return format("lv %d.%d, exposure %d us, iso %d, face AE %s", light / 10,
                                   light % 10, exposureUs(r, rng), r.mScene.mIso,
                                   onOff(r.mScene.mFaces > 0));
                 }},
                {decision(sr::NORMAL_DATA_DUMP, true),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("awb gain r %d g 512 b %d, cct %dK", pick(rng, 700, 1100),
                                   pick(rng, 600, 1000), pick(rng, 2800, 6500));
                 }},
                {execution(sr::AE_EXPOSURE_PARAM, kStageFeatureTrigger, true, true),
                 [](const SimRequest& r, std::mt19937&) {
                     return format("AE %s", r.mScene.mConverging ? "converging" : "stable");
                 }},
                {execution(sr::TRIGGER_FEATURE, kStageFeatureTrigger, false, true),
                 [](const SimRequest& r, std::mt19937& rng) {
                     return format("flash %s, AF %s at position %d", onOff(false),
                                   r.mCapture ? "locked" : "continuous", pick(rng, 200, 900));
                 }},
            }};
}

ModuleScript faceDetection() {
    return {"FaceDetection",
            kFaceDetection,
            true,
            true,
            microseconds(6000),
            {
                {decision(sr::TRIGGER_FEATURE, false),
                 [](const SimRequest& r, std::mt19937& rng) {
                     if (r.mScene.mFaces == 0) return format("faces 0");
                     const int size = pick(rng, 180, 220);
                     return format("faces %d, largest %dx%d", r.mScene.mFaces, size, size);
                 }},
                {execution(sr::ISP_FLOW, kStageY2Y, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("fd input 640x480 y2y in %d us", pick(rng, 700, 1300));
                 }},
                {decision(sr::NORMAL_DATA_DUMP, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("fd model v2, score threshold %d", pick(rng, 500, 700));
                 }},
                {execution(sr::TRIGGER_FEATURE, kStageFeatureTrigger, true, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("FD %d ms", pick(rng, 4, 9));
                 }},
            }};
}

ModuleScript p2Capture() {
    return {"P2Capture",
            kP2Capture,
            false,
            true,
            microseconds(60000),
            {
                {decision(sr::ISP_FLOW, false),
                 [](const SimRequest& r, std::mt19937&) {
                     return format("MFNR %d frames, AINR %s, SWNR level %d", dim(r) ? 6 : 4,
                                   onOff(night(r)),
                                   night(r) ? 3
                                   : dim(r) ? 1
                                            : 0);
                 }},
                {execution(sr::ISP_FLOW, kStageR2YDce1stRun, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("r2y dce 1st run done in %d us", pick(rng, 9000, 14000));
                 }},
                {execution(sr::ISP_FLOW, kStageMsnrBfbldNn16, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("msnr bfbld nn16 done in %d us", pick(rng, 3000, 6000));
                 }},
                {execution(sr::ISP_FLOW, kStageDsdn10_2ndRun, true, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("capture done, jpeg %d KB", pick(rng, 2500, 4200));
                 }},
                {execution(sr::ISP_FLOW, kStageMsnrMsf2, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("msf level 2 weight %d", pick(rng, 10, 90));
                 }},
                {execution(sr::ISP_FLOW, kStageY2YDce1stRun, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("y2y dce 1st run done in %d us", pick(rng, 4000, 7000));
                 }},
                {execution(sr::ISP_FLOW, kStageMsnrDce, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("msnr dce strength %d", pick(rng, 0, 15));
                 }},
                {execution(sr::ISP_FLOW, kStageAibcFe, false, false),
                 [](const SimRequest&, std::mt19937& rng) {
                     return format("aibc fe %d blocks", pick(rng, 64, 256));
                 }},
            }};
}

ModuleScript sessionEnd() {
    return {"CameraMiddleware",
            kCameraMiddleware,
            true,
            false,
            microseconds(0),
            {
                {decision(sr::TOP_CONTROL, false),
                 [](const SimRequest& r, std::mt19937&) {
                     return format("session %d ends: flush pipeline", r.mUniqueKey);
                 }},
                {execution(sr::TOP_CONTROL, kStageMiddlewareConfig, true, false),
                 [](const SimRequest&, std::mt19937&) { return format("streaming stopped"); }},
            }};
}

}  // namespace

const std::vector<ModuleScript>& requestThreadModules() {
    static const std::vector<ModuleScript> modules = {p1Node(), cameraMiddleware()};
    return modules;
}

const std::vector<ModuleScript>& workerModules() {
    static const std::vector<ModuleScript> modules = {p2Streaming(), threeA(), faceDetection(),
                                                      p2Capture()};
    return modules;
}

const ModuleScript& sessionEndModule() {
    static const ModuleScript module = sessionEnd();
    return module;
}

void playModule(const ModuleScript& script, SimRequest& request, int records, RecordSink& sink,
                uint32_t seed) {
    std::mt19937 rng(mixSeed(seed, {static_cast<uint32_t>(request.mRequestNum), script.mModuleId}));
    const int templates = static_cast<int>(script.mRecords.size());
    const microseconds pause = script.mWork / records;
    for (int i = 0; i < records; ++i) {
        const RecordTemplate& record = script.mRecords[i % templates];
        const bool headline = record.mKind.mHeadline && i < templates;
        sink.submit(request, script.mModuleId, record.mKind, headline, record.mText(request, rng));
        if (pause.count() > 0) std::this_thread::sleep_for(pause);
    }
}

}  // namespace scenariosim
