#include "base/Json.h"

#include <cstdio>

namespace scenariolog {
namespace {

// Length of the valid UTF-8 sequence at the start of `text`, 0 if none.
std::size_t utf8SequenceLength(std::string_view text) {
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

void appendEscaped(std::string& out, unsigned char c, bool invalidAsSurrogates) {
    switch (c) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    const unsigned point = c >= 0x80 && invalidAsSurrogates ? 0xDC00u + c : c;
    char code[8];
    (void)std::snprintf(code, sizeof(code), "\\u%04x", point);  // always fits
    out += code;
}

}  // namespace

std::string jsonString(std::string_view text, bool invalidAsSurrogates) {
    std::string out = "\"";
    out.reserve(text.size() + 2);
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
            out += static_cast<char>(c);
            ++i;
            continue;
        }
        const std::size_t sequence = c >= 0x80 ? utf8SequenceLength(text.substr(i)) : 0;
        if (sequence > 0) {
            out.append(text, i, sequence);
            i += sequence;
        } else {
            appendEscaped(out, c, invalidAsSurrogates);
            ++i;
        }
    }
    out += '"';
    return out;
}

void JsonObject::key(std::string_view name) {
    if (mText.size() > 1) mText += ',';
    mText += jsonString(name);
    mText += ':';
}

JsonObject& JsonObject::add(std::string_view name, std::string_view value) {
    key(name);
    mText += jsonString(value);
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, std::int64_t value) {
    key(name);
    mText += std::to_string(value);
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, std::uint64_t value) {
    key(name);
    mText += std::to_string(value);
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, bool value) {
    key(name);
    mText += value ? "true" : "false";
    return *this;
}

JsonObject& JsonObject::addRaw(std::string_view name, std::string_view json) {
    key(name);
    mText += json;
    return *this;
}

}  // namespace scenariolog
