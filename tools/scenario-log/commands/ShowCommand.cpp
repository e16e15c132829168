// `show`: the headlines and records of a request, or of a range of requests,
// in written order.
#include <CLI/CLI.hpp>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/RecordReport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "show",
    "the headlines and records of request N, or of requests N to M,\n"
    "in written order, across preview and capture series",
    "show --req N [options] FOLDER|FILE...\n"
    "show --from N --to M [options] FOLDER|FILE...",
    R"(Each line as "FILE:LINE: <line as written>", under a line "== <kind> series
<prefix> <time stamp>" per series. Records of unknown request (preview blocks
without [ReqNum: N]) are counted on standard error, not shown.

Exit status: 0 when a request was found, 1 when none was, 2 on bad usage or an
input error.
)"};

class ShowCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        CLI::Option* request =
            addNumberOption(app, "--req", mRequest, "request N, as --from N --to N");
        addRangeOptions(app, mRange);
        request->excludes("--from")->excludes("--to");
        addJsonOption(app, mJson, "\"headline\", \"record\"");
        addInputsOption(app, mInputs);
    }

    std::string finishOptions() override {
        if (mRequest) mRange = {mRequest, mRequest};
        if (!mRange.bounded()) return "show needs --req N, or --from N and/or --to M";
        return mRange.reversed();
    }

    int run(const Console& console) override {
        ProblemReport problems(console.out, console.err, mJson);
        RecordReport report = RecordReport::forRequests(console.out, mJson, mRange);
        if (!walkInputs(mInputs, report, problems)) return kExitTrouble;
        report.printNotes(console.err);
        return report.matched() > 0 ? kExitMatch : kExitNoMatch;
    }

  private:
    std::optional<int> mRequest;
    RequestRange mRange;
    bool mJson = false;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeShowCommand() {
    return std::make_unique<ShowCommand>();
}

}  // namespace scenariolog
