#include "tables/TextCompare.h"

#include "base/ByteHash.h"
#include "base/TextScan.h"

namespace scenariolog {
namespace {

// A text seen as tokens: single bytes, or whole runs of digits.
class Tokens {
  public:
    Tokens(std::string_view text, bool ignoreNumbers)
        : mText(text), mIgnoreNumbers(ignoreNumbers) {}

    std::size_t size() const { return mText.size(); }
    bool isNumber(std::size_t pos) const { return mIgnoreNumbers && isDigit(mText[pos]); }

    std::size_t endOfTokenAt(std::size_t pos) const {
        if (!isNumber(pos)) return pos + 1;
        while (pos < mText.size() && isDigit(mText[pos])) ++pos;
        return pos;
    }

    // The start of the token that ends at `end`, never before `floor`.
    std::size_t startOfTokenBefore(std::size_t end, std::size_t floor) const {
        if (!isNumber(end - 1)) return end - 1;
        while (end > floor && isDigit(mText[end - 1])) --end;
        return end;
    }

    bool sameToken(std::size_t pos, const Tokens& other, std::size_t otherPos) const {
        if (isNumber(pos) || other.isNumber(otherPos)) {
            return isNumber(pos) && other.isNumber(otherPos);
        }
        return mText[pos] == other.mText[otherPos];
    }

  private:
    std::string_view mText;
    bool mIgnoreNumbers;
};

}  // namespace

TextDifference compareTexts(std::string_view a, std::string_view b, bool ignoreNumbers) {
    const Tokens left(a, ignoreNumbers);
    const Tokens right(b, ignoreNumbers);
    std::size_t headA = 0;
    std::size_t headB = 0;
    while (headA < a.size() && headB < b.size() && left.sameToken(headA, right, headB)) {
        headA = left.endOfTokenAt(headA);
        headB = right.endOfTokenAt(headB);
    }
    std::size_t tailA = a.size();
    std::size_t tailB = b.size();
    while (tailA > headA && tailB > headB) {
        const std::size_t startA = left.startOfTokenBefore(tailA, headA);
        const std::size_t startB = right.startOfTokenBefore(tailB, headB);
        if (!left.sameToken(startA, right, startB)) break;
        tailA = startA;
        tailB = startB;
    }
    TextDifference difference;
    difference.equal = headA == a.size() && headB == b.size();
    difference.a = {headA, tailA};
    difference.b = {headB, tailB};
    return difference;
}

std::uint64_t textHash(std::string_view text, bool ignoreNumbers) {
    constexpr std::uint64_t kSeed = 0x7E47C0DE;
    if (!ignoreNumbers) return hashBytes(text, kSeed);
    // The text with every run of digits as one '0', eight bytes at a time.
    std::uint64_t hash = kSeed;
    std::uint64_t word = 0;
    std::size_t inWord = 0;
    std::size_t size = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (isDigit(c)) {
            while (i + 1 < text.size() && isDigit(text[i + 1])) ++i;
            c = '0';
        }
        word = word << 8 | static_cast<unsigned char>(c);
        ++size;
        if (++inWord == sizeof word) {
            hash = mixHash(hash, word);
            word = 0;
            inWord = 0;
        }
    }
    return mixHash(mixHash(hash, word), size);
}

}  // namespace scenariolog
