// `diff`: two requests compared item by item (DiffReport).
#include <CLI/CLI.hpp>
#include <charconv>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/DiffReport.h"
#include "reading/LogCatalog.h"
#include "tables/RequestCollector.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "diff",
    "request N of input A against request M of input B, or two\n"
    "requests of the same inputs",
    "diff [options] A:N B:M\ndiff --req N --req M [options] FOLDER|FILE...",
    R"(A and B are a folder or file each; N is the number after the last ':'.
Records are matched by module, key (decision, or stage and result) and
occurrence (the n-th record with that key in the request); headlines by their
NDD texts and snippets. Per module: "-" only in A, "+" only in B, "~"
different texts, with the differing span marked. A request with several
blocks counts as all of its records.

Exit status, as for diff(1): 0 identical, 1 different, 2 trouble (bad usage,
an input error, a request in none of its inputs).
)"};

// One side: a request and the inputs to look for it in.
struct DiffSide {
    std::vector<std::string> inputs;
    int request = 0;
    std::string label;  // the inputs as named on the command line
};

// "INPUT:N", the number after the last colon.
std::optional<DiffSide> parseDiffSide(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    int request = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + colon + 1, end, request);
    if (colon + 1 == text.size() || result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    const std::string input = text.substr(0, colon);
    return DiffSide{{input}, request, input};
}

class DiffCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        addNumbersOption(app, "--req", mRequests, "request N, then request M (twice)");
        app.add_flag("--ignore-numbers", mIgnoreNumbers,
                     "runs of digits are equal to each other (15762 us and\n"
                     "15801 us), so that only changes of state remain");
        app.add_flag("--no-color", mNoColor, "no colour even on a terminal");
        addJsonOption(app, mJson, "\"difference\"");
        app.add_option("INPUT", mInputs, "A:N B:M, or the inputs of --req");
    }

    std::string finishOptions() override;
    int run(const Console& console) override;

  private:
    // Reads the inputs of `side` for every request asked of them; null on an
    // input error (reported).
    std::unique_ptr<RequestCollector> collect(const DiffSide& side, ProblemReport& problems) const;

    std::vector<int> mRequests;
    bool mIgnoreNumbers = false;
    bool mNoColor = false;
    bool mJson = false;
    std::vector<std::string> mInputs;
    std::vector<DiffSide> mSides;  // A and B
};

std::string DiffCommand::finishOptions() {
    if (mRequests.size() == 2) {
        if (mInputs.empty()) return "missing FOLDER|FILE";
        std::string names;
        for (const std::string& input : mInputs) names += (names.empty() ? "" : " ") + input;
        for (int request : mRequests) mSides.push_back({mInputs, request, names});
        return {};
    }
    if (mRequests.size() > 2)
        return "--req is given " + std::to_string(mRequests.size()) + " times; diff takes it twice";
    if (!mRequests.empty() || mInputs.size() != 2) {
        return "diff needs two requests: A:N B:M, or --req N --req M FOLDER|FILE...";
    }
    for (const std::string& input : mInputs) {
        auto side = parseDiffSide(input);
        if (!side) return "'" + input + "' is not INPUT:REQUEST";
        mSides.push_back(std::move(*side));
    }
    return {};
}

std::unique_ptr<RequestCollector> DiffCommand::collect(const DiffSide& side,
                                                       ProblemReport& problems) const {
    const std::vector<LogSeries> series = catalogInputs(side.inputs, problems);
    if (problems.inputErrors() > 0) return nullptr;
    std::vector<int> requests;
    for (const DiffSide& other : mSides) {
        if (other.inputs == side.inputs) requests.push_back(other.request);
    }
    auto collector = std::make_unique<RequestCollector>(requests);
    for (const LogSeries& one : series) walkSeries(one, *collector, problems);
    problems.finish();
    return collector;
}

int DiffCommand::run(const Console& console) {
    ProblemReport problems(console.out, console.err, mJson);
    const bool shared = mSides[0].inputs == mSides[1].inputs;
    std::unique_ptr<RequestCollector> collectors[2];
    collectors[0] = collect(mSides[0], problems);
    if (!collectors[0]) return kExitTrouble;
    if (!shared) collectors[1] = collect(mSides[1], problems);
    const RequestCollector* found[2] = {collectors[0].get(),
                                        shared ? collectors[0].get() : collectors[1].get()};
    DiffSideView views[2];
    for (int i = 0; i < 2; ++i) {
        if (found[i] == nullptr) return kExitTrouble;
        const KeptRequest& request = found[i]->request(mSides[i].request);
        if (!request.seen) {
            console.err << "scenario-log: request " << mSides[i].request << " is in none of "
                        << mSides[i].label << "\n";
            return kExitTrouble;
        }
        views[i] = {mSides[i].label + " request " + std::to_string(mSides[i].request), &request};
    }
    const DiffStyle style{mJson, mIgnoreNumbers, console.terminal && !mNoColor};
    return printDiff(views[0], views[1], style, console.out).identical() ? kExitMatch
                                                                         : kExitNoMatch;
}

}  // namespace

std::unique_ptr<Command> makeDiffCommand() {
    return std::make_unique<DiffCommand>();
}

}  // namespace scenariolog
