// libFuzzer target: `sql` on whatever a log file may hold. The records table
// counts what `summary` counts; queries over the texts with num(), regexp()
// and the views end with a defined status; a cache built from the first part
// of the bytes and updated after the rest was appended answers as an import
// of the whole. Any difference aborts.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzScratch.h"
#include "Report.h"
#include "commands/SqlCommand.h"

namespace {

constexpr const char* kPreviewName =
    "000000001_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
constexpr const char* kCaptureName =
    "000000001_0007_0001_capture__2025_0102_030406_TuningLog_01.txt";
constexpr const char* kRecords =
    "SELECT series, file, line, request, block, module, record_kind, decision, stage, result, "
    "sensor, frame, magic, text FROM records ORDER BY series, file, line";
constexpr const char* kQueries[] = {
    ("SELECT request, count(*), max(num(text, 'exposure')), min(num(text, '')) FROM records "
     "GROUP BY series, request"),
    "SELECT regexp_capture(text, '([0-9]+)'), text REGEXP '^[a-z ]+[0-9]' FROM records",
    "SELECT * FROM snippets JOIN requests USING (series, request)",
    "SELECT * FROM headlines, series, files, problems LIMIT 50",
};

void check(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "sql import invariant broken: %s\n", what);
    abort();
}

void writeBytes(const std::string& path, const uint8_t* data, size_t size, const char* mode) {
    FILE* file = fopen(path.c_str(), mode);
    if (file == nullptr || fwrite(data, 1, size, file) != size || fclose(file) != 0) abort();
}

struct Answer {
    int status;
    std::string rows;
};

Answer runSql(const std::string& query, const std::string& logs, const std::string& cache) {
    scenariolog::SqlOptions options;
    options.query = query;
    options.inputs = {logs};
    options.format = scenariolog::SqlFormat::kCsv;
    options.noCache = cache.empty();
    options.cacheFolder = cache;
    std::ostringstream out;
    std::ostringstream err;
    const int status = scenariolog::runSql(options, out, err, false);
    return {status, out.str()};
}

// The records total of `summary --json`.
std::string summaryRecords(const std::string& logs) {
    std::ostringstream out;
    std::ostream err(nullptr);
    (void)scenariolog::runScenarioLog({"summary", "--json", logs}, out, err);
    const std::string text = out.str();
    const std::string key = "\"type\":\"totals\"";
    const size_t totals = text.find(key);
    check(totals != std::string::npos, "summary prints totals");
    const size_t records = text.find("\"records\":", totals) + 10;
    return text.substr(records, text.find(',', records) - records);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzscratch::makeFolder("sql_import_fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string logs = fuzzscratch::folder() + "/logs";
    const std::string cache = fuzzscratch::folder() + "/cache";
    std::error_code ignored;
    std::filesystem::remove_all(logs, ignored);
    std::filesystem::remove_all(cache, ignored);
    std::filesystem::create_directories(logs);
    FuzzedDataProvider input(data, size);
    const size_t firstPart = input.ConsumeIntegralInRange<size_t>(0, size);
    writeBytes(logs + "/" + kPreviewName, data, firstPart, "wb");
    writeBytes(logs + "/" + kCaptureName, data, size, "wb");

    const Answer before = runSql(kRecords, logs, cache);
    check(before.status == 0 || before.status == 1, "a query on the first part ends with 0 or 1");
    writeBytes(logs + "/" + kPreviewName, data + firstPart, size - firstPart, "ab");

    const Answer count = runSql("SELECT count(*) FROM records", logs, "");
    check(count.status == 0, "count(*) gives a row");
    check(count.rows == "count(*)\r\n" + summaryRecords(logs) + "\r\n",
          "records counts what summary counts");
    const Answer whole = runSql(kRecords, logs, "");
    const Answer updated = runSql(kRecords, logs, cache);
    check(updated.status == whole.status && updated.rows == whole.rows,
          "a cache updated after the file grew answers as a whole import");
    for (const char* query : kQueries) {
        const int status = runSql(query, logs, cache).status;
        check(status == 0 || status == 1, "a query ends with 0 or 1");
    }
    return 0;
}
