#include "RecordFormat.h"

#include <string.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "NameTables.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

constexpr size_t kMaxLineChars = kRecordLineSize - 1;
constexpr size_t kMaxSnippetChars = kHeadlineItemSize - 1;
// "-2147483648" is the longest decimal of a 32-bit int.
constexpr size_t kMaxIntChars = std::numeric_limits<int>::digits10 + 2;

// Writes pieces into a line as successive bounded formats would: mTotal is
// the sum of the pieces' untruncated lengths, and only the characters that
// fall within the first kMaxLineChars are stored. A piece cut short leaves
// mTotal at or above kMaxLineChars + 1, so every later piece is only counted.
class LineWriter {
  public:
    explicit LineWriter(char* line) : mLine(line) {}

    void append(const char* chars, size_t count) {
        if (mTotal + count <= kMaxLineChars) {
            memcpy(mLine + mTotal, chars, count);
        } else if (mTotal < kMaxLineChars) {
            memcpy(mLine + mTotal, chars, kMaxLineChars - mTotal);
        }
        mTotal += count;
    }

    template <size_t N>
    void appendLiteral(const char (&literal)[N]) {
        append(literal, N - 1);
    }

    void append(TableName name) { append(name.text, name.length); }
    void append(RecordText text) { append(text.chars, text.length); }

    // Converts straight into the line when the longest number fits there.
    void appendNumber(int value) {
        if (mTotal + kMaxIntChars <= kMaxLineChars) {
            char* end = std::to_chars(mLine + mTotal, mLine + mTotal + kMaxIntChars, value).ptr;
            mTotal = static_cast<size_t>(end - mLine);
            return;
        }
        char digits[kMaxIntChars];
        char* end = std::to_chars(digits, digits + kMaxIntChars, value).ptr;
        append(digits, static_cast<size_t>(end - digits));
    }

    // Terminates the stored characters; returns the stored length L.
    size_t finish() {
        const size_t length = mTotal < kMaxLineChars ? mTotal + 1 : kRecordLineSize;
        mLine[length - 1] = '\0';
        return length;
    }

  private:
    char* mLine;
    size_t mTotal = 0;
};

void appendOptionalNumbers(LineWriter& writer, int sensorId, int frameNum, int magicNum) {
    if (sensorId != -1) {
        writer.appendLiteral("[SensorId: ");
        writer.appendNumber(sensorId);
        writer.appendLiteral("]");
    }
    if (frameNum != -1) {
        writer.appendLiteral("[FrameNum: ");
        writer.appendNumber(frameNum);
        writer.appendLiteral("]");
    }
    if (magicNum != -1) {
        writer.appendLiteral("[MagicNum: ");
        writer.appendNumber(magicNum);
        writer.appendLiteral("]");
    }
}

}  // namespace

RecordText toRecordText(const std::string& text) {
    // The text ends at its first NUL: an embedded one, or the string's own.
    return {text.data(), strlen(text.c_str())};
}

// The two line formats spell out their common head on purpose: folding it
// into one shared template measured about 10% slower for both.
size_t formatDecisionLine(const DecisionParam& param, RecordText text,
                          char (&line)[kRecordLineSize]) {
    LineWriter writer(line);
    appendOptionalNumbers(writer, param.sensorId, param.frameNum, param.magicNum);
    writer.appendLiteral("[ModuleName: ");
    writer.append(lookupModuleName(param.moduleId));
    writer.appendLiteral("][Decision: ");
    writer.append(lookupDecisionName(param.decisionType));
    writer.appendLiteral("] ");
    writer.append(text);
    return writer.finish();
}

size_t formatExecutionLine(const ResultParam& param, RecordText text,
                           char (&line)[kRecordLineSize]) {
    LineWriter writer(line);
    appendOptionalNumbers(writer, param.sensorId, param.frameNum, param.magicNum);
    writer.appendLiteral("[ModuleName: ");
    writer.append(lookupModuleName(param.moduleId));
    writer.appendLiteral("][");
    writer.append(lookupStageName(param.stageId));
    writer.appendLiteral("][Result: ");
    writer.append(lookupDecisionName(param.decisionType));
    writer.appendLiteral("] ");
    writer.append(text);
    return writer.finish();
}

int formatHeadlineSnippet(RecordText text, char (&block)[kHeadlineItemSize]) {
    constexpr size_t kPrefixLength = 2;
    memcpy(block, ", ", kPrefixLength);
    const size_t room = kMaxSnippetChars - kPrefixLength;
    const size_t stored = text.length < room ? text.length : room;
    memcpy(block + kPrefixLength, text.chars, stored);
    block[kPrefixLength + stored] = '\0';
    return static_cast<int>(kPrefixLength + text.length);
}

int formatNddText(int uniqueKey, int requestNum, char (&block)[kHeadlineItemSize]) {
    static constexpr char kKeyLabel[] = "[UKey: ";
    static constexpr char kRequestLabel[] = "][ReqNum: ";
    char* cursor = block;
    cursor = std::copy(kKeyLabel, kKeyLabel + sizeof(kKeyLabel) - 1, cursor);
    cursor = std::to_chars(cursor, cursor + kMaxIntChars, uniqueKey).ptr;
    cursor = std::copy(kRequestLabel, kRequestLabel + sizeof(kRequestLabel) - 1, cursor);
    cursor = std::to_chars(cursor, cursor + kMaxIntChars, requestNum).ptr;
    *cursor++ = ']';
    *cursor = '\0';
    return static_cast<int>(cursor - block);
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
