// The record formatter against the successive-snprintf construction that
// defines its bytes: every combination of absent and extreme numbers, known
// and unknown names, and texts around the 1,023-character cut; headline
// snippets of every length up to the cut, and NDD texts of extreme numbers.
// Each case compares the stored length and bytes. Random inputs are the
// record_format_fuzz target's part.
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "RecordFormat.h"
#include "SnprintfRecordFormat.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

// Lines are formatted over this pattern, so a byte the formatter fails to
// write (such as the terminating NUL) shows up as a difference.
constexpr char kPoison = '\xA5';

const int kOptionalNumbers[] = {-1, INT_MIN, INT_MAX, 0, -2, 42};
// Known rows, a gap inside a known range, and a number far from any row.
const uint32_t kModules[] = {0x00202001, 0x40007001, 0x00207005, 0xFFFFFFFFu};
const uint32_t kDecisions[] = {ISP_FLOW, 0, 7};
// Stage 35 has the longest name of all tables (31 characters).
const int kStages[] = {9, 35, 2, INT_MIN};

std::string patternText(size_t length) {
    std::string text(length, ' ');
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

// Empty, short and long texts, texts that hold a NUL, and texts that bring a
// line whose part before the text has `prefixLength` characters to 1,021
// through 1,025 characters.
std::vector<std::string> textsFor(size_t prefixLength) {
    std::vector<std::string> texts = {"", "done", patternText(500), std::string("abc\0def", 7),
                                      std::string("\0tail", 5)};
    std::string lateNul = patternText(1025);
    lateNul[1000] = '\0';
    texts.push_back(lateNul);
    for (size_t length = 1021; length <= 1025; ++length) {
        texts.push_back(patternText(length - prefixLength));
    }
    return texts;
}

size_t referenceLine(const DecisionParam& param, const char* text, char (&line)[kRecordLineSize]) {
    return reference::snprintfDecisionLine(param, text, line);
}
size_t referenceLine(const ResultParam& param, const char* text, char (&line)[kRecordLineSize]) {
    return reference::snprintfExecutionLine(param, text, line);
}
size_t formatLine(const DecisionParam& param, RecordText text, char (&line)[kRecordLineSize]) {
    return formatDecisionLine(param, text, line);
}
size_t formatLine(const ResultParam& param, RecordText text, char (&line)[kRecordLineSize]) {
    return formatExecutionLine(param, text, line);
}

// Counts the cases and reports the first few differences.
class Comparison {
  public:
    ~Comparison() { EXPECT_EQ(mFailures, 0u) << "of " << mCases << " cases"; }

    template <typename Param>
    void lines(const Param& param) {
        char expected[kRecordLineSize];
        const size_t prefixLength = referenceLine(param, "", expected) - 1;
        for (const std::string& text : textsFor(prefixLength)) {
            char actual[kRecordLineSize];
            memset(actual, kPoison, sizeof(actual));
            const size_t expectedLength = referenceLine(param, text.c_str(), expected);
            const size_t actualLength = formatLine(param, toRecordText(text), actual);
            longest = std::max(longest, expectedLength);
            if (!same(actualLength == expectedLength &&
                      memcmp(actual, expected, expectedLength) == 0)) {
                ADD_FAILURE() << "text of " << text.size() << " bytes, L " << actualLength << " vs "
                              << expectedLength << "\n  got      "
                              << std::string(actual, strnlen(actual, actualLength))
                              << "\n  expected " << expected;
            }
        }
    }

    void snippet(const std::string& text) {
        char expected[kHeadlineItemSize] = {};
        char actual[kHeadlineItemSize] = {};
        const int expectedLength = reference::snprintfHeadlineSnippet(text.c_str(), expected);
        const int actualLength = formatHeadlineSnippet(toRecordText(text), actual);
        if (!same(actualLength == expectedLength &&
                  memcmp(actual, expected, sizeof(actual)) == 0)) {
            ADD_FAILURE() << "snippet of " << text.size() << " bytes: length " << actualLength
                          << " vs " << expectedLength;
        }
    }

    void nddText(int uniqueKey, int requestNum) {
        char expected[kHeadlineItemSize] = {};
        char actual[kHeadlineItemSize] = {};
        const int expectedLength = reference::snprintfNddText(uniqueKey, requestNum, expected);
        const int actualLength = formatNddText(uniqueKey, requestNum, actual);
        if (!same(actualLength == expectedLength &&
                  memcmp(actual, expected, sizeof(actual)) == 0)) {
            ADD_FAILURE() << "NDD text: got " << actual << ", expected " << expected;
        }
    }

    size_t longest = 0;  // the longest stored length L seen

  private:
    // False for the first ten differences, which are then reported.
    bool same(bool equal) {
        ++mCases;
        return equal || ++mFailures > 10;
    }

    size_t mCases = 0;
    size_t mFailures = 0;
};

template <typename Param>
Param numbered(int sensor, int frame, int magic, uint32_t module, uint32_t decision) {
    Param param;
    param.sensorId = sensor;
    param.frameNum = frame;
    param.magicNum = magic;
    param.moduleId = module;
    param.decisionType = static_cast<DecisionType>(decision);
    return param;
}

TEST(RecordFormat, LinesOfBothKindsMatchTheSnprintfConstructionForEveryCombination) {
    Comparison comparison;
    for (int sensor : kOptionalNumbers) {
        for (int frame : kOptionalNumbers) {
            for (int magic : kOptionalNumbers) {
                for (uint32_t module : kModules) {
                    for (uint32_t decision : kDecisions) {
                        comparison.lines(
                            numbered<DecisionParam>(sensor, frame, magic, module, decision));
                        auto param = numbered<ResultParam>(sensor, frame, magic, module, decision);
                        for (int stage : kStages) {
                            param.stageId = stage;
                            comparison.lines(param);
                        }
                    }
                }
            }
        }
    }
    EXPECT_EQ(comparison.longest, kRecordLineSize) << "lines reached the cut";
}

TEST(RecordFormat, HeadlineItemsMatchForEveryLengthUpToTheCutAndExtremeNumbers) {
    Comparison comparison;
    for (size_t length = 0; length <= 1025; ++length) comparison.snippet(patternText(length));
    for (const std::string& text : textsFor(0)) comparison.snippet(text);
    const int numbers[] = {INT_MIN, INT_MIN + 1, -1, 0, 7, 42, INT_MAX};
    for (int uniqueKey : numbers) {
        for (int requestNum : numbers) comparison.nddText(uniqueKey, requestNum);
    }
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
