#include "Report.h"

#include "commands/CommandLine.h"
#include "commands/Commands.h"
#include "page/HtmlReport.h"

namespace scenariolog {

int runScenarioLog(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool terminal) {
    CommandLine commandLine;
    commandLine.add(makeSummaryCommand());
    commandLine.add(makeShowCommand());
    commandLine.add(makeGrepCommand());
    commandLine.add(makeDiffCommand());
    commandLine.add(makeChangesCommand());
    commandLine.add(makeCompareCommand());
    commandLine.add(makeReportCommand());
    commandLine.add(makeSqlCommand());
    commandLine.add(makeSchemaCommand());
    commandLine.add(makeExportCommand());
    return commandLine.run(args, Console{out, err, terminal});
}

}  // namespace scenariolog
