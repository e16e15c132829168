// `summary`: per series its files, the requests it holds and record counts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>

#include "ProblemReport.h"
#include "RangeSet.h"
#include "SeriesWalker.h"

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

    // The counts of the series being walked, or of the last one walked.
    const SeriesCounts& counts() const { return mCounts; }

  private:
    void printText(const LogSeries& series) const;
    void printJson(const LogSeries& series) const;

    std::ostream& mOut;
    bool mJson;
    const ProblemReport& mProblems;
    SeriesCounts mCounts;
    std::uint64_t mProblemsBefore = 0;
    std::uint64_t mSeries = 0;
    std::uint64_t mFiles = 0;
    std::uint64_t mRecords = 0;
    std::uint64_t mUnknownRequestRecords = 0;
};

}  // namespace scenariolog
