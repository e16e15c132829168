// Running a recorder against a temporary log folder and reading its files.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "support/TempDir.h"

namespace testsupport {

// Points the folder property at `folder` and the flush interval at
// `flushMs` for the recorders made while it lives; restores both after.
class RecorderProperties {
  public:
    RecorderProperties(const std::string& folder, int flushMs);
    ~RecorderProperties();
    RecorderProperties(const RecorderProperties&) = delete;
    RecorderProperties& operator=(const RecorderProperties&) = delete;
};

// The log files in `folder` whose names contain `word` ("capture" or
// "preview"), sorted by name.
std::vector<std::string> logFiles(const std::string& folder, const std::string& word);

// Polls `condition` every millisecond until it holds or `timeout` passes.
bool waitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds timeout = std::chrono::seconds(60));

// The thread id of the service thread ("ScenarioRecorder"), or -1.
pid_t findServiceThread();

}  // namespace testsupport
