// How `diff` and `compare` print two texts that differ, and the headings of
// their groups: on a terminal the differing span in colour (A red, B green)
// and headings in bold; elsewhere a line of carets under the span.
#pragma once

#include <ostream>
#include <string>

#include "tables/TextCompare.h"

namespace scenariolog {

enum class TextSide { kA, kB };

// "== text".
void printHeading(std::ostream& out, const std::string& text, bool color);

// "      A: text", `span` marked (one caret where the other text has more).
void printMarkedText(std::ostream& out, TextSide side, const std::string& text, Span span,
                     bool color);

// "      A: (no record)", for a key that one side lacks.
void printNoRecord(std::ostream& out, TextSide side);

}  // namespace scenariolog
