// The whole program behind main(): parses the command line, reads the inputs
// and prints the report.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace scenariolog {

constexpr int kExitClean = 0;     // every input read and understood
constexpr int kExitProblems = 1;  // report complete, some input had problems
constexpr int kExitUsage = 2;     // bad usage; for diff any trouble

// `args` without the program name. `terminal`: `out` is a terminal, so
// `diff` may colour what differs.
int runScenarioLog(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool terminal = false);

}  // namespace scenariolog
