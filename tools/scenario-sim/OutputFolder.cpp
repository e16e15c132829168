#include "OutputFolder.h"

#include <filesystem>
#include <system_error>

namespace scenariosim {

namespace fs = std::filesystem;

bool makeFolderChain(const std::string& folder, std::string* error) {
    std::error_code code;
    fs::create_directories(folder, code);
    if (code) {
        *error = "cannot make folder '" + folder + "': " + code.message();
        return false;
    }
    if (!fs::is_directory(folder, code)) {
        *error = "'" + folder + "' is not a folder";
        return false;
    }
    return true;
}

FolderSnapshot::FolderSnapshot(const std::string& folder)
    : mFolder(folder), mBefore(scan(folder)) {}

std::vector<WrittenFile> FolderSnapshot::writtenSince() const {
    std::vector<WrittenFile> written;
    for (const auto& [name, state] : scan(mFolder)) {
        const auto before = mBefore.find(name);
        const bool changed = before == mBefore.end() || before->second.mSize != state.mSize ||
                             before->second.mModifiedNs != state.mModifiedNs;
        if (changed) written.push_back({name, state.mSize});
    }
    return written;
}

// Entries that vanish or cannot be read while the folder is listed are left out.
std::map<std::string, FolderSnapshot::FileState> FolderSnapshot::scan(const std::string& folder) {
    std::map<std::string, FileState> files;
    std::error_code code;
    for (fs::directory_iterator it(folder, code), end; !code && it != end; it.increment(code)) {
        std::error_code entryCode;
        if (!it->is_regular_file(entryCode)) continue;
        const uintmax_t size = it->file_size(entryCode);
        const fs::file_time_type modified = it->last_write_time(entryCode);
        if (entryCode) continue;
        const int64_t modifiedNs =
            std::chrono::duration_cast<std::chrono::nanoseconds>(modified.time_since_epoch())
                .count();
        files[it->path().filename().string()] = {size, modifiedNs};
    }
    return files;
}

}  // namespace scenariosim
