#include "tables/FileFacts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/ByteHash.h"
#include "base/FileHandle.h"
#include "reading/LogParser.h"

namespace scenariolog {
namespace {

constexpr std::uint64_t kSeed = 0xF11EFAC7;

// The hash of `length` bytes at `offset`; false when they cannot all be read.
bool hashRange(int fd, std::int64_t offset, std::int64_t length, std::int64_t& hash,
               std::string* bytes = nullptr) {
    std::vector<char> buffer(static_cast<std::size_t>(length));
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t got = ::pread(fd, buffer.data() + done, buffer.size() - done,
                                    static_cast<off_t>(offset) + static_cast<off_t>(done));
        if (got <= 0) return false;
        done += static_cast<std::size_t>(got);
    }
    const std::string_view view(buffer.data(), buffer.size());
    hash = static_cast<std::int64_t>(hashBytes(view, kSeed));
    if (bytes != nullptr) bytes->assign(view);
    return true;
}

std::int64_t tailStart(std::int64_t size) {
    return std::max<std::int64_t>(0, size - kHashedBytes);
}

}  // namespace

bool FileFacts::operator==(const FileFacts& other) const {
    return readable == other.readable && device == other.device && inode == other.inode &&
           size == other.size && mtimeNs == other.mtimeNs && headHash == other.headHash &&
           tailHash == other.tailHash;
}

FileFacts readFileFacts(const std::string& path) {
    FileFacts facts;
    const FileHandle file(path);
    struct stat status {};
    if (file.fd() < 0 || ::fstat(file.fd(), &status) != 0) return facts;
    facts.device = static_cast<std::int64_t>(status.st_dev);
    facts.inode = static_cast<std::int64_t>(status.st_ino);
    facts.size = static_cast<std::int64_t>(status.st_size);
    facts.mtimeNs = static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1000000000 +
                    static_cast<std::int64_t>(status.st_mtim.tv_nsec);
    std::string head;
    const std::int64_t headLength = std::min(facts.size, kHashedBytes);
    const std::int64_t start = tailStart(facts.size);
    facts.readable = hashRange(file.fd(), 0, headLength, facts.headHash, &head) &&
                     hashRange(file.fd(), start, facts.size - start, facts.tailHash);
    const std::string marker = std::string(kContinuedLine) + "\n";
    facts.continued = head.compare(0, marker.size(), marker) == 0;
    return facts;
}

bool onlyGrew(const std::string& path, const FileFacts& before, const FileFacts& now) {
    if (!before.readable || !now.readable || before.device != now.device ||
        before.inode != now.inode || now.size < before.size || now.mtimeNs < before.mtimeNs) {
        return false;
    }
    if (now.size == before.size) return now == before;
    const FileHandle file(path);
    std::int64_t head = 0;
    std::int64_t tail = 0;
    const std::int64_t start = tailStart(before.size);
    return file.fd() >= 0 && hashRange(file.fd(), 0, std::min(before.size, kHashedBytes), head) &&
           hashRange(file.fd(), start, before.size - start, tail) && head == before.headHash &&
           tail == before.tailHash;
}

}  // namespace scenariolog
