#include "tables/QueryCache.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "base/ByteHash.h"

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSuffix = ".sqlite";
constexpr const char* kTempMark = ".tmp-";
constexpr const char* kLockSuffix = ".lock";

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

// The database's pages fill the file exactly, and SQLite's quick check of
// its structure passes: a truncated or overwritten cache fails one of them.
bool intact(sqlite3* db, const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    const auto pageSize = queryInt(db, "PRAGMA page_size");
    const auto pages = queryInt(db, "PRAGMA page_count");
    if (error || !pageSize || !pages || static_cast<std::uintmax_t>(*pageSize * *pages) != size) {
        return false;
    }
    const SqliteStatement check = prepareSql(db, "PRAGMA quick_check(1)");
    return sqlite3_step(check.get()) == SQLITE_ROW && columnText(check.get(), 0) == "ok";
}

SqliteDb openReadOnly(const std::string& path) {
    SqliteDb db = openSqlite(immutableUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    execSql(db.get(), "PRAGMA cache_size = -8192");
    return db;
}

// What the cache at `path` needs; a rebuild when it is missing or broken.
UpdatePlan inspect(const std::string& path, const QueryInputs& inputs, SqliteDb* keep = nullptr) {
    UpdatePlan rebuild;
    rebuild.rebuild = true;
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return rebuild;
    try {
        SqliteDb db = openReadOnly(path);
        if (!intact(db.get(), path)) return rebuild;
        UpdatePlan plan = planUpdate(db.get(), inputs);
        if (keep != nullptr && plan.upToDate()) *keep = std::move(db);
        return plan;
    } catch (const SqliteError&) {
        return rebuild;
    }
}

void syncFile(const std::string& path, int flags) {
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0) return;
    const int result = ::fsync(fd);
    (void)::close(fd);
    if (result != 0 && (flags & O_DIRECTORY) == 0) {
        throw CacheUnavailable("cannot write " + path + ": " +
                               std::generic_category().message(errno));
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
    fs::create_directories(mFolder, error);
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
        if (!plan.rebuild) fs::copy_file(path, temporary, fs::copy_options::overwrite_existing);
        {
            const SqliteDb db = openSqlite(temporary, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
            configureForBuilding(db.get());
            if (plan.rebuild) {
                importAll(db.get(), inputs, progress);
            } else {
                importUpdate(db.get(), inputs, plan, progress);
            }
        }
        syncFile(temporary, O_RDONLY);
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            throw CacheUnavailable("cannot write " + path + ": " +
                                   std::generic_category().message(errno));
        }
        syncFile(mFolder, O_RDONLY | O_DIRECTORY);
    } catch (const std::exception& failure) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        if (dynamic_cast<const CacheUnavailable*>(&failure) != nullptr) throw;
        throw CacheUnavailable("cannot write " + path + ": " + failure.what());
    }
}

}  // namespace scenariolog
