// scenario-log run in the test's process, its output and status kept.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "Report.h"

namespace testsupport {

struct ReaderRun {
    int code;
    std::string out;
    std::string err;
};

inline ReaderRun runReader(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = scenariolog::runScenarioLog(args, out, err);
    return {code, out.str(), err.str()};
}

}  // namespace testsupport
