#include "base/Utf8.h"

namespace scenariolog {

std::size_t utf8SequenceLength(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) secondMin = 0xA0;  // no overlong forms
        if (lead == 0xED) secondMax = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) secondMin = 0x90;
        if (lead == 0xF4) secondMax = 0x8F;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (text.size() < length || byte(1) < secondMin || byte(1) > secondMax) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    }
    return length;
}

bool isValidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (static_cast<unsigned char>(text[i]) < 0x80) {
            ++i;
            continue;
        }
        const std::size_t sequence = utf8SequenceLength(text.substr(i));
        if (sequence == 0) return false;
        i += sequence;
    }
    return true;
}

void appendAsUtf8(std::string& out, std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
            ++i;
            continue;
        }
        const std::size_t sequence = utf8SequenceLength(text.substr(i));
        if (sequence > 0) {
            out.append(text, i, sequence);
            i += sequence;
            continue;
        }
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
        ++i;
    }
}

}  // namespace scenariolog
