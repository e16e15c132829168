// JSON Lines and CSV exports into a folder: a file per table and format,
// written at a temporary name beside its own and renamed into place once
// every table is written, then manifest.json, renamed last of all: a folder
// with a manifest holds a whole export.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/Json.h"
#include "tables/ExportRows.h"
#include "tables/TableExport.h"

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFlushBytes = std::size_t{1} << 20;
constexpr const char* kManifest = "manifest.json";

std::string systemError() {
    return std::generic_category().message(errno);
}

// A file written at a temporary path beside `named`, until kept; errors
// name `named`, the path the user sees. Removes the temporary file unless it
// was kept.
class OutputFile {
  public:
    explicit OutputFile(const fs::path& named)
        : mNamed(named.string()),
          mTemporary((named.parent_path() /
                      ("." + named.filename().string() + ".tmp-" + std::to_string(::getpid())))
                         .string()),
          mFd(::open(mTemporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
        if (mFd < 0) fail();
    }
    ~OutputFile() {
        if (mFd >= 0) (void)::close(mFd);
        if (!mKept) (void)std::remove(mTemporary.c_str());
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Writes `bytes` and empties it.
    void write(std::string& bytes) {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t wrote = ::write(mFd, bytes.data() + done, bytes.size() - done);
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote <= 0) fail();
            done += static_cast<std::size_t>(wrote);
        }
        bytes.clear();
    }

    void close() {
        const int fd = mFd;
        mFd = -1;
        if (::close(fd) != 0) fail();
    }

    // Renames the closed file into place.
    void keep() {
        if (std::rename(mTemporary.c_str(), mNamed.c_str()) != 0) fail();
        mKept = true;
    }

  private:
    [[noreturn]] void fail() const { throw ExportError(mNamed + ": " + systemError()); }

    std::string mNamed;
    std::string mTemporary;
    int mFd;
    bool mKept = false;
};

class FolderTableSink : public TableSink {
  public:
    void add(OutputFile& file, std::unique_ptr<RowText> text) {
        Output output{&file, std::move(text), {}};
        output.buffer = output.text->header();
        mOutputs.push_back(std::move(output));
    }

    void row(sqlite3_stmt* row) override {
        for (Output& output : mOutputs) {
            output.text->append(output.buffer, row);
            if (output.buffer.size() >= kFlushBytes) output.file->write(output.buffer);
        }
    }

    void finish() override {
        for (Output& output : mOutputs) {
            output.file->write(output.buffer);
            output.file->close();
        }
    }

  private:
    struct Output {
        OutputFile* file;
        std::unique_ptr<RowText> text;
        std::string buffer;
    };
    std::vector<Output> mOutputs;
};

class FolderExport : public ExportTarget {
  public:
    FolderExport(const std::string& folder, std::vector<RowFormat> formats)
        : mFolder(folder), mFormats(std::move(formats)) {
        std::error_code error;
        fs::create_directories(mFolder, error);
        if (!error && !fs::is_directory(mFolder, error) && !error) {
            error = std::make_error_code(std::errc::not_a_directory);
        }
        if (error) throw ExportError(folder + ": " + error.message());
    }

    std::unique_ptr<TableSink> openTable(const SqlTableDoc& table) override {
        auto sink = std::make_unique<FolderTableSink>();
        for (const RowFormat format : mFormats) {
            const std::string name = std::string(table.name) + "." + rowFormatName(format);
            mFiles.push_back(std::make_unique<OutputFile>(mFolder / name));
            sink->add(*mFiles.back(), makeRowText(format, table));
        }
        return sink;
    }

    void commit(const ExportSummary& summary) override {
        for (const auto& file : mFiles) file->keep();
        OutputFile manifest(mFolder / kManifest);
        std::string text = manifestText(summary);
        manifest.write(text);
        manifest.close();
        manifest.keep();
    }

  private:
    // One object, a line per table, for people as well as programs.
    std::string manifestText(const ExportSummary& summary) const {
        std::string inputs;
        for (const std::string& input : summary.inputs) {
            inputs += (inputs.empty() ? "" : ",") + jsonString(input);
        }
        std::string formats;
        for (const RowFormat format : mFormats) {
            formats += (formats.empty() ? "" : ",") + jsonString(rowFormatName(format));
        }
        std::string text = JsonObject()
                               .add(kVersionColumn, kSqlSchemaVersion)
                               .add("reader", "scenario-log " SCENARIO_LOG_VERSION)
                               .addRaw("inputs", "[" + inputs + "]")
                               .addRaw("formats", "[" + formats + "]")
                               .str();
        text.pop_back();  // its closing brace: the tables follow, a line each
        text += ",\"tables\":[\n";
        const std::vector<const SqlTableDoc*> tables = exportedTables();
        for (std::size_t i = 0; i < tables.size(); ++i) {
            text += tableText(*tables[i], summary.tables.at(i).rows);
            text += i + 1 < tables.size() ? ",\n" : "\n";
        }
        return text + "]}\n";
    }

    static std::string tableText(const SqlTableDoc& table, std::uint64_t rows) {
        std::string columns = JsonObject().add("name", kVersionColumn).add("type", "INTEGER").str();
        for (const SqlColumnDoc& column : table.columns) {
            columns +=
                "," +
                JsonObject().add("name", column.name).add("type", sqlTypeName(column.type)).str();
        }
        return JsonObject()
            .add("name", table.name)
            .add("rows", rows)
            .addRaw("columns", "[" + columns + "]")
            .str();
    }

    fs::path mFolder;
    std::vector<RowFormat> mFormats;
    std::vector<std::unique_ptr<OutputFile>> mFiles;  // every table's, kept at commit()
};

}  // namespace

std::unique_ptr<ExportTarget> makeFolderExport(const std::string& folder, bool jsonLines,
                                               bool csv) {
    std::vector<RowFormat> formats;
    if (jsonLines) formats.push_back(RowFormat::kJsonLines);
    if (csv) formats.push_back(RowFormat::kCsv);
    return std::make_unique<FolderExport>(folder, std::move(formats));
}

}  // namespace scenariolog
