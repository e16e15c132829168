// Command line of scenario-log: COMMAND [options] FOLDER|FILE...
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "reading/LogParser.h"

namespace scenariolog {

enum class Command { kSummary, kShow, kGrep, kDiff, kChanges, kReport, kSql, kSchema, kHelp };

// The record filters of `grep`; every given filter must match.
struct RecordFilter {
    std::optional<std::string> module;
    std::optional<std::string> decision;  // decision records only
    std::optional<std::string> stage;     // execution records only
    std::optional<std::string> result;    // execution records only
    std::optional<int> sensorId;
    std::optional<int> frameNum;
    std::optional<int> magicNum;
    std::optional<std::string> text;  // substring of the record's text

    bool matches(const Record& record) const;
    // No filter given: every record matches.
    bool empty() const;
};

// One side of `diff`: a request and the inputs to look for it in.
struct DiffSide {
    std::vector<std::string> inputs;
    int request = 0;
    std::string label;  // the inputs as named on the command line
};

struct Options {
    Command command = Command::kHelp;
    bool json = false;
    std::optional<int> request;  // show --req
    RecordFilter filter;
    std::vector<std::string> inputs;
    std::vector<int> diffRequests;    // diff --req, twice
    std::vector<DiffSide> diffSides;  // diff: A and B, once the command line is complete
    std::optional<int> from;          // changes --from
    std::optional<int> to;            // changes --to
    bool ignoreNumbers = false;       // diff, changes
    bool all = false;                 // changes
    bool noColor = false;             // diff
    std::string output;               // report -o
    std::string query;                // sql: the statement, its first argument
    bool csv = false;                 // sql
    bool noCache = false;             // sql
};

struct CommandLine {
    std::optional<Options> options;  // absent on bad usage
    std::string error;               // one line saying what is wrong
};

// `args` without the program name.
CommandLine parseCommandLine(const std::vector<std::string>& args);

extern const char* const kHelpText;

}  // namespace scenariolog
