// Texts of the logs as UTF-8. The logs are raw bytes, mostly ASCII; where a
// text must be valid UTF-8 (JSON, and the exports that engines read), a byte
// that is not part of a valid sequence is carried as the character of the
// same number, U+0080 to U+00FF, as Latin-1 reads that byte.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace scenariolog {

// Length of the valid UTF-8 sequence of two to four bytes at the start of
// `text`, 0 when there is none (ASCII, an overlong form, a surrogate, a cut
// sequence).
std::size_t utf8SequenceLength(std::string_view text);

// Appends `text` to `out` as valid UTF-8: ASCII and valid sequences as they
// are, any other byte as the two-byte UTF-8 of its Latin-1 character.
void appendAsUtf8(std::string& out, std::string_view text);

// True when `text` is valid UTF-8 as it is.
bool isValidUtf8(std::string_view text);

}  // namespace scenariolog
