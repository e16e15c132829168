#include "tables/RunComparison.h"

#include <algorithm>
#include <map>
#include <utility>

#include "base/Sqlite.h"
#include "tables/TextCompare.h"

namespace scenariolog {
namespace {

constexpr const char* kNdd = "NDD";
constexpr const char* kSnippets = "snippets";

// "(1,4,7)": the series of a timeline, for an IN clause.
std::string seriesList(const RunTimeline& timeline) {
    std::string list = "(";
    for (const std::int64_t id : timeline.series) {
        if (list.size() > 1) list += ',';
        list += std::to_string(id);
    }
    return list + ")";
}

// The snippets ", a, b" in byte order: the modules that mark records for the
// headline report from their own threads, in another order on every run.
std::string sortedSnippets(std::string_view snippets) {
    constexpr std::string_view kSeparator = ", ";
    std::vector<std::string_view> pieces;
    while (!snippets.empty()) {
        if (snippets.substr(0, kSeparator.size()) == kSeparator) snippets.remove_prefix(2);
        const std::size_t end = std::min(snippets.find(kSeparator), snippets.size());
        pieces.push_back(snippets.substr(0, end));
        snippets.remove_prefix(end);
    }
    std::sort(pieces.begin(), pieces.end());
    std::string text;
    for (const std::string_view piece : pieces) {
        text += kSeparator;
        text += piece;
    }
    return text;
}

void stepOrThrow(sqlite3* db, sqlite3_stmt* statement, bool& live) {
    const int code = sqlite3_step(statement);
    if (code != SQLITE_ROW && code != SQLITE_DONE) throw SqliteError(code, sqlite3_errmsg(db));
    live = code == SQLITE_ROW;
}

}  // namespace

bool KeyFilter::matches(const RecordKeyView& key) const {
    const bool isDecision = key.kind == RecordKind::kDecision;
    if (decision && (!isDecision || *decision != key.first)) return false;
    if ((stage || result) && isDecision) return false;
    if (module && *module != key.module) return false;
    if (stage && *stage != key.first) return false;
    return !result || *result == key.second;
}

std::string KeyTexts::joined() const {
    std::string text;
    for (const CompareItem* item = begin; item != end; ++item) {
        if (item != begin) text += " | ";
        text += item->text;
    }
    return text;
}

// The requests of one timeline of a run in number order, each with the texts
// of the keys let through, sorted by key (written order within a key).
class RunComparison::Cursor {
  public:
    Cursor(sqlite3* db, const RunTimeline* timeline, const RunComparison& comparison, int side)
        : mDb(db), mComparison(comparison), mSide(side) {
        if (timeline == nullptr || timeline->series.empty()) return;
        const std::string series = seriesList(*timeline);
        mRecords = prepareSql(db,
                              "SELECT request, key, text, series FROM stored_records "
                              "WHERE series IN " +
                                  series + " AND request IS NOT NULL ORDER BY request, id");
        mHeadlines = prepareSql(db,
                                "SELECT request, ndd, snippets, series FROM stored_headlines "
                                "WHERE series IN " +
                                    series + " AND request IS NOT NULL ORDER BY request, id");
        stepOrThrow(mDb, mRecords.get(), mRecordsLive);
        stepOrThrow(mDb, mHeadlines.get(), mHeadlinesLive);
    }

    // Moves to the next request that holds a key let through; false at the end.
    bool next() {
        while (mRecordsLive || mHeadlinesLive) {
            const int request = nextRequest();
            mUsed = 0;
            mSeries = 0;
            readHeadlines(request);
            readRecords(request);
            if (mUsed == 0) continue;
            mRequest = request;
            std::stable_sort(
                mItems.begin(), mItems.begin() + static_cast<std::ptrdiff_t>(mUsed),
                [](const CompareItem& x, const CompareItem& y) { return x.key < y.key; });
            return true;
        }
        return false;
    }

    int request() const { return mRequest; }
    std::int64_t series() const { return mSeries; }
    const CompareItem* begin() const { return mItems.data(); }
    const CompareItem* end() const { return mItems.data() + mUsed; }

  private:
    int nextRequest() const {
        const int records = mRecordsLive ? sqlite3_column_int(mRecords.get(), 0) : 0;
        const int headlines = mHeadlinesLive ? sqlite3_column_int(mHeadlines.get(), 0) : 0;
        if (!mRecordsLive) return headlines;
        if (!mHeadlinesLive) return records;
        return std::min(records, headlines);
    }

    void readHeadlines(int request) {
        sqlite3_stmt* row = mHeadlines.get();
        while (mHeadlinesLive && sqlite3_column_int(row, 0) == request) {
            noteSeries(row);
            const auto& ndd = mComparison.mNdd;
            const auto& snippets = mComparison.mSnippets;
            if (ndd && sqlite3_column_bytes(row, 1) > 0) add(*ndd, columnText(row, 1));
            if (snippets && sqlite3_column_bytes(row, 2) > 0) {
                add(*snippets, sortedSnippets(columnText(row, 2)));
            }
            stepOrThrow(mDb, row, mHeadlinesLive);
        }
    }

    void readRecords(int request) {
        sqlite3_stmt* row = mRecords.get();
        const KeyNumbers& numbers = mComparison.mKeyNumbers[mSide];
        while (mRecordsLive && sqlite3_column_int(row, 0) == request) {
            noteSeries(row);
            const auto key = numbers.find(sqlite3_column_int64(row, 1));
            if (key != numbers.end()) add(key->second, columnText(row, 2));
            stepOrThrow(mDb, row, mRecordsLive);
        }
    }

    void noteSeries(sqlite3_stmt* row) {
        if (mSeries == 0) mSeries = sqlite3_column_int64(row, 3);
    }

    // Into a buffer that keeps its entries, so that their strings keep room.
    void add(std::size_t key, std::string_view text) {
        if (mUsed == mItems.size()) mItems.emplace_back();
        CompareItem& item = mItems[mUsed++];
        item.key = key;
        item.text.assign(text);
    }

    sqlite3* mDb;
    const RunComparison& mComparison;
    int mSide;
    SqliteStatement mRecords;
    SqliteStatement mHeadlines;
    bool mRecordsLive = false;
    bool mHeadlinesLive = false;
    int mRequest = 0;
    std::int64_t mSeries = 0;
    std::vector<CompareItem> mItems;
    std::size_t mUsed = 0;
};

RunComparison::RunComparison(sqlite3* a, sqlite3* b, CompareSettings settings)
    : mDb{a, b}, mSettings(std::move(settings)) {
    readKeys();
    for (int side = 0; side < 2; ++side) {
        countRecords(side);
        mTimelines[side] = readRunTimelines(mDb[side]);
    }
    pairTimelines();
}

void RunComparison::readKeys() {
    std::map<RecordKey, std::vector<std::pair<int, std::int64_t>>, RecordKeyLess> found;
    for (int side = 0; side < 2; ++side) {
        const SqliteStatement select = prepareSql(
            mDb[side], "SELECT id, module, record_kind, decision, stage, result FROM stored_keys");
        while (sqlite3_step(select.get()) == SQLITE_ROW) {
            sqlite3_stmt* row = select.get();
            const bool decision = columnText(row, 2) == "decision";
            const RecordKeyView view{decision ? RecordKind::kDecision : RecordKind::kExecution,
                                     columnText(row, 1), columnText(row, decision ? 3 : 4),
                                     decision ? std::string_view() : columnText(row, 5)};
            if (!mSettings.filter.matches(view)) continue;
            found[RecordKey(view)].emplace_back(side, sqlite3_column_int64(row, 0));
        }
    }
    const auto addKey = [this](RecordKey key, bool headline) {
        mKeys.push_back({std::move(key), headline, std::nullopt});
        mKeys.back().tolerance = mSettings.tolerances.of(mKeys.back().key.view());
        return mKeys.size() - 1;
    };
    if (mSettings.filter.empty()) {
        for (const char* part : {kNdd, kSnippets}) {
            const RecordKeyView view{RecordKind::kDecision, CompareKey::kHeadlineGroup, part, {}};
            (part == kNdd ? mNdd : mSnippets) = addKey(RecordKey(view), true);
        }
    }
    for (const auto& [key, ids] : found) {
        const std::size_t number = addKey(key, false);
        for (const auto& [side, id] : ids) mKeyNumbers[side][id] = number;
    }
}

void RunComparison::countRecords(int side) {
    mRecords[side].assign(mKeys.size(), 0);
    const SqliteStatement select =
        prepareSql(mDb[side], "SELECT key, count(*) FROM stored_records GROUP BY key");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        const auto key = mKeyNumbers[side].find(sqlite3_column_int64(select.get(), 0));
        if (key == mKeyNumbers[side].end()) continue;
        mRecords[side][key->second] +=
            static_cast<std::uint64_t>(sqlite3_column_int64(select.get(), 1));
    }
}

void RunComparison::pairTimelines() {
    std::map<std::pair<std::string, int>, std::size_t> byName;
    for (int side = 0; side < 2; ++side) {
        for (const RunTimeline& timeline : mTimelines[side]) {
            const auto [entry, added] =
                byName.try_emplace({timeline.kind, timeline.number}, mPairs.size());
            if (added) mPairs.push_back({timeline.kind, timeline.number, nullptr, nullptr});
            (side == 0 ? mPairs[entry->second].a : mPairs[entry->second].b) = &timeline;
        }
    }
}

void RunComparison::run(CompareSink& sink) const {
    for (const TimelinePair& pair : mPairs) comparePair(pair, sink);
}

void RunComparison::comparePair(const TimelinePair& pair, CompareSink& sink) const {
    Cursor a(mDb[0], pair.a, *this, 0);
    Cursor b(mDb[1], pair.b, *this, 1);
    bool inA = a.next();
    bool inB = b.next();
    while (inA || inB) {
        if (inA && (!inB || a.request() < b.request())) {
            sink.onOnlyIn(RunSide::kA, pair, a.request());
            inA = a.next();
            continue;
        }
        if (inB && (!inA || b.request() < a.request())) {
            sink.onOnlyIn(RunSide::kB, pair, b.request());
            inB = b.next();
            continue;
        }
        sink.onMatched(pair, a.request(), a.series(), b.series());
        const CompareItem* itemA = a.begin();
        const CompareItem* itemB = b.begin();
        while (itemA != a.end() || itemB != b.end()) {
            const std::size_t key = itemB == b.end()   ? itemA->key
                                    : itemA == a.end() ? itemB->key
                                                       : std::min(itemA->key, itemB->key);
            KeyTexts textsA{itemA, itemA};
            KeyTexts textsB{itemB, itemB};
            while (textsA.end != a.end() && textsA.end->key == key) ++textsA.end;
            while (textsB.end != b.end() && textsB.end->key == key) ++textsB.end;
            if (!sameTexts(mKeys[key], textsA, textsB)) {
                sink.onKeyDiffers(pair, a.request(), a.series(), key, textsA, textsB);
            }
            itemA = textsA.end;
            itemB = textsB.end;
        }
        inA = a.next();
        inB = b.next();
    }
}

bool RunComparison::sameTexts(const CompareKey& key, const KeyTexts& a, const KeyTexts& b) const {
    if (a.end - a.begin != b.end - b.begin) return false;
    for (const CompareItem *x = a.begin, *y = b.begin; x != a.end; ++x, ++y) {
        const bool same = mSettings.ignoreNumbers ? compareTexts(x->text, y->text, true).equal
                          : key.tolerance ? equalWithinTolerance(x->text, y->text, *key.tolerance)
                                          : x->text == y->text;
        if (!same) return false;
    }
    return true;
}

}  // namespace scenariolog
