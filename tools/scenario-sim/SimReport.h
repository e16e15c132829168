// What a run reports: the summary for people and the per-request counts for
// programs.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "OutputFolder.h"
#include "Pipeline.h"
#include "SimOptions.h"

namespace scenariosim {

struct LatencySummary {
    size_t mCalls = 0;
    int64_t mMedianNs = 0;
    int64_t mP99Ns = 0;
    int64_t mP999Ns = 0;
    int64_t mMaxNs = 0;
};

// Nearest-rank percentiles of the samples.
LatencySummary summarizeLatencies(std::vector<int64_t> samplesNs);

struct RecordTotals {
    uint64_t mPreviewRequests = 0;
    uint64_t mCaptureRequests = 0;
    uint64_t mDecisions = 0;
    uint64_t mExecutions = 0;
    uint64_t mHeadlineTexts = 0;
};

RecordTotals totalsOf(const PipelineResult& result);

void printSummary(std::ostream& out, const SimOptions& options, const PipelineResult& result,
                  const std::vector<WrittenFile>& files);

// Counts per request of the records submitted before its log was handed
// off, with the totals; false with `error` set when the file can't be written.
bool writeStatsJson(const std::string& path, const SimOptions& options,
                    const PipelineResult& result, std::string* error);

}  // namespace scenariosim
