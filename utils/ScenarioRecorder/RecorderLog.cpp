#include "RecorderLog.h"

#include <android/log.h>
#include <stdarg.h>
#include <stdio.h>
#include <zyncam/utils/ULog.h>

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace log {

namespace {

using NSCam::Utils::ULog::ULogger;

constexpr size_t kLineAreaSize = 1024;
constexpr int kModeAndroidLog = 1 << 0;
constexpr int kModeUnifiedLogger = (1 << 1) | (1 << 3);
constexpr unsigned int kMaskNormalDetails = 1u << 30;
constexpr unsigned int kMaskScenarioGroups = (1u << 12) | (1u << 13) | (1u << 14);

struct LevelTraits {
    int minimumDetailsLevel;
    bool needsDetailsMask;
    int androidPriority;
    int unifiedLevel;
};

LevelTraits traitsOf(Level level) {
    switch (level) {
        case Level::kError:
            return {0, false, ANDROID_LOG_ERROR, 1};
        case Level::kWarning:
            return {2, false, ANDROID_LOG_WARN, 2};
        case Level::kInfo:
            return {3, true, ANDROID_LOG_INFO, 3};
        case Level::kDebug:
            break;
    }
    return {5, true, ANDROID_LOG_DEBUG, 5};
}

bool toAndroidLog() {
    return (ULogger::sMode & kModeAndroidLog) != 0;
}
bool toUnifiedLogger() {
    return (ULogger::sMode & kModeUnifiedLogger) != 0;
}

// Formats the short form into a zeroed area; false when formatting failed.
bool formatShortForm(char (&area)[kLineAreaSize], size_t* length, const char* format,
                     va_list args) {
    const int count = vsnprintf(area, sizeof(area), format, args);
    if (count < 0) return false;
    *length =
        static_cast<size_t>(count) < sizeof(area) ? static_cast<size_t>(count) : sizeof(area) - 1;
    return true;
}

void sendToUnifiedLogger(int unifiedLevel, const char* format, va_list args) {
    char area[kLineAreaSize] = {};
    size_t length = 0;
    if (!formatShortForm(area, &length, format, args)) return;
    ULogger* logger = ULogger::sULogger;
    if (logger != nullptr) logger->onLogLine(kModuleId, kTag, unifiedLevel, area, length);
}

}  // namespace

bool isEnabled(Level level) {
    if (!toAndroidLog() && !toUnifiedLogger()) return false;
    const LevelTraits traits = traitsOf(level);
    if (ULogger::sDetailsLevel < traits.minimumDetailsLevel) return false;
    if (traits.needsDetailsMask) {
        const unsigned int mask = ULogger::sNormalDetailsMask;
        if ((mask & kMaskNormalDetails) == 0 || (mask & kMaskScenarioGroups) == 0) return false;
    }
    return true;
}

void write(Level level, const char* function, int line, const char* format, ...) {
    const LevelTraits traits = traitsOf(level);
    if (toAndroidLog()) {
        char text[kLineAreaSize];
        va_list args;
        va_start(args, format);
        vsnprintf(text, sizeof(text), format, args);
        va_end(args);
        if (level == Level::kError) {
            __android_log_print(traits.androidPriority, kTag, "%s (%s){#%d:%s}", text, function,
                                line, kSourcePath);
        } else {
            __android_log_print(traits.androidPriority, kTag, "%s", text);
        }
    }
    if (toUnifiedLogger()) {
        va_list args;
        va_start(args, format);
        sendToUnifiedLogger(traits.unifiedLevel, format, args);
        va_end(args);
    }
}

void fatal(const char* function, int line, const char* format, ...) {
    char text[kLineAreaSize] = {};
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (toUnifiedLogger()) {
        va_start(args, format);
        sendToUnifiedLogger(1, format, args);
        va_end(args);
    }
    if (ULogger::sULogger != nullptr) ULogger::sULogger->onFlush(1);
    __android_log_assert(nullptr, kTag, "%s (%s){#%d:%s}", text, function, line, kSourcePath);
}

}  // namespace log
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
