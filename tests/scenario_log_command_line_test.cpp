// scenario-log's command line: each command's help, usage and input errors in
// one line naming what is at fault, the request range of show, grep and
// changes, grep's RE2 patterns, and an exit status that says whether anything was found, whatever
// problems the files hold.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "support/ReaderRun.h"
#include "support/TempDir.h"

using namespace scenariolog;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using testsupport::ReaderRun;
using testsupport::runReader;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const std::string kPreview = "000000042_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";

// Requests 3 to 6, one 3A record each; then a record of unknown request and
// a torn last line.
void writeRequests(const TempDir& dir) {
    std::string text;
    for (int request = 3; request <= 6; ++request) {
        text += "[UKey: 42][ReqNum: " + std::to_string(request) +
                "]\n[ModuleName: 3A][Decision: AE_EXPOSURE_PARAM] exposure " +
                std::to_string(request * 100) + " us\n";
    }
    writeFile(dir.file(kPreview), text +
                                      "\n[ModuleName: 3A][Decision: TOP_CONTROL] unknown\n"
                                      "[ModuleName: 3A][Deci");
}

// The words of `line`, a leading "IN" standing for `folder` ("IN:3").
std::vector<std::string> words(const std::string& line, const std::string& folder) {
    std::istringstream in(line);
    std::vector<std::string> args;
    for (std::string word; in >> word;) {
        args.push_back(word.rfind("IN", 0) == 0 ? folder + word.substr(2) : word);
    }
    return args;
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

TEST(ScenarioLogCommandLine, EachCommandHasItsOwnHelp) {
    const ReaderRun overview = runReader({"--help"});
    EXPECT_EQ(overview.code, kExitMatch);
    for (const char* command :
         {"summary", "show", "grep", "diff", "changes", "report", "sql", "schema"}) {
        EXPECT_THAT(overview.out, HasSubstr("\n  " + std::string(command) + " ")) << command;
    }
    EXPECT_THAT(overview.out, HasSubstr("Exit status, alike for every command"));
    const ReaderRun grep = runReader({"grep", "--module", "3A", "--help"});
    EXPECT_EQ(grep.code, kExitMatch);
    EXPECT_EQ(grep.err, "");
    EXPECT_THAT(grep.out, StartsWith("Usage: scenario-log grep "));
    EXPECT_THAT(grep.out, HasSubstr("\n  --text TEXT        plain substring"));
    EXPECT_THAT(grep.out, HasSubstr("Exit status: 0 when a record matched, 1 when none did"));
    const ReaderRun diff = runReader({"diff", "-h"});
    EXPECT_THAT(diff.out, HasSubstr("\n  --ignore-numbers   runs of digits"));
    EXPECT_THAT(diff.out, Not(HasSubstr("--text")));
}

// Checked before any input is read: status 2, one line on standard error
// naming the word at fault, nothing on standard output.
TEST(ScenarioLogCommandLine, UsageErrorsAreOneLineNamingWhatIsAtFault) {
    TempDir dir;
    writeRequests(dir);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"",
         "missing command (summary, show, grep, diff, changes, compare, report, sql, schema or "
         "export)"},
        {"list IN", "unknown command 'list'"},
        {"grep --colour IN", "unknown option --colour; see scenario-log grep --help"},
        {"summary --module 3A", "unknown option --module"},
        {"show --req 3 --req 4 IN", "--req is given 2 times; it takes one value"},
        {"grep --module 3A --module=3B IN", "--module is given 2 times"},
        {"show --req seven IN", "--req: 'seven' is not a whole number"},
        {"grep --frame 99999999999 IN", "--frame: '99999999999' is not a whole number"},
        {"summary --json=yes IN", "--json takes no value"},
        {"grep IN --sensor", "--sensor needs a value"},
        {"grep --from 9 --to 3 IN", "--from 9 is after --to 3"},
        {"show --req 3 --to 5 IN", "--req excludes --to"},
        {"show IN", "show needs --req N, or --from N and/or --to M"},
        {"grep --regex a(b IN", "--regex 'a(b' is not an RE2 pattern: missing ): a(b"},
        {"changes --all", "missing FOLDER|FILE"},
        {"report IN", "missing --output"},
        {"diff IN:3", "diff needs two requests"},
        {"diff --req 3 --req 4 --req 5 IN", "--req is given 3 times; diff takes it twice"},
        {"sql --csv --json SELECT IN", "--csv excludes --json"},
        {"sql --from 9 --to 3 SELECT IN", "--from 9 is after --to 3"},
        {"export IN", "give --jsonl, --csv or --sqlite FILE"},
        {"export --csv IN", "--jsonl and --csv need --out DIR"},
        {"export --out x --sqlite x.sqlite IN", "--out DIR is for --jsonl or --csv"},
    };
    for (const auto& [usage, message] : cases) {
        const ReaderRun result = runReader(words(usage, dir.path()));
        EXPECT_EQ(result.code, kExitTrouble) << usage;
        EXPECT_THAT(result.err, StartsWith("scenario-log: ")) << usage;
        EXPECT_THAT(result.err, HasSubstr(message)) << usage;
        EXPECT_EQ(lineCount(result.err), 1u) << result.err;
        EXPECT_EQ(result.out, "") << usage;
    }
}

// An input that yields no tuning log file at all is an input error: listed
// with its path as a problem, and the command answers nothing.
TEST(ScenarioLogCommandLine, InputErrorsNameThePathAndStopTheCommand) {
    TempDir dir, empty;
    writeRequests(dir);
    writeFile(empty.file("notes.txt"), "not a log\n");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {dir.file("absent"), ": cannot read: No such file or directory"},
        {empty.path(), ": no tuning log files in this folder"},
        {empty.file("notes.txt"), ": not a tuning log file name"},
    };
    for (const auto& [input, reason] : cases) {
        const ReaderRun result = runReader({"grep", dir.path(), input});
        EXPECT_EQ(result.code, kExitTrouble) << input;
        EXPECT_THAT(result.err, HasSubstr(input + reason));
        EXPECT_EQ(result.out, "") << input;
    }
    const ReaderRun json = runReader({"summary", "--json", dir.file("absent")});
    EXPECT_EQ(json.code, kExitTrouble);
    EXPECT_THAT(json.out, StartsWith("{\"type\":\"problem\""));
    EXPECT_EQ(runReader({"diff", dir.path() + ":3", empty.path() + ":3"}).code, kExitTrouble);
}

// 0 when something was found, 1 when nothing matched; the torn last line and
// the record of unknown request change neither.
TEST(ScenarioLogCommandLine, ExitStatusSaysWhetherAnythingWasFound) {
    TempDir dir;
    writeRequests(dir);
    const std::vector<std::pair<std::string, int>> cases = {
        {"summary IN", kExitMatch},
        {"grep --module 3A IN", kExitMatch},
        {"grep --module P2Streaming IN", kExitNoMatch},
        {"show --req 4 IN", kExitMatch},
        {"show --req 9 IN", kExitNoMatch},
        {"changes --module 3A IN", kExitMatch},
        {"changes --decision ISP_FLOW IN", kExitNoMatch},
        {"diff --req 3 --req 3 IN", kExitMatch},
        {"diff --req 3 --req 4 IN", kExitNoMatch},
        {"diff IN:3 IN:9", kExitTrouble},
    };
    for (const auto& [command, status] : cases) {
        const ReaderRun result = runReader(words(command, dir.path()));
        EXPECT_EQ(result.code, status) << command << "\n" << result.err;
        EXPECT_THAT(result.err, HasSubstr(kPreview + ":11: last line has no line break"));
    }
    EXPECT_THAT(runReader(words("show --req 9 IN", dir.path())).err,
                HasSubstr("scenario-log: request 9 is in none of the inputs\n"));
    EXPECT_THAT(runReader(words("diff IN:3 IN:9", dir.path())).err,
                HasSubstr("scenario-log: request 9 is in none of " + dir.path() + "\n"));
}

// --from N --to M takes the requests of the range, never a record of unknown
// request; --req N is --from N --to N.
TEST(ScenarioLogCommandLine, FromAndToTakeTheRequestsOfARange) {
    TempDir dir;
    writeRequests(dir);
    const ReaderRun show = runReader(words("show --from 4 --to 5 IN", dir.path()));
    EXPECT_EQ(show.code, kExitMatch);
    const std::vector<std::string> lines = testsupport::splitLines(show.out);
    ASSERT_EQ(lines.size(), 5u) << show.out;
    EXPECT_THAT(lines[1], HasSubstr("[ReqNum: 4]"));
    EXPECT_THAT(lines[4], HasSubstr("exposure 500 us"));
    EXPECT_THAT(show.err, HasSubstr("1 record of unknown request"));
    EXPECT_EQ(runReader(words("show --req 4 IN", dir.path())).out,
              runReader(words("show --from 4 --to 4 IN", dir.path())).out);

    const ReaderRun grep = runReader(words("grep --from 5 IN", dir.path()));
    EXPECT_EQ(testsupport::splitLines(grep.out).size(), 2u) << grep.out;
    EXPECT_THAT(grep.out, HasSubstr(":6: request 5: "));
    EXPECT_THAT(grep.out, HasSubstr(":8: request 6: "));
    EXPECT_EQ(runReader(words("grep --to 2 IN", dir.path())).code, kExitNoMatch);

    const ReaderRun changes = runReader(words("changes --ignore-numbers --to 5 IN", dir.path()));
    EXPECT_THAT(changes.out, HasSubstr("AE_EXPOSURE_PARAM  3-5  \"exposure 300 us\"\n"));
}

// --regex finds an RE2 pattern anywhere in the text; with --text both must match.
TEST(ScenarioLogCommandLine, RegexFindsAnRe2PatternInTheText) {
    TempDir dir;
    writeRequests(dir);
    const ReaderRun some = runReader({"grep", "--regex", "[45]0+ us$", dir.path()});
    EXPECT_EQ(some.code, kExitMatch);
    EXPECT_THAT(some.out, HasSubstr("request 4: "));
    EXPECT_THAT(some.out, HasSubstr("request 5: "));
    EXPECT_EQ(testsupport::splitLines(some.out).size(), 2u) << some.out;
    const ReaderRun both = runReader({"grep", "--regex", "^exp", "--text", "600", dir.path()});
    EXPECT_EQ(testsupport::splitLines(both.out).size(), 1u) << both.out;
    EXPECT_EQ(runReader({"grep", "--regex", "^us", dir.path()}).code, kExitNoMatch);
}
