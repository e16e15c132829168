#include "support/RecorderFiles.h"

#include <cutils/properties.h>

#include <filesystem>
#include <thread>

#include "RecorderProperties.h"

namespace testsupport {

namespace {
using NSCam::TuningUtils::scenariorecorder::kFlushIntervalProperty;
using NSCam::TuningUtils::scenariorecorder::kFolderProperty;
}  // namespace

RecorderProperties::RecorderProperties(const std::string& folder, int flushMs) {
    property_set(kFolderProperty, folder.c_str());
    property_set(kFlushIntervalProperty, std::to_string(flushMs).c_str());
}

RecorderProperties::~RecorderProperties() {
    property_set(kFolderProperty, "");
    property_set(kFlushIntervalProperty, "");
}

std::vector<std::string> logFiles(const std::string& folder, const std::string& word) {
    std::vector<std::string> found;
    for (const std::string& name : listFiles(folder)) {
        if (name.find("_" + word + "__") != std::string::npos) found.push_back(folder + "/" + name);
    }
    return found;
}

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

pid_t findServiceThread() {
    pid_t found = -1;
    std::error_code ignored;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ignored)) {
        // The kernel keeps 15 characters of a thread's name.
        if (readFile(task.path() / "comm") == "ScenarioRecorde\n")
            found = static_cast<pid_t>(std::stoi(task.path().filename()));
    }
    return found;
}

}  // namespace testsupport
