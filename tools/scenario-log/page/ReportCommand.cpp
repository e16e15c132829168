// `report`: one self-contained HTML page of the inputs (HtmlReport).
#include <CLI/CLI.hpp>

#include "page/HtmlReport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kHelp{
    "report",
    "one HTML page for a browser, self-contained (opens from the\n"
    "file, no network)",
    "report -o FILE FOLDER|FILE...\nreport -o FILE A B",
    R"(The page holds the summary and problems; per series a map of each key's texts
over the requests (a colour per text within a key's row); a request's blocks
on a click, and the diff of two requests on a shift-click. It is written whole
or not at all.

Of two inputs, the page also compares them as runs (as `compare` does, from
the cache of `sql`): in the maps of A's series a red bar marks each cell
where B's text of the key differs in the same request (with ignore numbers,
beyond its numbers), and a click on it shows the diff of A's and B's request.

Exit status: 0 when some series was read, 1 when none was (the page is written
all the same), 2 on bad usage, an input error or a page that cannot be written.
)"};

class ReportCommand : public Command {
  public:
    const CommandHelp& help() const override { return kHelp; }

    void addOptions(CLI::App& app) override {
        app.add_option("-o,--output", mOutput, "the page to write")->required()->type_name("FILE");
        addInputsOption(app, mInputs);
    }

    int run(const Console& console) override {
        ProblemReport problems(console.out, console.err, false);
        return runHtmlReport(mInputs, mOutput, problems, console.err);
    }

  private:
    std::string mOutput;
    std::vector<std::string> mInputs;
};

}  // namespace

std::unique_ptr<Command> makeReportCommand() {
    return std::make_unique<ReportCommand>();
}

}  // namespace scenariolog
