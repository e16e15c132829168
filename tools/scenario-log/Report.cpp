#include "Report.h"

#include <unistd.h>

#include "commands/ChangesReport.h"
#include "commands/CommandLine.h"
#include "commands/DiffReport.h"
#include "commands/RecordReport.h"
#include "commands/SqlCommand.h"
#include "commands/SummaryReport.h"
#include "page/HtmlReport.h"
#include "reading/LogCatalog.h"
#include "reading/ProblemReport.h"
#include "reading/SeriesWalker.h"
#include "tables/RequestCollector.h"

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

void runChanges(const Options& options, const std::vector<LogSeries>& series,
                ProblemReport& problems, std::ostream& out, std::ostream& err) {
    const ChangesStyle style{options.json, options.ignoreNumbers, options.all, options.from,
                             options.to};
    ChangesReport report(out, style, options.filter);
    walkAll(series, report, problems);
    problems.finish();
    report.finish();
    if (options.json) return;
    if (report.keys() == 0) err << "scenario-log: no matching records\n";
    if (report.unknownRequestRecords() > 0) {
        err << "scenario-log: " << report.unknownRequestRecords()
            << " records of unknown request (preview blocks without [ReqNum: N]) left out\n";
    }
}

// Reads the inputs of `side` for the requests of `sides` that share them; null
// when they hold no tuning log file (the catalog has said why).
std::unique_ptr<RequestCollector> collectSide(const std::vector<DiffSide>& sides,
                                              const DiffSide& side, ProblemReport& problems) {
    const std::vector<LogSeries> series = catalogInputs(side.inputs, problems);
    if (series.empty()) return nullptr;
    std::vector<int> requests;
    for (const DiffSide& other : sides) {
        if (other.inputs == side.inputs) requests.push_back(other.request);
    }
    auto collector = std::make_unique<RequestCollector>(requests);
    walkAll(series, *collector, problems);
    problems.finish();
    return collector;
}

int runDiff(const Options& options, ProblemReport& problems, std::ostream& out, std::ostream& err,
            bool terminal) {
    const std::vector<DiffSide>& sides = options.diffSides;
    const bool shared = sides[0].inputs == sides[1].inputs;
    std::unique_ptr<RequestCollector> collectors[2];
    collectors[0] = collectSide(sides, sides[0], problems);
    collectors[1] = shared ? nullptr : collectSide(sides, sides[1], problems);
    RequestCollector* found[2] = {collectors[0].get(),
                                  shared ? collectors[0].get() : collectors[1].get()};
    DiffSideView views[2];
    for (int i = 0; i < 2; ++i) {
        if (found[i] == nullptr) return kExitUsage;
        const KeptRequest& request = found[i]->request(sides[i].request);
        if (!request.seen) {
            err << "scenario-log: request " << sides[i].request << " is in none of "
                << sides[i].label << "\n";
            return kExitUsage;
        }
        views[i] = {sides[i].label + " request " + std::to_string(sides[i].request), &request};
    }
    const DiffStyle style{options.json, options.ignoreNumbers, terminal && !options.noColor};
    const DiffCounts counts = printDiff(views[0], views[1], style, out);
    out.flush();
    return counts.identical() ? kExitClean : kExitProblems;
}

SqlOptions sqlOptions(const Options& options) {
    SqlOptions sql;
    sql.query = options.query;
    sql.inputs = options.inputs;
    sql.format = options.csv    ? SqlFormat::kCsv
                 : options.json ? SqlFormat::kJson
                                : SqlFormat::kColumns;
    sql.noCache = options.noCache;
    sql.progress = isatty(STDERR_FILENO) == 1;
    return sql;
}

}  // namespace

int runScenarioLog(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool terminal) {
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
    if (options.command == Command::kSql) return runSql(sqlOptions(options), out, err, terminal);
    if (options.command == Command::kSchema) return runSchema(options.json, out);
    ProblemReport problems(out, err, options.json);
    if (options.command == Command::kDiff) return runDiff(options, problems, out, err, terminal);
    if (options.command == Command::kReport) return runHtmlReport(options, problems, err);
    const std::vector<LogSeries> series = catalogInputs(options.inputs, problems);
    if (options.command == Command::kSummary) {
        runSummary(options, series, problems, out);
    } else if (options.command == Command::kChanges) {
        runChanges(options, series, problems, out, err);
    } else {
        runRecords(options, series, problems, out, err);
    }
    out.flush();
    return problems.count() == 0 ? kExitClean : kExitProblems;
}

}  // namespace scenariolog
