// The command line of scenario-log on CLI11: "scenario-log COMMAND [options]
// FOLDER|FILE...". Holds the commands, prints the overview (--help) and each
// command's help (COMMAND --help), parses and runs the command named. A usage
// error is one line on standard error, naming the option or word at fault.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Command.h"

namespace scenariolog {

class CommandLine {
  public:
    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // Adds `command` with its options, as a subcommand named as its help says.
    void add(std::unique_ptr<Command> command);
    // Parses `args` (without the program name) and runs the command they
    // name; returns the exit status.
    int run(const std::vector<std::string>& args, const Console& console);

  private:
    struct Entry {
        std::unique_ptr<Command> command;
        CLI::App* app;  // owned by mProgram
    };

    const Entry* find(std::string_view name) const;
    // The command that the parsed words named, if any.
    const Entry* chosen() const;
    // "summary, show, ... or report"
    std::string names() const;
    std::string overview() const;
    int usageError(const Console& console, const Entry* entry, const std::string& message) const;

    std::unique_ptr<CLI::App> mProgram;
    std::vector<Entry> mCommands;
};

}  // namespace scenariolog
