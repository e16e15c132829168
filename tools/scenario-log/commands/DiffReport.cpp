#include "commands/DiffReport.h"

#include <map>
#include <vector>

#include "base/Counted.h"
#include "base/Json.h"
#include "commands/MarkedText.h"
#include "tables/TextCompare.h"

namespace scenariolog {
namespace {

struct Slot {
    std::vector<const KeptItem*> a;
    std::vector<const KeptItem*> b;
};

// Items of one group, keys in the order they first appear.
struct Group {
    std::vector<std::string> labels;
    std::map<std::string, Slot> slots;
};

class Matcher {
  public:
    void add(const KeptRequest& request, bool sideA) {
        for (const KeptItem& item : request.items) {
            auto group = mGroups.try_emplace(item.group).first;
            auto [slot, newLabel] = group->second.slots.try_emplace(item.label);
            if (newLabel) group->second.labels.push_back(item.label);
            (sideA ? slot->second.a : slot->second.b).push_back(&item);
        }
    }

    // The headline first, then modules by name: threads interleave the
    // modules' records differently on every run.
    std::vector<const std::string*> order() const {
        std::vector<const std::string*> names;
        for (const auto& [name, group] : mGroups) {
            const bool headline = name == RequestCollector::kHeadlineGroup;
            names.insert(headline ? names.begin() : names.end(), &name);
        }
        return names;
    }
    const Group& group(const std::string& name) const { return mGroups.at(name); }

  private:
    std::map<std::string, Group> mGroups;
};

enum class Change { kOnlyA, kOnlyB, kChanged };

struct Difference {
    Change change;
    const std::string* label;
    std::size_t occurrence;  // from 1
    const KeptItem* a;
    const KeptItem* b;
    TextDifference spans;
};

class DiffPrinter {
  public:
    DiffPrinter(const DiffStyle& style, std::ostream& out) : mStyle(style), mOut(out) {}

    void printSides(const DiffSideView& a, const DiffSideView& b);
    void printGroup(const std::string& name, const std::vector<Difference>& differences);
    void printTotals(const DiffCounts& counts);

  private:
    void printJson(const std::string& group, const Difference& difference);
    void printText(const Difference& difference);

    const DiffStyle& mStyle;
    std::ostream& mOut;
};

void DiffPrinter::printSides(const DiffSideView& a, const DiffSideView& b) {
    if (mStyle.json) return;
    mOut << "--- A: " << a.name << " (" << counted(a.request->records, "record", "records") << ")\n"
         << "+++ B: " << b.name << " (" << counted(b.request->records, "record", "records")
         << ")\n";
}

void DiffPrinter::printGroup(const std::string& name, const std::vector<Difference>& differences) {
    if (differences.empty()) return;
    if (!mStyle.json) printHeading(mOut, name, mStyle.color);
    for (const Difference& difference : differences) {
        if (mStyle.json) {
            printJson(name, difference);
        } else {
            printText(difference);
        }
    }
}

void DiffPrinter::printText(const Difference& difference) {
    const char* mark = difference.change == Change::kOnlyA   ? "  - "
                       : difference.change == Change::kOnlyB ? "  + "
                                                             : "  ~ ";
    mOut << mark << *difference.label << " #" << difference.occurrence;
    if (difference.change != Change::kChanged) {
        const KeptItem* item = difference.a != nullptr ? difference.a : difference.b;
        mOut << "  " << item->text << "\n";
        return;
    }
    mOut << "\n";
    printMarkedText(mOut, TextSide::kA, difference.a->text, difference.spans.a, mStyle.color);
    printMarkedText(mOut, TextSide::kB, difference.b->text, difference.spans.b, mStyle.color);
}

void DiffPrinter::printJson(const std::string& group, const Difference& difference) {
    static const char* const kChangeNames[] = {"onlyA", "onlyB", "changed"};
    JsonObject object;
    object.add("type", "difference")
        .add("change", kChangeNames[static_cast<int>(difference.change)])
        .add("group", group)
        .add("key", *difference.label)
        .add("occurrence", static_cast<std::uint64_t>(difference.occurrence));
    for (const auto& [side, item, span] :
         {std::make_tuple("a", difference.a, difference.spans.a),
          std::make_tuple("b", difference.b, difference.spans.b)}) {
        const std::string name(side);
        if (item == nullptr) {
            object.addRaw(name, "null");
            continue;
        }
        object.add(name, item->text).add(name + "Place", item->place);
        if (difference.change == Change::kChanged) {
            object.addRaw(name + "Span",
                          "[" + std::to_string(span.begin) + "," + std::to_string(span.end) + "]");
        }
    }
    mOut << object.str() << "\n";
}

void DiffPrinter::printTotals(const DiffCounts& counts) {
    if (mStyle.json) return;
    if (counts.identical()) {
        mOut << "identical\n";
        return;
    }
    mOut << counts.onlyA << " only in A, " << counts.onlyB << " only in B, " << counts.changed
         << " changed\n";
}

// The differences of one group: only in A, only in B, then changed.
std::vector<Difference> compareGroup(const Group& group, bool ignoreNumbers, DiffCounts& counts) {
    std::vector<Difference> lists[3];
    for (const std::string& label : group.labels) {
        const Slot& slot = group.slots.at(label);
        const std::size_t count = std::max(slot.a.size(), slot.b.size());
        for (std::size_t i = 0; i < count; ++i) {
            const KeptItem* a = i < slot.a.size() ? slot.a[i] : nullptr;
            const KeptItem* b = i < slot.b.size() ? slot.b[i] : nullptr;
            TextDifference spans;
            if (a != nullptr && b != nullptr) {
                spans = compareTexts(a->text, b->text, ignoreNumbers);
                if (spans.equal) continue;
            }
            const Change change = a == nullptr   ? Change::kOnlyB
                                  : b == nullptr ? Change::kOnlyA
                                                 : Change::kChanged;
            lists[static_cast<int>(change)].push_back({change, &label, i + 1, a, b, spans});
        }
    }
    counts.onlyA += lists[0].size();
    counts.onlyB += lists[1].size();
    counts.changed += lists[2].size();
    for (int i = 1; i < 3; ++i) lists[0].insert(lists[0].end(), lists[i].begin(), lists[i].end());
    return lists[0];
}

}  // namespace

DiffCounts printDiff(const DiffSideView& a, const DiffSideView& b, const DiffStyle& style,
                     std::ostream& out) {
    Matcher matcher;
    matcher.add(*a.request, true);
    matcher.add(*b.request, false);
    DiffPrinter printer(style, out);
    printer.printSides(a, b);
    DiffCounts counts;
    for (const std::string* name : matcher.order()) {
        printer.printGroup(*name, compareGroup(matcher.group(*name), style.ignoreNumbers, counts));
    }
    printer.printTotals(counts);
    return counts;
}

}  // namespace scenariolog
