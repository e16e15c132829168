// `changes`: for each record key, the runs of requests that carried the same
// text, and where the text changed.
//
// Requests are taken in number order, one timeline per series kind (preview
// requests, capture requests), across the series in the catalog's order (by
// time stamp, then by number: the captures of one second lowest first), for
// as long as the numbering goes on (RequestNumbering.h): a series named by a
// request number already taken, or far below the requests taken, ends the
// timeline and starts a new one. Keys are listed by
// module, then key, so that runs of one seed list alike. Blocks are written in
// the order requests end, not in number order, so the records of the most
// recent kReorderWindow requests wait in a window and leave it lowest number
// first. A key's text in a request is its records' texts joined by " | ".
// Memory: the window, and per key its runs (only up to kKeptRuns unless every
// run is asked for) and the hashes of up to kCountedTexts distinct texts.
// Records are looked up by key number (RecordKeyTable), once per record; the
// window keeps each key's texts with the key, and a text is copied into the
// key's history only where a run changes.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "base/ByteHash.h"
#include "commands/RecordFilter.h"
#include "reading/SeriesWalker.h"
#include "tables/RecordKey.h"
#include "tables/RecordKeyTable.h"
#include "tables/RequestNumbering.h"

namespace scenariolog {

struct ChangesStyle {
    bool json = false;
    bool ignoreNumbers = false;
    bool all = false;  // list the runs of every key, also of keys that change all the time
    std::optional<int> from;
    std::optional<int> to;
};

struct TextRun {
    int first = 0;
    int last = 0;
    std::uint64_t requests = 0;
    std::string text;  // as it was in the run's first request
};

// The history of one key on one timeline.
class KeyHistory {
  public:
    static constexpr std::size_t kKeptRuns = 256;
    static constexpr std::size_t kCountedTexts = 4096;

    KeyHistory(RecordKey key, const ChangesStyle& style) : mKey(std::move(key)), mStyle(style) {}

    // Takes the key's text in `request`; copies it only where a run changes.
    void observe(int request, std::string_view text);

    const RecordKey& key() const { return mKey; }
    const std::vector<TextRun>& runs() const { return mRuns; }
    std::uint64_t runCount() const { return mRunCount; }
    std::uint64_t requests() const { return mRequests; }
    int first() const { return mFirst; }
    int last() const { return mLast; }
    // Distinct texts; at most kCountedTexts are counted.
    std::size_t distinctTexts() const;
    // Changes on nearly every request; shown as one line unless all runs are asked for.
    bool churning() const;

  private:
    void collapse();

    RecordKey mKey;
    const ChangesStyle& mStyle;
    std::vector<TextRun> mRuns;  // empty once collapsed
    bool mCollapsed = false;
    std::string mLastText;
    HashSet mTextHashes;  // filled once collapsed
    std::uint64_t mRunCount = 0;
    std::uint64_t mRequests = 0;
    int mFirst = 0;
    int mLast = 0;
};

class ChangesReport : public SeriesVisitor {
  public:
    static constexpr std::size_t kReorderWindow = RequestNumbering::kReorderWindow;

    ChangesReport(std::ostream& out, const ChangesStyle& style, const RecordFilter& filter);
    ~ChangesReport() override;

    void beginSeries(const LogSeries& series) override;
    void onRecord(const LineContext& context, const Record& record) override;
    void finish();

    std::uint64_t unknownRequestRecords() const { return mUnknownRequestRecords; }
    // Keys of the timelines finished so far.
    std::uint64_t keys() const { return mFinishedKeys; }

  private:
    class Timeline;

    Timeline& timeline(SeriesKind kind);
    // Writes the kind's timeline out, if it has one, and forgets it.
    void endTimeline(SeriesKind kind);

    std::ostream& mOut;
    ChangesStyle mStyle;
    RecordFilter mFilter;
    bool mFiltered;        // some filter was given
    RecordKeyTable mKeys;  // of every timeline
    std::map<SeriesKind, std::unique_ptr<Timeline>> mTimelines;
    std::string mSeriesStamp;  // of the series being read
    std::uint64_t mFinishedKeys = 0;
    Timeline* mLastTimeline = nullptr;  // of the last record taken
    SeriesKind mLastKind = SeriesKind::kUnknown;
    std::uint64_t mUnknownRequestRecords = 0;
};

}  // namespace scenariolog
