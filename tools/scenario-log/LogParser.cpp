#include "LogParser.h"

#include "TextScan.h"

namespace scenariolog {
namespace {

constexpr std::string_view kUniqueKeyPiece = "[UKey: ";
constexpr std::string_view kRequestPiece = "][ReqNum: ";
constexpr std::string_view kSnippetStart = ", ";
constexpr std::string_view kSensorPiece = "[SensorId: ";
constexpr std::string_view kFramePiece = "[FrameNum: ";
constexpr std::string_view kMagicPiece = "[MagicNum: ";
constexpr std::string_view kModulePiece = "[ModuleName: ";
constexpr std::string_view kDecisionPiece = "[Decision: ";
constexpr std::string_view kResultPiece = "[Result: ";

constexpr const char* kNulByte = "contains a NUL byte";
constexpr const char* kBadNddText = "malformed NDD text in headline";
constexpr const char* kBadNumberPiece = "malformed sensor, frame or magic number piece";
constexpr const char* kNoForm = "neither a headline nor a record line";
constexpr const char* kBadRecord = "record line cut short or malformed";

// Takes "<name>]" and returns the name, which may not be empty.
std::optional<std::string_view> takeName(std::string_view& text) {
    const std::size_t end = text.find(']');
    if (end == 0 || end == std::string_view::npos) return std::nullopt;
    const std::string_view name = text.substr(0, end);
    text.remove_prefix(end + 1);
    return name;
}

// One optional "[Key: %d]" piece. False when the piece starts but is broken.
bool takeNumberPiece(std::string_view& text, std::string_view key, std::optional<int>& value) {
    if (!take(text, key)) return true;
    value = takeInt(text);
    return value.has_value() && take(text, "]");
}

bool takeNddText(std::string_view& text, Headline& headline) {
    const auto uniqueKey = takeInt(text);
    if (!uniqueKey || !take(text, kRequestPiece)) return false;
    const auto requestNum = takeInt(text);
    if (!requestNum || !take(text, "]")) return false;
    if (headline.nddCount == 0) {
        headline.uniqueKey = uniqueKey;
        headline.requestNum = requestNum;
    } else if (headline.requestNum != requestNum) {
        headline.requestsAgree = false;
    }
    ++headline.nddCount;
    return true;
}

ParsedLine parseHeadline(std::string_view text) {
    ParsedLine parsed;
    while (take(text, kUniqueKeyPiece)) {
        if (!takeNddText(text, parsed.headline)) {
            parsed.reason = kBadNddText;
            return parsed;
        }
    }
    if (!text.empty() && !startsWith(text, kSnippetStart)) {
        parsed.reason = kBadNddText;
        return parsed;
    }
    parsed.kind = LineKind::kHeadline;
    parsed.headline.snippets = text;
    return parsed;
}

bool takeOutcome(std::string_view& text, Record& record) {
    if (take(text, kDecisionPiece)) {
        record.kind = RecordKind::kDecision;
        const auto decision = takeName(text);
        record.decision = decision.value_or(std::string_view());
        return decision.has_value();
    }
    record.kind = RecordKind::kExecution;
    if (!take(text, "[")) return false;
    const auto stage = takeName(text);
    if (!stage || !take(text, kResultPiece)) return false;
    const auto result = takeName(text);
    if (!result) return false;
    record.stage = *stage;
    record.result = *result;
    return true;
}

ParsedLine parseRecord(std::string_view text) {
    ParsedLine parsed;
    Record& record = parsed.record;
    if (!takeNumberPiece(text, kSensorPiece, record.sensorId) ||
        !takeNumberPiece(text, kFramePiece, record.frameNum) ||
        !takeNumberPiece(text, kMagicPiece, record.magicNum)) {
        parsed.reason = kBadNumberPiece;
        return parsed;
    }
    if (!take(text, kModulePiece)) {
        parsed.reason = kNoForm;
        return parsed;
    }
    const auto module = takeName(text);
    if (!module || !takeOutcome(text, record) || !take(text, " ")) {
        parsed.reason = kBadRecord;
        return parsed;
    }
    record.module = *module;
    record.text = text;
    parsed.kind = LineKind::kRecord;
    return parsed;
}

}  // namespace

ParsedLine parseLine(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        ParsedLine parsed;
        parsed.reason = kNulByte;
        return parsed;
    }
    if (line.empty() || startsWith(line, kUniqueKeyPiece) || startsWith(line, kSnippetStart)) {
        return parseHeadline(line);
    }
    return parseRecord(line);
}

const char* recordKindName(RecordKind kind) {
    return kind == RecordKind::kDecision ? "decision" : "execution";
}

}  // namespace scenariolog
