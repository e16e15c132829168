#include "base/Json.h"

#include <cstdio>

#include "base/Utf8.h"

namespace scenariolog {
namespace {

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

void appendJsonString(std::string& out, std::string_view text, bool invalidAsSurrogates) {
    out += '"';
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
}

std::string jsonString(std::string_view text, bool invalidAsSurrogates) {
    std::string out;
    out.reserve(text.size() + 2);
    appendJsonString(out, text, invalidAsSurrogates);
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
