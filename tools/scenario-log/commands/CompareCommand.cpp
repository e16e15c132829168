// `compare`: two runs compared anywhere in them (RunComparison,
// CompareReport), as a gate: 0 when they agree, 1 when they differ.
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/CompareReport.h"
#include "commands/ImportProgressLine.h"
#include "commands/RecordFilter.h"
#include "tables/RunTables.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "compare",
    "two runs compared request by request: which keys differ where,\n"
    "as events; 0 when they agree",
    "compare [--ignore-numbers] [--tolerance [NAME=]PCT]... [key filters] [options] A B",
    R"(A and B are runs: a folder or a file each. Requests are matched by number
within each timeline (preview and capture apart, and a new timeline where a
run's numbering starts again, as for `changes`); records as `diff` matches
them, by module, key and occurrence, and the headline's NDD texts and
snippets. For each key that differs in some matched request: in how many,
the first and last of them, and both texts at the first. Keys whose first
difference falls on one request changed together: they are printed as one
event, the earliest first. Then the keys only in A or only in B, the
requests only in one run, and the record counts per key that differ.

--tolerance 5% takes two numbers in the same place of both texts as equal
when they differ by at most 5 % of the larger (1100 against 1130 us), the
rest of the texts being the same; --tolerance NAME=PCT does so for the keys
of a decision or result NAME, or of module NAME (decision or result first,
then module, then the one for every key). --ignore-numbers takes every
number as equal and overrides them. With --module, --decision, --stage or
--result only the keys that match are compared, and the headline is left
out. The runs' tables come from the cache of `sql` (--no-cache: read into
memory).

Exit status, for a gate: 0 when the runs agree, 1 when they differ, 2 on bad
usage or an input error (an input that cannot be read, a folder without a
tuning log file).
)"};

class CompareCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        app.add_flag("--ignore-numbers", mStyle.ignoreNumbers,
                     "runs of digits are equal to each other (15762 us and\n"
                     "15801 us), so that only changes of state remain");
        app.add_option("--tolerance", mTolerances,
                       "numbers in the same place equal within PCT % of the\n"
                       "larger; NAME=PCT for one decision, result or module;\n"
                       "repeatable")
            ->type_name("[NAME=]PCT")
            ->expected(1)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        addKeyFilterOptions(app, mFilter);
        app.add_flag("--no-color", mNoColor, "no colour even on a terminal");
        app.add_flag("--no-cache", mSource.noCache, "read into memory, leave the cache alone");
        addJsonOption(app, mStyle.json,
                      "\"key-differs\", \"key-only-in-a\", \"key-only-in-b\",\n"
                      "\"request-only-in-a\", \"request-only-in-b\", \"count-differs\"");
        app.add_option("A", mRuns[0], "the run compared against, a folder or a file")->required();
        app.add_option("B", mRuns[1], "the run compared with A, a folder or a file")->required();
    }

    std::string finishOptions() override {
        for (const std::string& tolerance : mTolerances) {
            std::string error = mSettings.tolerances.add(tolerance);
            if (!error.empty()) return error;
        }
        mSettings.ignoreNumbers = mStyle.ignoreNumbers;
        mSettings.filter = {mFilter.module, mFilter.decision, mFilter.stage, mFilter.result};
        return {};
    }

    int run(const Console& console) override;

  private:
    std::vector<std::string> mTolerances;
    RecordFilter mFilter;
    bool mNoColor = false;
    CompareStyle mStyle;
    CompareSettings mSettings;
    RunTablesSource mSource;
    std::string mRuns[2];
};

int CompareCommand::run(const Console& console) {
    mStyle.color = console.terminal && !mNoColor && !mStyle.json;
    try {
        ImportProgressLine progress(console.err, isatty(STDERR_FILENO) == 1);
        const SqliteDb a = openRunTables(mRuns[0], mSource, &progress, console.err);
        const SqliteDb b = openRunTables(mRuns[1], mSource, &progress, console.err);
        const RunComparison comparison(a.get(), b.get(), mSettings);
        CompareReport report(comparison, mStyle);
        comparison.run(report);
        const bool agree =
            report.print({mRuns[0], a.get()}, {mRuns[1], b.get()}, console.out, console.err);
        return agree ? kExitMatch : kExitNoMatch;
    } catch (const RunInputError& failure) {
        console.err << "scenario-log: " << failure.what() << "\n";
    } catch (const SqliteError& failure) {
        console.err << "scenario-log: " << failure.what() << "\n";
    }
    return kExitTrouble;
}

}  // namespace

std::unique_ptr<Command> makeCompareCommand() {
    return std::make_unique<CompareCommand>();
}

}  // namespace scenariolog
