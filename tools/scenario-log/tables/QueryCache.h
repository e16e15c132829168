// The query cache: the tables of a set of inputs kept in one SQLite file
// under the cache folder, so that a later query on unchanged files opens them
// instead of reading the logs again.
//
// The file is named by a hash of the inputs' absolute paths; inside, each log
// file's device, inode, size, modification time and hashes of its first and
// last bytes say what state of the file it holds (SqlDatabase.h). A query
// uses the cache as it is when every file is as stored, brings it up to date
// when files only grew or were added, and builds it anew otherwise, and
// equally when it is corrupt, truncated or of another schema version.
//
// A cache file is the SQLite database and a trailer of kCacheTrailerBytes: a
// mark and a hash of every byte before it, checked before each use, so that a
// cache damaged in any byte is found.
//
// A cache is never changed in place: it is built (or copied and updated) in a
// temporary file in the same folder, sealed and renamed over the old one, so
// that a reader sees a whole cache or none, and a crash leaves no half cache
// in use. Builders of one cache take turns on a lock file (flock);
// a reader that finds a build under way waits for it and then uses its
// result. Where the lock cannot be had, each builder still renames a whole
// file of its own into place, and every reader's answer stays right.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "base/Sqlite.h"
#include "tables/SqlDatabase.h"

namespace scenariolog {

// The cache folder cannot be made, written or read.
class CacheUnavailable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr std::size_t kCacheTrailerBytes = 16;

// Appends the trailer to a finished database file. Throws CacheUnavailable.
void sealCacheFile(const std::string& path);

// $XDG_CACHE_HOME/scenario-log, else $HOME/.cache/scenario-log; nullopt when
// neither variable is set.
std::optional<std::string> defaultCacheFolder();

class QueryCache {
  public:
    explicit QueryCache(std::string folder) : mFolder(std::move(folder)) {}

    // A read-only connection on the tables of `inputs`, from the cache as it
    // is, or after it was built or updated (telling `progress`, which may be
    // null). Throws CacheUnavailable.
    SqliteDb open(const QueryInputs& inputs, ImportProgress* progress);

    // The cache file of `inputs` (it may not exist).
    std::string pathOf(const QueryInputs& inputs) const;

  private:
    void build(const std::string& path, const QueryInputs& inputs, ImportProgress* progress);

    std::string mFolder;
};

}  // namespace scenariolog
