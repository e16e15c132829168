#include "commands/CompareReport.h"

#include <algorithm>

#include "base/Counted.h"
#include "base/Json.h"
#include "base/Sqlite.h"
#include "tables/TextCompare.h"

namespace scenariolog {
namespace {

constexpr const char* kSideNames[2] = {"a", "b"};
constexpr const char* kSideLetters[2] = {"A", "B"};

const char* kindOf(const CompareKey& key) {
    return key.headline ? "headline" : recordKindName(key.key.kind);
}

JsonObject keyJson(const char* type, const CompareKey& key) {
    JsonObject object;
    object.add("type", type)
        .add("module", key.module())
        .add("kind", kindOf(key))
        .add("key", key.label());
    return object;
}

JsonObject& addTimeline(JsonObject& object, const TimelinePair& pair) {
    return object.add("timeline", pair.kind).add("numbering", pair.number);
}

std::string requestSpan(int first, int last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + " to " + std::to_string(last);
}

std::uint64_t rangeCount(const RangeSet& set) {
    std::uint64_t count = 0;
    for (const auto& [first, last] : set.runs()) {
        count += static_cast<std::uint64_t>(static_cast<std::int64_t>(last) - first + 1);
    }
    return count;
}

}  // namespace

bool CompareReport::Totals::agree() const {
    return keys + onlyKeys[0] + onlyKeys[1] + onlyRequests[0] + onlyRequests[1] + counts == 0;
}

CompareReport::CompareReport(const RunComparison& comparison, const CompareStyle& style)
    : mComparison(comparison), mStyle(style), mMatched(comparison.pairs().size(), 0) {
    for (std::vector<RangeSet>& only : mOnly) only.resize(comparison.pairs().size());
}

std::size_t CompareReport::pairIndex(const TimelinePair& pair) const {
    return static_cast<std::size_t>(&pair - mComparison.pairs().data());
}

void CompareReport::onMatched(const TimelinePair& pair, int /*request*/, std::int64_t /*seriesA*/,
                              std::int64_t /*seriesB*/) {
    ++mMatched[pairIndex(pair)];
}

void CompareReport::onOnlyIn(RunSide side, const TimelinePair& pair, int request) {
    mOnly[side == RunSide::kA ? 0 : 1][pairIndex(pair)].insert(request);
}

void CompareReport::onKeyDiffers(const TimelinePair& pair, int request, std::int64_t /*seriesA*/,
                                 std::size_t key, const KeyTexts& a, const KeyTexts& b) {
    KeyDifference& difference = mDifferences[{pairIndex(pair), key}];
    if (difference.requests++ == 0) {
        difference.first = request;
        difference.a = a.joined();
        difference.b = b.joined();
        difference.inA = !a.empty();
        difference.inB = !b.empty();
    }
    difference.last = request;
}

// Keys with records in one run only are listed as such, not per request.
bool CompareReport::onlyInOneRun(std::size_t key) const {
    if (mComparison.keys()[key].headline) return false;
    return (mComparison.records(RunSide::kA, key) == 0) !=
           (mComparison.records(RunSide::kB, key) == 0);
}

std::vector<CompareReport::Event> CompareReport::events() const {
    std::map<std::pair<int, std::size_t>, Event> byRequest;  // (request, pair)
    for (const auto& [at, difference] : mDifferences) {
        if (onlyInOneRun(at.second)) continue;
        Event& event = byRequest[{difference.first, at.first}];
        event.pair = at.first;
        event.request = difference.first;
        event.keys.push_back(at);
    }
    std::vector<Event> events;
    events.reserve(byRequest.size());
    for (auto& entry : byRequest) events.push_back(std::move(entry.second));
    return events;
}

bool CompareReport::print(const CompareRunView& a, const CompareRunView& b, std::ostream& out,
                          std::ostream& err) const {
    printProblems(a, kSideNames[0], out, err);
    printProblems(b, kSideNames[1], out, err);
    if (!mStyle.json) out << "--- A: " << a.name << "\n+++ B: " << b.name << "\n";
    Totals totals;
    printEvents(out, totals);
    printOnlyKeys(out, totals);
    printOnlyRequests(out, totals);
    printCounts(out, totals);
    printTotals(out, totals);
    return totals.agree();
}

void CompareReport::printProblems(const CompareRunView& run, const char* side, std::ostream& out,
                                  std::ostream& err) const {
    const SqliteStatement select =
        prepareSql(run.db, "SELECT path, line, reason FROM stored_problems ORDER BY id");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        sqlite3_stmt* row = select.get();
        const bool hasLine = sqlite3_column_type(row, 1) != SQLITE_NULL;
        const auto line = static_cast<std::uint64_t>(sqlite3_column_int64(row, 1));
        if (mStyle.json) {
            out << JsonObject()
                       .add("type", "problem")
                       .add("run", side)
                       .add("file", columnText(row, 0))
                       .add("line", hasLine ? std::optional<std::uint64_t>(line) : std::nullopt)
                       .add("reason", columnText(row, 2))
                       .str()
                << "\n";
            continue;
        }
        err << columnText(row, 0);
        if (hasLine) err << ':' << line;
        err << ": " << columnText(row, 2) << "\n";
    }
}

void CompareReport::heading(std::ostream& out, const std::string& text) const {
    if (mStyle.json) return;
    printHeading(out, text, mStyle.color);
}

void CompareReport::printEvents(std::ostream& out, Totals& totals) const {
    for (const Event& event : events()) {
        ++totals.events;
        totals.keys += event.keys.size();
        const TimelinePair& pair = mComparison.pairs()[event.pair];
        heading(out, pair.name() + " request " + std::to_string(event.request) + ": " +
                         counted(event.keys.size(), "key differs", "keys differ"));
        for (const DifferenceKey& at : event.keys) {
            printKeyDifference(out, at, mDifferences.at(at), totals.events);
        }
    }
}

void CompareReport::printKeyDifference(std::ostream& out, const DifferenceKey& at,
                                       const KeyDifference& difference, std::uint64_t event) const {
    const TimelinePair& pair = mComparison.pairs()[at.first];
    const CompareKey& key = mComparison.keys()[at.second];
    const std::uint64_t matched = mMatched[at.first];
    if (mStyle.json) {
        JsonObject object = keyJson("key-differs", key);
        addTimeline(object, pair)
            .add("event", event)
            .add("requests", difference.requests)
            .add("matched", matched)
            .add("first", difference.first)
            .add("last", difference.last);
        for (int side = 0; side < 2; ++side) {
            const bool present = side == 0 ? difference.inA : difference.inB;
            if (present) {
                object.add(kSideNames[side], side == 0 ? difference.a : difference.b);
            } else {
                object.addRaw(kSideNames[side], "null");
            }
        }
        out << object.str() << "\n";
        return;
    }
    out << "  " << key.module() << " " << key.label() << "  in " << difference.requests << " of "
        << counted(matched, "request", "requests") << ", "
        << requestSpan(difference.first, difference.last) << "\n";
    const TextDifference spans = compareTexts(difference.a, difference.b, mStyle.ignoreNumbers);
    printSide(out, TextSide::kA, difference.a, difference.inA, spans.a);
    printSide(out, TextSide::kB, difference.b, difference.inB, spans.b);
}

void CompareReport::printSide(std::ostream& out, TextSide side, const std::string& text,
                              bool present, Span span) const {
    if (present) {
        printMarkedText(out, side, text, span, mStyle.color);
    } else {
        printNoRecord(out, side);
    }
}

void CompareReport::printOnlyKeys(std::ostream& out, Totals& totals) const {
    const std::vector<CompareKey>& keys = mComparison.keys();
    for (int side = 0; side < 2; ++side) {
        const RunSide runSide = side == 0 ? RunSide::kA : RunSide::kB;
        const RunSide other = side == 0 ? RunSide::kB : RunSide::kA;
        bool headed = false;
        for (std::size_t key = 0; key < keys.size(); ++key) {
            const std::uint64_t records = mComparison.records(runSide, key);
            if (records == 0 || mComparison.records(other, key) != 0 || keys[key].headline) {
                continue;
            }
            ++totals.onlyKeys[side];
            if (mStyle.json) {
                out << keyJson(side == 0 ? "key-only-in-a" : "key-only-in-b", keys[key])
                           .add("records", records)
                           .str()
                    << "\n";
                continue;
            }
            if (!headed) heading(out, std::string("keys only in ") + kSideLetters[side]);
            headed = true;
            out << (side == 0 ? "  - " : "  + ") << keys[key].module() << " " << keys[key].label()
                << "  " << counted(records, "record", "records") << "\n";
        }
    }
}

void CompareReport::printOnlyRequests(std::ostream& out, Totals& totals) const {
    const std::vector<TimelinePair>& pairs = mComparison.pairs();
    for (int side = 0; side < 2; ++side) {
        bool headed = false;
        for (std::size_t pair = 0; pair < pairs.size(); ++pair) {
            const RangeSet& only = mOnly[side][pair];
            if (only.empty()) continue;
            const std::uint64_t count = rangeCount(only);
            totals.onlyRequests[side] += count;
            if (mStyle.json) {
                for (const auto& [first, last] : only.runs()) {
                    JsonObject object;
                    object.add("type", side == 0 ? "request-only-in-a" : "request-only-in-b");
                    addTimeline(object, pairs[pair])
                        .add("first", first)
                        .add("last", last)
                        .add("requests", static_cast<std::uint64_t>(
                                             static_cast<std::int64_t>(last) - first + 1));
                    out << object.str() << "\n";
                }
                continue;
            }
            if (!headed) heading(out, std::string("requests only in ") + kSideLetters[side]);
            headed = true;
            out << "  " << pairs[pair].name() << " " << only.toString() << " ("
                << counted(count, "request", "requests") << ")\n";
        }
    }
}

void CompareReport::printCounts(std::ostream& out, Totals& totals) const {
    const std::vector<CompareKey>& keys = mComparison.keys();
    bool headed = false;
    for (std::size_t key = 0; key < keys.size(); ++key) {
        const std::uint64_t a = mComparison.records(RunSide::kA, key);
        const std::uint64_t b = mComparison.records(RunSide::kB, key);
        if (a == b || a == 0 || b == 0) continue;
        ++totals.counts;
        if (mStyle.json) {
            out << keyJson("count-differs", keys[key]).add("a", a).add("b", b).str() << "\n";
            continue;
        }
        if (!headed) heading(out, "record counts that differ");
        headed = true;
        out << "  " << keys[key].module() << " " << keys[key].label() << "  A " << a << ", B " << b
            << "\n";
    }
}

void CompareReport::printTotals(std::ostream& out, const Totals& totals) const {
    if (mStyle.json) return;
    std::uint64_t matched = 0;
    std::string perTimeline;
    const std::vector<TimelinePair>& pairs = mComparison.pairs();
    for (std::size_t pair = 0; pair < pairs.size(); ++pair) {
        if (mMatched[pair] == 0) continue;
        matched += mMatched[pair];
        perTimeline += (perTimeline.empty() ? "" : ", ") + pairs[pair].name() + " " +
                       std::to_string(mMatched[pair]);
    }
    const std::string matchedText = counted(matched, "request", "requests") + " matched" +
                                    (perTimeline.empty() ? "" : " (" + perTimeline + ")");
    if (totals.agree()) {
        out << "the runs agree: " << matchedText << "\n";
        return;
    }
    std::string parts;
    const auto part = [&parts](std::uint64_t count, const std::string& text) {
        if (count > 0) parts += (parts.empty() ? "" : ", ") + text;
    };
    part(totals.keys,
         counted(totals.keys, "key", "keys") + " in " + counted(totals.events, "event", "events"));
    for (int side = 0; side < 2; ++side) {
        const std::string in = std::string(" only in ") + kSideLetters[side];
        part(totals.onlyKeys[side], counted(totals.onlyKeys[side], "key", "keys") + in);
        part(totals.onlyRequests[side],
             counted(totals.onlyRequests[side], "request", "requests") + in);
    }
    part(totals.counts, counted(totals.counts, "record count", "record counts"));
    out << "the runs differ: " << parts << "; " << matchedText << "\n";
}

}  // namespace scenariolog
