#include "SimReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>

namespace scenariosim {

namespace {

int64_t nearestRank(const std::vector<int64_t>& sorted, double fraction) {
    const double rank = std::ceil(fraction * static_cast<double>(sorted.size()));
    const size_t index = rank < 1.0 ? 0 : static_cast<size_t>(rank) - 1;
    return sorted[std::min(index, sorted.size() - 1)];
}

std::string microseconds(int64_t ns) {
    char text[32];
    (void)snprintf(text, sizeof(text), "%.1f us", static_cast<double>(ns) / 1000.0);  // always fits
    return text;
}

std::string jsonString(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            (void)snprintf(escaped, sizeof(escaped), "\\u%04x", static_cast<unsigned>(c));  // fits
            json += escaped;
        } else {
            json += c;
        }
    }
    return json + "\"";
}

// What the camera saw: the truth that the scene-following texts tell.
std::string sceneJson(const SceneState& scene) {
    return "{\"lightTenths\": " + std::to_string(scene.mLightTenths) +
           ", \"faces\": " + std::to_string(scene.mFaces) +
           ", \"converging\": " + (scene.mConverging ? "true" : "false") + "}";
}

std::string requestJson(const SimRequest& request) {
    return "{\"requestNum\": " + std::to_string(request.mRequestNum) + ", \"kind\": \"" +
           (request.mCapture ? "capture" : "preview") +
           "\", \"uniqueKey\": " + std::to_string(request.mUniqueKey) +
           ", \"handedOff\": " + (request.mHolders.load() == 0 ? "true" : "false") +
           ", \"decision\": " + std::to_string(request.mDecisions.load()) +
           ", \"execution\": " + std::to_string(request.mExecutions.load()) +
           ", \"headlineTexts\": " + std::to_string(request.mHeadlineTexts.load()) +
           ", \"scene\": " + sceneJson(request.mScene) + "}";
}

std::string keysJson(const std::vector<int>& keys) {
    std::string json = "[";
    for (size_t i = 0; i < keys.size(); ++i) {
        json += (i > 0 ? ", " : "") + std::to_string(keys[i]);
    }
    return json + "]";
}

void printFiles(std::ostream& out, const SimOptions& options,
                const std::vector<WrittenFile>& files) {
    uintmax_t bytes = 0;
    for (const WrittenFile& file : files) bytes += file.mSize;
    out << "  files      " << files.size() << " written in " << options.mOutFolder << "/ (" << bytes
        << " bytes)\n";
    for (const WrittenFile& file : files) {
        out << "    " << std::setw(10) << file.mSize << "  " << file.mName << "\n";
    }
}

}  // namespace

LatencySummary summarizeLatencies(std::vector<int64_t> samplesNs) {
    LatencySummary summary;
    summary.mCalls = samplesNs.size();
    if (samplesNs.empty()) return summary;
    std::sort(samplesNs.begin(), samplesNs.end());
    summary.mMedianNs = nearestRank(samplesNs, 0.5);
    summary.mP99Ns = nearestRank(samplesNs, 0.99);
    summary.mP999Ns = nearestRank(samplesNs, 0.999);
    summary.mMaxNs = samplesNs.back();
    return summary;
}

RecordTotals totalsOf(const PipelineResult& result) {
    RecordTotals totals;
    for (const auto& request : result.mRequests) {
        ++(request->mCapture ? totals.mCaptureRequests : totals.mPreviewRequests);
        totals.mDecisions += static_cast<uint64_t>(request->mDecisions.load());
        totals.mExecutions += static_cast<uint64_t>(request->mExecutions.load());
        totals.mHeadlineTexts += static_cast<uint64_t>(request->mHeadlineTexts.load());
    }
    return totals;
}

void printSummary(std::ostream& out, const SimOptions& options, const PipelineResult& result,
                  const std::vector<WrittenFile>& files) {
    const RecordTotals totals = totalsOf(result);
    const uint64_t records = totals.mDecisions + totals.mExecutions;
    const double perSecond =
        result.mSeconds > 0 ? static_cast<double>(records) / result.mSeconds : 0;
    const LatencySummary latency = summarizeLatencies(result.mLatenciesNs);
    out << std::fixed << std::setprecision(1) << "scenario-sim: " << result.mSeconds << " s at "
        << options.mFps << " fps, " << options.mWorkerThreads << " pipeline threads, "
        << options.mRecordsPerModule << " records per module\n"
        << "  requests   " << result.mRequests.size() << " (" << totals.mPreviewRequests
        << " preview, " << totals.mCaptureRequests << " capture), preview sessions "
        << result.mUniqueKeys.size() << "\n"
        << "  records    " << records << " (" << totals.mDecisions << " decision, "
        << totals.mExecutions << " execution, " << totals.mHeadlineTexts << " to headlines), "
        << std::setprecision(0) << perSecond << " records/s\n"
        << "  submit     median " << microseconds(latency.mMedianNs) << ", p99 "
        << microseconds(latency.mP99Ns) << ", p99.9 " << microseconds(latency.mP999Ns) << ", max "
        << microseconds(latency.mMaxNs) << " (" << latency.mCalls << " calls)\n";
    printFiles(out, options, files);
}

bool writeStatsJson(const std::string& path, const SimOptions& options,
                    const PipelineResult& result, std::string* error) {
    std::ofstream file(path, std::ios::trunc);
    const RecordTotals totals = totalsOf(result);
    file << "{\n  \"folder\": " << jsonString(options.mOutFolder)
         << ",\n  \"uniqueKeys\": " << keysJson(result.mUniqueKeys)
         << ",\n  \"requests\": {\"preview\": " << totals.mPreviewRequests
         << ", \"capture\": " << totals.mCaptureRequests
         << "},\n  \"records\": {\"decision\": " << totals.mDecisions
         << ", \"execution\": " << totals.mExecutions
         << ", \"headlineTexts\": " << totals.mHeadlineTexts << "},\n  \"perRequest\": [";
    for (size_t i = 0; i < result.mRequests.size(); ++i) {
        file << (i > 0 ? ",\n" : "\n") << "    " << requestJson(*result.mRequests[i]);
    }
    file << "\n  ]\n}\n";
    file.close();
    if (!file) {
        *error = "cannot write '" + path + "'";
        return false;
    }
    return true;
}

}  // namespace scenariosim
