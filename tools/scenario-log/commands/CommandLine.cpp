#include "commands/CommandLine.h"

#include <charconv>
#include <map>

namespace scenariolog {

const char* const kHelpText =
    R"(Usage: scenario-log COMMAND [options] FOLDER|FILE...

Reads tuning log files ("<prefix>_<time stamp>_TuningLog_<NN>.txt"). A FOLDER
is read for the files directly in it; files of one series (same prefix and time
stamp) are read in index order across "-- CONTINUED --", series in time stamp
order. Files stream through in bounded memory, whatever their size.

Commands:
  summary            per file series: its files, the requests it holds, and
                     record counts by module, decision, stage and result
  show --req N       the headlines and records of request N, in written order,
                     across preview and capture series
  grep [filters]     the records that match every given filter:
      --module NAME      module name, exact
      --decision NAME    decision name, exact (decision records only)
      --stage NAME       stage name, exact (execution records only)
      --result NAME      result name, exact (execution records only)
      --sensor N         sensor id
      --frame N          frame number
      --magic N          magic number
      --text PATTERN     plain substring of the record's text (no wildcards)
  diff A:N B:M       request N of input A against request M of input B (a
                     folder or file each; the number after the last ':')
  diff --req N --req M FOLDER|FILE...
                     two requests of the same inputs
      Records are matched by module, key (decision, or stage and result)
      and occurrence (the n-th record with that key in the request);
      headlines by their NDD texts and snippets. Per module: "-" only in
      A, "+" only in B, "~" different texts, with the differing span
      marked. A request with several blocks counts as all of its records.
      --ignore-numbers   runs of digits are equal to each other (15762 us
                         and 15801 us), so that only changes of state remain
      --no-color         no colour even on a terminal
  changes [--from N] [--to M] [--module NAME] [--decision NAME]
          [--stage NAME] [--result NAME]
                     per key, over the requests in number order (one timeline
                     for preview requests, one for capture requests, and a
                     new one where a later series numbers from lower): the
                     runs of requests whose texts were the same, "A-B" and
                     the text, and the requests where it changed; the texts
                     of a key's records in one request are joined by " | "
      --ignore-numbers   as for diff
      --all              also list the runs of keys that change on nearly
                         every request (otherwise one line with the number
                         of their distinct texts)
  report -o FILE     one HTML page for a browser, self-contained (opens from
                     the file, no network): the summary and problems; per
                     series a map of each key's texts over the requests (a
                     colour per text within a key's row); a request's blocks
                     on a click, and the diff of two requests
  sql "SELECT ..." FOLDER|FILE...
                     one read-only SQL statement (SQLite) on the tables
                     records, headlines, snippets, requests, series, files
                     and problems (see schema), with the functions
                     num(text, 'word'), the number after a word; regexp(
                     pattern, text) and text REGEXP pattern (RE2); and
                     regexp_capture(text, pattern, group). Aligned columns,
                     or --csv, or --json (one object per row). Exit status 0
                     rows came back, 1 none, 2 usage, SQL or input error; a
                     statement that would change anything is refused (2).
                     The first query imports the inputs into a cache under
                     $XDG_CACHE_HOME/scenario-log (else ~/.cache/scenario-log)
                     that later queries open while the files are unchanged,
                     and update when they only grew
      --no-cache         import into memory, leave the cache alone
  schema             the tables of sql, each column with its meaning

Options:
  --json             one JSON object per line on standard output, each with a
                     "type": "series" and "totals" (summary), "headline" and
                     "record" (show, grep), "problem" (all commands)
  -h, --help         this text
  --                 ends the options; arguments starting with "--" after it
                     are inputs (names of negative prefixes start with "-")

Requests: a capture series holds the request of its file name. In a preview
series a block (a headline line and the records after it) belongs to the
request of its headline's "[ReqNum: N]"; a block whose headline has none is
counted as "unknown request", never guessed.

Problems (unreadable inputs, files with foreign names, lines that are neither a
headline nor a record such as a torn last line or the rest of a text with a
line break, lines over 64 KiB) are listed with file and line on standard error
(with --json: as "problem" objects on standard output); the report goes on.

Exit status: 0 when every input was read and understood, 1 when the report is
complete but some input had problems, 2 on bad usage (one-line error).
diff, like diff(1): 0 identical, 1 different, 2 trouble (bad usage, an input
without tuning log files, a request in none of its inputs); problems inside
files are listed and leave the status to the comparison.
)";

namespace {

using TextField = std::optional<std::string> RecordFilter::*;
using NumberField = std::optional<int> RecordFilter::*;

const std::map<std::string, TextField>& textFilters() {
    static const std::map<std::string, TextField> filters = {
        {"--module", &RecordFilter::module}, {"--decision", &RecordFilter::decision},
        {"--stage", &RecordFilter::stage},   {"--result", &RecordFilter::result},
        {"--text", &RecordFilter::text},
    };
    return filters;
}

const std::map<std::string, NumberField>& numberFilters() {
    static const std::map<std::string, NumberField> filters = {
        {"--sensor", &RecordFilter::sensorId},
        {"--frame", &RecordFilter::frameNum},
        {"--magic", &RecordFilter::magicNum},
    };
    return filters;
}

std::optional<int> parseInt(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

// Flags of diff and changes.
struct FlagOption {
    bool Options::*field;
    bool forDiff;
    bool forChanges;
    const char* owners;
};

const std::map<std::string, FlagOption>& flags() {
    static const std::map<std::string, FlagOption> flags = {
        {"--ignore-numbers", {&Options::ignoreNumbers, true, true, "diff and changes"}},
        {"--all", {&Options::all, false, true, "changes"}},
        {"--no-color", {&Options::noColor, true, false, "diff"}},
    };
    return flags;
}

std::optional<Command> parseCommand(const std::string& word) {
    if (word == "summary") return Command::kSummary;
    if (word == "show") return Command::kShow;
    if (word == "grep") return Command::kGrep;
    if (word == "diff") return Command::kDiff;
    if (word == "changes") return Command::kChanges;
    if (word == "report") return Command::kReport;
    if (word == "sql") return Command::kSql;
    if (word == "schema") return Command::kSchema;
    if (word == "--help" || word == "-h" || word == "help") return Command::kHelp;
    return std::nullopt;
}

// "INPUT:N", the number after the last colon.
std::optional<DiffSide> parseDiffSide(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    const auto request = parseInt(text.substr(colon + 1));
    if (!request) return std::nullopt;
    const std::string input = text.substr(0, colon);
    return DiffSide{{input}, *request, input};
}

class Parser {
  public:
    explicit Parser(const std::vector<std::string>& args) : mArgs(args) {}
    CommandLine run();

  private:
    bool parseArgument(std::size_t& i);
    bool parseOption(const std::string& name, std::size_t& i);
    bool takeValue(const std::string& name, std::size_t& i, std::string& value);
    bool takeNumber(const std::string& name, std::size_t& i, std::optional<int>& number);
    bool fail(const std::string& error) {
        mResult.error = error;
        return false;
    }
    bool takeRequest(const std::string& name, std::size_t& i);
    bool checkComplete();
    bool makeDiffSides();

    const std::vector<std::string>& mArgs;
    Options mOptions;
    CommandLine mResult;
    std::optional<std::string> mInlineValue;  // the value of "--name=value"
    bool mOptionsEnded = false;
    bool mHelp = false;
};

CommandLine Parser::run() {
    if (mArgs.empty()) {
        mResult.error =
            "missing command (summary, show, grep, diff, changes, report, sql or schema); see "
            "--help";
        return mResult;
    }
    const auto command = parseCommand(mArgs[0]);
    if (!command) {
        mResult.error = "unknown command '" + mArgs[0] + "'; see --help";
        return mResult;
    }
    mOptions.command = *command;
    for (std::size_t i = 1; i < mArgs.size(); ++i) {
        if (!parseArgument(i)) return mResult;
    }
    if (mHelp) mOptions.command = Command::kHelp;
    if (mOptions.command == Command::kHelp || checkComplete()) mResult.options = mOptions;
    return mResult;
}

bool Parser::parseArgument(std::size_t& i) {
    const std::string& arg = mArgs[i];
    if (mOptionsEnded || arg.rfind("--", 0) != 0) {
        if (arg == "-h" && !mOptionsEnded) {
            mHelp = true;
        } else if (arg == "-o" && !mOptionsEnded) {
            return parseOption("--output", i);
        } else {
            mOptions.inputs.push_back(arg);
        }
        return true;
    }
    if (arg == "--") {
        mOptionsEnded = true;
        return true;
    }
    const std::size_t equals = arg.find('=');
    if (equals == std::string::npos) return parseOption(arg, i);
    // "--name=value" is taken as "--name value".
    mInlineValue = arg.substr(equals + 1);
    const std::string name = arg.substr(0, equals);
    if (!parseOption(name, i)) return false;
    if (mInlineValue) return fail("option " + name + " takes no value");
    return true;
}

bool Parser::parseOption(const std::string& name, std::size_t& i) {
    if (name == "--help") {
        mHelp = true;
        return true;
    }
    if (name == "--json") {
        mOptions.json = true;
        return true;
    }
    if (name == "--req") return takeRequest(name, i);
    if (name == "--csv" || name == "--no-cache") {
        if (mOptions.command != Command::kSql) return fail(name + " is an option of sql");
        (name == "--csv" ? mOptions.csv : mOptions.noCache) = true;
        return true;
    }
    if (name == "--output") {
        if (mOptions.command != Command::kReport) return fail("-o is an option of report");
        return takeValue(name, i, mOptions.output);
    }
    if (const auto flag = flags().find(name); flag != flags().end()) {
        const FlagOption& option = flag->second;
        const Command command = mOptions.command;
        if (!(option.forDiff && command == Command::kDiff) &&
            !(option.forChanges && command == Command::kChanges)) {
            return fail(name + " is an option of " + option.owners);
        }
        mOptions.*(option.field) = true;
        return true;
    }
    if (name == "--from" || name == "--to") {
        if (mOptions.command != Command::kChanges) return fail(name + " is an option of changes");
        return takeNumber(name, i, name == "--from" ? mOptions.from : mOptions.to);
    }
    const auto text = textFilters().find(name);
    const auto number = numberFilters().find(name);
    const bool isFilter = text != textFilters().end() || number != numberFilters().end();
    if (!isFilter) return fail("unknown option " + name + "; see --help");
    const bool keyFilter = name != "--text" && number == numberFilters().end();
    if (mOptions.command != Command::kGrep &&
        !(keyFilter && mOptions.command == Command::kChanges)) {
        return fail(name + " is an option of grep" + (keyFilter ? " and changes" : ""));
    }
    if (number != numberFilters().end()) {
        return takeNumber(name, i, mOptions.filter.*(number->second));
    }
    std::string value;
    if (!takeValue(name, i, value)) return false;
    mOptions.filter.*(text->second) = value;
    return true;
}

bool Parser::takeValue(const std::string& name, std::size_t& i, std::string& value) {
    if (mInlineValue) {
        value = *mInlineValue;
        mInlineValue.reset();
        return true;
    }
    if (i + 1 >= mArgs.size()) return fail("option " + name + " needs a value");
    value = mArgs[++i];
    return true;
}

bool Parser::takeNumber(const std::string& name, std::size_t& i, std::optional<int>& number) {
    std::string value;
    if (!takeValue(name, i, value)) return false;
    number = parseInt(value);
    return number.has_value() ||
           fail("option " + name + " needs a whole number, not '" + value + "'");
}

bool Parser::takeRequest(const std::string& name, std::size_t& i) {
    if (mOptions.command == Command::kShow) return takeNumber(name, i, mOptions.request);
    if (mOptions.command != Command::kDiff) return fail("--req is an option of show and diff");
    if (mOptions.diffRequests.size() == 2) return fail("diff takes --req twice, not more");
    std::optional<int> request;
    if (!takeNumber(name, i, request)) return false;
    mOptions.diffRequests.push_back(*request);
    return true;
}

bool Parser::checkComplete() {
    if (mOptions.command == Command::kShow && !mOptions.request) {
        return fail("show needs --req N");
    }
    if (mOptions.command == Command::kReport && (mOptions.output.empty() || mOptions.json)) {
        return fail(mOptions.json ? "report writes HTML, not --json" : "report needs -o FILE");
    }
    if (mOptions.command == Command::kSchema) {
        return mOptions.inputs.empty() || fail("schema reads no FOLDER or FILE");
    }
    if (mOptions.command == Command::kSql) {
        if (mOptions.inputs.empty())
            return fail("sql needs a statement: sql \"SELECT ...\" FOLDER");
        if (mOptions.csv && mOptions.json) return fail("--csv and --json exclude each other");
        mOptions.query = mOptions.inputs.front();
        mOptions.inputs.erase(mOptions.inputs.begin());
    }
    if (mOptions.inputs.empty()) return fail("missing FOLDER or FILE to read");
    if (mOptions.command == Command::kDiff) return makeDiffSides();
    return true;
}

bool Parser::makeDiffSides() {
    const std::vector<std::string>& inputs = mOptions.inputs;
    if (mOptions.diffRequests.size() == 2) {
        std::string names;
        for (const std::string& input : inputs) names += (names.empty() ? "" : " ") + input;
        for (int request : mOptions.diffRequests) {
            mOptions.diffSides.push_back({inputs, request, names});
        }
        return true;
    }
    if (!mOptions.diffRequests.empty() || inputs.size() != 2) {
        return fail("diff needs two requests: A:N B:M, or --req N --req M FOLDER...");
    }
    for (const std::string& input : inputs) {
        auto side = parseDiffSide(input);
        if (!side) return fail("'" + input + "' is not INPUT:REQUEST; see --help");
        mOptions.diffSides.push_back(std::move(*side));
    }
    return true;
}

}  // namespace

// Each absent filter costs one test, so that no filter costs next to nothing.
bool RecordFilter::matches(const Record& record) const {
    const bool isDecision = record.kind == RecordKind::kDecision;
    if (decision && (!isDecision || *decision != record.decision)) return false;
    if ((stage || result) && isDecision) return false;
    if (module && *module != record.module) return false;
    if (stage && *stage != record.stage) return false;
    if (result && *result != record.result) return false;
    if (sensorId && sensorId != record.sensorId) return false;
    if (frameNum && frameNum != record.frameNum) return false;
    if (magicNum && magicNum != record.magicNum) return false;
    return !text || record.text.find(*text) != std::string_view::npos;
}

bool RecordFilter::empty() const {
    return !module && !decision && !stage && !result && !sensorId && !frameNum && !magicNum &&
           !text;
}

CommandLine parseCommandLine(const std::vector<std::string>& args) {
    return Parser(args).run();
}

}  // namespace scenariolog
