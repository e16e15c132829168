// The log folder of a run: made before the recorder starts, and compared
// before and after the run to tell which files the run wrote.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace scenariosim {

struct WrittenFile {
    std::string mName;
    uintmax_t mSize;
};

// Makes `folder` and its missing parents; false with `error` set on failure.
bool makeFolderChain(const std::string& folder, std::string* error);

class FolderSnapshot {
  public:
    // Notes the size and modification time of each file now in `folder`.
    explicit FolderSnapshot(const std::string& folder);

    // The files in the folder that are new or changed since the snapshot,
    // sorted by name.
    std::vector<WrittenFile> writtenSince() const;

  private:
    struct FileState {
        uintmax_t mSize;
        int64_t mModifiedNs;
    };

    static std::map<std::string, FileState> scan(const std::string& folder);

    std::string mFolder;
    std::map<std::string, FileState> mBefore;
};

}  // namespace scenariosim
