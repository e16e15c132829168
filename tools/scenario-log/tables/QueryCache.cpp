#include "tables/QueryCache.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/ByteHash.h"
#include "base/FileHandle.h"

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSuffix = ".sqlite";
constexpr const char* kTempMark = ".tmp-";
constexpr const char* kLockSuffix = ".lock";
constexpr char kTrailerMagic[8] = {'S', 'Q', 'L', 'C', 'A', 'C', 'H', 'E'};
constexpr std::uint64_t kTrailerSeed = 0x5EA1ED;

// An exclusive flock on the lock file of one cache, held while it lives; not
// held when the file cannot be opened or locked (held() false).
class CacheLock {
  public:
    explicit CacheLock(const std::string& path)
        : mFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        int result = -1;
        while (mFd >= 0 && (result = ::flock(mFd, LOCK_EX)) != 0 && errno == EINTR) {
        }
        mHeld = result == 0;
    }
    ~CacheLock() {
        if (mFd >= 0) (void)::close(mFd);  // releases the lock
    }
    CacheLock(const CacheLock&) = delete;
    CacheLock& operator=(const CacheLock&) = delete;

    bool held() const { return mHeld; }

  private:
    int mFd;
    bool mHeld = false;
};

std::string hexOf(std::uint64_t value) {
    static const char* const kDigits = "0123456789abcdef";
    std::string hex(16, '0');
    for (int i = 15; i >= 0; --i, value >>= 4)
        hex[static_cast<std::size_t>(i)] = kDigits[value & 15];
    return hex;
}

// "file:" URI of an absolute path, opened as a file that nobody changes:
// SQLite then takes no locks and reads no journal.
std::string immutableUri(const std::string& path) {
    static const char* const kDigits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char c : fs::absolute(path).string()) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '/' || c == '-' || c == '_' || c == '.' ||
                           c == '~';
        if (plain) {
            uri += c;
        } else {
            uri += '%';
            uri += kDigits[byte >> 4];
            uri += kDigits[byte & 15];
        }
    }
    return uri + "?immutable=1";
}

// The hash of the first `length` bytes of the file, a megabyte at a time.
std::optional<std::uint64_t> hashFile(int fd, std::uint64_t length) {
    constexpr std::size_t kChunk = std::size_t{1} << 20;
    std::vector<char> buffer(kChunk);
    std::uint64_t hash = kTrailerSeed;
    for (std::uint64_t done = 0; done < length;) {
        const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - done));
        const ssize_t got = ::pread(fd, buffer.data(), want, static_cast<off_t>(done));
        if (got <= 0) return std::nullopt;
        hash = hashBytes(std::string_view(buffer.data(), static_cast<std::size_t>(got)), hash);
        done += static_cast<std::uint64_t>(got);
    }
    return hash;
}

// The size of the database in a sealed cache file: all but its trailer,
// whose hash matches every byte before it; nullopt when it does not.
std::optional<std::uint64_t> sealedSize(const FileHandle& file) {
    struct stat status {};
    if (file.fd() < 0 || ::fstat(file.fd(), &status) != 0 ||
        status.st_size < static_cast<off_t>(kCacheTrailerBytes)) {
        return std::nullopt;
    }
    const auto size = static_cast<std::uint64_t>(status.st_size) - kCacheTrailerBytes;
    char trailer[kCacheTrailerBytes];
    if (::pread(file.fd(), trailer, sizeof trailer, static_cast<off_t>(size)) !=
            static_cast<ssize_t>(sizeof trailer) ||
        std::memcmp(trailer, kTrailerMagic, sizeof kTrailerMagic) != 0) {
        return std::nullopt;
    }
    std::uint64_t stored = 0;
    std::memcpy(&stored, trailer + sizeof kTrailerMagic, sizeof stored);
    const auto hash = hashFile(file.fd(), size);
    if (!hash || *hash != stored) return std::nullopt;
    return size;
}

// `path` names the file open as `file`. Caches are replaced by renaming new
// files over them, never by renaming one back, and an open file keeps its
// inode: so the path named that file all the while since it was opened.
bool stillNames(const FileHandle& file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file.fd(), &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

SqliteDb openReadOnly(const std::string& path) {
    SqliteDb db = openSqlite(immutableUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    execSql(db.get(), "PRAGMA cache_size = -8192");
    return db;
}

// What the cache at `path` needs; a rebuild when it is missing or broken:
// when a byte differs from what was sealed, or the database's pages do not
// fill the rest of the file exactly (truncated, overwritten). The bytes are
// checked in the file that SQLite then reads: the one still at `path`.
UpdatePlan inspect(const std::string& path, const QueryInputs& inputs, SqliteDb* keep = nullptr) {
    UpdatePlan rebuild;
    rebuild.rebuild = true;
    const FileHandle file(path, O_RDONLY);
    const auto size = sealedSize(file);
    if (!size) return rebuild;
    try {
        SqliteDb db = openReadOnly(path);
        const auto pageSize = queryInt(db.get(), "PRAGMA page_size");
        const auto pages = queryInt(db.get(), "PRAGMA page_count");
        if (!stillNames(file, path) || !pageSize || !pages ||
            static_cast<std::uint64_t>(*pageSize * *pages) != *size) {
            return rebuild;
        }
        UpdatePlan plan = planUpdate(db.get(), inputs);
        if (keep != nullptr && plan.upToDate()) *keep = std::move(db);
        return plan;
    } catch (const SqliteError&) {
        return rebuild;
    }
}

// Temporary files of builders that ended without renaming them; only removed
// while the lock is held, when no other builder of this cache is at work.
void removeLeftovers(const std::string& folder, const std::string& cacheName) {
    const std::string prefix = cacheName + kTempMark;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename().string().rfind(prefix, 0) == 0) {
            std::error_code ignored;
            fs::remove(entry->path(), ignored);
        }
    }
}

std::string temporaryPath(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    return path + kTempMark + std::to_string(::getpid()) + "-" + std::to_string(++counter);
}

std::optional<std::string> environment(const char* name) {
    // Read while the reader runs no other thread that could change it.
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    if (value == nullptr || value[0] != '/') return std::nullopt;
    return std::string(value);
}

}  // namespace

void sealCacheFile(const std::string& path) {
    const FileHandle file(path, O_RDWR);
    struct stat status {};
    if (file.fd() < 0 || ::fstat(file.fd(), &status) != 0) {
        throw CacheUnavailable("cannot read " + path + ": " +
                               std::generic_category().message(errno));
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    const auto hash = hashFile(file.fd(), size);
    char trailer[kCacheTrailerBytes];
    std::memcpy(trailer, kTrailerMagic, sizeof kTrailerMagic);
    if (hash) std::memcpy(trailer + sizeof kTrailerMagic, &*hash, sizeof *hash);
    if (!hash || ::pwrite(file.fd(), trailer, sizeof trailer, static_cast<off_t>(size)) !=
                     static_cast<ssize_t>(sizeof trailer)) {
        throw CacheUnavailable("cannot write " + path + ": " +
                               std::generic_category().message(errno));
    }
}

std::optional<std::string> defaultCacheFolder() {
    if (const auto xdg = environment("XDG_CACHE_HOME")) return *xdg + "/scenario-log";
    if (const auto home = environment("HOME")) return *home + "/.cache/scenario-log";
    return std::nullopt;
}

std::string QueryCache::pathOf(const QueryInputs& inputs) const {
    const std::uint64_t low = hashBytes(inputs.identity, 0x51C0CAC8);
    const std::uint64_t high = hashBytes(inputs.identity, 0xCAC8E51C);
    return (fs::path(mFolder) / (hexOf(high) + hexOf(low) + kSuffix)).string();
}

SqliteDb QueryCache::open(const QueryInputs& inputs, ImportProgress* progress) {
    const std::string path = pathOf(inputs);
    SqliteDb db;
    if (inspect(path, inputs, &db).upToDate()) return db;
    std::error_code error;
    // The caches hold the logs' texts: their own folder is for its owner only.
    fs::create_directories(fs::path(mFolder).parent_path(), error);
    if (!error && ::mkdir(mFolder.c_str(), 0700) != 0 && errno != EEXIST) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) throw CacheUnavailable("cannot make " + mFolder + ": " + error.message());
    const CacheLock lock(path + kLockSuffix);
    // Another reader may have brought it up to date while this one waited.
    if (inspect(path, inputs, &db).upToDate()) return db;
    if (lock.held()) removeLeftovers(mFolder, fs::path(path).filename().string());
    build(path, inputs, progress);
    try {
        return openReadOnly(path);
    } catch (const SqliteError& failure) {
        throw CacheUnavailable("cannot read " + path + ": " + failure.what());
    }
}

void QueryCache::build(const std::string& path, const QueryInputs& inputs,
                       ImportProgress* progress) {
    const std::string temporary = temporaryPath(path);
    try {
        const UpdatePlan plan = inspect(path, inputs);
        if (!plan.rebuild) {
            fs::copy_file(path, temporary, fs::copy_options::overwrite_existing);
            fs::resize_file(temporary, fs::file_size(temporary) - kCacheTrailerBytes);
        }
        {
            const SqliteDb db = openSqlite(temporary, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
            configureForBuilding(db.get());
            if (plan.rebuild) {
                importAll(db.get(), inputs, progress);
            } else {
                importUpdate(db.get(), inputs, plan, progress);
            }
        }
        // Not synced to disk: a crash that loses written bytes leaves a file
        // whose trailer no longer matches, and the next reader rebuilds it.
        sealCacheFile(temporary);
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            throw CacheUnavailable("cannot write " + path + ": " +
                                   std::generic_category().message(errno));
        }
    } catch (const std::exception& failure) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        if (dynamic_cast<const CacheUnavailable*>(&failure) != nullptr) throw;
        throw CacheUnavailable("cannot write " + path + ": " + failure.what());
    }
}

}  // namespace scenariolog
