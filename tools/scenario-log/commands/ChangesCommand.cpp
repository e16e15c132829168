// `changes`: per record key, the runs of requests with the same text.
#include <CLI/CLI.hpp>

#include "base/Counted.h"
#include "base/ExitStatus.h"
#include "commands/ChangesReport.h"
#include "commands/Commands.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "changes",
    "per key, the runs of requests whose texts were the same, and\n"
    "the requests where the text changed",
    "changes [--from N] [--to M] [key filters] [options] FOLDER|FILE...",
    R"(Requests are taken in number order: one timeline for preview requests, one
for capture requests, and a new one where a later series numbers from lower.
A key is a module and its decision, or its stage and result; its text in a
request is the texts of its records there joined by " | ". A run is printed
as "A-B" and its text, each change with an arrow. Records of unknown request
are counted on standard error, left out.

Exit status: 0 when some key was listed, 1 when none was, 2 on bad usage or an
input error.
)"};

class ChangesCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        addRangeOptions(app, mRange);
        addKeyFilterOptions(app, mFilter);
        app.add_flag("--ignore-numbers", mStyle.ignoreNumbers,
                     "runs of digits are equal to each other (15762 us and\n"
                     "15801 us), so that only changes of state remain");
        app.add_flag("--all", mStyle.all,
                     "also list the runs of keys that change on nearly every\n"
                     "request (otherwise one line with the number of their\n"
                     "distinct texts)");
        addJsonOption(app, mStyle.json, "\"timeline\", \"key\"");
        addInputsOption(app, mInputs);
    }

    std::string finishOptions() override { return mRange.reversed(); }

    int run(const Console& console) override {
        mStyle.from = mRange.from;
        mStyle.to = mRange.to;
        ProblemReport problems(console.out, console.err, mStyle.json);
        ChangesReport report(console.out, mStyle, mFilter);
        if (!walkInputs(mInputs, report, problems)) return kExitTrouble;
        report.finish();
        printNotes(report, console.err);
        return report.keys() > 0 ? kExitMatch : kExitNoMatch;
    }

  private:
    void printNotes(const ChangesReport& report, std::ostream& err) const {
        if (mStyle.json) return;
        if (report.keys() == 0) err << "scenario-log: no matching records\n";
        if (report.unknownRequestRecords() > 0) {
            err << "scenario-log: " << counted(report.unknownRequestRecords(), "record", "records")
                << " of unknown request (preview blocks without [ReqNum: N]) left out\n";
        }
    }

    RequestRange mRange;
    RecordFilter mFilter;
    ChangesStyle mStyle;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeChangesCommand() {
    return std::make_unique<ChangesCommand>();
}

}  // namespace scenariolog
