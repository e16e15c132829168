// The library's log lines: tag "ScenarioRecorder", the reporting function's
// name in brackets, four levels and a fatal assertion. Each line goes to the
// Android log and/or the unified camera logger, as the unified logger's static
// settings say at the moment of logging (see RecorderLog.cpp).
//
// Use the macros (SR_LOG_AS names the function explicitly); they pass the enclosing function's name
// (__func__, which is "operator()" inside a lambda) and the source line:
//   SR_LOGE("mkdir(%s) failed, errno = %d", path, errno);
// prints "[getFolderPath] mkdir(/x) failed, errno = 2". Format arguments are
// evaluated only when the line passes its level's gate.
#pragma once

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {
namespace log {

enum class Level { kError, kWarning, kInfo, kDebug };

constexpr const char* kTag = "ScenarioRecorder";
constexpr unsigned int kModuleId = 0x40007001;
// Source path given in the long form of error lines.
constexpr const char* kSourcePath = "utils/ScenarioRecorder/ScenarioRecorder";

// Whether a line of `level` reaches any sink under the current settings.
bool isEnabled(Level level);

// Writes one line; `format` begins with "[%s] " and its first argument is
// `function`.
void write(Level level, const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Sends the line to the unified logger, flushes it, and aborts through the
// Android log's assertion with the long form of the line.
[[noreturn]] void fatal(const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace log
}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam

// Logs as `function`: for a helper that does the work of a named operation,
// whose name is what users grep for.
#define SR_LOG_AS(level, function, fmt, ...)                                      \
    do {                                                                          \
        if (::NSCam::TuningUtils::scenariorecorder::log::isEnabled(level)) {      \
            ::NSCam::TuningUtils::scenariorecorder::log::write(                   \
                level, function, __LINE__, "[%s] " fmt, function, ##__VA_ARGS__); \
        }                                                                         \
    } while (0)

#define SR_LOG_AT(level, fmt, ...) SR_LOG_AS(level, __func__, fmt, ##__VA_ARGS__)

#define SR_LOGE(fmt, ...) \
    SR_LOG_AT(::NSCam::TuningUtils::scenariorecorder::log::Level::kError, fmt, ##__VA_ARGS__)
#define SR_LOGW(fmt, ...) \
    SR_LOG_AT(::NSCam::TuningUtils::scenariorecorder::log::Level::kWarning, fmt, ##__VA_ARGS__)
#define SR_LOGI(fmt, ...) \
    SR_LOG_AT(::NSCam::TuningUtils::scenariorecorder::log::Level::kInfo, fmt, ##__VA_ARGS__)
#define SR_LOGD(fmt, ...) \
    SR_LOG_AT(::NSCam::TuningUtils::scenariorecorder::log::Level::kDebug, fmt, ##__VA_ARGS__)
#define SR_FATAL(fmt, ...)                                                                        \
    ::NSCam::TuningUtils::scenariorecorder::log::fatal(__func__, __LINE__, "[%s] " fmt, __func__, \
                                                       ##__VA_ARGS__)
