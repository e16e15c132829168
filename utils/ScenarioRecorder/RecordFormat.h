// Text of records, headline snippets and NDD headline items.
//
// Every function writes into a caller-owned area and never allocates, so the
// submit path formats on its caller's stack.
#pragma once

#include <stddef.h>

#include "IScenarioRecorder.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

constexpr size_t kRecordLineSize = 1024;    // a record line, NUL included
constexpr size_t kHeadlineItemSize = 1024;  // a headline item's text block

// Formats the decision line of `param` and `text` (up to its first NUL) into
// `line` and returns its stored length L: characters plus the NUL, at most
// kRecordLineSize; longer lines keep their first 1,023 characters.
size_t formatDecisionLine(const DecisionParam& param, const char* text,
                          char (&line)[kRecordLineSize]);
// The same for the execution line of `param` and `text`.
size_t formatExecutionLine(const ResultParam& param, const char* text,
                           char (&line)[kRecordLineSize]);
// Formats ", <text>" into a zeroed block; returns the untruncated length.
int formatHeadlineSnippet(const char* text, char (&block)[kHeadlineItemSize]);
// Formats "[UKey: %d][ReqNum: %d]" into a zeroed block; returns its length.
int formatNddText(int uniqueKey, int requestNum, char (&block)[kHeadlineItemSize]);

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
