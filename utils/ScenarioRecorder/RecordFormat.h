// Text of records, headline snippets and NDD headline items.
//
// The bytes and lengths are those of successive bounded snprintf calls (see
// SnprintfRecordFormat.h), produced without the printf family: fixed texts
// are copied, numbers converted with std::to_chars, names copied with the
// lengths the name tables keep, and the record text copied up to its first
// NUL. Every piece is counted at its untruncated length; once the 1,023
// characters of a line are used up, later pieces are only counted.
//
// Every function writes into a caller-owned area and never allocates, so the
// submit path formats on its caller's stack.
#pragma once

#include <stddef.h>

#include <string>

#include "IScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

constexpr size_t kRecordLineSize = 1024;    // a record line, NUL included
constexpr size_t kHeadlineItemSize = 1024;  // a headline item's text block

// A record text as a line sees it: the characters before its first NUL.
struct RecordText {
    const char* chars;
    size_t length;
};

// The C-string view of `text`: up to its first NUL, or all of it.
RecordText toRecordText(const std::string& text);

// Formats the decision line of `param` and `text` into `line` and returns its
// stored length L: characters plus the NUL, at most kRecordLineSize; longer
// lines keep their first 1,023 characters. Only the first L bytes of `line`
// are written.
size_t formatDecisionLine(const DecisionParam& param, RecordText text,
                          char (&line)[kRecordLineSize]);
// The same for the execution line of `param` and `text`.
size_t formatExecutionLine(const ResultParam& param, RecordText text,
                           char (&line)[kRecordLineSize]);
// Formats ", <text>" into a zeroed block, cut to 1,023 characters, and returns
// its untruncated length. The recorder queues only texts of at most 1,023
// characters, whose length fits an int.
int formatHeadlineSnippet(RecordText text, char (&block)[kHeadlineItemSize]);
// Formats "[UKey: %d][ReqNum: %d]" into a zeroed block; returns its length
// (at most 40, so it is never cut).
int formatNddText(int uniqueKey, int requestNum, char (&block)[kHeadlineItemSize]);

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
