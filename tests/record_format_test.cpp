// The record formatter against the successive-snprintf construction that
// defines its bytes: every combination of absent and extreme numbers, known
// and unknown names, and texts around the 1,023-character cut, plus seeded
// random inputs. Each case compares the stored length L and the first L bytes
// of the line, or the whole block and the returned length of a headline item.
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>

#include <array>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "RecordFormat.h"
#include "SnprintfRecordFormat.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

using reference::snprintfDecisionLine;
using reference::snprintfExecutionLine;
using reference::snprintfHeadlineSnippet;
using reference::snprintfNddText;

// Fast lines are written over this pattern, so a byte the formatter fails to
// write (such as the terminating NUL) shows up as a difference.
constexpr char kPoison = '\xA5';
constexpr size_t kMaxReportedFailures = 10;

const std::vector<int> kOptionalNumbers = {-1, INT_MIN, INT_MAX, 0, -2, 42};
// Known rows, a gap inside a known range, and numbers far from any row.
const std::vector<uint32_t> kModules = {0x00202001, 0x40007001, 0x00207005, 0xFFFFFFFFu};
const std::vector<uint32_t> kDecisions = {ISP_FLOW, 0, 7};
// Stage 35 has the longest name of all tables (31 characters).
const std::vector<int> kStages = {9, 35, 2, INT_MIN};

std::string patternText(size_t length) {
    std::string text(length, ' ');
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

// Texts independent of the line's prefix: empty, short, long, 1,022 to 1,025
// characters, and texts that hold a NUL.
std::vector<std::string> fixedTexts() {
    std::vector<std::string> texts = {"", "done", patternText(500)};
    for (size_t length = 1022; length <= 1025; ++length) texts.push_back(patternText(length));
    texts.push_back(std::string("abc\0def", 7));
    texts.push_back(std::string("\0tail", 5));
    std::string lateNul = patternText(1025);
    lateNul[1000] = '\0';
    texts.push_back(lateNul);
    return texts;
}

// Texts that bring a line whose prefix (everything before the text, the
// separating space included) has `prefixLength` characters to 1,021 through
// 1,025 characters.
std::vector<std::string> textsAroundTheCut(size_t prefixLength) {
    std::vector<std::string> texts;
    for (size_t lineLength = 1021; lineLength <= 1025; ++lineLength) {
        texts.push_back(patternText(lineLength - prefixLength));
    }
    return texts;
}

std::string printable(const std::string& text) {
    std::string shown = text.size() > 40 ? text.substr(0, 40) + "..." : text;
    for (char& c : shown) {
        if (c == '\0') c = '@';
    }
    return shown + " (" + std::to_string(text.size()) + " bytes)";
}

template <typename Param>
constexpr bool kIsExecution = std::is_same_v<Param, ResultParam>;

template <typename Param>
size_t referenceLine(const Param& p, const char* text, char (&line)[kRecordLineSize]) {
    if constexpr (kIsExecution<Param>) {
        return snprintfExecutionLine(p, text, line);
    } else {
        return snprintfDecisionLine(p, text, line);
    }
}

template <typename Param>
size_t fastLine(const Param& p, RecordText text, char (&line)[kRecordLineSize]) {
    if constexpr (kIsExecution<Param>) {
        return formatExecutionLine(p, text, line);
    } else {
        return formatDecisionLine(p, text, line);
    }
}

template <typename Param>
std::string describe(const Param& p, const std::string& text) {
    std::ostringstream out;
    out << "sensor=" << p.sensorId << " frame=" << p.frameNum << " magic=" << p.magicNum
        << " module=" << p.moduleId << " decision=" << p.decisionType;
    if constexpr (kIsExecution<Param>) out << " stage=" << p.stageId;
    out << " text=" << printable(text);
    return out.str();
}

// Counts the cases and reports the first few differences in full.
class Comparison {
  public:
    template <typename Param>
    void line(const Param& param, const std::string& text) {
        char expected[kRecordLineSize];
        char actual[kRecordLineSize];
        memset(actual, kPoison, sizeof(actual));
        const size_t expectedLength = referenceLine(param, text.c_str(), expected);
        const size_t actualLength = fastLine(param, toRecordText(text), actual);
        ++mCases;
        mLongest = std::max(mLongest, expectedLength);
        if (actualLength == expectedLength && memcmp(actual, expected, expectedLength) == 0) return;
        report(describe(param, text) + ": L " + std::to_string(actualLength) + " vs " +
               std::to_string(expectedLength) + "\n  got      " +
               std::string(actual, strnlen(actual, actualLength)) + "\n  expected " + expected);
    }

    void snippet(const std::string& text) {
        char expected[kHeadlineItemSize] = {};
        char actual[kHeadlineItemSize] = {};
        const int expectedLength = snprintfHeadlineSnippet(text.c_str(), expected);
        const int actualLength = formatHeadlineSnippet(toRecordText(text), actual);
        ++mCases;
        if (actualLength == expectedLength && memcmp(actual, expected, sizeof(actual)) == 0) return;
        report("snippet of " + printable(text) + ": length " + std::to_string(actualLength) +
               " vs " + std::to_string(expectedLength));
    }

    void nddText(int uniqueKey, int requestNum) {
        char expected[kHeadlineItemSize] = {};
        char actual[kHeadlineItemSize] = {};
        const int expectedLength = snprintfNddText(uniqueKey, requestNum, expected);
        const int actualLength = formatNddText(uniqueKey, requestNum, actual);
        ++mCases;
        if (actualLength == expectedLength && memcmp(actual, expected, sizeof(actual)) == 0) return;
        report("NDD text " + std::to_string(uniqueKey) + "/" + std::to_string(requestNum) +
               ": got " + actual + ", expected " + expected);
    }

    void expectNoFailure() const { EXPECT_EQ(mFailures, 0u) << "of " << mCases << " cases"; }
    size_t cases() const { return mCases; }
    size_t longestStoredLength() const { return mLongest; }

  private:
    void report(const std::string& message) {
        if (++mFailures <= kMaxReportedFailures) ADD_FAILURE() << message;
    }

    size_t mCases = 0;
    size_t mFailures = 0;
    size_t mLongest = 0;
};

template <typename Param>
void compareAllTexts(Comparison& comparison, const Param& param,
                     const std::vector<std::string>& texts) {
    for (const std::string& text : texts) comparison.line(param, text);
    // Characters of the line before the text, the separating space included.
    char line[kRecordLineSize];
    const size_t prefixLength = referenceLine(param, "", line) - 1;
    for (const std::string& text : textsAroundTheCut(prefixLength)) comparison.line(param, text);
}

template <typename Param>
Param record(int sensor, int frame, int magic, uint32_t module, uint32_t decision) {
    Param param;
    param.sensorId = sensor;
    param.frameNum = frame;
    param.magicNum = magic;
    param.moduleId = module;
    param.decisionType = static_cast<DecisionType>(decision);
    return param;
}

TEST(RecordFormat, LinesOfBothKindsMatchTheSnprintfConstructionForEveryCombination) {
    Comparison decisions;
    Comparison executions;
    const std::vector<std::string> texts = fixedTexts();
    for (int sensor : kOptionalNumbers) {
        for (int frame : kOptionalNumbers) {
            for (int magic : kOptionalNumbers) {
                for (uint32_t module : kModules) {
                    for (uint32_t decision : kDecisions) {
                        compareAllTexts(
                            decisions,
                            record<DecisionParam>(sensor, frame, magic, module, decision), texts);
                        auto param = record<ResultParam>(sensor, frame, magic, module, decision);
                        for (int stage : kStages) {
                            param.stageId = stage;
                            compareAllTexts(executions, param, texts);
                        }
                    }
                }
            }
        }
    }
    for (const Comparison* comparison : {&decisions, &executions}) {
        comparison->expectNoFailure();
        EXPECT_EQ(comparison->longestStoredLength(), kRecordLineSize);
    }
    RecordProperty("cases", static_cast<int>(decisions.cases() + executions.cases()));
}

// Random numbers, names and texts of random length and content, NULs and
// bytes above 0x7F included. The seed is fixed so a failure reproduces.
TEST(RecordFormat, RandomRecordsMatchTheSnprintfConstruction) {
    std::mt19937 random(20240611u);
    std::uniform_int_distribution<int> anyInt(INT_MIN, INT_MAX);
    std::uniform_int_distribution<int> smallInt(-3, 40);
    std::uniform_int_distribution<int> textLength(0, 1100);
    std::uniform_int_distribution<int> anyByte(0, 255);
    std::bernoulli_distribution coin(0.5);
    auto number = [&] { return coin(random) ? smallInt(random) : anyInt(random); };
    auto text = [&] {
        std::string chars(static_cast<size_t>(textLength(random)), ' ');
        // Most texts hold no NUL, so their whole length counts.
        const int nulOdds = anyByte(random);
        for (char& c : chars) {
            const int byte = anyByte(random);
            c = static_cast<char>(byte == 0 && nulOdds > 16 ? 'z' : byte);
        }
        return chars;
    };

    Comparison comparison;
    for (int i = 0; i < 20000; ++i) {
        const uint32_t module = coin(random) ? kModules[static_cast<size_t>(i) % kModules.size()]
                                             : static_cast<uint32_t>(anyInt(random));
        const int decision = coin(random) ? smallInt(random) % 8 : anyInt(random);
        // One statement per draw keeps the order of the draws fixed.
        auto numbered = [&](auto param) {
            param.sensorId = number();
            param.frameNum = number();
            param.magicNum = number();
            param.moduleId = module;
            param.decisionType = static_cast<DecisionType>(decision);
            return param;
        };
        if (coin(random)) {
            const DecisionParam param = numbered(DecisionParam{});
            comparison.line(param, text());
        } else {
            ResultParam param = numbered(ResultParam{});
            param.stageId = number();
            comparison.line(param, text());
        }
        comparison.snippet(text());
    }
    comparison.expectNoFailure();
}

TEST(RecordFormat, HeadlineItemsMatchForEveryLengthUpToTheCutAndExtremeNumbers) {
    Comparison comparison;
    for (size_t length = 0; length <= 1025; ++length) comparison.snippet(patternText(length));
    for (const std::string& text : fixedTexts()) comparison.snippet(text);
    const std::array<int, 7> numbers = {INT_MIN, INT_MIN + 1, -1, 0, 7, 42, INT_MAX};
    for (int uniqueKey : numbers) {
        for (int requestNum : numbers) comparison.nddText(uniqueKey, requestNum);
    }
    comparison.expectNoFailure();
}

// The boundary itself, stated independently of both formatters: with a
// 1,021- to 1,025-character line, L is 1,022, 1,023, 1,024, 1,024, 1,024,
// and a cut line keeps exactly its first 1,023 characters.
TEST(RecordFormat, StoredLengthStopsAt1024AndTheCutKeeps1023Characters) {
    DecisionParam param;
    param.moduleId = 0x40007001;  // "Utils"
    param.decisionType = ISP_FLOW;
    const std::string prefix = "[ModuleName: Utils][Decision: ISP_FLOW] ";
    const std::array<size_t, 5> expectedLengths = {1022, 1023, 1024, 1024, 1024};
    for (size_t i = 0; i < expectedLengths.size(); ++i) {
        const std::string text = patternText(1021 + i - prefix.size());
        char line[kRecordLineSize];
        memset(line, kPoison, sizeof(line));
        const size_t length = formatDecisionLine(param, toRecordText(text), line);
        EXPECT_EQ(length, expectedLengths[i]) << "line of " << 1021 + i << " characters";
        EXPECT_EQ(std::string(line, length - 1), (prefix + text).substr(0, length - 1));
        EXPECT_EQ(line[length - 1], '\0');
    }
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
