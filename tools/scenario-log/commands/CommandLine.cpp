#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "base/ExitStatus.h"

namespace scenariolog {
namespace {

constexpr std::size_t kOptionWidth = 19;   // of an option's name and value in a command's help
constexpr std::size_t kCommandWidth = 10;  // of a command's name in the overview

constexpr std::string_view kAbout =
    R"(Reads tuning log files ("<prefix>_<time stamp>_TuningLog_<NN>.txt"). A FOLDER
is read for the files directly in it; files of one series (same prefix and time
stamp) are read in index order across "-- CONTINUED --", series in time stamp
order, then by unique key, request and tag number (as numbers: 9959 before
10019). Files stream through in bounded memory, whatever their size.
)";

constexpr std::string_view kRules =
    R"("scenario-log COMMAND --help" lists the options of a command. An option takes
its value as "--name value" or "--name=value", and at most once; "--" ends the
options (names of negative prefixes start with "-").

Requests: a capture series holds the request of its file name. In a preview
series a block (a headline line and the records after it) belongs to the
request of its headline's "[ReqNum: N]"; a block whose headline has none is
counted as "unknown request", never guessed.

Problems inside files (files with foreign names in a folder, lines that are
neither a headline nor a record such as a torn last line or the rest of a text
with a line break, lines over 64 KiB) are listed with file and line on standard
error (with --json: as "problem" objects on standard output); the command goes
on and its exit status stays what its answer makes it.

Exit status, alike for every command:
  0  found: some series read (summary, report), the request (show), a record
     (grep), a key (changes); for diff the two requests are identical, for
     compare the two runs agree
  1  nothing matched; for diff and compare: they differ
  2  bad usage, or an input error: an input that cannot be read, a folder
     without a tuning log file, a file named that is no tuning log file; one
     line each on standard error, naming the option or the path, and no answer
)";

// "a\nb" with every line after the first indented by `indent` spaces.
std::string indented(std::string_view text, std::size_t indent) {
    std::string result;
    for (const char c : text) {
        result += c;
        if (c == '\n') result.append(indent, ' ');
    }
    return result;
}

// "  LABEL     description", the description in a column `width` wide.
std::string labelled(const std::string& label, std::string_view description, std::size_t width) {
    std::string line = "  " + label;
    if (label.size() < width) {
        line.append(width - label.size(), ' ');
    } else {
        line += "\n" + std::string(2 + width, ' ');
    }
    return line + indented(description, 2 + width) + "\n";
}

std::string optionLine(const CLI::Option& option) {
    std::string label = option.get_name(false, true);
    if (const std::size_t comma = label.find(','); comma != std::string::npos) {
        label.insert(comma + 1, " ");
    }
    if (option.get_type_size() != 0) label += " " + option.get_type_name();
    return labelled(label, option.get_description(), kOptionWidth);
}

std::string commandHelp(const CLI::App& app, const CommandHelp& help) {
    std::ostringstream text;
    std::string_view usage = help.usage;
    for (const char* lead = "Usage: "; !usage.empty(); lead = "       ") {
        const std::size_t end = usage.find('\n');
        text << lead << "scenario-log " << usage.substr(0, end) << "\n";
        usage = end == std::string_view::npos ? std::string_view() : usage.substr(end + 1);
    }
    text << "\n" << help.summary << "\n\nOptions:\n";
    const CLI::Option* helpFlag = app.get_help_ptr();
    for (const CLI::Option* option : app.get_options()) {
        if (option != helpFlag && option->nonpositional()) text << optionLine(*option);
    }
    text << optionLine(*helpFlag) << "\n" << help.details;
    return text.str();
}

std::string_view after(std::string_view text, std::string_view mark) {
    const std::size_t at = text.find(mark);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + mark.size());
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// CLI11's message in the words of this program's other messages; each names
// the option or the word at fault. `app`: the command's, once named.
std::string usageMessage(const CLI::ParseError& error, const CLI::App* app) {
    // A word that no option takes is named first, also when CLI11 found a
    // missing requirement before it got to the word.
    const std::vector<std::string> unknown =
        app != nullptr ? app->remaining() : std::vector<std::string>();
    if (!unknown.empty()) {
        const std::string& word = unknown.front();
        return (word.rfind('-', 0) == 0 ? "unknown option " : "unexpected argument ") + word;
    }
    const std::string_view what = error.what();
    const std::string_view name = what.substr(0, what.find(':'));
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        constexpr std::string_view kOverride = " was given a disallowed flag override";
        if (endsWith(what, kOverride)) {
            return "--" + std::string(what.substr(0, what.size() - kOverride.size())) +
                   " takes no value";
        }
        const std::string_view received = after(what, " required but received ");
        if (!received.empty()) {
            return std::string(name) + " is given " + std::string(received) +
                   " times; it takes one value";
        }
        if (endsWith(what, " missing")) return std::string(name) + " needs a value";
    }
    constexpr std::string_view kRequired = " is required";
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && endsWith(what, kRequired)) {
        return "missing " + std::string(what.substr(0, what.size() - kRequired.size()));
    }
    return std::string(what);
}

}  // namespace

CommandLine::CommandLine() : mProgram(std::make_unique<CLI::App>("", "scenario-log")) {
    mProgram->set_help_flag("-h,--help", "this text");
    mProgram->require_subcommand(1);
    mProgram->option_defaults()->disable_flag_override();
}

CommandLine::~CommandLine() = default;

void CommandLine::add(std::unique_ptr<Command> command) {
    const CommandHelp& help = command->help();
    CLI::App* app = mProgram->add_subcommand(std::string(help.name), std::string(help.summary));
    command->addOptions(*app);
    mCommands.push_back({std::move(command), app});
}

int CommandLine::run(const std::vector<std::string>& args, const Console& console) {
    if (args.empty()) return usageError(console, nullptr, "missing command (" + names() + ")");
    const std::string& word = args.front();
    if (word != "-h" && word != "--help" && find(word) == nullptr) {
        return usageError(console, nullptr, "unknown command '" + word + "' (" + names() + ")");
    }
    std::vector<std::string> reversed(args.rbegin(), args.rend());  // as CLI11 takes them
    try {
        mProgram->parse(reversed);
    } catch (const CLI::CallForHelp&) {
        const Entry* entry = chosen();
        console.out << (entry != nullptr ? commandHelp(*entry->app, entry->command->help())
                                         : overview());
        return kExitMatch;
    } catch (const CLI::ParseError& error) {
        const Entry* entry = chosen();
        return usageError(console, entry,
                          usageMessage(error, entry != nullptr ? entry->app : nullptr));
    }
    const Entry* entry = chosen();
    const std::string error = entry->command->finishOptions();
    if (!error.empty()) return usageError(console, entry, error);
    const int status = entry->command->run(console);
    console.out.flush();
    return status;
}

const CommandLine::Entry* CommandLine::find(std::string_view name) const {
    for (const Entry& entry : mCommands) {
        if (entry.command->help().name == name) return &entry;
    }
    return nullptr;
}

const CommandLine::Entry* CommandLine::chosen() const {
    for (const Entry& entry : mCommands) {
        if (entry.app->parsed()) return &entry;
    }
    return nullptr;
}

std::string CommandLine::names() const {
    std::string text;
    for (std::size_t i = 0; i < mCommands.size(); ++i) {
        if (i > 0) text += i + 1 < mCommands.size() ? ", " : " or ";
        text += mCommands[i].command->help().name;
    }
    return text;
}

std::string CommandLine::overview() const {
    std::string text =
        "Usage: scenario-log COMMAND [options] FOLDER|FILE...\n"
        "       scenario-log COMMAND --help\n\n";
    text += kAbout;
    text += "\nCommands:\n";
    for (const Entry& entry : mCommands) {
        const CommandHelp& help = entry.command->help();
        text += labelled(std::string(help.name), help.summary, kCommandWidth);
    }
    text += "\n";
    text += kRules;
    return text;
}

int CommandLine::usageError(const Console& console, const Entry* entry,
                            const std::string& message) const {
    console.err << "scenario-log: " << message << "; see scenario-log "
                << (entry != nullptr ? std::string(entry->command->help().name) + " " : "")
                << "--help\n";
    return kExitTrouble;
}

}  // namespace scenariolog
