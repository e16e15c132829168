// The successive-snprintf construction of record lines, headline snippets and
// NDD texts: each piece is formatted with the room left as its size limit, and
// the room and the write position move by the count the formatter returns.
//
// This is the definition of the bytes the recorder stores. It is not part of
// the shipped library: the recorder formats with RecordFormat.h, and the
// differential test, the fuzz target and the benchmarks hold that formatter
// to exactly these bytes and lengths.
#pragma once

#include <stddef.h>

#include "IScenarioRecorder.h"
#include "RecordFormat.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace reference {

// Clears `line`, formats the decision line of `param` and the C string `text`
// into it, and returns the stored length L: T + 1 for a total T below 1,024,
// else 1,024 with the line cut after 1,023 characters.
size_t snprintfDecisionLine(const DecisionParam& param, const char* text,
                            char (&line)[kRecordLineSize]);
// The same for the execution line.
size_t snprintfExecutionLine(const ResultParam& param, const char* text,
                             char (&line)[kRecordLineSize]);

}  // namespace reference
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
