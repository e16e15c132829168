// No exception reaches a caller of the recorder: an operation that fails with
// one (in practice std::bad_alloc) is abandoned and reported by an error line
// in the operation's name.
#pragma once

#include <exception>
#include <utility>

#include "RecorderLog.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

template <typename Operation>
void runReportingFailures(const char* function, Operation&& operation) noexcept {
    try {
        std::forward<Operation>(operation)();
    } catch (const std::exception& error) {
        SR_LOG_AS(log::Level::kError, function, "failed: %s", error.what());
    } catch (...) {
        SR_LOG_AS(log::Level::kError, function, "failed");
    }
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
