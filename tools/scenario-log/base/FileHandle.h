// A file descriptor that closes itself: the reader's few reads and locks
// that need a descriptor rather than a stream (pread of a hash window,
// flock of a cache) hold one for exactly the scope that uses it.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace scenariolog {

class FileHandle {
  public:
    // fd() is negative when the file could not be opened (errno says why).
    explicit FileHandle(const std::string& path, int flags = O_RDONLY)
        : mFd(::open(path.c_str(), flags | O_CLOEXEC)) {}
    ~FileHandle() {
        if (mFd >= 0) (void)::close(mFd);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    int fd() const { return mFd; }

  private:
    int mFd;
};

}  // namespace scenariolog
