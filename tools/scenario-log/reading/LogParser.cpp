#include "reading/LogParser.h"

#include <cstdint>
#include <cstring>

#include "base/TextScan.h"

namespace scenariolog {
namespace {

// Pieces as arrays, so that takeLiteral() compares them with constant lengths.
constexpr char kUniqueKeyPiece[] = "[UKey: ";
constexpr char kRequestPiece[] = "][ReqNum: ";
constexpr char kSnippetStart[] = ", ";
constexpr char kSensorPiece[] = "[SensorId: ";
constexpr char kFramePiece[] = "[FrameNum: ";
constexpr char kMagicPiece[] = "[MagicNum: ";
constexpr char kModulePiece[] = "[ModuleName: ";
constexpr char kDecisionPiece[] = "[Decision: ";
constexpr char kResultPiece[] = "[Result: ";

constexpr const char* kNulByte = "contains a NUL byte";
constexpr const char* kBadNddText = "malformed NDD text in headline";
constexpr const char* kBadNumberPiece = "malformed sensor, frame or magic number piece";
constexpr const char* kNoForm = "neither a headline nor a record line";
constexpr const char* kBadRecord = "record line cut short or malformed";

// The position of the first ']' in `text`, or its size when there is none;
// eight bytes at a time, inline, as names are short.
std::size_t findClosingBracket(std::string_view text) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ull;
    constexpr std::uint64_t kHighBits = 0x8080808080808080ull;
    constexpr std::uint64_t kBrackets = kOnes * static_cast<unsigned char>(']');
    std::size_t pos = 0;
    for (; pos + sizeof(std::uint64_t) <= text.size(); pos += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + pos, sizeof word);
        const std::uint64_t other = word ^ kBrackets;  // zero bytes where ']' is
        // High bit set in the bytes at and after the first zero byte.
        const std::uint64_t found = (other - kOnes) & ~other & kHighBits;
        if (found == 0) continue;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return pos + static_cast<std::size_t>(__builtin_ctzll(found)) / 8;
#else
        break;
#endif
    }
    while (pos < text.size() && text[pos] != ']') ++pos;
    return pos;
}

// The length of the name before the next ']': 0 when the name is empty or
// there is no ']'.
std::size_t nameLength(std::string_view text) {
    const std::size_t end = findClosingBracket(text);
    return end == text.size() ? 0 : end;
}

// Reads an optional "[Key: %d]" piece into `value`. Returns the bytes it
// takes: 0 when the piece is absent, npos when it starts but is broken.
template <std::size_t N>
std::size_t readNumberPiece(std::string_view text, const char (&key)[N],
                            std::optional<int>& value) {
    std::string_view rest = text;
    if (!takeLiteral(rest, key)) return 0;
    value = takeInt(rest);
    if (!value || !take(rest, ']')) return std::string_view::npos;
    return text.size() - rest.size();
}

bool takeNddText(std::string_view& text, Headline& headline) {
    const auto uniqueKey = takeInt(text);
    if (!uniqueKey || !takeLiteral(text, kRequestPiece)) return false;
    const auto requestNum = takeInt(text);
    if (!requestNum || !take(text, ']')) return false;
    if (headline.nddCount == 0) {
        headline.uniqueKey = uniqueKey;
        headline.requestNum = requestNum;
    } else if (headline.requestNum != requestNum) {
        headline.requestsAgree = false;
    }
    ++headline.nddCount;
    return true;
}

bool parseHeadline(std::string_view text, ParsedLine& parsed) {
    parsed.headline = Headline();
    while (takeLiteral(text, kUniqueKeyPiece)) {
        if (!takeNddText(text, parsed.headline)) {
            parsed.reason = kBadNddText;
            return false;
        }
    }
    if (!text.empty() && !startsWithLiteral(text, kSnippetStart)) {
        parsed.reason = kBadNddText;
        return false;
    }
    parsed.headline.snippets = text;
    return true;
}

// The readers below take the rest of the line by value and say how many
// bytes they read, so that the rest stays in registers in parseRecord(): a
// view whose address escapes is stored and loaded around every call.

// Reads "<name>]" into `name`. Returns the bytes read, 0 when the name is
// empty or unclosed.
std::size_t readName(std::string_view text, std::string_view& name) {
    const std::size_t length = nameLength(text);
    if (length == 0) return 0;
    name = std::string_view(text.data(), length);
    return length + 1;
}

// Reads "[Decision: <name>]" or "[<stage>][Result: <name>]". Returns the bytes
// read, 0 when neither is there.
std::size_t readOutcome(std::string_view text, Record& record) {
    std::string_view rest = text;
    std::size_t taken = 0;
    if (takeLiteral(rest, kDecisionPiece)) {
        record.kind = RecordKind::kDecision;
        taken = readName(rest, record.decision);
    } else {
        record.kind = RecordKind::kExecution;
        if (!take(rest, '[')) return 0;
        taken = readName(rest, record.stage);
        if (taken == 0) return 0;
        rest.remove_prefix(taken);
        if (!takeLiteral(rest, kResultPiece)) return 0;
        taken = readName(rest, record.result);
    }
    return taken == 0 ? 0 : text.size() - rest.size() + taken;
}

// The number pieces at the start of `text`.
bool readNumbers(std::string_view& text, Record& record) {
    record.sensorId.reset();
    record.frameNum.reset();
    record.magicNum.reset();
    constexpr std::size_t kBroken = std::string_view::npos;
    std::size_t taken = readNumberPiece(text, kSensorPiece, record.sensorId);
    if (taken != kBroken) {
        text.remove_prefix(taken);
        taken = readNumberPiece(text, kFramePiece, record.frameNum);
    }
    if (taken != kBroken) {
        text.remove_prefix(taken);
        taken = readNumberPiece(text, kMagicPiece, record.magicNum);
    }
    if (taken == kBroken) return false;
    text.remove_prefix(taken);
    return true;
}

// Sets every field of the record one by one: clearing the whole ParsedLine
// at once would cost more than the parse.
bool parseRecord(std::string_view text, ParsedLine& parsed) {
    Record& record = parsed.record;
    record.decision = std::string_view();
    record.stage = std::string_view();
    record.result = std::string_view();
    record.keyText = std::string_view();
    if (!readNumbers(text, record)) {
        parsed.reason = kBadNumberPiece;
        return false;
    }
    if (!takeLiteral(text, kModulePiece)) {
        parsed.reason = kNoForm;
        return false;
    }
    const char* keyStart = text.data();
    std::size_t taken = readName(text, record.module);
    text.remove_prefix(taken);
    taken = taken == 0 ? 0 : readOutcome(text, record);
    text.remove_prefix(taken);
    if (taken == 0 || !take(text, ' ')) {
        parsed.reason = kBadRecord;
        return false;
    }
    // Ends before the "] " that closes the decision or result.
    record.keyText =
        std::string_view(keyStart, static_cast<std::size_t>(text.data() - 2 - keyStart));
    record.text = text;
    return true;
}

}  // namespace

void parseLineWithoutNul(std::string_view line, ParsedLine& parsed) {
    if (line.empty() || startsWithLiteral(line, kUniqueKeyPiece) ||
        startsWithLiteral(line, kSnippetStart)) {
        parsed.kind = parseHeadline(line, parsed) ? LineKind::kHeadline : LineKind::kUnparsable;
    } else {
        parsed.kind = parseRecord(line, parsed) ? LineKind::kRecord : LineKind::kUnparsable;
    }
}

ParsedLine parseLine(std::string_view line) {
    ParsedLine parsed;
    if (std::memchr(line.data(), '\0', line.size()) != nullptr) {
        parsed.reason = kNulByte;
        return parsed;
    }
    parseLineWithoutNul(line, parsed);
    return parsed;
}

const char* recordKindName(RecordKind kind) {
    return kind == RecordKind::kDecision ? "decision" : "execution";
}

}  // namespace scenariolog
