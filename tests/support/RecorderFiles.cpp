#include "support/RecorderFiles.h"

#include <cutils/properties.h>
#include <dirent.h>

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
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) return -1;
    pid_t found = -1;
    while (dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') continue;
        const std::string comm =
            readFile(std::string("/proc/self/task/") + entry->d_name + "/comm");
        // The kernel keeps 15 characters of a thread's name.
        if (comm == "ScenarioRecorde\n") found = static_cast<pid_t>(std::stoi(entry->d_name));
    }
    closedir(tasks);
    return found;
}

}  // namespace testsupport
