// The inputs of a query, and their import into a database of SqlSchema.h:
// whole into an empty database, or as an update of a database that holds an
// earlier state of the same inputs.
//
// An update re-imports each series one of whose files grew or that gained
// files, from the series' start, and imports new series; the other series
// keep their rows. This is exactly what a whole import would store: a series'
// rows depend only on its own files (the walker starts afresh with each
// series), and a file that only grew reads as before up to its old end, so
// walking the series again gives its old rows and then the new ones. A
// series cut short, a file replaced or rewritten, a series gone or one that
// sorts before a stored one needs a whole import (UpdatePlan::rebuild).
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Sqlite.h"
#include "reading/LogCatalog.h"
#include "tables/FileFacts.h"
#include "tables/SqlImport.h"

namespace scenariolog {

struct CatalogProblem {
    std::string path;
    std::optional<std::uint64_t> line;
    std::string reason;
};

struct QueryInputs {
    std::vector<std::string> inputs;            // as given
    std::string identity;                       // the inputs' paths, absolute and as given, sorted
    std::vector<LogSeries> series;              // in the catalog's order
    std::vector<std::vector<FileFacts>> facts;  // by series, then file
    std::vector<CatalogProblem> problems;       // found while cataloguing the inputs

    std::uint64_t bytes(const std::vector<std::size_t>& series) const;
    std::uint64_t files(const std::vector<std::size_t>& series) const;
};

// Catalogues the inputs and reads the facts of their files.
QueryInputs gatherQueryInputs(const std::vector<std::string>& inputs);

struct UpdatePlan {
    bool rebuild = false;             // import everything into an empty database
    std::vector<std::size_t> series;  // else: the series (by position) to import anew
    bool upToDate() const { return !rebuild && series.empty(); }
};

// What the database needs to hold the inputs as they are now; a rebuild
// when it is of another schema version or other inputs. Throws SqliteError
// when the database cannot be read.
UpdatePlan planUpdate(sqlite3* db, const QueryInputs& inputs);

// Settings for a database that is built and then used as a whole (never
// half): no journal, no waiting for the disk, a bounded page cache.
void configureForBuilding(sqlite3* db);

// Imports everything into an empty database. Throws SqliteError.
void importAll(sqlite3* db, const QueryInputs& inputs, ImportProgress* progress);

// A database in memory with everything imported (--no-cache, or a cache that
// cannot be had). Throws SqliteError.
SqliteDb importIntoMemory(const QueryInputs& inputs, ImportProgress* progress);

// Carries out `plan` (not a rebuild) on a database that holds an earlier state
// of the inputs. Throws SqliteError.
void importUpdate(sqlite3* db, const QueryInputs& inputs, const UpdatePlan& plan,
                  ImportProgress* progress);

}  // namespace scenariolog
