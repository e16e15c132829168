// `show` and `grep`: the lines that match, printed as they are read.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "base/Json.h"
#include "commands/Command.h"
#include "commands/RecordFilter.h"
#include "reading/SeriesWalker.h"

namespace scenariolog {

// Text output: "FILE:LINE: <line as written>", for `show` under a line
// "== <kind> series <prefix> <time stamp>" per series, for `grep` with
// "request N: " (or "request ?: ") in front of the line.
class RecordReport : public SeriesVisitor {
  public:
    // `show`: the headlines and records of the requests in `range`.
    static RecordReport forRequests(std::ostream& out, bool json, const RequestRange& range);
    // `grep`: the records that pass `filter`, of the requests in `range`.
    static RecordReport forFilter(std::ostream& out, bool json, const RecordFilter& filter,
                                  const RequestRange& range);

    void beginSeries(const LogSeries& series) override;
    void onHeadline(const LineContext& context, const Headline& headline) override;
    void onRecord(const LineContext& context, const Record& record) override;

    // Lines printed: records, and for `show` headlines.
    std::uint64_t matched() const { return mMatched; }
    // Notes on `err` (not with --json) what was not found or left out.
    void printNotes(std::ostream& err) const;

  private:
    RecordReport(std::ostream& out, bool json) : mOut(out), mJson(json) {}

    void printSeriesHeader();
    void printText(const LineContext& context);
    // An object of `type` with the place of the line: file, line, series, request.
    JsonObject placeJson(const LineContext& context, const char* type) const;

    std::ostream& mOut;
    bool mJson;
    bool mShow = false;  // headlines too, under a line per series
    RequestRange mRange;
    RecordFilter mFilter;
    const LogSeries* mSeries = nullptr;
    bool mSeriesHeaderDue = false;
    std::uint64_t mMatched = 0;
    std::uint64_t mUnknownRequestRecords = 0;
    std::string mLine;  // the text line being printed; kept for its buffer
};

}  // namespace scenariolog
