// `report`: one self-contained HTML page of the inputs, for a browser, opened
// from a file: the summary (series, modules, problems), the decision map of
// each series and every request's blocks, which the page shows and compares.
//
// The page is tools/scenario-log/page/web/report.html with its style and scripts,
// built into the program (WebAssets.h). Its data: the series and problems as
// `summary --json` prints them, in a JSON script element made safe for HTML
// (PageEncoding.h), and per series the object of SeriesTable.h, deflated and
// in base64, so that no log text is ever markup. A Content-Security-Policy
// lets only the page's own script run (a nonce new to each page), and no
// request leave the page.
//
// The inputs stream through as for the other commands; each series is
// written out when its walk ends, so memory holds one series' table. Of two
// inputs, the page holds their comparison as runs too (CompareMarks.h).
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "reading/ProblemReport.h"

namespace scenariolog {

// Writes the page of `inputs` to `output` (through a temporary file beside it,
// so that a failed run leaves no half page). Problems are listed as for the
// other commands and in the page. Returns the exit status.
int runHtmlReport(const std::vector<std::string>& inputs, const std::string& output,
                  ProblemReport& problems, std::ostream& err);

// `report`, with its options (ReportCommand.cpp).
std::unique_ptr<Command> makeReportCommand();

}  // namespace scenariolog
