// How `report` puts data into its page: JSON that stays inside its <script>
// element whatever the texts hold, and large data deflated and base64-encoded.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace scenariolog {

// `json` with "<", ">" and "&" written as \u003c, \u003e and \u0026, and the
// line separators U+2028 and U+2029 as \u2028 and \u2029. Those bytes occur in
// JSON only inside strings, where the escape means the same character; no text
// can then close the script element or open a comment in it.
std::string scriptSafeJson(std::string_view json);

// Writes `data` compressed (zlib's deflate format, which a browser's
// DecompressionStream("deflate") reads) as base64 to `out`, in pieces, without
// a copy of the whole. False if zlib fails.
bool writeDeflatedBase64(std::string_view data, std::ostream& out);

// Base64 of 16 random bytes: the page's script nonce.
std::string randomNonce();

}  // namespace scenariolog
