#include "reading/LogFileName.h"

#include <charconv>
#include <tuple>

#include "base/TextScan.h"

namespace scenariolog {
namespace {

constexpr std::string_view kExtension = ".txt";
constexpr std::string_view kTuningLog = "_TuningLog_";
constexpr std::string_view kTimeStampShape = "dddd_dddd_dddddd";
constexpr std::string_view kPreviewWord = "preview";
constexpr std::string_view kCaptureWord = "capture";
constexpr std::size_t kMinIndexDigits = 2;

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

bool hasTimeStampShape(std::string_view text) {
    if (text.size() != kTimeStampShape.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool wantDigit = kTimeStampShape[i] == 'd';
        if (wantDigit ? !isDigit(text[i]) : text[i] != '_') return false;
    }
    return true;
}

// The word after the tag: whole and followed by '_', or cut anywhere.
bool parseWord(std::string_view rest, LogFileName& name) {
    const std::size_t end = rest.find('_');
    const std::string_view word = rest.substr(0, end);
    if (end != std::string_view::npos && end + 1 != rest.size()) return false;
    if (word.empty()) {
        name.kind = SeriesKind::kUnknown;
    } else if (startsWith(kPreviewWord, word)) {
        name.kind = SeriesKind::kPreview;
    } else if (startsWith(kCaptureWord, word)) {
        name.kind = SeriesKind::kCapture;
    } else {
        return false;
    }
    name.prefixCut = end == std::string_view::npos;
    return true;
}

bool parsePrefix(std::string_view prefix, LogFileName& name) {
    const bool fullLength = prefix.size() == kMaxPrefixLength;
    std::string_view rest = prefix;
    const auto uniqueKey = takeInt(rest);
    if (!uniqueKey || !take(rest, "_")) return false;
    const auto requestNum = takeInt(rest);
    if (!requestNum || !take(rest, "_")) return false;
    name.uniqueKey = *uniqueKey;
    name.requestNum = *requestNum;
    name.tagNumber = takeInt(rest);
    if (rest.empty()) {
        // Cut inside or right after the tag: its digits may be incomplete.
        name.tagNumber.reset();
        name.kind = SeriesKind::kUnknown;
        name.prefixCut = true;
        return fullLength;
    }
    if (!name.tagNumber || !take(rest, "_")) return false;
    if (!parseWord(rest, name)) return false;
    return !name.prefixCut || fullLength;
}

// Takes the index digits off the end of `text`.
std::optional<int> takeIndex(std::string_view& text) {
    std::size_t digits = 0;
    while (digits < text.size() && isDigit(text[text.size() - 1 - digits])) ++digits;
    if (digits < kMinIndexDigits) return std::nullopt;
    const char* first = text.data() + text.size() - digits;
    int index = 0;
    const auto result = std::from_chars(first, text.data() + text.size(), index);
    if (result.ec != std::errc() || index < 1) return std::nullopt;
    text.remove_suffix(digits);
    return index;
}

}  // namespace

const char* seriesKindName(SeriesKind kind) {
    switch (kind) {
        case SeriesKind::kPreview:
            return "preview";
        case SeriesKind::kCapture:
            return "capture";
        case SeriesKind::kUnknown:
            break;
    }
    return "unknown";
}

bool LogFileNameLess::operator()(const LogFileName& a, const LogFileName& b) const {
    return std::tie(a.timeStamp, a.uniqueKey, a.requestNum, a.tagNumber, a.prefix, a.index) <
           std::tie(b.timeStamp, b.uniqueKey, b.requestNum, b.tagNumber, b.prefix, b.index);
}

std::optional<LogFileName> parseLogFileName(std::string_view text) {
    if (!endsWith(text, kExtension)) return std::nullopt;
    text.remove_suffix(kExtension.size());
    const auto index = takeIndex(text);
    if (!index || !endsWith(text, kTuningLog)) return std::nullopt;
    text.remove_suffix(kTuningLog.size());
    const std::size_t stampLength = kTimeStampShape.size();
    if (text.size() < stampLength + 2) return std::nullopt;
    const std::string_view stamp = text.substr(text.size() - stampLength);
    const std::string_view prefix = text.substr(0, text.size() - stampLength - 1);
    if (!hasTimeStampShape(stamp) || text[prefix.size()] != '_') return std::nullopt;

    LogFileName name;
    if (!parsePrefix(prefix, name)) return std::nullopt;
    name.prefix = std::string(prefix);
    name.timeStamp = std::string(stamp);
    name.index = *index;
    return name;
}

}  // namespace scenariolog
