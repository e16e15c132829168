// The submitting end of one pipeline thread: fills the argument records,
// times each submit call with a steady clock and counts what it submitted.
#pragma once

#include <IScenarioRecorder.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "SimRequest.h"

namespace scenariosim {

namespace sr = NSCam::TuningUtils::scenariorecorder;

// What one record says, apart from its request and text.
struct RecordKind {
    bool mExecution;
    sr::DecisionType mType;
    int mStage;       // execution records only
    bool mHeadline;   // execution records only
    bool mWithMagic;  // the module knows the sensor node's magic number
};

class RecordSink {
  public:
    RecordSink(sr::IScenarioRecorder* recorder, std::atomic<uint64_t>* sessionRecords);

    void submit(SimRequest& request, uint32_t moduleId, const RecordKind& kind, bool headline,
                const std::string& text);

    // Nanoseconds of each submit call of this thread, in call order.
    std::vector<int64_t> takeLatencies() { return std::move(mLatenciesNs); }

  private:
    void submitDecision(const SimRequest& request, uint32_t moduleId, const RecordKind& kind,
                        const std::string& text);
    void submitExecution(const SimRequest& request, uint32_t moduleId, const RecordKind& kind,
                         bool headline, const std::string& text);

    sr::IScenarioRecorder* mRecorder;
    std::atomic<uint64_t>* mSessionRecords;
    std::vector<int64_t> mLatenciesNs;
};

}  // namespace scenariosim
