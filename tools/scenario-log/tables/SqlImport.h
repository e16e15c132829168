// Writes what the walk of a series finds into the tables of SqlSchema.h:
// records, headlines, per-request totals, the series, its
// files and the problems found, through prepared statements in the caller's
// transaction.
//
// Memory stays bounded whatever the size of the series: lines go to the
// database as they are read; the totals of the requests seen lately are kept
// and written out every kRequestBatch requests and at the series' end, and a
// request seen again after that continues from its stored totals.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/Sqlite.h"
#include "reading/LogCatalog.h"
#include "reading/ProblemReport.h"
#include "reading/SeriesWalker.h"
#include "tables/FileFacts.h"
#include "tables/RecordKeyTable.h"

namespace scenariolog {

// Told how an import goes: what it is to read, then now and then the files
// finished and the bytes read so far.
class ImportProgress {
  public:
    virtual ~ImportProgress() = default;
    virtual void start(std::uint64_t /*files*/, std::uint64_t /*bytes*/) {}
    virtual void update(std::uint64_t /*files*/, std::uint64_t /*bytes*/) {}
    virtual void finish() {}
};

class SqlImport : public SeriesVisitor, public ProblemSink {
  public:
    // Problems listed per file, as `summary` lists them; the rest are counted
    // in one more row.
    static constexpr std::uint64_t kListedPerFile = ProblemReport::kListedPerFile;
    static constexpr std::size_t kRequestBatch = 4096;
    // Records go in by statements of this many rows, which cost SQLite much
    // less than as many statements of one row.
    static constexpr std::size_t kRecordBatch = 32;

    // `progress` may be null.
    SqlImport(sqlite3* db, std::int64_t generation, ImportProgress* progress);

    // Walks `series` and stores it as series number `id`; `facts` are those of
    // its files, in their order, read before the walk.
    void importSeries(const LogSeries& series, std::int64_t id,
                      const std::vector<FileFacts>& facts);
    // Deletes every row of series `id`.
    static void deleteSeries(sqlite3* db, std::int64_t id);

    // A problem outside any series (of an input or a file name); inside a
    // walk, a problem of the series' files.
    void report(const std::string& path, std::optional<std::uint64_t> line,
                std::string_view reason) override;
    // Writes the count of the unlisted problems of the last file.
    void finishProblems();

    void beginSeries(const LogSeries& series) override;
    void onHeadline(const LineContext& context, const Headline& headline) override;
    void onRecord(const LineContext& context, const Record& record) override;
    void endSeries(const LogSeries& series) override;

  private:
    struct RequestTotals {
        std::int64_t blocks = 0;
        std::int64_t records = 0;
        std::string headline;
        std::int64_t file = 0;
        std::int64_t line = 0;
    };

    // A record as it is inserted; its text is a copy, as the line's buffer
    // moves on before the batch is written.
    struct PendingRecord {
        std::int64_t file = 0;
        std::int64_t line = 0;
        std::optional<int> request;
        std::optional<std::int64_t> block;
        std::int64_t key = 0;
        std::optional<int> sensor;
        std::optional<int> frame;
        std::optional<int> magic;
        std::string text;
    };

    void enterFile(const LogFile& file);
    void bindRecord(sqlite3_stmt* insert, int first, const PendingRecord& record);
    void flushRecords();
    std::int64_t keyOf(const Record& record);
    RequestTotals& totalsOf(int request, const LineContext& context);
    void flushRequests();
    void insertFiles(const LogSeries& series, const std::vector<FileFacts>& facts);
    void insertSeries(const LogSeries& series);
    void insertProblem(const std::string& path, std::optional<std::uint64_t> line,
                       std::string_view reason);
    void noteProgress(std::size_t lineBytes);

    sqlite3* mDb;
    std::int64_t mGeneration;
    ImportProgress* mProgress;
    SqliteStatement mInsertRecord;
    SqliteStatement mInsertRecords;  // kRecordBatch rows
    SqliteStatement mInsertHeadline;
    SqliteStatement mSelectRequest;
    SqliteStatement mStoreRequest;
    SqliteStatement mInsertProblem;
    SqliteStatement mInsertFile;
    SqliteStatement mStoreSeries;
    SqliteStatement mSelectKey;
    SqliteStatement mInsertKey;

    RecordKeyTable mKeys;
    std::vector<std::int64_t> mKeyIds;  // stored_keys id by mKeys number; 0: not looked up yet

    // Of the series being walked.
    const LogSeries* mSeries = nullptr;
    std::int64_t mSeriesId = 0;
    std::int64_t mFirstFileId = 0;   // stored_files id of its first file; the others follow
    const LogFile* mFile = nullptr;  // the file of the last line seen
    std::int64_t mFileId = 0;
    std::unordered_map<int, RequestTotals> mRequests;
    bool mRequestsStored = false;      // some totals of the series were written out already
    std::optional<int> mBlockRequest;  // request of the block being read, when known
    std::int64_t mBlock = 0;           // its number in the series
    std::int64_t mBlocks = 0;
    std::int64_t mRecords = 0;
    std::int64_t mUnknownRequestRecords = 0;
    std::int64_t mProblems = 0;
    std::vector<PendingRecord> mPending = std::vector<PendingRecord>(kRecordBatch);
    std::size_t mPendingCount = 0;
    std::int64_t mFirstRecord = 0;
    std::int64_t mLastRecord = 0;

    // Problems of the file they are listed for.
    std::string mProblemPath;
    std::uint64_t mProblemsOfPath = 0;

    std::uint64_t mFilesDone = 0;
    std::uint64_t mFilesBefore = 0;  // files done before the series being walked
    std::uint64_t mBytesDone = 0;    // of the files done
    std::uint64_t mFileBytes = 0;    // of the lines of the file being read
    std::uint64_t mNextProgress = 0;
};

}  // namespace scenariolog
