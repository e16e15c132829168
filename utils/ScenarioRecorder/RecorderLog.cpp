#include "RecorderLog.h"

#include <android/log.h>
#include <stdarg.h>
#include <stdio.h>
#include <zyncam/utils/ULog.h>

#include <algorithm>
#include <limits>

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
        case Level::kError:  // no threshold: errors pass at any details level
            return {std::numeric_limits<int>::min(), false, ANDROID_LOG_ERROR, 1};
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

// The short form of a line, formatted once for both sinks. The area starts
// zeroed, so it holds a string even when formatting fails.
struct ShortForm {
    char text[kLineAreaSize] = {};
    size_t length = 0;
    bool formatted = false;
};

void formatShortForm(ShortForm* line, const char* format, va_list args) {
    const int count = vsnprintf(line->text, sizeof(line->text), format, args);
    if (count < 0) return;
    line->length = std::min(static_cast<size_t>(count), sizeof(line->text) - 1);
    line->formatted = true;
}

void sendToUnifiedLogger(int unifiedLevel, const ShortForm& line) {
    ULogger* logger = ULogger::sULogger;
    if (line.formatted && logger != nullptr) {
        logger->onLogLine(kModuleId, kTag, unifiedLevel, line.text, line.length);
    }
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
    ShortForm shortForm;
    va_list args;
    va_start(args, format);
    formatShortForm(&shortForm, format, args);
    va_end(args);
    if (toAndroidLog()) {
        if (level == Level::kError) {
            __android_log_print(traits.androidPriority, kTag, "%s (%s){#%d:%s}", shortForm.text,
                                function, line, kSourcePath);
        } else {
            __android_log_print(traits.androidPriority, kTag, "%s", shortForm.text);
        }
    }
    if (toUnifiedLogger()) sendToUnifiedLogger(traits.unifiedLevel, shortForm);
}

void fatal(const char* function, int line, const char* format, ...) {
    ShortForm shortForm;
    va_list args;
    va_start(args, format);
    formatShortForm(&shortForm, format, args);
    va_end(args);
    if (toUnifiedLogger()) sendToUnifiedLogger(traitsOf(Level::kError).unifiedLevel, shortForm);
    if (ULogger::sULogger != nullptr) ULogger::sULogger->onFlush(1);
    __android_log_assert(nullptr, kTag, "%s (%s){#%d:%s}", shortForm.text, function, line,
                         kSourcePath);
}

}  // namespace log
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
