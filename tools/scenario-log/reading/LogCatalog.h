// The tuning log files among the inputs, grouped into series.
#pragma once

#include <string>
#include <vector>

#include "reading/LogFileName.h"
#include "reading/ProblemReport.h"

namespace scenariolog {

struct LogFile {
    std::string path;  // as found: the input, or the input folder joined with the name
    LogFileName name;
};

// The files of one series: same prefix, same time stamp, ascending index.
struct LogSeries {
    std::vector<LogFile> files;

    const LogFileName& identity() const { return files.front().name; }
};

// Reads the inputs: a file is taken as it is, a folder for the regular files
// directly in it (subfolders are not entered; nor HTML pages, which `report`
// may have written there). Inputs that can't be read, folders without a
// tuning log file and input files whose names this system does not produce
// are input errors; files in a folder with such names are problems. Both are
// reported to `problems` and left out. Series and their files come in
// LogFileNameLess order; a second file with the index of one already taken
// (the same series in two folders) is reported and left out; the same file
// named twice is taken once.
std::vector<LogSeries> catalogInputs(const std::vector<std::string>& inputs, ProblemSink& problems);

}  // namespace scenariolog
