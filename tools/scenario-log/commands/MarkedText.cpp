#include "commands/MarkedText.h"

namespace scenariolog {
namespace {

constexpr const char* kRed = "\033[31m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kBold = "\033[1m";
constexpr const char* kReset = "\033[0m";
constexpr const char* kTextIndent = "      ";

void printSide(std::ostream& out, TextSide side) {
    out << kTextIndent << (side == TextSide::kA ? "A: " : "B: ");
}

}  // namespace

void printHeading(std::ostream& out, const std::string& text, bool color) {
    out << (color ? kBold : "") << "== " << text << (color ? kReset : "") << "\n";
}

void printMarkedText(std::ostream& out, TextSide side, const std::string& text, Span span,
                     bool color) {
    printSide(out, side);
    if (color) {
        out << text.substr(0, span.begin) << (side == TextSide::kA ? kRed : kGreen)
            << text.substr(span.begin, span.end - span.begin) << kReset << text.substr(span.end)
            << "\n";
        return;
    }
    const std::size_t carets = span.end > span.begin ? span.end - span.begin : 1;
    out << text << "\n"
        << kTextIndent << std::string(3 + span.begin, ' ') << std::string(carets, '^') << "\n";
}

void printNoRecord(std::ostream& out, TextSide side) {
    printSide(out, side);
    out << "(no record)\n";
}

}  // namespace scenariolog
