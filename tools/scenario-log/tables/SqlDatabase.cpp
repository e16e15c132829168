#include "tables/SqlDatabase.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "base/Sqlite.h"
#include "tables/SqlSchema.h"

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

class CollectedProblems : public ProblemSink {
  public:
    explicit CollectedProblems(std::vector<CatalogProblem>& problems) : mProblems(problems) {}
    void report(const std::string& path, std::optional<std::uint64_t> line,
                std::string_view reason) override {
        mProblems.push_back({path, line, std::string(reason)});
    }

  private:
    std::vector<CatalogProblem>& mProblems;
};

// Each input's absolute path and its spelling, which the stored paths follow.
std::string identityOf(const std::vector<std::string>& inputs) {
    std::vector<std::string> paths;
    for (const std::string& input : inputs) {
        std::error_code error;
        const fs::path canonical = fs::weakly_canonical(fs::absolute(input, error), error);
        paths.push_back((error ? input : canonical.string()) + '\t' + input);
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    std::string identity;
    for (const std::string& path : paths) identity += path + '\n';
    return identity;
}

// The catalog's problems as one text, to tell whether they are still the same.
std::string catalogText(const std::vector<CatalogProblem>& problems) {
    std::string text;
    for (const CatalogProblem& problem : problems) {
        text += problem.path + '\t' + (problem.line ? std::to_string(*problem.line) : "") + '\t' +
                problem.reason + '\n';
    }
    return text;
}

std::optional<std::string> infoText(sqlite3* db, const char* name) {
    const SqliteStatement select = prepareSql(db, "SELECT value FROM cache_info WHERE name = ?1");
    bindText(select.get(), 1, name);
    if (sqlite3_step(select.get()) != SQLITE_ROW) return std::nullopt;
    return std::string(columnText(select.get(), 0));
}

void storeInfo(sqlite3* db, const char* name, const std::string& value) {
    const SqliteStatement store =
        prepareSql(db, "INSERT OR REPLACE INTO cache_info VALUES (?1, ?2)");
    bindText(store.get(), 1, name);
    bindText(store.get(), 2, value);
    runStatement(store.get());
}

struct StoredFile {
    std::string path;
    int index = 0;
    FileFacts facts;
};

// The stored files by series number (from 1; [0] stays empty).
std::vector<std::vector<StoredFile>> storedFiles(sqlite3* db, std::size_t seriesCount) {
    std::vector<std::vector<StoredFile>> files(seriesCount + 1);
    const SqliteStatement select = prepareSql(
        db,
        "SELECT series, path, file_index, size, device, inode, mtime_ns, head_hash, tail_hash "
        "FROM stored_files ORDER BY series, file_index");
    sqlite3_stmt* row = select.get();
    while (sqlite3_step(row) == SQLITE_ROW) {
        const auto series = static_cast<std::size_t>(sqlite3_column_int64(row, 0));
        if (series == 0 || series > seriesCount) throw SqliteError(SQLITE_CORRUPT, "stray file");
        StoredFile file;
        file.path = std::string(columnText(row, 1));
        file.index = sqlite3_column_int(row, 2);
        FileFacts& facts = file.facts;
        facts.readable = sqlite3_column_type(row, 3) != SQLITE_NULL;
        facts.size = sqlite3_column_int64(row, 3);
        facts.device = sqlite3_column_int64(row, 4);
        facts.inode = sqlite3_column_int64(row, 5);
        facts.mtimeNs = sqlite3_column_int64(row, 6);
        facts.headHash = sqlite3_column_int64(row, 7);
        facts.tailHash = sqlite3_column_int64(row, 8);
        files[series].push_back(std::move(file));
    }
    return files;
}

// Whether a stored series is as it was (false), to be imported again (true),
// or beyond an update (nullopt).
std::optional<bool> seriesChanged(const std::vector<StoredFile>& stored, const LogSeries& series,
                                  const std::vector<FileFacts>& facts) {
    if (stored.size() > series.files.size()) return std::nullopt;
    bool changed = stored.size() != series.files.size();
    for (std::size_t i = 0; i < stored.size(); ++i) {
        const LogFile& file = series.files[i];
        if (stored[i].path != file.path || stored[i].index != file.name.index) return std::nullopt;
        if (stored[i].facts == facts[i]) continue;
        if (!onlyGrew(file.path, stored[i].facts, facts[i])) return std::nullopt;
        changed = true;
    }
    return changed;
}

std::vector<std::size_t> allSeries(const QueryInputs& inputs) {
    std::vector<std::size_t> all(inputs.series.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    return all;
}

void importSeries(SqlImport& import, const QueryInputs& inputs, std::size_t position) {
    import.importSeries(inputs.series[position], static_cast<std::int64_t>(position + 1),
                        inputs.facts[position]);
}

}  // namespace

std::uint64_t QueryInputs::bytes(const std::vector<std::size_t>& which) const {
    std::uint64_t total = 0;
    for (std::size_t position : which) {
        for (const FileFacts& fact : facts[position]) {
            total += static_cast<std::uint64_t>(std::max<std::int64_t>(fact.size, 0));
        }
    }
    return total;
}

std::uint64_t QueryInputs::files(const std::vector<std::size_t>& which) const {
    std::uint64_t total = 0;
    for (std::size_t position : which) total += series[position].files.size();
    return total;
}

QueryInputs gatherQueryInputs(const std::vector<std::string>& inputs) {
    QueryInputs gathered;
    gathered.inputs = inputs;
    gathered.identity = identityOf(inputs);
    CollectedProblems problems(gathered.problems);
    gathered.series = catalogInputs(inputs, problems);
    for (const LogSeries& series : gathered.series) {
        std::vector<FileFacts> facts;
        for (const LogFile& file : series.files) facts.push_back(readFileFacts(file.path));
        gathered.facts.push_back(std::move(facts));
    }
    return gathered;
}

UpdatePlan planUpdate(sqlite3* db, const QueryInputs& inputs) {
    UpdatePlan rebuild;
    rebuild.rebuild = true;
    if (infoText(db, "schema_version") != std::to_string(kSqlSchemaVersion) ||
        infoText(db, "storage_version") != std::to_string(kSqlStorageVersion) ||
        infoText(db, "complete") != "1" || infoText(db, "identity") != inputs.identity ||
        infoText(db, "catalog") != catalogText(inputs.problems)) {
        return rebuild;
    }
    std::vector<std::string> names;
    const SqliteStatement select = prepareSql(db, "SELECT id, name FROM stored_series ORDER BY id");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        if (sqlite3_column_int64(select.get(), 0) != static_cast<std::int64_t>(names.size() + 1)) {
            return rebuild;
        }
        names.emplace_back(columnText(select.get(), 1));
    }
    if (names.size() > inputs.series.size()) return rebuild;
    const std::vector<std::vector<StoredFile>> files = storedFiles(db, names.size());
    UpdatePlan plan;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const LogSeries& series = inputs.series[i];
        if (names[i] != series.identity().seriesKey()) return rebuild;
        const auto changed = seriesChanged(files[i + 1], series, inputs.facts[i]);
        if (!changed) return rebuild;
        if (*changed) plan.series.push_back(i);
    }
    for (std::size_t i = names.size(); i < inputs.series.size(); ++i) plan.series.push_back(i);
    return plan;
}

void configureForBuilding(sqlite3* db) {
    // Pages of 16 KiB: fewer pages to read in a scan, and a slightly smaller file.
    execSql(db,
            "PRAGMA page_size = 16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
            "PRAGMA cache_size = -16384; PRAGMA locking_mode = EXCLUSIVE;"
            "PRAGMA temp_store = FILE;");
}

void importAll(sqlite3* db, const QueryInputs& inputs, ImportProgress* progress) {
    createSqlSchema(db);
    execSql(db, "BEGIN");
    storeInfo(db, "identity", inputs.identity);
    storeInfo(db, "catalog", catalogText(inputs.problems));
    storeInfo(db, "generation", "1");
    SqlImport import(db, 1, progress);
    for (const CatalogProblem& problem : inputs.problems) {
        import.report(problem.path, problem.line, problem.reason);
    }
    import.finishProblems();
    const std::vector<std::size_t> all = allSeries(inputs);
    if (progress != nullptr) progress->start(inputs.files(all), inputs.bytes(all));
    for (std::size_t position : all) importSeries(import, inputs, position);
    createSqlIndexes(db);
    analyzeSqlTables(db);
    storeInfo(db, "complete", "1");
    execSql(db, "COMMIT");
    if (progress != nullptr) progress->finish();
}

void importUpdate(sqlite3* db, const QueryInputs& inputs, const UpdatePlan& plan,
                  ImportProgress* progress) {
    const std::int64_t next =
        queryInt(db, "SELECT CAST(value AS INTEGER) FROM cache_info WHERE name = 'generation'")
            .value_or(0) +
        1;
    execSql(db, "BEGIN");
    SqlImport import(db, next, progress);
    if (progress != nullptr) progress->start(inputs.files(plan.series), inputs.bytes(plan.series));
    for (std::size_t position : plan.series) {
        SqlImport::deleteSeries(db, static_cast<std::int64_t>(position + 1));
        importSeries(import, inputs, position);
    }
    storeInfo(db, "generation", std::to_string(next));
    analyzeSqlTables(db);
    execSql(db, "COMMIT");
    // Deleted rows leave free pages; a cache stays within the size of its logs.
    const auto freePages = queryInt(db, "PRAGMA freelist_count");
    const auto pages = queryInt(db, "PRAGMA page_count");
    if (freePages && pages && *freePages * 4 > *pages) execSql(db, "VACUUM");
    if (progress != nullptr) progress->finish();
}

SqliteDb importIntoMemory(const QueryInputs& inputs, ImportProgress* progress) {
    SqliteDb db = openSqlite(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    configureForBuilding(db.get());
    importAll(db.get(), inputs, progress);
    return db;
}

}  // namespace scenariolog
