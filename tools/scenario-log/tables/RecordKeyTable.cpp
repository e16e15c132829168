#include "tables/RecordKeyTable.h"

#include "base/ByteHash.h"
#include "base/TextScan.h"

namespace scenariolog {
namespace {

constexpr std::size_t kFirstSlots = 64;
constexpr std::uint64_t kSeed = 0x5CE7A210;

}  // namespace

RecordKeyTable::RecordKeyTable() : mSlots(kFirstSlots) {}

bool RecordKeyTable::isKey(std::size_t id, std::string_view text) const {
    const std::string& known = mKeyTexts[id];
    return known.size() == text.size() && sameBytes(known.data(), text.data(), text.size());
}

std::size_t RecordKeyTable::idOf(const Record& record) {
    const std::size_t guess = mLast == 0 ? 0 : mFollower[mLast - 1];
    if (guess != 0 && isKey(guess - 1, record.keyText)) {
        mLast = guess;
        return guess - 1;
    }
    const std::size_t id = find(record);
    if (mLast != 0) mFollower[mLast - 1] = id + 1;
    mLast = id + 1;
    return id;
}

std::size_t RecordKeyTable::find(const Record& record) {
    const std::string_view text = record.keyText;
    const std::uint64_t hash = hashBytes(text, kSeed);
    const std::size_t mask = mSlots.size() - 1;
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        const Slot& probe = mSlots[slot];
        if (probe.id == 0) return add(record, hash, slot);
        if (probe.hash == hash && isKey(probe.id - 1, text)) return probe.id - 1;
    }
}

std::size_t RecordKeyTable::add(const Record& record, std::uint64_t hash, std::size_t slot) {
    mKeys.emplace_back(RecordKeyView::of(record));
    mKeyTexts.emplace_back(record.keyText);
    mFollower.push_back(0);
    mSlots[slot] = {hash, static_cast<std::uint32_t>(mKeys.size())};
    if (mKeys.size() * 2 > mSlots.size()) grow();
    return mKeys.size() - 1;
}

void RecordKeyTable::grow() {
    std::vector<Slot> slots(mSlots.size() * 2);
    const std::size_t mask = slots.size() - 1;
    for (const Slot& taken : mSlots) {
        if (taken.id == 0) continue;
        std::size_t slot = taken.hash & mask;
        while (slots[slot].id != 0) slot = (slot + 1) & mask;
        slots[slot] = taken;
    }
    mSlots = std::move(slots);
}

}  // namespace scenariolog
