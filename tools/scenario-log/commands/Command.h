// One command of scenario-log, and what the commands share: the interface a
// command implements, the options that several commands take, and reading the
// inputs. A command lives in a file of its own (SummaryCommand.cpp, ...),
// with its options as members that CLI11 fills in while parsing; the program
// lists the commands in Report.cpp.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "reading/ProblemReport.h"
#include "reading/SeriesWalker.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace scenariolog {

// Where a command writes, and whether standard output is a terminal (so
// that `diff` may colour what differs).
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool terminal = false;
};

// A command's help, as `scenario-log COMMAND --help` prints it around the
// list of its options.
struct CommandHelp {
    std::string_view name;     // the word after "scenario-log"
    std::string_view summary;  // one line: the overview's list and the top of the command's help
    std::string_view usage;    // the forms after "scenario-log ", one a line
    std::string_view details;  // after the options: what it prints, its exit status
};

class Command {
  public:
    virtual ~Command() = default;

    virtual const CommandHelp& help() const = 0;
    // Adds the command's options to its subcommand, bound to members of the
    // command, which live until run() returns.
    virtual void addOptions(CLI::App& app) = 0;
    // Once parsed, completes and checks what CLI11 cannot (a reversed range,
    // a pattern): returns a usage error in one line, or nothing.
    virtual std::string finishOptions() { return {}; }
    // Returns the exit status (base/ExitStatus.h).
    virtual int run(const Console& console) = 0;
};

// The request numbers of --from N --to M, both included; either may be open.
struct RequestRange {
    std::optional<int> from;
    std::optional<int> to;

    bool bounded() const { return from || to; }
    // A record of unknown request is in no bounded range.
    bool contains(std::optional<int> request) const;
    // "--from 9 is after --to 3", or empty.
    std::string reversed() const;
    // "7", "3 to 9", "3 and later", "up to 9".
    std::string text() const;
};

// FOLDER|FILE..., at least one.
void addInputsOption(CLI::App& app, std::vector<std::string>& inputs);
// --json; `types`: the "type"s of the command's own objects, '"series", "totals"'.
void addJsonOption(CLI::App& app, bool& json, std::string_view types);
// --from N and --to M.
void addRangeOptions(CLI::App& app, RequestRange& range);
// An option with one whole number.
CLI::Option* addNumberOption(CLI::App& app, const std::string& name, std::optional<int>& number,
                             const std::string& description);
// An option given once or more, a whole number each time.
CLI::Option* addNumbersOption(CLI::App& app, const std::string& name, std::vector<int>& numbers,
                              const std::string& description);

// Reads the inputs through `visitor`, then finishes the problems' listing.
// False, with nothing walked, when an input is an input error (reported).
bool walkInputs(const std::vector<std::string>& inputs, SeriesVisitor& visitor,
                ProblemReport& problems);

}  // namespace scenariolog
