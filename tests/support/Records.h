// Records as the tests submit them, and the lines they become: a decision of
// P2Streaming of kind TOP_CONTROL, or an execution of its stage Stage_MDP with
// the result ISP_FLOW. The optional numbers stay absent (-1) unless given.
#pragma once

#include <string>

#include "IScenarioRecorder.h"

namespace testsupport {

namespace sr = NSCam::TuningUtils::scenariorecorder;

constexpr uint32_t kP2Streaming = 0x00404001;
constexpr int kStageMdp = 9;

struct Numbers {
    int sensorId = -1;
    int frameNum = -1;
    int magicNum = -1;
};

template <typename Param>
Param withNumbers(Param param, int requestNum, Numbers numbers) {
    param.requestNum = requestNum;
    param.sensorId = numbers.sensorId;
    param.frameNum = numbers.frameNum;
    param.magicNum = numbers.magicNum;
    param.moduleId = kP2Streaming;
    return param;
}

inline sr::DecisionParam decisionParam(int requestNum, Numbers numbers = {}) {
    sr::DecisionParam param;
    param.decisionType = sr::TOP_CONTROL;
    return withNumbers(param, requestNum, numbers);
}

inline sr::ResultParam resultParam(int requestNum, bool addToHeadline = false,
                                   Numbers numbers = {}) {
    sr::ResultParam param;
    param.decisionType = sr::ISP_FLOW;
    param.stageId = kStageMdp;
    param.addToHeadline = addToHeadline;
    return withNumbers(param, requestNum, numbers);
}

// The lines of records without numbers.
inline std::string decisionLine(const std::string& text) {
    return "[ModuleName: P2Streaming][Decision: TOP_CONTROL] " + text;
}

inline std::string resultLine(const std::string& text) {
    return "[ModuleName: P2Streaming][Stage_MDP][Result: ISP_FLOW] " + text;
}

inline std::string nddText(int uniqueKey, int requestNum) {
    return "[UKey: " + std::to_string(uniqueKey) + "][ReqNum: " + std::to_string(requestNum) + "]";
}

}  // namespace testsupport
