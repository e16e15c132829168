#include "ChangesReport.h"

#include "Json.h"
#include "TextCompare.h"

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

void KeyHistory::observe(int request, const std::string& text) {
    if (mRequests++ == 0) mFirst = mLast = request;
    mFirst = std::min(mFirst, request);
    mLast = std::max(mLast, request);
    const bool sameAsLast = mRunCount > 0 && sameText(mLastText, text, mStyle.ignoreNumbers);
    if (!sameAsLast) {
        ++mRunCount;
        mLastText = text;
    }
    if (mCollapsed) {
        if (!sameAsLast && mTextHashes.size() < kCountedTexts) {
            mTextHashes.insert(textHash(text, mStyle.ignoreNumbers));
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
    mRuns.push_back({request, request, 1, text});
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
    std::unordered_set<std::uint64_t> hashes;
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
    Timeline(SeriesKind kind, const ChangesStyle& style) : mKind(kind), mStyle(style) {}

    void add(int request, const Record& record);
    void finish();
    void print(std::ostream& out) const;
    std::size_t keys() const { return mHistories.size(); }

  private:
    void flushLowest();
    std::size_t keyIndex(const Record& record);
    void printKeyText(std::ostream& out, const KeyHistory& history) const;
    void printKeyJson(std::ostream& out, const KeyHistory& history) const;

    SeriesKind mKind;
    const ChangesStyle& mStyle;
    std::map<RecordKey, std::size_t, RecordKeyLess> mKeyIndex;
    std::vector<KeyHistory> mHistories;                         // in the order keys first appear
    std::map<int, std::map<std::size_t, std::string>> mWindow;  // request -> key -> text
    std::uint64_t mRequests = 0;
    int mFirst = 0;
    int mLast = 0;
};

std::size_t ChangesReport::Timeline::keyIndex(const Record& record) {
    const RecordKeyView view = RecordKeyView::of(record);
    const auto found = mKeyIndex.find(view);
    if (found != mKeyIndex.end()) return found->second;
    mHistories.emplace_back(RecordKey(view), mStyle);
    mKeyIndex.emplace(RecordKey(view), mHistories.size() - 1);
    return mHistories.size() - 1;
}

void ChangesReport::Timeline::add(int request, const Record& record) {
    const std::size_t key = keyIndex(record);
    auto [slot, added] = mWindow[request].try_emplace(key, record.text);
    if (!added) slot->second.append(" | ").append(record.text);
    if (mWindow.size() > kReorderWindow) flushLowest();
}

void ChangesReport::Timeline::flushLowest() {
    auto lowest = mWindow.begin();
    const int request = lowest->first;
    if (mRequests++ == 0) mFirst = mLast = request;
    mFirst = std::min(mFirst, request);
    mLast = std::max(mLast, request);
    for (const auto& [key, text] : lowest->second) mHistories[key].observe(request, text);
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
                   .add("first", mFirst)
                   .add("last", mLast)
                   .add("requests", mRequests)
                   .add("keys", static_cast<std::uint64_t>(mHistories.size()))
                   .str()
            << "\n";
    } else {
        out << "== " << seriesKindName(mKind) << " requests " << requestRange(mFirst, mLast) << ": "
            << mRequests << " requests, " << mHistories.size() << " keys\n";
    }
    for (const auto& [key, index] : mKeyIndex) {
        if (mStyle.json) {
            printKeyJson(out, mHistories[index]);
        } else {
            printKeyText(out, mHistories[index]);
        }
    }
}

void ChangesReport::Timeline::printKeyText(std::ostream& out, const KeyHistory& history) const {
    out << history.key().module << " " << history.key().label();
    const std::string range = requestRange(history.first(), history.last());
    if (history.churning()) {
        out << "  " << range << "  " << history.distinctTexts()
            << (history.distinctTexts() == KeyHistory::kCountedTexts ? " or more" : "")
            << " distinct texts in " << history.requests() << " requests (--all lists them)\n";
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
    : mOut(out), mStyle(style), mFilter(filter) {}

ChangesReport::~ChangesReport() = default;

void ChangesReport::onRecord(const LineContext& context, const Record& record) {
    if (!mFilter.matches(record)) return;
    if (!context.request) {
        ++mUnknownRequestRecords;
        return;
    }
    const int request = *context.request;
    if ((mStyle.from && request < *mStyle.from) || (mStyle.to && request > *mStyle.to)) return;
    auto& timeline = mTimelines[context.file->name.kind];
    if (!timeline) timeline = std::make_unique<Timeline>(context.file->name.kind, mStyle);
    timeline->add(request, record);
}

void ChangesReport::finish() {
    for (auto& [kind, timeline] : mTimelines) {
        timeline->finish();
        timeline->print(mOut);
    }
}

std::uint64_t ChangesReport::keys() const {
    std::uint64_t keys = 0;
    for (const auto& [kind, timeline] : mTimelines) keys += timeline->keys();
    return keys;
}

}  // namespace scenariolog
