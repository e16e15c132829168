// The scenario recorder's public interface.
//
// Camera pipeline modules report, per capture request, which decisions they
// took and how each processing stage ended. The recorder keeps the records in
// per-request memory and a background thread writes them into tuning log
// files. A record costs its caller a format and a copy, never file work.
//
// Usage (examples/hal_example.cpp runs it; the numbers are the constants of
// ScenarioRecorderIds.h):
//   ScenarioRecorderInitializer starter;         // once per process: starts the writer thread
//   ...
//   auto* recorder = IScenarioRecorder::getInstance();
//   if (recorder->isScenarioRecorderOn()) {
//       ScenarioLogPrinter hold(requestNum);     // the last hold hands the request's log off
//       recorder->recordNddInfo(uniqueKey, requestNum, tagNumber, isCapture);
//       ResultParam result;
//       result.requestNum = requestNum;
//       result.moduleId = kModuleP2Streaming;
//       result.stageId = kStageMdp;
//       result.decisionType = ISP_FLOW;
//       recorder->submitExecutionRecord(result, "MDP out 1920x1080");
//   }
// recordNddInfo names the file series of the request's records. Without any
// preview report there is no series: the records of a request without a
// report of its own are dropped, and the writer thread logs "Unable to open
// file..." for each of its buffers; a capture request without its report
// goes into the preview series.
#pragma once

#include <stdint.h>

#include <string>

#include "ScenarioRecorderExport.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// Kinds of decision a module reports. Printed by name in the log files.
enum DecisionType : uint32_t {
    ATMS_MAPPING = 1,
    TOP_CONTROL = 2,
    NORMAL_DATA_DUMP = 3,
    AE_EXPOSURE_PARAM = 4,
    TRIGGER_FEATURE = 5,
    ISP_FLOW = 6,
};

// Arguments of submitDecisionRecord. The optional numbers (frameNum,
// magicNum, sensorId) are left out of the line while they hold -1, which is
// their default; an unset decisionType or moduleId prints as
// "noDecisionName" / "noModuleName".
struct DecisionParam {
    int64_t reserved0 = 0;  // free for the caller; the recorder does not read it
    int32_t requestNum = -1;
    int32_t frameNum = -1;
    int32_t magicNum = -1;
    int32_t reserved1 = 0;  // free for the caller; the recorder does not read it
    int32_t sensorId = -1;
    DecisionType decisionType = static_cast<DecisionType>(0);
    uint32_t moduleId = 0;  // module number of the unified camera logger
};

// Arguments of submitExecutionRecord: how processing stage `stageId` of
// module `moduleId` ended (`decisionType` is printed as the result). With
// addToHeadline, the text is also added to the request's headline line.
struct ResultParam {
    int64_t reserved0 = 0;  // free for the caller; the recorder does not read it
    int32_t requestNum = -1;
    int32_t frameNum = -1;
    int32_t magicNum = -1;
    int32_t reserved1 = 0;  // free for the caller; the recorder does not read it
    int32_t sensorId = -1;
    DecisionType decisionType = static_cast<DecisionType>(0);
    int32_t stageId = -1;
    uint32_t moduleId = 0;  // module number of the unified camera logger
    uint8_t reserved2 = 0;  // free for the caller; the recorder does not read it
    bool addToHeadline = false;
};

// No operation throws: a failure (in practice, memory running out) abandons
// the operation and is reported by an error line in the operation's name.
class SCENARIO_RECORDER_EXPORT IScenarioRecorder {
  public:
    // Reports which request and which preview or capture series a request
    // belongs to. Capture requests get their own file series; preview requests
    // share one, which starts anew when `uniqueKey` changes. May create files
    // on the caller's thread. Ignored while the recorder is not started.
    virtual void recordNddInfo(int uniqueKey, int requestNum, int tagNumber, bool isCapture) = 0;

    // Whether the recorder was switched on by its enable property. One plain
    // read; test it before doing any work for the recorder.
    virtual bool isScenarioRecorderOn() = 0;

    // Records which decision a module took for a request.
    virtual void submitDecisionRecord(const DecisionParam& param, const std::string& text) = 0;

    // Records how a processing stage of a module ended for a request.
    virtual void submitExecutionRecord(const ResultParam& param, const std::string& text) = 0;

    // Hands the request's records collected so far to the writer thread.
    virtual void printLog(int requestNum) = 0;

    // Counts one more holder of the request (see ScenarioLogPrinter).
    virtual void registerRequest(int requestNum) = 0;

    // Counts one holder less; the last one hands the request's log off.
    virtual void deregisterRequest(int requestNum) = 0;

    virtual ~IScenarioRecorder();

    // The process-wide recorder, created (not started) on first use. Null
    // only when it could not be made (out of memory), which an error line
    // reports; a later call tries again.
    static IScenarioRecorder* getInstance();
};

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
