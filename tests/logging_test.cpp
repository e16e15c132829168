// The library's log lines: gates, both sinks, both forms, and the fatal assertion.
#include <android/log.h>
#include <gtest/gtest.h>
#include <zyncam/utils/ULog.h>

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

TEST(Logging, LevelsAreGatedByDetailsLevelAndMask) {
    {
        LogCapture capture(0x1, 1, kMaskOn);
        reportWarning();
        EXPECT_TRUE(capture.lines().empty()) << "warning needs details level 2";
    }
    {
        LogCapture capture(0x1, 2, kMaskOn);
        reportWarning();
        reportInfo();
        ASSERT_EQ(capture.lines().size(), 1u);
        EXPECT_EQ(capture.lines()[0].level, ANDROID_LOG_WARN);
        EXPECT_EQ(capture.lines()[0].text, "[reportWarning] Headline size is not enough");
    }
    {
        LogCapture capture(0x1, 4, kMaskOn);
        reportInfo();
        reportDebug();
        ASSERT_EQ(capture.lines().size(), 1u) << "debug needs details level 5";
        EXPECT_EQ(capture.lines()[0].level, ANDROID_LOG_INFO);
    }
    {
        LogCapture capture(0x1, 5, 1u << 30);
        reportInfo();
        EXPECT_TRUE(capture.lines().empty()) << "info needs one of mask bits 12..14";
    }
    {
        LogCapture capture(0x1, 5, 1u << 14);
        reportDebug();
        EXPECT_TRUE(capture.lines().empty()) << "debug needs mask bit 30";
    }
    {
        LogCapture capture(0x1, 5, (1u << 30) | (1u << 14));
        reportDebug();
        ASSERT_EQ(capture.lines().size(), 1u);
        EXPECT_EQ(capture.lines()[0].level, ANDROID_LOG_DEBUG);
        EXPECT_EQ(capture.lines()[0].text, "[reportDebug] unInit");
    }
}

TEST(Logging, ModeBitsChooseTheSinks) {
    {
        LogCapture capture(0x8, 5, kMaskOn);
        reportInfo();
        ASSERT_EQ(capture.lines().size(), 1u);
        EXPECT_EQ(capture.lines()[0].sink, CapturedLine::Sink::kUnified);
        EXPECT_EQ(capture.lines()[0].level, 3);
    }
    {
        LogCapture capture(0x4, 5, kMaskOn);
        reportFailure();
        EXPECT_TRUE(capture.lines().empty());
    }
}

TEST(Logging, UnifiedLoggerLinesAreCutAt1023Characters) {
    LogCapture capture(0x2, 5, kMaskOn);
    const std::string longText(2000, 'a');
    SR_LOGE("%s", longText.c_str());
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.size(), 1023u);
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
