// The library's log lines: gates, both sinks, both forms, and the fatal assertion.
#include <android/log.h>
#include <gtest/gtest.h>
#include <zyncam/utils/ULog.h>

#include <initializer_list>
#include <regex>
#include <string>
#include <vector>

#include "RecorderLog.h"
#include "support/LogCapture.h"

using NSCam::Utils::ULog::ULogger;
using testsupport::CapturedLine;
using testsupport::LogCapture;

namespace {

// The reporting functions, whose names the lines carry.
struct Report {
    static void reportFailure() { SR_LOGE("mkdir(%s) failed, errno = %d", "/x", 2); }
    static void reportWarning() { SR_LOGW("Headline size is not enough"); }
    static void reportInfo() { SR_LOGI("Write log to %s", "/f"); }
    static void reportDebug() { SR_LOGD("unInit"); }
    static void reportLong() { SR_LOGE("%s", std::string(2000, 'a').c_str()); }
    [[noreturn]] static void failHard() {
        SR_FATAL("Log size too large: %zu", static_cast<size_t>(262152));
    }
};

constexpr unsigned int kMaskOn = (1u << 30) | (1u << 12);
using Lines = std::vector<std::string>;

// "<sink> <level> <text>" of each line that `reports` leave with the unified
// logger's mode, details level and mask set as given. Android priorities are
// 3 debug, 4 info, 5 warning and 6 error; unified levels 1 error, 2 warning,
// 3 info and 5 debug. Every line must carry the recorder's tag, and on the
// unified logger its module id.
Lines logged(int mode, int detailsLevel, unsigned int mask,
             std::initializer_list<void (*)()> reports) {
    LogCapture capture(mode, detailsLevel, mask);
    for (auto report : reports) report();
    Lines lines;
    for (const CapturedLine& line : capture.lines()) {
        const bool android = line.sink == CapturedLine::Sink::kAndroid;
        EXPECT_EQ(line.tag, "ScenarioRecorder");
        EXPECT_EQ(line.moduleId, android ? 0u : 0x40007001u);
        lines.push_back((android ? "android " : "unified ") + std::to_string(line.level) + " " +
                        line.text);
    }
    return lines;
}

TEST(Logging, ErrorGoesToAndroidLogInLongFormAndToUnifiedLoggerInShortFormAtAnyDetailsLevel) {
    const Lines lines = logged(0x3, -1, 0, {Report::reportFailure});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(
        std::regex_match(lines[0], std::regex("android 6 \\[reportFailure\\] mkdir\\(/x\\) "
                                              "failed, errno = 2 \\(reportFailure\\)\\{#[0-9]+:"
                                              "utils/ScenarioRecorder/ScenarioRecorder\\}")))
        << lines[0];
    EXPECT_EQ(lines[1], "unified 1 [reportFailure] mkdir(/x) failed, errno = 2");
}

// Warning needs details level 2, info 3 and debug 5; info and debug need mask
// bit 30 and one of bits 12 to 14. Mode bit 0 selects the Android log, bits 1
// and 3 the unified logger, which cuts a line at 1,023 characters.
TEST(Logging, LevelsAreGatedAndModeBitsChooseTheSinks) {
    EXPECT_EQ(logged(0x1, 1, kMaskOn, {Report::reportWarning}), Lines{});
    EXPECT_EQ(logged(0x1, 2, kMaskOn, {Report::reportWarning, Report::reportInfo}),
              Lines{"android 5 [reportWarning] Headline size is not enough"});
    EXPECT_EQ(logged(0x1, 4, kMaskOn, {Report::reportInfo, Report::reportDebug}),
              Lines{"android 4 [reportInfo] Write log to /f"});
    EXPECT_EQ(logged(0x1, 5, 1u << 30, {Report::reportInfo}), Lines{});
    EXPECT_EQ(logged(0x1, 5, 1u << 14, {Report::reportDebug}), Lines{});
    EXPECT_EQ(logged(0x1, 5, (1u << 30) | (1u << 14), {Report::reportDebug}),
              Lines{"android 3 [reportDebug] unInit"});
    EXPECT_EQ(logged(0x8, 5, kMaskOn, {Report::reportInfo}),
              Lines{"unified 3 [reportInfo] Write log to /f"});
    EXPECT_EQ(logged(0x4, 5, kMaskOn, {Report::reportFailure}), Lines{});
    const std::string head = "[reportLong] ";
    EXPECT_EQ(logged(0x2, 5, kMaskOn, {Report::reportLong}),
              Lines{"unified 1 " + head + std::string(1023 - head.size(), 'a')});
}

class CountingULogger : public ULogger {
  public:
    void onLogLine(uint32_t, const char*, int level, const char* text, size_t) override {
        fprintf(stderr, "unified:%d:%s\n", level, text);
    }
    void onFlush(int level) override { fprintf(stderr, "flushed:%d\n", level); }
};

TEST(LoggingDeathTest, FatalSendsToUnifiedLoggerFlushesAndAborts) {
    EXPECT_DEATH(
        {
            static CountingULogger logger;
            ULogger::sULogger = &logger;
            ULogger::sMode = 0x3;
            __android_log_set_aborter([](const char* message) {
                fprintf(stderr, "aborted:%s\n", message);
                abort();
            });
            Report::failHard();
        },
        "unified:1:\\[failHard\\] Log size too large: 262152\nflushed:1\n.*"
        "aborted:\\[failHard\\] Log size too large: 262152 \\(failHard\\)\\{#[0-9]+:utils/"
        "ScenarioRecorder/ScenarioRecorder\\}");
}

}  // namespace
