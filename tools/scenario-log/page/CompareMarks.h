// The comparison that `report A B` puts into its page: per series of A and
// key of its map, the requests where B's text differs (RunComparison), once
// with texts compared exactly and once with numbers ignored, and per series
// of A the series of B that hold the same requests, so that the page marks
// those cells and opens the diff of A's and B's request on a click.
//
// The object (series are the page's numbers, request sets [first, last] runs):
//   a, b    the two inputs
//   pairs   [series of A, series of B, requests both hold]
//   marks   [series of A, module, label, requests that differ exactly,
//            requests that differ with numbers ignored]
// A key that A's map has no row for marks nothing; nor does the headline.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "reading/LogCatalog.h"

namespace scenariolog {

// `series`: the page's series, in its order. Throws SqliteError.
std::string compareMarksJson(const std::string& a, const std::string& b,
                             const std::vector<LogSeries>& series, std::ostream& err);

}  // namespace scenariolog
