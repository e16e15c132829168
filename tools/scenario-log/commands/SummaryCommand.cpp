// `summary`: per series its files, the requests it holds and record counts.
#include <CLI/CLI.hpp>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/SummaryReport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "summary",
    "per file series: its files, the requests it holds, and record\n"
    "counts by module, decision, stage and result",
    "summary [options] FOLDER|FILE...",
    R"(A series' requests are listed as runs ("0-28, 30-58"); the last line gives
the totals of every series.

Exit status: 0 when some series was read, 1 when none was, 2 on bad usage or
an input error.
)"};

class SummaryCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        addJsonOption(app, mJson, "\"series\", \"totals\"");
        addInputsOption(app, mInputs);
    }

    int run(const Console& console) override {
        ProblemReport problems(console.out, console.err, mJson);
        SummaryReport report(console.out, mJson, problems);
        if (!walkInputs(mInputs, report, problems)) return kExitTrouble;
        report.finish();
        return report.seriesRead() > 0 ? kExitMatch : kExitNoMatch;
    }

  private:
    bool mJson = false;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeSummaryCommand() {
    return std::make_unique<SummaryCommand>();
}

}  // namespace scenariolog
