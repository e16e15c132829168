// Reading pieces off the front of a text, for the parsers of file names and
// lines. Each take* function consumes what it returns and leaves `text` as it
// was when the piece is not there. They are inline and compare with lengths
// known where they are called, so the line parser's pieces cost a few loads
// each, not a library call.
#pragma once

#include <climits>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace scenariolog {

// The decimal digits '0' to '9', as std::isdigit takes them in every locale.
inline bool isDigit(char c) {
    return static_cast<unsigned char>(c - '0') < 10;
}

inline bool startsWith(std::string_view text, std::string_view head) {
    return text.size() >= head.size() && std::memcmp(text.data(), head.data(), head.size()) == 0;
}

inline bool take(std::string_view& text, std::string_view head) {
    if (!startsWith(text, head)) return false;
    text.remove_prefix(head.size());
    return true;
}

// Equal to the N bytes at `head`; 8 to 16 bytes are compared in two
// overlapping loads, so that no call to memcmp is left.
template <std::size_t N>
bool sameBytes(const char* data, const char* head) {
    if constexpr (N >= 8 && N <= 16) {
        std::uint64_t a[2] = {};
        std::uint64_t b[2] = {};
        std::memcpy(&a[0], data, 8);
        std::memcpy(&a[1], data + N - 8, 8);
        std::memcpy(&b[0], head, 8);
        std::memcpy(&b[1], head + N - 8, 8);
        return ((a[0] ^ b[0]) | (a[1] ^ b[1])) == 0;
    } else {
        return std::memcmp(data, head, N) == 0;
    }
}

// Equal to the `size` bytes at `other`, compared eight at a time.
inline bool sameBytes(const char* data, const char* other, std::size_t size) {
    if (size < 8) return std::memcmp(data, other, size) == 0;
    std::uint64_t differ = 0;
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    for (std::size_t i = 0; i + 8 < size; i += 8) {
        std::memcpy(&a, data + i, 8);
        std::memcpy(&b, other + i, 8);
        differ |= a ^ b;
    }
    // The last eight bytes, overlapping the words before.
    std::memcpy(&a, data + size - 8, 8);
    std::memcpy(&b, other + size - 8, 8);
    return (differ | (a ^ b)) == 0;
}

// For a string literal or a constant char array: its length is a constant
// where the template is instantiated.
template <std::size_t N>
bool startsWithLiteral(std::string_view text, const char (&head)[N]) {
    return text.size() >= N - 1 && sameBytes<N - 1>(text.data(), head);
}

template <std::size_t N>
bool takeLiteral(std::string_view& text, const char (&head)[N]) {
    if (!startsWithLiteral(text, head)) return false;
    text.remove_prefix(N - 1);
    return true;
}

inline bool take(std::string_view& text, char head) {
    if (text.empty() || text.front() != head) return false;
    text.remove_prefix(1);
    return true;
}

// Takes "%d": an optional minus and at least one digit (leading zeros
// allowed), within int's range.
inline std::optional<int> takeInt(std::string_view& text) {
    const bool negative = !text.empty() && text[0] == '-';
    const std::size_t digitsStart = negative ? 1 : 0;
    const std::uint64_t limit = std::uint64_t{INT_MAX} + (negative ? 1 : 0);
    std::uint64_t magnitude = 0;
    std::size_t length = digitsStart;
    for (; length < text.size() && isDigit(text[length]); ++length) {
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(text[length] - '0');
        if (magnitude > limit) return std::nullopt;
    }
    if (length == digitsStart) return std::nullopt;
    text.remove_prefix(length);
    const auto value = static_cast<std::int64_t>(magnitude);
    return static_cast<int>(negative ? -value : value);
}

}  // namespace scenariolog
