#include "base/PrefilteredRegex.h"

#include <re2/filtered_re2.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace scenariolog {
namespace {

RE2::Options quietOptions() {
    RE2::Options options;
    options.set_log_errors(false);
    return options;
}

unsigned char lowerAscii(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

unsigned char upperAscii(unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

// Eight bytes at a time: a text is mostly ASCII, and each word costs a load.
bool hasNonAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080ull;
    std::size_t at = 0;
    for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, sizeof word);
        if ((word & kHighBits) != 0) return true;
    }
    for (; at < text.size(); ++at) {
        if (static_cast<unsigned char>(text[at]) >= 0x80) return true;
    }
    return false;
}

const char* findByte(std::string_view text, std::size_t from, unsigned char byte) {
    if (from >= text.size()) return nullptr;
    return static_cast<const char*>(std::memchr(text.data() + from, byte, text.size() - from));
}

// The literals that RE2's prefilter finds in `pattern`, when they make a
// necessary condition: the prefilter is a tree of ANDs and ORs over them, so
// a text holding none of them makes it false, unless the pattern passes it
// with no literal at all (AllPotentials of none). RE2 lowercases the
// literals; a non-ASCII one would need Unicode case folding to be compared,
// so such a pattern is not filtered. (An ASCII letter can also match a
// non-ASCII one under (?i), K and the Kelvin sign: mayMatch() lets every
// text with a non-ASCII byte through.)
std::vector<std::string> requiredLiterals(std::string_view pattern) {
    re2::FilteredRE2 filter;
    int id = 0;
    if (filter.Add(re2::StringPiece(pattern.data(), pattern.size()), quietOptions(), &id) !=
        RE2::NoError) {
        return {};
    }
    std::vector<std::string> literals;
    filter.Compile(&literals);
    std::vector<int> passedWithNone;
    filter.AllPotentials({}, &passedWithNone);
    const bool usable = !literals.empty() && passedWithNone.empty() &&
                        std::all_of(literals.begin(), literals.end(), [](const std::string& l) {
                            return !l.empty() && !hasNonAscii(l);
                        });
    return usable ? literals : std::vector<std::string>{};
}

// The position in `literal` of the byte that a record text is least likely
// to hold, where a search for the literal looks first: punctuation other
// than a space, then letters from the rarest in English text, then digits,
// then a space.
std::size_t rarestByte(const std::string& literal) {
    static constexpr std::string_view kCommonLast = "qzxjkvbywgpfmucldhrsnioate0123456789 ";
    std::size_t best = 0;
    std::size_t bestRank = 0;
    for (std::size_t i = 0; i < literal.size(); ++i) {
        const std::size_t found = kCommonLast.find(literal[i]);
        const std::size_t rank = found == std::string_view::npos ? 0 : found + 1;
        if (i == 0 || rank < bestRank) {
            best = i;
            bestRank = rank;
        }
    }
    return best;
}

bool startsWithFolded(std::string_view text, std::size_t at, const std::string& literal) {
    if (text.size() - at < literal.size()) return false;
    for (std::size_t i = 0; i < literal.size(); ++i) {
        if (lowerAscii(static_cast<unsigned char>(text[at + i])) !=
            static_cast<unsigned char>(literal[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

PrefilteredRegex::PrefilteredRegex(std::string_view pattern)
    : mRegex(re2::StringPiece(pattern.data(), pattern.size()), quietOptions()) {
    if (!mRegex.ok()) return;
    for (std::string& bytes : requiredLiterals(pattern)) {
        const std::size_t at = rarestByte(bytes);
        const auto byte = static_cast<unsigned char>(bytes[at]);
        auto anchor = std::find_if(mAnchors.begin(), mAnchors.end(),
                                   [byte](const AnchorByte& a) { return a.byte == byte; });
        if (anchor == mAnchors.end()) anchor = mAnchors.insert(mAnchors.end(), {byte, {}});
        anchor->literals.push_back({std::move(bytes), at});
    }
}

bool PrefilteredRegex::holdsAround(std::string_view text, const AnchorByte& anchor,
                                   unsigned char byte) {
    for (const char* at = findByte(text, 0, byte); at != nullptr;
         at = findByte(text, static_cast<std::size_t>(at - text.data()) + 1, byte)) {
        const auto found = static_cast<std::size_t>(at - text.data());
        for (const Literal& literal : anchor.literals) {
            if (found >= literal.anchor &&
                startsWithFolded(text, found - literal.anchor, literal.bytes)) {
                return true;
            }
        }
    }
    return false;
}

bool PrefilteredRegex::mayMatch(std::string_view text) const {
    if (mAnchors.empty() || hasNonAscii(text)) return true;
    return std::any_of(mAnchors.begin(), mAnchors.end(), [text](const AnchorByte& anchor) {
        const unsigned char upper = upperAscii(anchor.byte);
        return holdsAround(text, anchor, anchor.byte) ||
               (upper != anchor.byte && holdsAround(text, anchor, upper));
    });
}

bool PrefilteredRegex::matches(std::string_view text) const {
    return mayMatch(text) && RE2::PartialMatch(re2::StringPiece(text.data(), text.size()), mRegex);
}

}  // namespace scenariolog
