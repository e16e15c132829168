#include "commands/ChangesReport.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "base/Counted.h"
#include "base/Json.h"
#include "tables/RequestNumbering.h"
#include "tables/TextCompare.h"

namespace scenariolog {
namespace {

// A key is churning when it changes on more than half of its requests, and
// more than this often.
constexpr std::uint64_t kChurnRuns = 8;

std::string requestRange(int first, int last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + "-" + std::to_string(last);
}

}  // namespace

void KeyHistory::observe(int request, std::string_view text) {
    if (mRequests++ == 0) mFirst = mLast = request;
    mFirst = std::min(mFirst, request);
    mLast = std::max(mLast, request);
    const bool sameAsLast = mRunCount > 0 && sameText(mLastText, text, mStyle.ignoreNumbers);
    if (!sameAsLast) {
        ++mRunCount;
        mLastText.assign(text);
    }
    if (mCollapsed) {
        if (!sameAsLast && mTextHashes.size() < kCountedTexts) {
            mTextHashes.insert(textHash(mLastText, mStyle.ignoreNumbers));
        }
        return;
    }
    if (sameAsLast) {
        TextRun& run = mRuns.back();
        run.first = std::min(run.first, request);
        run.last = std::max(run.last, request);
        ++run.requests;
        return;
    }
    mRuns.push_back({request, request, 1, mLastText});
    if (!mStyle.all && mRuns.size() > kKeptRuns) collapse();
}

void KeyHistory::collapse() {
    for (const TextRun& run : mRuns) {
        if (mTextHashes.size() < kCountedTexts) {
            mTextHashes.insert(textHash(run.text, mStyle.ignoreNumbers));
        }
    }
    mRuns = std::vector<TextRun>();
    mCollapsed = true;
}

std::size_t KeyHistory::distinctTexts() const {
    if (mCollapsed) return mTextHashes.size();
    HashSet hashes;
    for (const TextRun& run : mRuns) {
        if (hashes.size() == kCountedTexts) break;
        hashes.insert(textHash(run.text, mStyle.ignoreNumbers));
    }
    return hashes.size();
}

bool KeyHistory::churning() const {
    return mCollapsed || (!mStyle.all && mRunCount > kChurnRuns && mRunCount * 2 > mRequests);
}

// The requests of one series kind, in number order.
class ChangesReport::Timeline {
  public:
    Timeline(SeriesKind kind, std::string from, const ChangesStyle& style,
             const RecordKeyTable& keys)
        : mKind(kind), mFrom(std::move(from)), mStyle(style), mKeys(keys) {}

    void add(int request, std::size_t key, std::string_view text);
    void finish();
    void print(std::ostream& out) const;
    std::size_t keys() const { return mHistories.size(); }
    // Whether a series named by `request` can't belong to this numbering.
    bool numberingRestartsAt(int request) const { return mNumbering.restartsAt(request); }

  private:
    // A key's text in one request of the window, in a buffer that is only
    // ever grown, so that appending is a copy and no allocation.
    struct PendingText {
        int request = 0;
        std::size_t length = 0;
        std::vector<char> bytes;  // the text is the first `length`

        std::string_view text() const { return {bytes.data(), length}; }
        void append(std::string_view piece) {
            if (length + piece.size() > bytes.size()) {
                bytes.resize(std::max(bytes.size() * 2, length + piece.size()));
            }
            std::memcpy(bytes.data() + length, piece.data(), piece.size());
            length += piece.size();
        }
    };
    // The texts of one key in the window. Entries [0, used) are live; the
    // ones after keep their buffers for the next requests.
    struct PendingTexts {
        std::vector<PendingText> entries;
        std::size_t used = 0;
        std::size_t recent = 0;  // the entry found last

        PendingText* find(int request);
        PendingText& add(int request);
        void remove(PendingText& entry);
    };

    std::size_t historyIndex(std::size_t key);
    void countRequest(int request);
    void flushLowest();
    void printKeyText(std::ostream& out, const KeyHistory& history) const;
    void printKeyJson(std::ostream& out, const KeyHistory& history) const;

    SeriesKind mKind;
    std::string mFrom;  // the time stamp of the timeline's first series
    const ChangesStyle& mStyle;
    const RecordKeyTable& mKeys;
    std::vector<std::size_t> mHistoryOfKey;  // by key number: history index + 1, 0 for none
    std::vector<KeyHistory> mHistories;      // in the order keys first appear
    std::vector<PendingTexts> mPending;      // by history index
    // The requests in the window, each with the histories that have a text in
    // it; mCurrent is the request of the last record, or end().
    using Window = std::map<int, std::vector<std::size_t>>;
    Window mWindow;
    Window::iterator mCurrent = mWindow.end();
    std::uint64_t mRequests = 0;
    int mFirst = 0;
    int mLast = 0;
    RequestNumbering mNumbering;  // of the requests taken into the window
};

ChangesReport::Timeline::PendingText* ChangesReport::Timeline::PendingTexts::find(int request) {
    if (recent < used && entries[recent].request == request) return &entries[recent];
    for (std::size_t i = 0; i < used; ++i) {
        if (entries[i].request != request) continue;
        recent = i;
        return &entries[i];
    }
    return nullptr;
}

ChangesReport::Timeline::PendingText& ChangesReport::Timeline::PendingTexts::add(int request) {
    if (used == entries.size()) entries.emplace_back();
    recent = used++;
    PendingText& entry = entries[recent];
    entry.request = request;
    entry.length = 0;
    return entry;
}

void ChangesReport::Timeline::PendingTexts::remove(PendingText& entry) {
    PendingText& last = entries[--used];
    if (&entry != &last) {
        entry.request = last.request;
        entry.length = last.length;
        entry.bytes.swap(last.bytes);
    }
}

std::size_t ChangesReport::Timeline::historyIndex(std::size_t key) {
    if (key >= mHistoryOfKey.size()) mHistoryOfKey.resize(mKeys.size(), 0);
    std::size_t& index = mHistoryOfKey[key];
    if (index == 0) {
        mHistories.emplace_back(mKeys.key(key), mStyle);
        mPending.emplace_back();
        index = mHistories.size();
    }
    return index - 1;
}

void ChangesReport::Timeline::add(int request, std::size_t key, std::string_view text) {
    const std::size_t history = historyIndex(key);
    if (mCurrent == mWindow.end() || mCurrent->first != request) {
        bool entered = false;
        std::tie(mCurrent, entered) = mWindow.try_emplace(request);
        if (entered) mNumbering.take(request);
    }
    PendingTexts& pending = mPending[history];
    if (PendingText* entry = pending.find(request)) {
        entry->append(" | ");
        entry->append(text);
    } else {
        pending.add(request).append(text);
        mCurrent->second.push_back(history);
    }
    if (mWindow.size() > kReorderWindow) flushLowest();
}

void ChangesReport::Timeline::countRequest(int request) {
    if (mRequests++ == 0) mFirst = mLast = request;
    mFirst = std::min(mFirst, request);
    mLast = std::max(mLast, request);
}

void ChangesReport::Timeline::flushLowest() {
    const auto lowest = mWindow.begin();
    const int request = lowest->first;
    countRequest(request);
    for (const std::size_t history : lowest->second) {
        PendingTexts& pending = mPending[history];
        PendingText* entry = pending.find(request);
        mHistories[history].observe(request, entry->text());
        pending.remove(*entry);
    }
    if (mCurrent == lowest) mCurrent = mWindow.end();
    mWindow.erase(lowest);
}

void ChangesReport::Timeline::finish() {
    while (!mWindow.empty()) flushLowest();
}

void ChangesReport::Timeline::print(std::ostream& out) const {
    if (mStyle.json) {
        out << JsonObject()
                   .add("type", "timeline")
                   .add("kind", seriesKindName(mKind))
                   .add("from", mFrom)
                   .add("first", mFirst)
                   .add("last", mLast)
                   .add("requests", mRequests)
                   .add("keys", static_cast<std::uint64_t>(mHistories.size()))
                   .str()
            << "\n";
    } else {
        out << "== " << seriesKindName(mKind) << " requests " << requestRange(mFirst, mLast)
            << " from " << mFrom << ": " << counted(mRequests, "request", "requests") << ", "
            << counted(mHistories.size(), "key", "keys") << "\n";
    }
    std::vector<const KeyHistory*> sorted;
    sorted.reserve(mHistories.size());
    for (const KeyHistory& history : mHistories) sorted.push_back(&history);
    std::sort(sorted.begin(), sorted.end(), [](const KeyHistory* a, const KeyHistory* b) {
        return RecordKeyLess()(a->key(), b->key());
    });
    for (const KeyHistory* history : sorted) {
        if (mStyle.json) {
            printKeyJson(out, *history);
        } else {
            printKeyText(out, *history);
        }
    }
}

void ChangesReport::Timeline::printKeyText(std::ostream& out, const KeyHistory& history) const {
    out << history.key().module << " " << history.key().label();
    const std::string range = requestRange(history.first(), history.last());
    if (history.churning()) {
        const std::size_t distinct = history.distinctTexts();
        out << "  " << range << "  " << distinct
            << (distinct == KeyHistory::kCountedTexts ? " or more" : "") << " distinct texts in "
            << counted(history.requests(), "request", "requests") << " (--all lists them)\n";
        return;
    }
    if (history.runs().size() == 1) {
        out << "  " << range << "  \"" << history.runs().front().text << "\"\n";
        return;
    }
    out << "\n";
    bool firstRun = true;
    for (const TextRun& run : history.runs()) {
        out << (firstRun ? "      " : "    → ") << requestRange(run.first, run.last) << "  \""
            << run.text << "\"\n";
        firstRun = false;
    }
}

void ChangesReport::Timeline::printKeyJson(std::ostream& out, const KeyHistory& history) const {
    std::string runs = "[";
    if (!history.churning()) {
        for (const TextRun& run : history.runs()) {
            if (runs.size() > 1) runs += ",";
            runs += JsonObject()
                        .add("first", run.first)
                        .add("last", run.last)
                        .add("requests", run.requests)
                        .add("text", run.text)
                        .str();
        }
    }
    const RecordKey& key = history.key();
    out << JsonObject()
               .add("type", "key")
               .add("timeline", seriesKindName(mKind))
               .add("module", key.module)
               .add("kind", recordKindName(key.kind))
               .add("key", key.label())
               .add("first", history.first())
               .add("last", history.last())
               .add("requests", history.requests())
               .add("changes", history.runCount() - 1)
               .add("distinctTexts", static_cast<std::uint64_t>(history.distinctTexts()))
               .add("churning", history.churning())
               .addRaw("runs", runs + "]")
               .str()
        << "\n";
}

ChangesReport::ChangesReport(std::ostream& out, const ChangesStyle& style,
                             const RecordFilter& filter)
    : mOut(out), mStyle(style), mFilter(filter), mFiltered(!filter.empty()) {}

ChangesReport::~ChangesReport() = default;

void ChangesReport::beginSeries(const LogSeries& series) {
    const LogFileName& name = series.identity();
    // Within one numbering a series is named by a request not taken yet, and
    // at most a reorder window below the requests taken.
    const auto timeline = mTimelines.find(name.kind);
    if (timeline != mTimelines.end() && timeline->second->numberingRestartsAt(name.requestNum)) {
        endTimeline(name.kind);
    }
    mSeriesStamp = name.timeStamp;
}

void ChangesReport::endTimeline(SeriesKind kind) {
    const auto found = mTimelines.find(kind);
    if (found == mTimelines.end()) return;
    found->second->finish();
    found->second->print(mOut);
    mFinishedKeys += found->second->keys();
    if (mLastTimeline == found->second.get()) mLastTimeline = nullptr;
    mTimelines.erase(found);
}

ChangesReport::Timeline& ChangesReport::timeline(SeriesKind kind) {
    if (mLastTimeline != nullptr && mLastKind == kind) return *mLastTimeline;
    auto& timeline = mTimelines[kind];
    if (!timeline) timeline = std::make_unique<Timeline>(kind, mSeriesStamp, mStyle, mKeys);
    mLastTimeline = timeline.get();
    mLastKind = kind;
    return *timeline;
}

void ChangesReport::onRecord(const LineContext& context, const Record& record) {
    if (mFiltered && !mFilter.matches(record)) return;
    if (!context.request) {
        ++mUnknownRequestRecords;
        return;
    }
    const int request = *context.request;
    if ((mStyle.from && request < *mStyle.from) || (mStyle.to && request > *mStyle.to)) return;
    timeline(context.file->name.kind).add(request, mKeys.idOf(record), record.text);
}

void ChangesReport::finish() {
    while (!mTimelines.empty()) endTimeline(mTimelines.begin()->first);
}

}  // namespace scenariolog
