#include "reading/LogCatalog.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

namespace scenariolog {
namespace {

namespace fs = std::filesystem;

constexpr const char* kForeignName = "not a tuning log file name";
constexpr const char* kNoLogFiles = "no tuning log files in this folder";
// A page that `report` wrote beside the logs (scripts/run-demo does) is no
// foreign file of the folder.
constexpr std::string_view kPageSuffix = ".html";

class Collector {
  public:
    explicit Collector(ProblemSink& problems) : mProblems(problems) {}

    void addInput(const std::string& input);
    std::vector<LogSeries> takeSeries();

  private:
    void addFolder(const std::string& folder);
    // True when the file is a tuning log file, also one already taken.
    // `named`: the file is an input of its own, not found in a folder.
    bool addFile(const std::string& path, const std::string& fileName, bool named);
    bool isNewFile(const std::string& path);

    ProblemSink& mProblems;
    std::set<std::string> mSeenFiles;
    std::map<std::string, LogSeries> mSeries;  // by series key
};

void Collector::addInput(const std::string& input) {
    std::error_code error;
    const fs::file_status status = fs::status(input, error);
    if (error) {
        mProblems.reportInputError(input, "cannot read: " + error.message());
    } else if (fs::is_directory(status)) {
        addFolder(input);
    } else if (fs::is_regular_file(status)) {
        addFile(input, fs::path(input).filename().string(), true);
    } else {
        mProblems.reportInputError(input, "not a regular file or folder");
    }
}

void Collector::addFolder(const std::string& folder) {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    std::vector<std::string> names;
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code statusError;
        std::string name = entries->path().filename().string();
        const bool page =
            name.size() > kPageSuffix.size() &&
            name.compare(name.size() - kPageSuffix.size(), kPageSuffix.size(), kPageSuffix) == 0;
        if (entries->is_regular_file(statusError) && !page) names.push_back(std::move(name));
    }
    if (error) mProblems.reportInputError(folder, "cannot list folder: " + error.message());
    std::sort(names.begin(), names.end());
    bool anyLogFile = false;
    for (const std::string& name : names) {
        anyLogFile |= addFile((fs::path(folder) / name).string(), name, false);
    }
    if (!error && !anyLogFile) mProblems.reportInputError(folder, kNoLogFiles);
}

bool Collector::isNewFile(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(path, error);
    return mSeenFiles.insert(error ? path : canonical.string()).second;
}

bool Collector::addFile(const std::string& path, const std::string& fileName, bool named) {
    if (!isNewFile(path)) return true;
    auto name = parseLogFileName(fileName);
    if (!name) {
        if (named) {
            mProblems.reportInputError(path, kForeignName);
        } else {
            mProblems.report(path, std::nullopt, std::string(kForeignName) + "; skipped");
        }
        return false;
    }
    LogSeries& series = mSeries[name->seriesKey()];
    for (const LogFile& taken : series.files) {
        if (taken.name.index == name->index) {
            mProblems.report(path, std::nullopt,
                             "same series and index as " + taken.path + "; skipped");
            return true;
        }
    }
    series.files.push_back(LogFile{path, std::move(*name)});
    return true;
}

std::vector<LogSeries> Collector::takeSeries() {
    std::vector<LogSeries> all;
    for (auto& entry : mSeries) {
        LogSeries& series = entry.second;
        std::sort(series.files.begin(), series.files.end(), [](const LogFile& a, const LogFile& b) {
            return LogFileNameLess()(a.name, b.name);
        });
        all.push_back(std::move(series));
    }
    std::sort(all.begin(), all.end(), [](const LogSeries& a, const LogSeries& b) {
        return LogFileNameLess()(a.identity(), b.identity());
    });
    return all;
}

}  // namespace

std::vector<LogSeries> catalogInputs(const std::vector<std::string>& inputs,
                                     ProblemSink& problems) {
    Collector collector(problems);
    for (const std::string& input : inputs) collector.addInput(input);
    return collector.takeSeries();
}

}  // namespace scenariolog
