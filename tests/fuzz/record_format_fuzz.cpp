// libFuzzer target: the record formatter against the successive-snprintf
// construction. Any difference in the stored length, the stored bytes, a
// headline snippet or an NDD text aborts.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "RecordFormat.h"
#include "SnprintfRecordFormat.h"

namespace sr = NSCam::TuningUtils::scenariorecorder;

namespace {

// Known rows and a gap, so that names as well as fall-backs are exercised.
constexpr uint32_t kSomeModules[] = {0x00202001, 0x40007001, 0x00801000, 0x00207005};
constexpr size_t kMaxTextLength = 1100;

void check(bool same, const char* what) {
    if (same) return;
    fprintf(stderr, "formatters differ: %s\n", what);
    abort();
}

// The optional numbers are absent (-1) often enough to cover every layout.
int32_t optionalNumber(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? -1 : input.ConsumeIntegral<int32_t>();
}

uint32_t moduleNumber(FuzzedDataProvider& input) {
    if (input.ConsumeBool()) return input.PickValueInArray(kSomeModules);
    return input.ConsumeIntegral<uint32_t>();
}

// A text of a chosen length around and beyond the 1,023-character cut, made
// by repeating the rest of the input, so short inputs reach long lines.
std::string recordText(FuzzedDataProvider& input) {
    const size_t length = input.ConsumeIntegralInRange<size_t>(0, kMaxTextLength);
    const std::string pattern = input.ConsumeRemainingBytesAsString();
    if (pattern.empty()) return std::string(length, 'x');
    std::string text(length, '\0');
    for (size_t i = 0; i < length; ++i) text[i] = pattern[i % pattern.size()];
    return text;
}

template <typename Param>
void fillCommon(FuzzedDataProvider& input, Param& param) {
    param.sensorId = optionalNumber(input);
    param.frameNum = optionalNumber(input);
    param.magicNum = optionalNumber(input);
    param.moduleId = moduleNumber(input);
    param.decisionType =
        static_cast<sr::DecisionType>(input.ConsumeIntegralInRange<uint32_t>(0, 8));
}

template <typename Format, typename Reference>
void compareLines(const std::string& text, Format format, Reference reference) {
    char expected[sr::kRecordLineSize];
    char actual[sr::kRecordLineSize];
    memset(actual, 0xA5, sizeof(actual));
    const size_t expectedLength = reference(text.c_str(), expected);
    const size_t actualLength = format(sr::toRecordText(text), actual);
    check(actualLength == expectedLength, "stored length");
    check(memcmp(actual, expected, expectedLength) == 0, "line bytes");
}

void compareSnippets(const std::string& text) {
    char expected[sr::kHeadlineItemSize] = {};
    char actual[sr::kHeadlineItemSize] = {};
    const int expectedLength = sr::reference::snprintfHeadlineSnippet(text.c_str(), expected);
    const int actualLength = sr::formatHeadlineSnippet(sr::toRecordText(text), actual);
    check(actualLength == expectedLength, "snippet length");
    check(memcmp(actual, expected, sizeof(actual)) == 0, "snippet bytes");
}

void compareNddTexts(int32_t uniqueKey, int32_t requestNum) {
    char expected[sr::kHeadlineItemSize] = {};
    char actual[sr::kHeadlineItemSize] = {};
    const int expectedLength = sr::reference::snprintfNddText(uniqueKey, requestNum, expected);
    const int actualLength = sr::formatNddText(uniqueKey, requestNum, actual);
    check(actualLength == expectedLength, "NDD text length");
    check(memcmp(actual, expected, sizeof(actual)) == 0, "NDD text bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const bool isExecution = input.ConsumeBool();
    sr::DecisionParam decision;
    sr::ResultParam execution;
    if (isExecution) {
        fillCommon(input, execution);
        execution.stageId = input.ConsumeBool() ? input.ConsumeIntegralInRange<int32_t>(-1, 40)
                                                : input.ConsumeIntegral<int32_t>();
    } else {
        fillCommon(input, decision);
    }
    const int32_t uniqueKey = input.ConsumeIntegral<int32_t>();
    const int32_t requestNum = input.ConsumeIntegral<int32_t>();
    const std::string text = recordText(input);

    if (isExecution) {
        compareLines(
            text,
            [&](sr::RecordText t, auto& line) {
                return sr::formatExecutionLine(execution, t, line);
            },
            [&](const char* t, auto& line) {
                return sr::reference::snprintfExecutionLine(execution, t, line);
            });
    } else {
        compareLines(
            text,
            [&](sr::RecordText t, auto& line) { return sr::formatDecisionLine(decision, t, line); },
            [&](const char* t, auto& line) {
                return sr::reference::snprintfDecisionLine(decision, t, line);
            });
    }
    compareSnippets(text);
    compareNddTexts(uniqueKey, requestNum);
    return 0;
}
