// `show`: the headlines and records of a request, in written order.
#include <CLI/CLI.hpp>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/RecordReport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "show",
    "the headlines and records of request N, in written order,\n"
    "across preview and capture series",
    "show --req N [options] FOLDER|FILE...",
    R"(Each line as "FILE:LINE: <line as written>", under a line "== <kind> series
<prefix> <time stamp>" per series. Records of unknown request (preview blocks
without [ReqNum: N]) are counted on standard error, not shown.

Exit status: 0 when the request was found, 1 when it was not, 2 on bad usage
or an input error.
)"};

class ShowCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        addNumberOption(app, "--req", mRequest, "request N")->required();
        addJsonOption(app, mJson, "\"headline\", \"record\"");
        addInputsOption(app, mInputs);
    }

    int run(const Console& console) override {
        ProblemReport problems(console.out, console.err, mJson);
        RecordReport report = RecordReport::forRequest(console.out, mJson, *mRequest);
        if (!walkInputs(mInputs, report, problems)) return kExitTrouble;
        report.printNotes(console.err);
        return report.matched() > 0 ? kExitMatch : kExitNoMatch;
    }

  private:
    std::optional<int> mRequest;
    bool mJson = false;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeShowCommand() {
    return std::make_unique<ShowCommand>();
}

}  // namespace scenariolog
