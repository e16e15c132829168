// Walks the lines of a series in the order they were written and tells each
// headline and record to a visitor together with the request it belongs to.
//
// The request of a line: the recorder writes each buffer as a block that
// starts with a headline, and does not write the request number into record
// lines. A record belongs to the request of its block, decided as follows.
//  - Capture series (word "capture" in the file name): the recorder writes
//    only the buffers of one request into it, the request number of the file
//    name, so every block belongs to that request. A headline that names
//    another request is reported as a problem; its block stays with the
//    file name's request.
//  - Preview series, and series whose word the name cut lost: the block's
//    request is the request number of its headline's NDD texts
//    "[UKey: %d][ReqNum: %d]". A headline without one (empty, or snippets
//    only) leaves the block's request unknown, and so do NDD texts that name
//    different requests (reported as a problem). Nothing is guessed: such
//    records are counted as belonging to an unknown request.
//  - A block goes on across "-- CONTINUED --" into the next file of the
//    series. Lines before the series' first headline, and lines after a
//    missing or unreadable file of the series, belong to no known block until
//    the next headline (for capture series: to the file name's request).
//  - Every headline starts a new block, also an empty line that a record text
//    ending in a line break left behind; the rest of that block then counts as
//    unknown (preview) rather than being given to a request it may not
//    belong to.
// Lines that are neither headline nor record are reported as problems and
// change no block.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "reading/LogCatalog.h"
#include "reading/LogParser.h"
#include "reading/ProblemReport.h"

namespace scenariolog {

struct LineContext {
    const LogFile* file = nullptr;
    std::uint64_t line = 0;
    std::string_view text;       // the whole line as written
    std::optional<int> request;  // nullopt: unknown request
};

class SeriesVisitor {
  public:
    virtual ~SeriesVisitor() = default;
    virtual void beginSeries(const LogSeries& /*series*/) {}
    virtual void onHeadline(const LineContext& /*context*/, const Headline& /*headline*/) {}
    virtual void onRecord(const LineContext& /*context*/, const Record& /*record*/) {}
    virtual void endSeries(const LogSeries& /*series*/) {}
};

void walkSeries(const LogSeries& series, SeriesVisitor& visitor, ProblemSink& problems);

}  // namespace scenariolog
