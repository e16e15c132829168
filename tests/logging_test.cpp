// The library's log lines: gates, both sinks, both forms, and the fatal assertion.
#include <android/log.h>
#include <gtest/gtest.h>
#include <zyncam/utils/ULog.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "RecorderLog.h"
#include "support/LogCapture.h"

using NSCam::Utils::ULog::ULogger;
using testsupport::CapturedLine;
using testsupport::LogCapture;

namespace {

void reportFailure() {
    SR_LOGE("mkdir(%s) failed, errno = %d", "/x", 2);
}
void reportWarning() {
    SR_LOGW("Headline size is not enough");
}
void reportInfo() {
    SR_LOGI("Write log to %s", "/f");
}
void reportDebug() {
    SR_LOGD("unInit");
}

constexpr unsigned int kMaskOn = (1u << 30) | (1u << 12);

TEST(Logging, ErrorGoesToAndroidLogInLongFormAndToUnifiedLoggerInShortForm) {
    LogCapture capture(0x3, 0, 0);
    reportFailure();
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].sink, CapturedLine::Sink::kAndroid);
    EXPECT_EQ(lines[0].level, ANDROID_LOG_ERROR);
    EXPECT_EQ(lines[0].tag, "ScenarioRecorder");
    EXPECT_EQ(
        lines[0].text.rfind("[reportFailure] mkdir(/x) failed, errno = 2 (reportFailure){#", 0),
        0u);
    EXPECT_NE(lines[0].text.find(":utils/ScenarioRecorder/ScenarioRecorder}"), std::string::npos);
    EXPECT_EQ(lines[1].sink, CapturedLine::Sink::kUnified);
    EXPECT_EQ(lines[1].level, 1);
    EXPECT_EQ(lines[1].moduleId, 0x40007001u);
    EXPECT_EQ(lines[1].text, "[reportFailure] mkdir(/x) failed, errno = 2");
}

// "<sink> <level> <text>" of each line that `reports` leave with the unified
// logger's mode, details level and mask set as given. Android priorities are
// 3 debug, 4 info, 5 warning and 6 error; unified levels 1 error, 2 warning,
// 3 info and 5 debug.
std::vector<std::string> logged(int mode, int detailsLevel, unsigned int mask,
                                std::initializer_list<void (*)()> reports) {
    LogCapture capture(mode, detailsLevel, mask);
    for (auto report : reports) report();
    std::vector<std::string> lines;
    for (const CapturedLine& line : capture.lines()) {
        lines.push_back((line.sink == CapturedLine::Sink::kAndroid ? "android " : "unified ") +
                        std::to_string(line.level) + " " + line.text);
    }
    return lines;
}

using Lines = std::vector<std::string>;

TEST(Logging, LevelsAreGatedByDetailsLevelAndMask) {
    EXPECT_EQ(logged(0x1, 1, kMaskOn, {reportWarning}), Lines{}) << "warning needs details level 2";
    EXPECT_EQ(logged(0x1, 2, kMaskOn, {reportWarning, reportInfo}),
              Lines{"android 5 [reportWarning] Headline size is not enough"});
    EXPECT_EQ(logged(0x1, 4, kMaskOn, {reportInfo, reportDebug}),
              Lines{"android 4 [reportInfo] Write log to /f"})
        << "debug needs details level 5";
    EXPECT_EQ(logged(0x1, 5, 1u << 30, {reportInfo}), Lines{})
        << "info needs one of mask bits 12..14";
    EXPECT_EQ(logged(0x1, 5, 1u << 14, {reportDebug}), Lines{}) << "debug needs mask bit 30";
    EXPECT_EQ(logged(0x1, 5, (1u << 30) | (1u << 14), {reportDebug}),
              Lines{"android 3 [reportDebug] unInit"});
}

TEST(Logging, ModeBitsChooseTheSinks) {
    EXPECT_EQ(logged(0x8, 5, kMaskOn, {reportInfo}),
              Lines{"unified 3 [reportInfo] Write log to /f"});
    EXPECT_EQ(logged(0x4, 5, kMaskOn, {reportFailure}), Lines{});
}

void reportLong() {
    SR_LOGE("%s", std::string(2000, 'a').c_str());
}

TEST(Logging, UnifiedLoggerLinesAreCutAt1023Characters) {
    const std::string head = "[reportLong] ";
    EXPECT_EQ(logged(0x2, 5, kMaskOn, {reportLong}),
              Lines{"unified 1 " + head + std::string(1023 - head.size(), 'a')});
}

class CountingULogger : public ULogger {
  public:
    void onLogLine(uint32_t, const char*, int level, const char* text, size_t) override {
        fprintf(stderr, "unified:%d:%s\n", level, text);
    }
    void onFlush(int level) override { fprintf(stderr, "flushed:%d\n", level); }
};

[[noreturn]] void failHard() {
    SR_FATAL("Log size too large: %zu", static_cast<size_t>(262152));
}

TEST(LoggingDeathTest, FatalSendsToUnifiedLoggerFlushesAndAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            static CountingULogger logger;
            ULogger::sULogger = &logger;
            ULogger::sMode = 0x3;
            __android_log_set_aborter([](const char* message) {
                fprintf(stderr, "aborted:%s\n", message);
                abort();
            });
            failHard();
        },
        "unified:1:\\[failHard\\] Log size too large: 262152\nflushed:1\n.*"
        "aborted:\\[failHard\\] Log size too large: 262152 \\(failHard\\)\\{#[0-9]+:utils/"
        "ScenarioRecorder/ScenarioRecorder\\}");
}

}  // namespace
