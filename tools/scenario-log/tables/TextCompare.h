// Comparing record texts, optionally with every run of digits taken as equal
// to every other (15762 us and 15801 us then read alike), so that only
// changes of state remain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace scenariolog {

// Byte offsets [begin, end) into a text; empty where the other text has more.
struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// Where two texts differ: between their longest common start and end.
struct TextDifference {
    bool equal = false;
    Span a;
    Span b;
};

TextDifference compareTexts(std::string_view a, std::string_view b, bool ignoreNumbers);

inline bool sameText(std::string_view a, std::string_view b, bool ignoreNumbers) {
    return ignoreNumbers ? compareTexts(a, b, true).equal : a == b;
}

// Equal for texts that sameText() takes as equal.
std::uint64_t textHash(std::string_view text, bool ignoreNumbers);

}  // namespace scenariolog
