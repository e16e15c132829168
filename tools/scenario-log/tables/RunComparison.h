// Two runs compared request by request from their tables (SqlSchema.h), the
// matching that `compare` reports and the page marks.
//
// Each run's requests fall into timelines (RunTimelines.h); the n-th timeline
// of a kind in A is matched with the n-th of that kind in B, and requests
// within them by number. Within a pair of requests, records are matched as
// `diff` matches them: by key (module, and decision or stage and result) and
// occurrence, the n-th record of a key in A with the n-th in B; the headline's
// NDD texts and its snippets (in byte order, as the modules that write them
// report from threads of their own) are keys of the "headline" group. A key
// differs in a
// request when the number of its records differs or a pair of texts does
// (under --ignore-numbers or a tolerance, NumberTolerance.h).
//
// The runs stream through in request order, one request of each at a time, as
// rows of SQLite ordered by request: memory holds two requests' texts, and the
// keys and timelines of both runs, whatever the runs' length.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tables/NumberTolerance.h"
#include "tables/RecordKey.h"
#include "tables/RunTimelines.h"

namespace scenariolog {

// --module, --decision, --stage, --result: every one given must match. With
// any of them, the headline's parts are left out.
struct KeyFilter {
    std::optional<std::string> module;
    std::optional<std::string> decision;
    std::optional<std::string> stage;
    std::optional<std::string> result;

    bool empty() const { return !module && !decision && !stage && !result; }
    bool matches(const RecordKeyView& key) const;
};

struct CompareSettings {
    bool ignoreNumbers = false;
    ToleranceRules tolerances;
    KeyFilter filter;
};

enum class RunSide { kA, kB };

struct CompareKey {
    static constexpr const char* kHeadlineGroup = "headline";

    RecordKey key;  // of a headline part: module "headline", first "NDD" or "snippets"
    bool headline = false;
    std::optional<double> tolerance;

    const std::string& module() const { return key.module; }
    // "Decision: ISP_FLOW", "Stage_MDP Result: ISP_FLOW", or "NDD" or "snippets".
    std::string label() const { return headline ? key.first : key.label(); }
};

// The texts of one key in one request of a run, in written order.
struct CompareItem {
    std::size_t key = 0;
    std::string text;
};
struct KeyTexts {
    const CompareItem* begin = nullptr;
    const CompareItem* end = nullptr;

    bool empty() const { return begin == end; }
    // Joined by " | ", as `changes` gives a key's text in a request.
    std::string joined() const;
};

// A timeline of A matched with one of B; either may be absent.
struct TimelinePair {
    std::string kind;
    int number = 1;
    const RunTimeline* a = nullptr;
    const RunTimeline* b = nullptr;

    std::string name() const { return RunTimeline{kind, number, {}, {}}.name(); }
};

class CompareSink {
  public:
    virtual ~CompareSink() = default;
    // A request in both runs, held by series `seriesA` of A and `seriesB` of B.
    virtual void onMatched(const TimelinePair& /*pair*/, int /*request*/, std::int64_t /*seriesA*/,
                           std::int64_t /*seriesB*/) {}
    virtual void onOnlyIn(RunSide /*side*/, const TimelinePair& /*pair*/, int /*request*/) {}
    // Key number `key` differs in a matched request; either side may be empty.
    virtual void onKeyDiffers(const TimelinePair& pair, int request, std::int64_t seriesA,
                              std::size_t key, const KeyTexts& a, const KeyTexts& b) = 0;
};

class RunComparison {
  public:
    // Reads the keys, record counts and timelines of both runs. Throws
    // SqliteError.
    RunComparison(sqlite3* a, sqlite3* b, CompareSettings settings);

    // The keys of both runs that the filter lets through, in key order, the
    // headline's parts first.
    const std::vector<CompareKey>& keys() const { return mKeys; }
    // Records of each key in a run, those of unknown request too.
    std::uint64_t records(RunSide side, std::size_t key) const {
        return mRecords[side == RunSide::kA ? 0 : 1][key];
    }
    const std::vector<TimelinePair>& pairs() const { return mPairs; }

    // Streams both runs through `sink`, pair by pair, requests in number order.
    // Throws SqliteError.
    void run(CompareSink& sink) const;

  private:
    class Cursor;

    // Per run: a key's id in its tables to its number here, if let through.
    using KeyNumbers = std::unordered_map<std::int64_t, std::size_t>;

    void readKeys();
    void countRecords(int side);
    void pairTimelines();
    void comparePair(const TimelinePair& pair, CompareSink& sink) const;
    bool sameTexts(const CompareKey& key, const KeyTexts& a, const KeyTexts& b) const;

    sqlite3* mDb[2];
    CompareSettings mSettings;
    std::vector<CompareKey> mKeys;
    KeyNumbers mKeyNumbers[2];
    std::optional<std::size_t> mNdd;  // the headline parts' numbers, if let through
    std::optional<std::size_t> mSnippets;
    std::vector<std::uint64_t> mRecords[2];
    std::vector<RunTimeline> mTimelines[2];
    std::vector<TimelinePair> mPairs;
};

}  // namespace scenariolog
