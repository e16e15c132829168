// The scratch folder of a fuzz target that writes files: one per process,
// made by LLVMFuzzerInitialize and removed at exit, so that runs in parallel
// never share files.
#pragma once

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

namespace fuzzscratch {

// Plain characters, which outlive the static objects that exit destroys
// before it calls removeFolder.
inline char gFolder[64];

inline void removeFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(gFolder, ignored);
}

// Makes /tmp/<target>.XXXXXX; aborts when it cannot.
inline void makeFolder(const char* target) {
    snprintf(gFolder, sizeof gFolder, "/tmp/%s.XXXXXX", target);
    if (mkdtemp(gFolder) == nullptr) abort();
    atexit(removeFolder);
}

inline std::string folder() {
    return gFolder;
}

}  // namespace fuzzscratch
