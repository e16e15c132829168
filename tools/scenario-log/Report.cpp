#include "Report.h"

#include "CommandLine.h"
#include "LogCatalog.h"
#include "ProblemReport.h"
#include "RecordReport.h"
#include "SeriesWalker.h"
#include "SummaryReport.h"

namespace scenariolog {
namespace {

void walkAll(const std::vector<LogSeries>& series, SeriesVisitor& visitor, ProblemSink& problems) {
    for (const LogSeries& one : series) walkSeries(one, visitor, problems);
}

void runSummary(const Options& options, const std::vector<LogSeries>& series,
                ProblemReport& problems, std::ostream& out) {
    SummaryReport report(out, options.json, problems);
    walkAll(series, report, problems);
    problems.finish();
    report.finish();
}

// Notes on standard error what `show` or `grep` could not consider.
void printRecordNotes(const Options& options, const RecordReport& report, std::ostream& err) {
    if (options.json) return;
    if (report.matchedRecords() == 0) {
        err << "scenario-log: no matching records";
        if (options.request) err << " of request " << *options.request;
        err << "\n";
    }
    if (options.request && report.unknownRequestRecords() > 0) {
        err << "scenario-log: " << report.unknownRequestRecords()
            << " records of unknown request (preview blocks without [ReqNum: N]) not shown\n";
    }
}

void runRecords(const Options& options, const std::vector<LogSeries>& series,
                ProblemReport& problems, std::ostream& out, std::ostream& err) {
    RecordReport report = options.request
                              ? RecordReport::forRequest(out, options.json, *options.request)
                              : RecordReport::forFilter(out, options.json, options.filter);
    walkAll(series, report, problems);
    problems.finish();
    printRecordNotes(options, report, err);
}

}  // namespace

int runScenarioLog(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    const CommandLine commandLine = parseCommandLine(args);
    if (!commandLine.options) {
        err << "scenario-log: " << commandLine.error << "\n";
        return kExitUsage;
    }
    const Options& options = *commandLine.options;
    if (options.command == Command::kHelp) {
        out << kHelpText;
        return kExitClean;
    }
    ProblemReport problems(out, err, options.json);
    const std::vector<LogSeries> series = catalogInputs(options.inputs, problems);
    if (options.command == Command::kSummary) {
        runSummary(options, series, problems, out);
    } else {
        runRecords(options, series, problems, out, err);
    }
    out.flush();
    return problems.count() == 0 ? kExitClean : kExitProblems;
}

}  // namespace scenariolog
