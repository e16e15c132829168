// An RE2 pattern with the literals that every match of it contains (RE2's
// prefilter atoms): a text that holds none of them cannot match, and is
// answered by a scan for those literals instead of a run of the regular
// expression. Most record texts miss a question's literal (" us", "face AE
// on"), and the scan costs a fraction of the match.
#pragma once

#include <re2/re2.h>

#include <string>
#include <string_view>
#include <vector>

namespace scenariolog {

class PrefilteredRegex {
  public:
    // Check ok() before use; error() says what is wrong with the pattern.
    explicit PrefilteredRegex(std::string_view pattern);

    bool ok() const { return mRegex.ok(); }
    const std::string& error() const { return mRegex.error(); }
    const std::string& pattern() const { return mRegex.pattern(); }
    const RE2& regex() const { return mRegex; }

    // False only when `text` cannot match: it holds none of the literals
    // (and is ASCII).
    bool mayMatch(std::string_view text) const;
    // RE2's unanchored match of the whole pattern somewhere in `text`.
    bool matches(std::string_view text) const;

  private:
    struct Literal {
        std::string bytes;   // lowercase ASCII
        std::size_t anchor;  // where a search looks first: its rarest byte
    };
    // The literals by the byte of their anchor, so that one search for a
    // byte serves all the literals that share it ("faces 1" .. "faces 9").
    struct AnchorByte {
        unsigned char byte;
        std::vector<Literal> literals;
    };

    // Whether one of `anchor`'s literals lies around a `byte` of `text`.
    static bool holdsAround(std::string_view text, const AnchorByte& anchor, unsigned char byte);

    RE2 mRegex;
    // One of their literals is in every text that matches (in any case);
    // none when the pattern has no such literals, and then every text may
    // match.
    std::vector<AnchorByte> mAnchors;
};

}  // namespace scenariolog
