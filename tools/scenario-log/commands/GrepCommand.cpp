// `grep`: the records that match every given filter.
#include <CLI/CLI.hpp>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/RecordReport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "grep", "the records that match every given filter",
    "grep [filters] [--from N] [--to M] [options] FOLDER|FILE...",
    R"(Each record as "FILE:LINE: request N: <line as written>" ("request ?" for a
record of unknown request), in written order. No filter: every record. With
--from or --to, records of unknown request are left out.

Exit status: 0 when a record matched, 1 when none did, 2 on bad usage or an
input error.
)"};

class GrepCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        addKeyFilterOptions(app, mFilter);
        addLineFilterOptions(app, mFilter);
        addRangeOptions(app, mRange);
        addJsonOption(app, mJson, "\"record\"");
        addInputsOption(app, mInputs);
    }

    std::string finishOptions() override {
        std::string error = mFilter.compile();
        return error.empty() ? mRange.reversed() : error;
    }

    int run(const Console& console) override {
        ProblemReport problems(console.out, console.err, mJson);
        RecordReport report = RecordReport::forFilter(console.out, mJson, mFilter, mRange);
        if (!walkInputs(mInputs, report, problems)) return kExitTrouble;
        report.printNotes(console.err);
        return report.matched() > 0 ? kExitMatch : kExitNoMatch;
    }

  private:
    RecordFilter mFilter;
    RequestRange mRange;
    bool mJson = false;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeGrepCommand() {
    return std::make_unique<GrepCommand>();
}

}  // namespace scenariolog
