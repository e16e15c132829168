// What identifies a log file's state for the query cache: its place on the
// file system (device, inode), size and modification time, and hashes of its
// first and last bytes, so that a file that only grew can be told from one
// that was rewritten.
#pragma once

#include <cstdint>
#include <string>

namespace scenariolog {

struct FileFacts {
    bool readable = false;  // stat() and the reads below succeeded
    std::int64_t device = 0;
    std::int64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t mtimeNs = 0;
    std::int64_t headHash = 0;  // of the first kHashedBytes (or fewer) bytes
    std::int64_t tailHash = 0;  // of the kHashedBytes (or fewer) bytes before `size`
    bool continued = false;     // starts with "-- CONTINUED --\n"

    bool operator==(const FileFacts& other) const;
    bool operator!=(const FileFacts& other) const { return !(*this == other); }
};

constexpr std::int64_t kHashedBytes = 4096;

FileFacts readFileFacts(const std::string& path);

// True when the file of `now` is the file of `before` with bytes appended:
// the same device and inode, not smaller, the same first bytes, and the bytes
// before the old end as they were.
bool onlyGrew(const std::string& path, const FileFacts& before, const FileFacts& now);

}  // namespace scenariolog
