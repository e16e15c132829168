// Reading pieces off the front of a text, for the parsers of file names and
// lines. Each take* function consumes what it returns and leaves `text` as it
// was when the piece is not there.
#pragma once

#include <cctype>
#include <charconv>
#include <optional>
#include <string_view>

namespace scenariolog {

inline bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

inline bool startsWith(std::string_view text, std::string_view head) {
    return text.substr(0, head.size()) == head;
}

inline bool take(std::string_view& text, std::string_view head) {
    if (!startsWith(text, head)) return false;
    text.remove_prefix(head.size());
    return true;
}

// Takes "%d": an optional minus and at least one digit, within int's range.
inline std::optional<int> takeInt(std::string_view& text) {
    std::size_t length = (!text.empty() && text[0] == '-') ? 1 : 0;
    const std::size_t digitsStart = length;
    while (length < text.size() && isDigit(text[length])) ++length;
    if (length == digitsStart) return std::nullopt;
    int value = 0;
    if (std::from_chars(text.data(), text.data() + length, value).ec != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(length);
    return value;
}

}  // namespace scenariolog
