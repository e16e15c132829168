// A fast, non-cryptographic hash of bytes, eight at a time, for tables of
// names and for counting distinct texts; equal bytes hash equal. Short inputs
// (names) cost one or two loads and a multiplication, without a call.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

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
    const char* data = bytes.data();
    std::size_t size = bytes.size();
    const std::uint64_t hash = mixHash(seed, size);
    if (size >= sizeof(std::uint64_t)) {
        std::uint64_t words = hash;
        for (; size > sizeof(std::uint64_t); size -= sizeof(std::uint64_t)) {
            words = mixHash(words, loadWord(data));
            data += sizeof(std::uint64_t);
        }
        // The last eight bytes, overlapping the words before when the size
        // is not a multiple of eight.
        return mixHash(words, loadWord(data + size - sizeof(std::uint64_t)));
    }
    if (size >= sizeof(std::uint32_t)) {
        return mixHash(hash, loadHalfWord(data) << 32 | loadHalfWord(data + size - 4));
    }
    if (size == 0) return hash;
    const auto byte = [data](std::size_t i) { return static_cast<unsigned char>(data[i]); };
    return mixHash(hash, std::uint64_t{byte(0)} << 16 | std::uint64_t{byte(size / 2)} << 8 |
                             byte(size - 1));
}

}  // namespace scenariolog
