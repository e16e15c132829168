// Named module and stage numbers for DecisionParam::moduleId and
// ResultParam::stageId: one constant for every row of the recorder's module
// and stage name tables.
//
//   result.moduleId = kModuleP2Streaming;  // 0x00404001, logged as [ModuleName: P2Streaming]
//   result.stageId = kStageMdp;            // 9, logged as [Stage_MDP]
//
// Module numbers are the unified camera logger's numbering of the camera
// modules (the recorder's own lines carry kModuleUtils); stage numbers are
// the numbering of the processing stages. The rows below are the tables
// themselves: the library builds its names from these same rows, so a
// constant and the name logged for it cannot disagree. A number without a
// row is logged as "noModuleName" or "noStageName".
//
// Each row is ROW(Constant, number, "name in the log") and defines
// kModule<Constant> or kStage<Constant>. Where the table gives one name to
// several numbers, the constants tell them apart and the log does not:
// - a second or third number of a name ends in B or C (kStageR2YB, kModuleP1NodeC);
// - the numbered units of a module (0x00207nnn, 0x01002nnn, 0x01004nnn) end in
//   Unit and the number that the last three hexadecimal digits make
//   (kModuleP2StreamingUnit20 = 0x01004014);
// - the face detection of the algorithm and capture feature groups ends in Hal
//   and Capture (kModuleFaceDetectionHal, kModuleFaceDetectionCapture).
#pragma once

#include <stdint.h>

// clang-format off
#define SCENARIO_RECORDER_MODULE_ROWS(ROW)                               \
    /* camera middleware */                                              \
    ROW(CameraMiddleware,      0x00202001, "CameraMiddleware")           \
    ROW(CameraMiddlewareB,     0x00202002, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit1, 0x00207001, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit2, 0x00207002, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit3, 0x00207003, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit4, 0x00207004, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit6, 0x00207006, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit7, 0x00207007, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit8, 0x00207008, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit9, 0x00207009, "CameraMiddleware")           \
    ROW(CameraMiddlewareUnit10, 0x0020700A, "CameraMiddleware")          \
    ROW(CameraMiddlewareUnit11, 0x0020700B, "CameraMiddleware")          \
    ROW(CameraMiddlewareUnit12, 0x0020700C, "CameraMiddleware")          \
    /* pipeline nodes */                                                 \
    ROW(P1Node,                0x00401001, "P1_NODE")                    \
    ROW(P1NodeB,               0x00401002, "P1_NODE")                    \
    ROW(P1NodeC,               0x00401003, "P1_NODE")                    \
    ROW(P2Capture,             0x00402001, "P2Capture")                  \
    ROW(JpegNode,              0x00402002, "JPEG_Node")                  \
    ROW(Raw16Node,             0x00402003, "RAW16_NODE")                 \
    ROW(P2Streaming,           0x00404001, "P2Streaming")                \
    ROW(FaceDetection,         0x00404002, "FaceDetection")              \
    /* 3A and ISP tuning */                                              \
    ROW(3A,                    0x00801000, "3A")                         \
    ROW(IspTuning,             0x00801005, "IspTuning")                  \
    /* units of the capture and streaming P2 modules */                  \
    ROW(P2CaptureUnit1,        0x01002001, "P2Capture")                  \
    ROW(P2CaptureUnit2,        0x01002002, "P2Capture")                  \
    ROW(P2CaptureUnit3,        0x01002003, "P2Capture")                  \
    ROW(P2CaptureUnit4,        0x01002004, "P2Capture")                  \
    ROW(P2CaptureUnit5,        0x01002005, "P2Capture")                  \
    ROW(P2CaptureUnit6,        0x01002006, "P2Capture")                  \
    ROW(P2CaptureUnit7,        0x01002007, "P2Capture")                  \
    ROW(P2CaptureUnit8,        0x01002008, "P2Capture")                  \
    ROW(P2CaptureUnit9,        0x01002009, "P2Capture")                  \
    ROW(P2CaptureUnit10,       0x0100200A, "P2Capture")                  \
    ROW(P2CaptureUnit11,       0x0100200B, "P2Capture")                  \
    ROW(P2StreamingUnit1,      0x01004001, "P2Streaming")                \
    ROW(P2StreamingUnit2,      0x01004002, "P2Streaming")                \
    ROW(P2StreamingUnit4,      0x01004004, "P2Streaming")                \
    ROW(P2StreamingUnit6,      0x01004006, "P2Streaming")                \
    ROW(P2StreamingUnit7,      0x01004007, "P2Streaming")                \
    ROW(P2StreamingUnit8,      0x01004008, "P2Streaming")                \
    ROW(P2StreamingUnit10,     0x0100400A, "P2Streaming")                \
    ROW(P2StreamingUnit11,     0x0100400B, "P2Streaming")                \
    ROW(P2StreamingUnit12,     0x0100400C, "P2Streaming")                \
    ROW(P2StreamingUnit13,     0x0100400D, "P2Streaming")                \
    ROW(P2StreamingUnit14,     0x0100400E, "P2Streaming")                \
    ROW(P2StreamingUnit15,     0x0100400F, "P2Streaming")                \
    ROW(P2StreamingUnit16,     0x01004010, "P2Streaming")                \
    ROW(P2StreamingUnit17,     0x01004011, "P2Streaming")                \
    ROW(P2StreamingUnit18,     0x01004012, "P2Streaming")                \
    ROW(P2StreamingUnit19,     0x01004013, "P2Streaming")                \
    ROW(P2StreamingUnit20,     0x01004014, "P2Streaming")                \
    /* algorithms */                                                     \
    ROW(PdHal,                 0x08001001, "PD_HAL")                     \
    ROW(LmvHal,                0x08001002, "LMV_HAL")                    \
    ROW(VhdrHal,               0x08001003, "VHDR_HAL")                   \
    ROW(ChdrHal,               0x08001004, "CHDR_HAL")                   \
    ROW(FaceDetectionHal,      0x08001005, "FaceDetection")              \
    ROW(AsdHal,                0x08001006, "ASD_HAL")                    \
    /* capture features */                                               \
    ROW(Mfnr,                  0x08002001, "MFNR")                       \
    ROW(Ainr,                  0x08002002, "AINR")                       \
    ROW(Swnr,                  0x08002003, "SWNR")                       \
    ROW(Hdr,                   0x08002004, "HDR")                        \
    ROW(ZsdHdr,                0x08002005, "ZSDHDR")                     \
    ROW(Depth,                 0x08002006, "DEPTH")                      \
    ROW(Bokeh,                 0x08002007, "BOKEH")                      \
    ROW(Fusion,                0x08002008, "FUSION")                     \
    ROW(PureBokeh,             0x08002009, "PUREBOKEH")                  \
    ROW(Abf,                   0x0800200A, "ABF")                        \
    ROW(FaceDetectionCapture,  0x0800200B, "FaceDetection")              \
    ROW(Lpnr,                  0x0800200C, "LPNR")                       \
    /* streaming features */                                             \
    ROW(Eis,                   0x08004001, "EIS")                        \
    ROW(3Dnr,                  0x08004002, "3DNR")                       \
    ROW(Fsc,                   0x08004003, "FSC")                        \
    ROW(Rss,                   0x08004004, "RSS")                        \
    /* utilities, the recorder's own log lines among them */             \
    ROW(Utils,                 0x40007001, "Utils")

#define SCENARIO_RECORDER_STAGE_ROWS(ROW)                                \
    ROW(Y2Y,                   0,  "Stage_Y2Y")                          \
    ROW(R2Y,                   1,  "Stage_R2Y")                          \
    ROW(Y2YDce1stRun,          3,  "Stage_Y2YDCE_1stRun")                \
    ROW(R2YDce1stRun,          4,  "Stage_R2YDCE_1stRun")                \
    ROW(Y2YDce2ndRun,          6,  "Stage_Y2YDCE_2ndRun")                \
    ROW(R2YB,                  7,  "Stage_R2Y")                          \
    ROW(Mdp,                   9,  "Stage_MDP")                          \
    ROW(RrzR2Y,                11, "Stage_RRZ_R2Y")                      \
    ROW(RrzR2YB,               13, "Stage_RRZ_R2Y")                      \
    ROW(RrzY2Y,                15, "Stage_RRZ_Y2Y")                      \
    ROW(RrzY2YB,               16, "Stage_RRZ_Y2Y")                      \
    ROW(MsnrBfbld,             17, "Stage_MSNR_BFBLD")                   \
    ROW(MsnrBfbldNn16,         19, "Stage_MSNR_BFBLD_NN16")              \
    ROW(MsnrBfbldNn12,         20, "Stage_MSNR_BFBLD_NN12")              \
    ROW(MsnrMsfY0,             21, "Stage_MSNR_MSF_Y0")                  \
    ROW(MsnrMsf0,              22, "Stage_MSNR_MSF_0")                   \
    ROW(MsnrMsf1,              23, "Stage_MSNR_MSF_1")                   \
    ROW(MsnrMsf2,              24, "Stage_MSNR_MSF_2")                   \
    ROW(MsnrMsf3,              25, "Stage_MSNR_MSF_3")                   \
    ROW(MsnrMsf4,              26, "Stage_MSNR_MSF_4")                   \
    ROW(MsnrMsf5,              27, "Stage_MSNR_MSF_5")                   \
    ROW(MsnrMsf6,              28, "Stage_MSNR_MSF_6")                   \
    ROW(MsnrDce,               29, "Stage_MSNR_DCE")                     \
    ROW(AibcFe,                30, "Stage_AIBC_FE")                      \
    ROW(ChromaNr,              31, "Stage_chromaNR")                     \
    ROW(Dsdn10_1stRun,         32, "Stage_DSDN10_1stRun")                \
    ROW(Dsdn10_2ndRun,         33, "Stage_DSDN10_2ndRun")                \
    ROW(Dsdn20_2ndRun,         34, "Stage_DSDN20_2ndRun")                \
    ROW(PipelineMiddlewareConfig, 35, "Stage_PipelineMiddleware_Config") \
    ROW(FeatureTrigger,        36, "Stage_Feature_Trigger")
// clang-format on

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

#define SCENARIO_RECORDER_MODULE_CONSTANT(constant, number, name) \
    constexpr uint32_t kModule##constant = number;
#define SCENARIO_RECORDER_STAGE_CONSTANT(constant, number, name) \
    constexpr int32_t kStage##constant = number;
SCENARIO_RECORDER_MODULE_ROWS(SCENARIO_RECORDER_MODULE_CONSTANT)
SCENARIO_RECORDER_STAGE_ROWS(SCENARIO_RECORDER_STAGE_CONSTANT)
#undef SCENARIO_RECORDER_MODULE_CONSTANT
#undef SCENARIO_RECORDER_STAGE_CONSTANT

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
