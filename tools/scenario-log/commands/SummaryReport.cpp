#include "commands/SummaryReport.h"

#include "base/Counted.h"
#include "base/Json.h"

namespace scenariolog {
namespace {

void count(NameCounts& counts, std::string_view name, std::uint64_t number) {
    auto found = counts.find(name);
    if (found == counts.end()) found = counts.emplace(std::string(name), 0).first;
    found->second += number;
}

std::string countsText(const NameCounts& counts) {
    std::string text;
    for (const auto& [name, number] : counts) {
        if (!text.empty()) text += ", ";
        text += name + " " + std::to_string(number);
    }
    return text.empty() ? "-" : text;
}

std::string countsJson(const NameCounts& counts) {
    JsonObject object;
    for (const auto& [name, number] : counts) object.add(name, number);
    return object.str();
}

std::string requestsJson(const RangeSet& requests) {
    std::string json = "[";
    for (const auto& [first, last] : requests.runs()) {
        if (json.size() > 1) json += ',';
        json += "[" + std::to_string(first) + "," + std::to_string(last) + "]";
    }
    return json + "]";
}

std::string filesJson(const LogSeries& series) {
    std::string json = "[";
    for (const LogFile& file : series.files) {
        if (json.size() > 1) json += ',';
        json += JsonObject().add("index", file.name.index).add("path", file.path).str();
    }
    return json + "]";
}

// The index as the file name writes it: at least two digits.
std::string indexText(int index) {
    return (index < 10 ? "0" : "") + std::to_string(index);
}

std::string tagText(const LogFileName& name) {
    return name.tagNumber ? std::to_string(*name.tagNumber) : "? (cut)";
}

}  // namespace

void SummaryReport::beginSeries(const LogSeries& /*series*/) {
    mCounts = SeriesCounts();
    mKeyCounts.assign(mKeys.size(), 0);
    mLastRequest.reset();
    mProblemsBefore = mProblems.count();
}

void SummaryReport::onHeadline(const LineContext& context, const Headline& /*headline*/) {
    ++mCounts.blocks;
    if (context.request && context.request != mLastRequest) {
        mCounts.requests.insert(*context.request);
        mLastRequest = context.request;
    }
}

void SummaryReport::onRecord(const LineContext& context, const Record& record) {
    if (!context.request) {
        ++mCounts.unknownRequestRecords;
    } else if (context.request != mLastRequest) {
        mCounts.requests.insert(*context.request);
        mLastRequest = context.request;
    }
    const std::size_t key = mKeys.idOf(record);
    if (key == mKeyCounts.size()) mKeyCounts.push_back(0);
    ++mKeyCounts[key];
    if (record.kind == RecordKind::kDecision) {
        ++mCounts.decisionRecords;
    } else {
        ++mCounts.executionRecords;
    }
}

void SummaryReport::countNames() {
    for (std::size_t id = 0; id < mKeyCounts.size(); ++id) {
        const std::uint64_t number = mKeyCounts[id];
        if (number == 0) continue;
        const RecordKey& key = mKeys.key(id);
        count(mCounts.modules, key.module, number);
        if (key.kind == RecordKind::kDecision) {
            count(mCounts.decisions, key.first, number);
        } else {
            count(mCounts.stages, key.first, number);
            count(mCounts.results, key.second, number);
        }
    }
}

void SummaryReport::endSeries(const LogSeries& series) {
    countNames();
    mCounts.problems = mProblems.count() - mProblemsBefore;
    ++mSeries;
    mFiles += series.files.size();
    mRecords += mCounts.decisionRecords + mCounts.executionRecords;
    mUnknownRequestRecords += mCounts.unknownRequestRecords;
    if (mJson) {
        printJson(series);
    } else {
        printText(series);
    }
}

void SummaryReport::printText(const LogSeries& series) const {
    const LogFileName& name = series.identity();
    mOut << seriesKindName(name.kind) << " series " << name.prefix << " " << name.timeStamp
         << "\n  unique key " << name.uniqueKey << ", request " << name.requestNum << ", tag "
         << tagText(name) << (name.prefixCut ? " (name prefix cut at 29 characters)" : "") << "\n";
    for (const LogFile& file : series.files) {
        mOut << "  file " << indexText(file.name.index) << ": " << file.path << "\n";
    }
    const SeriesCounts& c = mCounts;
    mOut << "  requests: " << (c.requests.empty() ? "-" : c.requests.toString()) << "\n"
         << "  blocks " << c.blocks << ", records " << c.decisionRecords + c.executionRecords
         << " (decision " << c.decisionRecords << ", execution " << c.executionRecords
         << "), of unknown request " << c.unknownRequestRecords << "\n"
         << "  modules: " << countsText(c.modules) << "\n"
         << "  decisions: " << countsText(c.decisions) << "\n"
         << "  stages: " << countsText(c.stages) << "\n"
         << "  results: " << countsText(c.results) << "\n"
         << "  problems: " << c.problems << "\n";
}

void SummaryReport::printJson(const LogSeries& series) const {
    const LogFileName& name = series.identity();
    const SeriesCounts& c = mCounts;
    mOut << JsonObject()
                .add("type", "series")
                .add("kind", seriesKindName(name.kind))
                .add("prefix", name.prefix)
                .add("timeStamp", name.timeStamp)
                .add("uniqueKey", name.uniqueKey)
                .add("requestNum", name.requestNum)
                .add("tagNumber", name.tagNumber)
                .add("prefixCut", name.prefixCut)
                .addRaw("files", filesJson(series))
                .addRaw("requests", requestsJson(c.requests))
                .add("blocks", c.blocks)
                .add("decisionRecords", c.decisionRecords)
                .add("executionRecords", c.executionRecords)
                .add("unknownRequestRecords", c.unknownRequestRecords)
                .addRaw("modules", countsJson(c.modules))
                .addRaw("decisions", countsJson(c.decisions))
                .addRaw("stages", countsJson(c.stages))
                .addRaw("results", countsJson(c.results))
                .add("problems", c.problems)
                .str()
         << "\n";
}

void SummaryReport::finish() {
    if (mJson) {
        mOut << JsonObject()
                    .add("type", "totals")
                    .add("series", mSeries)
                    .add("files", mFiles)
                    .add("records", mRecords)
                    .add("unknownRequestRecords", mUnknownRequestRecords)
                    .add("problems", mProblems.count())
                    .str()
             << "\n";
        return;
    }
    mOut << "total: " << mSeries << " series, " << counted(mFiles, "file", "files") << ", "
         << counted(mRecords, "record", "records") << " (" << mUnknownRequestRecords
         << " of unknown request), " << counted(mProblems.count(), "problem", "problems") << "\n";
}

}  // namespace scenariolog
