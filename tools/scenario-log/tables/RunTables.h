// The tables of one run (a folder or a file) for `compare` and the page's
// comparison: from the query cache (QueryCache.h) while the files are as it
// holds them, else built or updated there; imported into memory when no cache
// is wanted or none can be had.
#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

#include "base/Sqlite.h"
#include "tables/SqlImport.h"

namespace scenariolog {

// An input that yields no tuning log file: missing, unreadable, a folder
// without one, a foreign file name. what(): "PATH: reason".
class RunInputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct RunTablesSource {
    bool noCache = false;
    std::string cacheFolder;  // empty: defaultCacheFolder()
};

// Throws RunInputError, or SqliteError when the tables cannot be read. Says
// on `err` why it reads into memory when the cache cannot be had.
SqliteDb openRunTables(const std::string& input, const RunTablesSource& source,
                       ImportProgress* progress, std::ostream& err);

}  // namespace scenariolog
