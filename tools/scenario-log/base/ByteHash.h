// A fast, non-cryptographic hash of bytes, eight at a time, for tables of
// names and for counting distinct texts (equal bytes hash equal; short
// inputs cost one or two loads and a multiplication, without a call), and a
// compact set of such hashes.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace scenariolog {

inline std::uint64_t mixHash(std::uint64_t hash, std::uint64_t word) {
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;
    hash = (hash ^ word) * kMultiplier;
    return hash ^ (hash >> 29);
}

inline std::uint64_t loadWord(const char* data) {
    std::uint64_t word = 0;
    std::memcpy(&word, data, sizeof word);
    return word;
}

inline std::uint64_t loadHalfWord(const char* data) {
    std::uint32_t half = 0;
    std::memcpy(&half, data, sizeof half);
    return half;
}

inline std::uint64_t hashBytes(std::string_view bytes, std::uint64_t seed) {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    const char* data = bytes.data();
    std::size_t size = bytes.size();
    const std::uint64_t hash = mixHash(seed, size);
    if (size >= kWord) {
        // Two lanes of sixteen bytes a step, whose multiplications overlap.
        std::uint64_t even = hash;
        std::uint64_t odd = ~hash;
        for (; size > 2 * kWord; size -= 2 * kWord, data += 2 * kWord) {
            even = mixHash(even, loadWord(data));
            odd = mixHash(odd, loadWord(data + kWord));
        }
        if (size > kWord) even = mixHash(even, loadWord(data));
        // The last eight bytes, overlapping the words before when the size
        // is not a multiple of eight.
        odd = mixHash(odd, loadWord(data + size - kWord));
        return mixHash(even, odd);
    }
    if (size >= sizeof(std::uint32_t)) {
        return mixHash(hash, loadHalfWord(data) << 32 | loadHalfWord(data + size - 4));
    }
    if (size == 0) return hash;
    const auto byte = [data](std::size_t i) { return static_cast<unsigned char>(data[i]); };
    return mixHash(
        hash, std::uint64_t{byte(0)} << 16 | std::uint64_t{byte(size / 2)} << 8 | byte(size - 1));
}

// A set of 64-bit hashes in one array (open addressing, doubled when half
// full), without a node per entry.
class HashSet {
  public:
    // True when `hash` was not in the set yet.
    bool insert(std::uint64_t hash) {
        if (hash == 0) {
            const bool added = !mHasZero;
            mHasZero = true;
            mSize += added ? 1 : 0;
            return added;
        }
        if ((mSize + 1) * 2 > mSlots.size()) grow();
        const bool added = place(mSlots, hash);
        mSize += added ? 1 : 0;
        return added;
    }

    std::size_t size() const { return mSize; }

  private:
    static constexpr std::size_t kFirstSlots = 16;

    // Slots hold 0 where empty, so a hash of 0 is kept aside in mHasZero.
    static bool place(std::vector<std::uint64_t>& slots, std::uint64_t hash) {
        const std::size_t mask = slots.size() - 1;
        for (std::size_t slot = (hash ^ hash >> 32) & mask;; slot = (slot + 1) & mask) {
            if (slots[slot] == hash) return false;
            if (slots[slot] == 0) {
                slots[slot] = hash;
                return true;
            }
        }
    }

    void grow() {
        std::vector<std::uint64_t> slots(mSlots.empty() ? kFirstSlots : mSlots.size() * 2, 0);
        for (const std::uint64_t hash : mSlots) {
            if (hash != 0) place(slots, hash);
        }
        mSlots.swap(slots);
    }

    std::vector<std::uint64_t> mSlots;
    std::size_t mSize = 0;
    bool mHasZero = false;
};

}  // namespace scenariolog
