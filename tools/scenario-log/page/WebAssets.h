// The page of `report` and its style and scripts (tools/scenario-log/page/web),
// built into the program by cmake/EmbedFiles.cmake.
#pragma once

#include <string_view>

namespace scenariolog {

extern const std::string_view kReportHtml;
extern const std::string_view kReportCss;
// The page's scripts, in the order they run.
extern const std::string_view kReportTextJs;
extern const std::string_view kReportDiffJs;
extern const std::string_view kReportMapJs;
extern const std::string_view kReportPageJs;

}  // namespace scenariolog
