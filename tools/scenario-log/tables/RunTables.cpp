#include "tables/RunTables.h"

#include <optional>

#include "tables/QueryCache.h"
#include "tables/SqlDatabase.h"

namespace scenariolog {

SqliteDb openRunTables(const std::string& input, const RunTablesSource& source,
                       ImportProgress* progress, std::ostream& err) {
    const QueryInputs inputs = gatherQueryInputs({input});
    for (const CatalogProblem& problem : inputs.problems) {
        if (problem.path == input) throw RunInputError(input + ": " + problem.reason);
    }
    if (source.noCache) return importIntoMemory(inputs, progress);
    const auto folder = source.cacheFolder.empty() ? defaultCacheFolder()
                                                   : std::optional<std::string>(source.cacheFolder);
    if (!folder) {
        err << "scenario-log: no cache folder (neither XDG_CACHE_HOME nor HOME is set); "
               "reading into memory\n";
        return importIntoMemory(inputs, progress);
    }
    try {
        return QueryCache(*folder).open(inputs, progress);
    } catch (const CacheUnavailable& failure) {
        if (progress != nullptr) progress->finish();
        err << "scenario-log: " << failure.what() << "; reading into memory\n";
        return importIntoMemory(inputs, progress);
    }
}

}  // namespace scenariolog
