// The lines of a tuning log file.
//
// The recorder writes each buffer as one block: a headline line, then one line
// per record. Headline and record lines never look alike:
//  - a headline is empty, or starts with an NDD text "[UKey: %d][ReqNum: %d]"
//    (several of them, the most recent first), or with a snippet ", <text>";
//    every NDD text comes before the first snippet;
//  - a record line starts with the optional pieces "[SensorId: %d]",
//    "[FrameNum: %d]", "[MagicNum: %d]" in this order, then
//    "[ModuleName: %s]" and either "[Decision: %s]" (a decision record) or
//    "[<stage>][Result: %s]" (an execution record), then a space and the text.
// Every file of a series after the first starts with "-- CONTINUED --".
#pragma once

#include <optional>
#include <string_view>

namespace scenariolog {

constexpr std::string_view kContinuedLine = "-- CONTINUED --";

struct Headline {
    int nddCount = 0;
    std::optional<int> uniqueKey;   // of the first (most recent) NDD text
    std::optional<int> requestNum;  // of the first (most recent) NDD text
    bool requestsAgree = true;      // every NDD text names the same request
    std::string_view snippets;      // what follows the NDD texts: "" or ", <text>..."
};

enum class RecordKind { kDecision, kExecution };

struct Record {
    RecordKind kind = RecordKind::kDecision;
    std::optional<int> sensorId;
    std::optional<int> frameNum;
    std::optional<int> magicNum;
    std::string_view module;
    std::string_view decision;  // decision records only
    std::string_view stage;     // execution records only
    std::string_view result;    // execution records only
    std::string_view text;      // may be empty
    // The names as written, from the module to the end of the decision or
    // result ("P1_NODE][Decision: TOP_CONTROL"): records have equal keys
    // (RecordKeyView) exactly when their key texts are equal.
    std::string_view keyText;
};

enum class LineKind { kHeadline, kRecord, kUnparsable };

// A classified line; its views point into the line it was parsed from.
struct ParsedLine {
    LineKind kind = LineKind::kUnparsable;
    Headline headline;
    Record record;
    const char* reason = "";  // why the line is unparsable
};

ParsedLine parseLine(std::string_view line);

// As parseLine(), into `parsed`, for a line known to hold no NUL byte (see
// Line::nulFree). Sets `parsed.kind` and what it uses (the headline, the
// record or the reason) and leaves the rest as it was, so that one ParsedLine
// serves line after line without being cleared.
void parseLineWithoutNul(std::string_view line, ParsedLine& parsed);

const char* recordKindName(RecordKind kind);  // "decision" or "execution"

}  // namespace scenariolog
