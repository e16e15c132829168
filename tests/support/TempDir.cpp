#include "support/TempDir.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace testsupport {

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                          "/scenario_recorder_test.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    mPath = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::vector<std::string> listFiles(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return names;
    while (dirent* entry = readdir(dir)) {
        struct stat info;
        const std::string path = folder + "/" + entry->d_name;
        if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) names.push_back(entry->d_name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::istringstream in(readFile(path));
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
}

}  // namespace testsupport
