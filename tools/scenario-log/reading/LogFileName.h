// Names of tuning log files: "<prefix>_<time stamp>_TuningLog_<index>.txt",
// and the order in which the reader takes them.
//
// The prefix is "<unique key>_<request>_<tag>_<word>_" with the numbers
// zero-padded ("%09d_%04d_%04d_"; a negative number keeps its minus sign inside
// the width) and the word "preview" or "capture". The writer keeps at most 29
// characters of it, so a long prefix loses its end: its trailing underscore,
// part of the word, or part of the tag number. The unique key and the request
// number always survive such a cut (together with their underscores they take
// at most 24 characters).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace scenariolog {

enum class SeriesKind { kPreview, kCapture, kUnknown };

// "preview", "capture" or "unknown".
const char* seriesKindName(SeriesKind kind);

// The longest prefix the writer keeps.
constexpr std::size_t kMaxPrefixLength = 29;

struct LogFileName {
    std::string prefix;                      // as it stands in the name, usually ending in '_'
    std::string timeStamp;                   // local time "YYYY_MMDD_HHMMSS"
    int index = 0;                           // 1 for the first file of a series
    SeriesKind kind = SeriesKind::kUnknown;  // kUnknown when the cut took the whole word
    int uniqueKey = 0;
    int requestNum = 0;
    std::optional<int> tagNumber;  // absent when the cut may have shortened it
    bool prefixCut = false;        // the prefix lost its end

    // Files with the same series key belong to one series.
    std::string seriesKey() const { return prefix + "_" + timeStamp; }
};

// The reader's order of files, the one order that every command and the page
// follow: by time stamp, then unique key, request number and tag number as
// numbers (a tag that the cut shortened before any whole one), then the prefix
// as written, then the index. The fields are numbers because their text sorts
// wrong: "%04d" widens past 9,999 ("10009" before "9959"), "%02d" past 99, and
// a minus sign sorts "-002" after "-001". The time stamp has a fixed shape, so
// its text sorts in time. Files of one series sort by index; the first file of
// each series puts the series in order.
struct LogFileNameLess {
    bool operator()(const LogFileName& a, const LogFileName& b) const;
};

// Splits a file name (without folder) into its parts; nullopt for any name
// this system does not produce.
std::optional<LogFileName> parseLogFileName(std::string_view name);

}  // namespace scenariolog
