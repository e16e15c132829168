// `compare`: what differs between two runs anywhere in them (RunComparison),
// told as events.
//
// Per timeline and key that differs in some matched request: in how many, the
// first and last of them, and the two texts at the first. Keys whose first
// difference falls on one request changed together (a face came into view,
// and face AE, the features and the exposure followed): they are one event,
// and events are listed earliest first. Then the keys only in A or only in B,
// the requests only in one run, and the keys whose record counts differ; the
// problems of both runs are listed as every command lists problems.
//
// Memory: per timeline and differing key one entry with its first texts, and
// the requests only in one run as ranges.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "base/RangeSet.h"
#include "commands/MarkedText.h"
#include "tables/RunComparison.h"

namespace scenariolog {

struct CompareStyle {
    bool json = false;
    bool ignoreNumbers = false;  // for the marks under the first texts
    bool color = false;
};

// A run as the user named it, and its tables.
struct CompareRunView {
    std::string name;
    sqlite3* db = nullptr;
};

class CompareReport : public CompareSink {
  public:
    CompareReport(const RunComparison& comparison, const CompareStyle& style);

    void onMatched(const TimelinePair& pair, int request, std::int64_t seriesA,
                   std::int64_t seriesB) override;
    void onOnlyIn(RunSide side, const TimelinePair& pair, int request) override;
    void onKeyDiffers(const TimelinePair& pair, int request, std::int64_t seriesA, std::size_t key,
                      const KeyTexts& a, const KeyTexts& b) override;

    // Prints what was found; true when the runs agree. Throws SqliteError.
    bool print(const CompareRunView& a, const CompareRunView& b, std::ostream& out,
               std::ostream& err) const;

  private:
    struct KeyDifference {
        std::uint64_t requests = 0;
        int first = 0;
        int last = 0;
        std::string a;  // the texts at the first, joined
        std::string b;
        bool inA = false;  // some record of the key at the first
        bool inB = false;
    };
    // (pair, key) of a key difference
    using DifferenceKey = std::pair<std::size_t, std::size_t>;
    struct Event {
        std::size_t pair;
        int request;
        std::vector<DifferenceKey> keys;
    };
    struct Totals {
        std::uint64_t keys = 0;
        std::uint64_t events = 0;
        std::uint64_t onlyKeys[2] = {0, 0};
        std::uint64_t onlyRequests[2] = {0, 0};
        std::uint64_t counts = 0;
        bool agree() const;
    };

    std::size_t pairIndex(const TimelinePair& pair) const;
    bool onlyInOneRun(std::size_t key) const;
    std::vector<Event> events() const;
    void printProblems(const CompareRunView& run, const char* side, std::ostream& out,
                       std::ostream& err) const;
    void printEvents(std::ostream& out, Totals& totals) const;
    void printKeyDifference(std::ostream& out, const DifferenceKey& at,
                            const KeyDifference& difference, std::uint64_t event) const;
    void printSide(std::ostream& out, TextSide side, const std::string& text, bool present,
                   Span span) const;
    void printOnlyKeys(std::ostream& out, Totals& totals) const;
    void printOnlyRequests(std::ostream& out, Totals& totals) const;
    void printCounts(std::ostream& out, Totals& totals) const;
    void printTotals(std::ostream& out, const Totals& totals) const;
    void heading(std::ostream& out, const std::string& text) const;

    const RunComparison& mComparison;
    const CompareStyle& mStyle;
    std::map<DifferenceKey, KeyDifference> mDifferences;
    std::vector<std::uint64_t> mMatched;  // by pair
    std::vector<RangeSet> mOnly[2];       // by pair
};

}  // namespace scenariolog
