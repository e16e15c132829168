// libFuzzer target: `export` of whatever a log file may hold, as JSON Lines,
// CSV and SQLite at once. The export ends with status 0 or 1; each format
// holds as many records as `sql` counts; every JSON line is one object of
// valid UTF-8 without a raw control character; every CSV record has the
// documented fields; every text of the database is valid UTF-8. Any
// difference aborts.
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "FuzzScratch.h"
#include "Report.h"
#include "base/Utf8.h"

namespace {

constexpr const char* kLogName = "000000001_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
constexpr std::size_t kCsvFields = 18;  // schema_version and the 17 columns of records

void check(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "export invariant broken: %s\n", what);
    abort();
}

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

int run(const std::vector<std::string>& args, std::string* out = nullptr) {
    std::ostringstream text;
    std::ostream err(nullptr);
    const int status = scenariolog::runScenarioLog(args, text, err);
    if (out != nullptr) *out = text.str();
    return status;
}

// Lines of the JSON Lines file, each checked.
std::size_t jsonLines(const std::string& text) {
    std::size_t lines = 0;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string line = text.substr(start, end - start);
        check(line.rfind("{\"schema_version\":1,\"series\":", 0) == 0 && line.back() == '}',
              "a JSON line is one object of records");
        check(scenariolog::isValidUtf8(line), "a JSON line is valid UTF-8");
        for (const char c : line) check(static_cast<unsigned char>(c) >= 0x20, "no raw control");
        ++lines;
    }
    check(start == text.size(), "the JSON Lines end with a line break");
    return lines;
}

// Records of the CSV file (RFC 4180), each with kCsvFields fields.
std::size_t csvRecords(const std::string& text) {
    check(scenariolog::isValidUtf8(text), "the CSV is valid UTF-8");
    std::size_t records = 0;
    std::size_t fields = 1;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                ++i;
            } else if (c == '"') {
                quoted = false;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            ++fields;
        } else if (c == '\r') {
            check(i + 1 < text.size() && text[i + 1] == '\n', "a CSV record ends with CRLF");
            check(fields == kCsvFields, "a CSV record has every field");
            ++records;
            fields = 1;
            ++i;
        }
    }
    check(!quoted && fields == 1, "the CSV ends after a whole record");
    return records;
}

// The count of records and whether every text is valid UTF-8, in the database.
std::size_t sqliteRecords(const std::string& path) {
    sqlite3* db = nullptr;
    check(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK,
          "the database opens");
    sqlite3_stmt* select = nullptr;
    check(sqlite3_prepare_v2(db, "SELECT text FROM records", -1, &select, nullptr) == SQLITE_OK,
          "records can be read");
    std::size_t records = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(select, 0));
        check(scenariolog::isValidUtf8(std::string_view(text == nullptr ? "" : text, size)),
              "a text of the database is valid UTF-8");
        ++records;
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
    return records;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzscratch::makeFolder("export_fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string folder = fuzzscratch::folder();
    const std::string logs = folder + "/logs";
    std::error_code ignored;
    std::filesystem::remove_all(logs, ignored);
    std::filesystem::create_directories(logs);
    std::ofstream(logs + "/" + kLogName, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    const int status = run({"export", "--no-cache", "--jsonl", "--csv", "--out", folder + "/out",
                            "--sqlite", folder + "/out.sqlite", logs});
    check(status == 0 || status == 1, "an export ends with 0 or 1");
    std::string count;
    check(run({"sql", "--csv", "--no-cache", "SELECT count(*) FROM records", logs}, &count) == 0,
          "sql counts the records");
    const std::size_t records = std::stoul(count.substr(count.find('\n') + 1));
    check((records > 0) == (status == 0), "status 0 exactly when there are records");
    check(jsonLines(readAll(folder + "/out/records.jsonl")) == records,
          "JSON Lines of every record");
    check(csvRecords(readAll(folder + "/out/records.csv")) == records + 1,
          "a CSV header and a record each");
    check(sqliteRecords(folder + "/out.sqlite") == records, "the database has every record");
    return 0;
}
