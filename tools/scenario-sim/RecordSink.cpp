#include "RecordSink.h"

#include <chrono>

namespace scenariosim {

namespace {

constexpr int kSensorId = 0;
constexpr int kAbsent = -1;
constexpr size_t kInitialSamples = 4096;

using Clock = std::chrono::steady_clock;

int64_t nanosecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

// The fields that decision and execution records share.
template <typename Param>
Param recordParam(const SimRequest& request, uint32_t moduleId, const RecordKind& kind) {
    Param param;
    param.requestNum = request.mRequestNum;
    param.frameNum = request.mRequestNum;
    param.magicNum = kind.mWithMagic ? request.mMagicNum : kAbsent;
    param.sensorId = kSensorId;
    param.decisionType = kind.mType;
    param.moduleId = moduleId;
    return param;
}

}  // namespace

RecordSink::RecordSink(sr::IScenarioRecorder* recorder, std::atomic<uint64_t>* sessionRecords)
    : mRecorder(recorder), mSessionRecords(sessionRecords) {
    mLatenciesNs.reserve(kInitialSamples);
}

void RecordSink::submit(SimRequest& request, uint32_t moduleId, const RecordKind& kind,
                        bool headline, const std::string& text) {
    if (kind.mExecution) {
        submitExecution(request, moduleId, kind, headline, text);
        request.mExecutions.fetch_add(1, std::memory_order_relaxed);
        if (headline) request.mHeadlineTexts.fetch_add(1, std::memory_order_relaxed);
    } else {
        submitDecision(request, moduleId, kind, text);
        request.mDecisions.fetch_add(1, std::memory_order_relaxed);
    }
    mSessionRecords->fetch_add(1, std::memory_order_relaxed);
}

void RecordSink::submitDecision(const SimRequest& request, uint32_t moduleId,
                                const RecordKind& kind, const std::string& text) {
    const auto param = recordParam<sr::DecisionParam>(request, moduleId, kind);
    const Clock::time_point start = Clock::now();
    mRecorder->submitDecisionRecord(param, text);
    mLatenciesNs.push_back(nanosecondsSince(start));
}

void RecordSink::submitExecution(const SimRequest& request, uint32_t moduleId,
                                 const RecordKind& kind, bool headline, const std::string& text) {
    auto param = recordParam<sr::ResultParam>(request, moduleId, kind);
    param.stageId = kind.mStage;
    param.addToHeadline = headline;
    const Clock::time_point start = Clock::now();
    mRecorder->submitExecutionRecord(param, text);
    mLatenciesNs.push_back(nanosecondsSince(start));
}

}  // namespace scenariosim
