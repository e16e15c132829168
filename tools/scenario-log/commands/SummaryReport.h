// `summary`: per series its files, the requests it holds and record counts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "base/RangeSet.h"
#include "reading/ProblemReport.h"
#include "reading/SeriesWalker.h"
#include "tables/RecordKeyTable.h"

namespace scenariolog {

using NameCounts = std::map<std::string, std::uint64_t, std::less<>>;

struct SeriesCounts {
    std::uint64_t blocks = 0;
    std::uint64_t decisionRecords = 0;
    std::uint64_t executionRecords = 0;
    std::uint64_t unknownRequestRecords = 0;
    std::uint64_t problems = 0;
    RangeSet requests;
    NameCounts modules;
    NameCounts decisions;  // decision records
    NameCounts stages;     // execution records
    NameCounts results;    // execution records
};

// Prints each series when its walk ends, then totals (finish()).
class SummaryReport : public SeriesVisitor {
  public:
    SummaryReport(std::ostream& out, bool json, const ProblemReport& problems)
        : mOut(out), mJson(json), mProblems(problems) {}

    void beginSeries(const LogSeries& series) override;
    void onHeadline(const LineContext& context, const Headline& headline) override;
    void onRecord(const LineContext& context, const Record& record) override;
    void endSeries(const LogSeries& series) override;
    void finish();

    // The counts of the last series walked; while a series is walked, its
    // names are not yet counted.
    const SeriesCounts& counts() const { return mCounts; }
    // Series walked to their end.
    std::uint64_t seriesRead() const { return mSeries; }

  private:
    void countNames();
    void printText(const LogSeries& series) const;
    void printJson(const LogSeries& series) const;

    std::ostream& mOut;
    bool mJson;
    const ProblemReport& mProblems;
    SeriesCounts mCounts;
    // Records are counted per key number while a series is walked, and by
    // name when it ends: one table lookup per record instead of four.
    RecordKeyTable mKeys;
    std::vector<std::uint64_t> mKeyCounts;  // by key number, of the series being walked
    std::optional<int> mLastRequest;        // last one put into mCounts.requests
    std::uint64_t mProblemsBefore = 0;
    std::uint64_t mSeries = 0;
    std::uint64_t mFiles = 0;
    std::uint64_t mRecords = 0;
    std::uint64_t mUnknownRequestRecords = 0;
};

}  // namespace scenariolog
