// One JSON object per output line.
//
// Strings are escaped for JSON: quote, backslash and every control character;
// bytes that are not valid UTF-8 (log texts are raw bytes) are written as
// "\u00XX", the code point of the same value, so every line stays valid JSON;
// with `invalidAsSurrogates` as "\uDCXX" instead, a lone surrogate that no
// valid UTF-8 decodes to, so that a reader can tell the byte from a letter.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace scenariolog {

std::string jsonString(std::string_view text, bool invalidAsSurrogates = false);
// The same, appended to `out` (no string of its own: for writers of many rows).
void appendJsonString(std::string& out, std::string_view text, bool invalidAsSurrogates = false);

class JsonObject {
  public:
    JsonObject& add(std::string_view key, std::string_view value);
    JsonObject& add(std::string_view key, const char* value) {
        return add(key, std::string_view(value));
    }
    JsonObject& add(std::string_view key, std::int64_t value);
    JsonObject& add(std::string_view key, std::uint64_t value);
    JsonObject& add(std::string_view key, int value) {
        return add(key, static_cast<std::int64_t>(value));
    }
    // null when absent
    template <typename T>
    JsonObject& add(std::string_view key, const std::optional<T>& value) {
        return value ? add(key, *value) : addRaw(key, "null");
    }
    JsonObject& add(std::string_view key, bool value);
    // `json` must already be valid JSON (an array or a nested object).
    JsonObject& addRaw(std::string_view key, std::string_view json);

    // The finished object, "{...}".
    std::string str() const { return mText + "}"; }

  private:
    void key(std::string_view name);

    std::string mText = "{";
};

}  // namespace scenariolog
