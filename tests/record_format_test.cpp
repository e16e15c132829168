// Headline items against the successive-snprintf construction that defines
// their bytes: snippets of every length up to the cut, texts holding NULs, and
// NDD texts of extreme numbers. Record lines are compared with the same
// construction by the record_path_fuzz target, from its corpus on every run.
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>

#include <string>
#include <vector>

#include "RecordFormat.h"
#include "SnprintfRecordFormat.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace {

std::string patternText(size_t length) {
    std::string text(length, ' ');
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

TEST(RecordFormat, HeadlineItemsMatchForEveryLengthUpToTheCutAndExtremeNumbers) {
    std::vector<std::string> texts = {std::string("abc\0def", 7), std::string("\0tail", 5)};
    for (size_t length = 0; length <= 1025; ++length) texts.push_back(patternText(length));
    texts.back()[1000] = '\0';
    for (const std::string& text : texts) {
        char expected[kHeadlineItemSize] = {};
        char actual[kHeadlineItemSize] = {};
        const int expectedLength = reference::snprintfHeadlineSnippet(text.c_str(), expected);
        ASSERT_EQ(formatHeadlineSnippet(toRecordText(text), actual), expectedLength) << text.size();
        ASSERT_EQ(memcmp(actual, expected, sizeof(actual)), 0) << text.size();
    }
    const int numbers[] = {INT_MIN, INT_MIN + 1, -1, 0, 7, INT_MAX};
    for (int uniqueKey : numbers) {
        for (int requestNum : numbers) {
            char expected[kHeadlineItemSize] = {};
            char actual[kHeadlineItemSize] = {};
            ASSERT_EQ(formatNddText(uniqueKey, requestNum, actual),
                      reference::snprintfNddText(uniqueKey, requestNum, expected));
            ASSERT_EQ(memcmp(actual, expected, sizeof(actual)), 0) << actual;
        }
    }
}

}  // namespace
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
