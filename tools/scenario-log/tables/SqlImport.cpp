#include "tables/SqlImport.h"

#include <string>

namespace scenariolog {
namespace {

constexpr std::uint64_t kProgressStep = std::uint64_t{1} << 20;
constexpr std::string_view kSnippetSeparator = ", ";

constexpr const char* kInsertRecord =
    "INSERT INTO stored_records(series, file, line, request, block, key, sensor, frame, magic, "
    "text) VALUES ";
constexpr const char* kRecordValues = "(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr int kRecordColumns = 10;

std::string insertRecords(std::size_t rows) {
    std::string sql = kInsertRecord;
    for (std::size_t i = 0; i < rows; ++i) sql += std::string(i == 0 ? "" : ", ") + kRecordValues;
    return sql;
}
constexpr const char* kInsertHeadline =
    "INSERT INTO stored_headlines(series, file, line, request, block, unique_key, ndd, snippets) "
    "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)";
constexpr const char* kSelectRequest =
    "SELECT blocks, records, headline, file, line FROM stored_requests "
    "WHERE series = ?1 AND request = ?2";
constexpr const char* kStoreRequest =
    "INSERT OR REPLACE INTO stored_requests VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)";
constexpr const char* kInsertProblem =
    "INSERT INTO stored_problems(series, path, line, reason) VALUES (?1, ?2, ?3, ?4)";
constexpr const char* kInsertFile =
    "INSERT INTO stored_files(series, path, file_index, size, continued, device, inode, "
    "mtime_ns, head_hash, tail_hash) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)";
constexpr const char* kStoreSeries =
    "INSERT OR REPLACE INTO stored_series(id, name, kind, prefix, time_stamp, unique_key, "
    "request, tag, prefix_cut, files, blocks, records, unknown_request_records, problems, "
    "first_record, last_record, generation) "
    "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17)";
constexpr const char* kSelectKey =
    "SELECT id FROM stored_keys WHERE module = ?1 AND record_kind = ?2 AND decision IS ?3 "
    "AND stage IS ?4 AND result IS ?5";
constexpr const char* kInsertKey =
    "INSERT INTO stored_keys(module, record_kind, decision, stage, result) "
    "VALUES (?1, ?2, ?3, ?4, ?5)";

void bindOptionalText(sqlite3_stmt* statement, int index, bool present, std::string_view text) {
    if (present) {
        bindText(statement, index, text);
    } else {
        (void)sqlite3_bind_null(statement, index);
    }
}

void bindRequest(sqlite3_stmt* statement, int index, const std::optional<int>& request) {
    bindInt(statement, index, request);
}

// ", a, b" as its snippets "a" and "b", as the view `snippets` splits them.
template <typename Each>
void forEachSnippet(std::string_view snippets, Each each) {
    while (snippets.size() >= kSnippetSeparator.size()) {
        snippets.remove_prefix(kSnippetSeparator.size());
        const std::size_t end = snippets.find(kSnippetSeparator);
        each(snippets.substr(0, end));
        if (end == std::string_view::npos) break;
        snippets.remove_prefix(end);
    }
}

}  // namespace

SqlImport::SqlImport(sqlite3* db, std::int64_t generation, ImportProgress* progress)
    : mDb(db),
      mGeneration(generation),
      mProgress(progress),
      mInsertRecord(prepareSql(db, insertRecords(1))),
      mInsertRecords(prepareSql(db, insertRecords(kRecordBatch))),
      mInsertHeadline(prepareSql(db, kInsertHeadline)),
      mSelectRequest(prepareSql(db, kSelectRequest)),
      mStoreRequest(prepareSql(db, kStoreRequest)),
      mInsertProblem(prepareSql(db, kInsertProblem)),
      mInsertFile(prepareSql(db, kInsertFile)),
      mStoreSeries(prepareSql(db, kStoreSeries)),
      mSelectKey(prepareSql(db, kSelectKey)),
      mInsertKey(prepareSql(db, kInsertKey)) {}

void SqlImport::importSeries(const LogSeries& series, std::int64_t id,
                             const std::vector<FileFacts>& facts) {
    mSeriesId = id;
    insertFiles(series, facts);
    walkSeries(series, *this, *this);
    mSeriesId = 0;
}

void SqlImport::deleteSeries(sqlite3* db, std::int64_t id) {
    static constexpr const char* kDeleteRecords =
        "DELETE FROM stored_records WHERE id BETWEEN "
        "(SELECT first_record FROM stored_series WHERE id = ?1) "
        "AND (SELECT last_record FROM stored_series WHERE id = ?1)";
    static constexpr const char* kDeletes[] = {
        kDeleteRecords,
        "DELETE FROM stored_headlines WHERE series = ?1",
        "DELETE FROM stored_requests WHERE series = ?1",
        "DELETE FROM stored_problems WHERE series = ?1",
        "DELETE FROM stored_files WHERE series = ?1",
        "DELETE FROM stored_series WHERE id = ?1",
    };
    for (const char* sql : kDeletes) {
        const SqliteStatement statement = prepareSql(db, sql);
        bindInt(statement.get(), 1, id);
        runStatement(statement.get());
    }
}

void SqlImport::insertFiles(const LogSeries& series, const std::vector<FileFacts>& facts) {
    sqlite3_stmt* insert = mInsertFile.get();
    for (std::size_t i = 0; i < series.files.size(); ++i) {
        const LogFile& file = series.files[i];
        const FileFacts& fact = facts[i];
        bindInt(insert, 1, mSeriesId);
        bindText(insert, 2, file.path);
        bindInt(insert, 3, std::int64_t{file.name.index});
        bindInt(insert, 4, fact.readable ? std::optional<std::int64_t>(fact.size) : std::nullopt);
        bindInt(insert, 5, std::int64_t{fact.continued ? 1 : 0});
        bindInt(insert, 6, fact.device);
        bindInt(insert, 7, fact.inode);
        bindInt(insert, 8, fact.mtimeNs);
        bindInt(insert, 9, fact.headHash);
        bindInt(insert, 10, fact.tailHash);
        runStatement(insert);
        if (i == 0) mFirstFileId = sqlite3_last_insert_rowid(mDb);
    }
}

void SqlImport::beginSeries(const LogSeries& series) {
    mSeries = &series;
    mFilesBefore = mFilesDone;
    mFile = nullptr;
    mFileId = 0;
    mRequests.clear();
    mRequestsStored = false;
    mBlockRequest.reset();
    mBlock = 0;
    mBlocks = 0;
    mRecords = 0;
    mUnknownRequestRecords = 0;
    mProblems = 0;
    mFirstRecord = 0;
    mLastRecord = 0;
}

// A file after a gap in the indexes (missing, or unreadable, so that none of
// its lines were seen) leaves the block being read unknown, as the walker
// leaves its request.
void SqlImport::enterFile(const LogFile& file) {
    if (mFile != nullptr) {
        if (file.name.index != mFile->name.index + 1) mBlockRequest.reset();
        ++mFilesDone;
        mBytesDone += mFileBytes;
        mFileBytes = 0;
    }
    mFile = &file;
    mFileId = mFirstFileId + (&file - mSeries->files.data());
}

void SqlImport::noteProgress(std::size_t lineBytes) {
    mFileBytes += lineBytes + 1;
    if (mProgress == nullptr || mBytesDone + mFileBytes < mNextProgress) return;
    mNextProgress = mBytesDone + mFileBytes + kProgressStep;
    mProgress->update(mFilesDone, mBytesDone + mFileBytes);
}

SqlImport::RequestTotals& SqlImport::totalsOf(int request, const LineContext& context) {
    const auto found = mRequests.find(request);
    if (found != mRequests.end()) return found->second;
    if (mRequests.size() >= kRequestBatch) flushRequests();
    RequestTotals& totals = mRequests[request];
    sqlite3_stmt* select = mSelectRequest.get();
    bindInt(select, 1, mSeriesId);
    bindInt(select, 2, std::int64_t{request});
    if (mRequestsStored && sqlite3_step(select) == SQLITE_ROW) {
        totals.blocks = sqlite3_column_int64(select, 0);
        totals.records = sqlite3_column_int64(select, 1);
        totals.headline = std::string(columnText(select, 2));
        totals.file = sqlite3_column_int64(select, 3);
        totals.line = sqlite3_column_int64(select, 4);
    } else {
        totals.file = mFileId;
        totals.line = static_cast<std::int64_t>(context.line);
    }
    (void)sqlite3_reset(select);
    return totals;
}

void SqlImport::flushRequests() {
    sqlite3_stmt* store = mStoreRequest.get();
    for (const auto& [request, totals] : mRequests) {
        bindInt(store, 1, mSeriesId);
        bindInt(store, 2, std::int64_t{request});
        bindInt(store, 3, totals.blocks);
        bindInt(store, 4, totals.records);
        bindText(store, 5, totals.headline);
        bindInt(store, 6, totals.file);
        bindInt(store, 7, totals.line);
        runStatement(store);
    }
    mRequestsStored = mRequestsStored || !mRequests.empty();
    mRequests.clear();
}

void SqlImport::onHeadline(const LineContext& context, const Headline& headline) {
    if (context.file != mFile) enterFile(*context.file);
    ++mBlocks;
    mBlockRequest = context.request;
    if (context.request) {
        RequestTotals& totals = totalsOf(*context.request, context);
        mBlock = ++totals.blocks;
        forEachSnippet(headline.snippets, [&totals](std::string_view text) {
            if (!totals.headline.empty()) totals.headline += kSnippetSeparator;
            totals.headline += text;
        });
    }
    sqlite3_stmt* insert = mInsertHeadline.get();
    bindInt(insert, 1, mSeriesId);
    bindInt(insert, 2, mFileId);
    bindInt(insert, 3, static_cast<std::int64_t>(context.line));
    bindRequest(insert, 4, context.request);
    bindInt(insert, 5, context.request ? std::optional<std::int64_t>(mBlock) : std::nullopt);
    bindInt(insert, 6, headline.uniqueKey);
    bindText(insert, 7, context.text.substr(0, context.text.size() - headline.snippets.size()));
    bindText(insert, 8, headline.snippets);
    runStatement(insert);
    noteProgress(context.text.size());
}

std::int64_t SqlImport::keyOf(const Record& record) {
    const std::size_t number = mKeys.idOf(record);
    if (number >= mKeyIds.size()) mKeyIds.resize(number + 1, 0);
    std::int64_t& id = mKeyIds[number];
    if (id != 0) return id;
    const bool decision = record.kind == RecordKind::kDecision;
    for (sqlite3_stmt* statement : {mSelectKey.get(), mInsertKey.get()}) {
        bindText(statement, 1, record.module);
        bindText(statement, 2, recordKindName(record.kind));
        bindOptionalText(statement, 3, decision, record.decision);
        bindOptionalText(statement, 4, !decision, record.stage);
        bindOptionalText(statement, 5, !decision, record.result);
        if (statement == mInsertKey.get()) {
            runStatement(statement);
            id = sqlite3_last_insert_rowid(mDb);
            break;
        }
        const bool found = sqlite3_step(statement) == SQLITE_ROW;
        if (found) id = sqlite3_column_int64(statement, 0);
        (void)sqlite3_reset(statement);
        if (found) break;
    }
    return id;
}

void SqlImport::onRecord(const LineContext& context, const Record& record) {
    if (context.file != mFile) enterFile(*context.file);
    ++mRecords;
    if (context.request) {
        ++totalsOf(*context.request, context).records;
    } else {
        ++mUnknownRequestRecords;
    }
    const bool inBlock = context.request && context.request == mBlockRequest;
    PendingRecord& pending = mPending[mPendingCount];
    pending.file = mFileId;
    pending.line = static_cast<std::int64_t>(context.line);
    pending.request = context.request;
    pending.block = inBlock ? std::optional<std::int64_t>(mBlock) : std::nullopt;
    pending.key = keyOf(record);
    pending.sensor = record.sensorId;
    pending.frame = record.frameNum;
    pending.magic = record.magicNum;
    pending.text.assign(record.text);
    if (++mPendingCount == kRecordBatch) flushRecords();
    noteProgress(context.text.size());
}

void SqlImport::bindRecord(sqlite3_stmt* insert, int first, const PendingRecord& record) {
    bindInt(insert, first, mSeriesId);
    bindInt(insert, first + 1, record.file);
    bindInt(insert, first + 2, record.line);
    bindInt(insert, first + 3, record.request);
    bindInt(insert, first + 4, record.block);
    bindInt(insert, first + 5, record.key);
    bindInt(insert, first + 6, record.sensor);
    bindInt(insert, first + 7, record.frame);
    bindInt(insert, first + 8, record.magic);
    bindText(insert, first + 9, record.text);
}

// The rows of one insert get consecutive ids after those of the last one.
void SqlImport::flushRecords() {
    if (mPendingCount == kRecordBatch) {
        for (std::size_t i = 0; i < kRecordBatch; ++i) {
            bindRecord(mInsertRecords.get(), static_cast<int>(i) * kRecordColumns + 1, mPending[i]);
        }
        runStatement(mInsertRecords.get());
    } else {
        for (std::size_t i = 0; i < mPendingCount; ++i) {
            bindRecord(mInsertRecord.get(), 1, mPending[i]);
            runStatement(mInsertRecord.get());
        }
    }
    if (mPendingCount == 0) return;
    mLastRecord = sqlite3_last_insert_rowid(mDb);
    if (mFirstRecord == 0)
        mFirstRecord = mLastRecord - static_cast<std::int64_t>(mPendingCount) + 1;
    mPendingCount = 0;
}

void SqlImport::endSeries(const LogSeries& series) {
    flushRecords();
    flushRequests();
    finishProblems();
    insertSeries(series);
    mBytesDone += mFileBytes;
    mFileBytes = 0;
    mFilesDone = mFilesBefore + series.files.size();
    if (mProgress != nullptr) mProgress->update(mFilesDone, mBytesDone);
}

void SqlImport::insertSeries(const LogSeries& series) {
    const LogFileName& name = series.identity();
    sqlite3_stmt* store = mStoreSeries.get();
    const auto record = [this](std::int64_t id) {
        return mRecords > 0 ? std::optional<std::int64_t>(id) : std::nullopt;
    };
    bindInt(store, 1, mSeriesId);
    const std::string key = name.seriesKey();
    bindText(store, 2, key);
    bindText(store, 3, seriesKindName(name.kind));
    bindText(store, 4, name.prefix);
    bindText(store, 5, name.timeStamp);
    bindInt(store, 6, std::int64_t{name.uniqueKey});
    bindInt(store, 7, std::int64_t{name.requestNum});
    bindInt(store, 8, name.tagNumber);
    bindInt(store, 9, std::int64_t{name.prefixCut ? 1 : 0});
    bindInt(store, 10, static_cast<std::int64_t>(series.files.size()));
    bindInt(store, 11, mBlocks);
    bindInt(store, 12, mRecords);
    bindInt(store, 13, mUnknownRequestRecords);
    bindInt(store, 14, mProblems);
    bindInt(store, 15, record(mFirstRecord));
    bindInt(store, 16, record(mLastRecord));
    bindInt(store, 17, mGeneration);
    runStatement(store);
}

void SqlImport::report(const std::string& path, std::optional<std::uint64_t> line,
                       std::string_view reason) {
    if (path != mProblemPath) {
        finishProblems();
        mProblemPath = path;
    }
    ++mProblems;
    if (++mProblemsOfPath <= kListedPerFile) insertProblem(path, line, reason);
}

void SqlImport::finishProblems() {
    if (mProblemsOfPath > kListedPerFile) {
        insertProblem(mProblemPath, std::nullopt,
                      std::to_string(mProblemsOfPath - kListedPerFile) +
                          " more problems in this file not listed");
    }
    mProblemsOfPath = 0;
    mProblemPath.clear();
}

void SqlImport::insertProblem(const std::string& path, std::optional<std::uint64_t> line,
                              std::string_view reason) {
    sqlite3_stmt* insert = mInsertProblem.get();
    bindInt(insert, 1, mSeriesId != 0 ? std::optional<std::int64_t>(mSeriesId) : std::nullopt);
    bindText(insert, 2, path);
    bindInt(insert, 3, line);
    bindText(insert, 4, reason);
    runStatement(insert);
}

}  // namespace scenariolog
