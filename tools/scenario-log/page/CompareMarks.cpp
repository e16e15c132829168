#include "page/CompareMarks.h"

#include <unistd.h>

#include <array>
#include <map>
#include <tuple>
#include <unordered_map>

#include "base/Json.h"
#include "base/RangeSet.h"
#include "base/Sqlite.h"
#include "commands/ImportProgressLine.h"
#include "tables/RunComparison.h"
#include "tables/RunTables.h"

namespace scenariolog {
namespace {

// A run's series ids to the page's series numbers, by the path of their first
// file, which the catalog of the run alone and that of both inputs give alike.
std::unordered_map<std::int64_t, int> pageNumbers(sqlite3* db,
                                                  const std::map<std::string, int>& byPath) {
    std::unordered_map<std::int64_t, int> numbers;
    const SqliteStatement select =
        prepareSql(db,
                   "SELECT series, path FROM stored_files WHERE file_index = "
                   "(SELECT min(file_index) FROM stored_files AS f WHERE f.series = "
                   "stored_files.series)");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        const auto found = byPath.find(std::string(columnText(select.get(), 1)));
        if (found != byPath.end()) numbers[sqlite3_column_int64(select.get(), 0)] = found->second;
    }
    return numbers;
}

std::string runsJson(const RangeSet& requests) {
    std::string json = "[";
    for (const auto& [first, last] : requests.runs()) {
        if (json.size() > 1) json += ",";
        json += "[" + std::to_string(first) + "," + std::to_string(last) + "]";
    }
    return json + "]";
}

class MarkCollector : public CompareSink {
  public:
    MarkCollector(const std::unordered_map<std::int64_t, int>& seriesA,
                  const std::unordered_map<std::int64_t, int>& seriesB)
        : mSeriesA(seriesA), mSeriesB(seriesB) {}

    // 0: texts compared exactly, 1: with numbers ignored.
    void setPass(int pass) { mPass = pass; }

    void onMatched(const TimelinePair& /*pair*/, int request, std::int64_t seriesA,
                   std::int64_t seriesB) override {
        const auto a = mSeriesA.find(seriesA);
        const auto b = mSeriesB.find(seriesB);
        if (mPass == 0 && a != mSeriesA.end() && b != mSeriesB.end()) {
            mPairs[{a->second, b->second}].insert(request);
        }
    }

    void onKeyDiffers(const TimelinePair& /*pair*/, int request, std::int64_t seriesA,
                      std::size_t key, const KeyTexts& /*a*/, const KeyTexts& /*b*/) override {
        const auto a = mSeriesA.find(seriesA);
        if (a != mSeriesA.end()) mMarks[{a->second, key}][mPass].insert(request);
    }

    std::string json(const RunComparison& comparison) const {
        std::string pairs;
        for (const auto& [series, requests] : mPairs) {
            pairs += std::string(pairs.empty() ? "" : ",") + "[" + std::to_string(series.first) +
                     "," + std::to_string(series.second) + "," + runsJson(requests) + "]";
        }
        std::string marks;
        for (const auto& [at, requests] : mMarks) {
            const CompareKey& key = comparison.keys()[at.second];
            if (key.headline) continue;
            marks += std::string(marks.empty() ? "" : ",") + "[" + std::to_string(at.first) + "," +
                     jsonString(key.module(), true) + "," + jsonString(key.label(), true) + "," +
                     runsJson(requests[0]) + "," + runsJson(requests[1]) + "]";
        }
        return "[" + pairs + "],\"marks\":[" + marks + "]";
    }

  private:
    const std::unordered_map<std::int64_t, int>& mSeriesA;
    const std::unordered_map<std::int64_t, int>& mSeriesB;
    int mPass = 0;
    std::map<std::pair<int, int>, RangeSet> mPairs;
    std::map<std::pair<int, std::size_t>, std::array<RangeSet, 2>> mMarks;
};

}  // namespace

std::string compareMarksJson(const std::string& a, const std::string& b,
                             const std::vector<LogSeries>& series, std::ostream& err) {
    std::map<std::string, int> byPath;
    for (std::size_t i = 0; i < series.size(); ++i) {
        byPath.emplace(series[i].files.front().path, static_cast<int>(i));
    }
    ImportProgressLine progress(err, isatty(STDERR_FILENO) == 1);
    const SqliteDb dbA = openRunTables(a, {}, &progress, err);
    const SqliteDb dbB = openRunTables(b, {}, &progress, err);
    const auto seriesA = pageNumbers(dbA.get(), byPath);
    const auto seriesB = pageNumbers(dbB.get(), byPath);
    MarkCollector collector(seriesA, seriesB);
    std::string keysJson;
    for (const int pass : {0, 1}) {
        CompareSettings settings;
        settings.ignoreNumbers = pass == 1;
        const RunComparison comparison(dbA.get(), dbB.get(), settings);
        collector.setPass(pass);
        comparison.run(collector);
        if (pass == 1) keysJson = collector.json(comparison);
    }
    return "{\"a\":" + jsonString(a, true) + ",\"b\":" + jsonString(b, true) +
           ",\"pairs\":" + keysJson + "}";
}

}  // namespace scenariolog
