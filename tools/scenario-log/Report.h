// The whole program behind main(): the list of its commands, each of which
// parses its options and reads its inputs (commands/Command.h).
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "base/ExitStatus.h"

namespace scenariolog {

// `args` without the program name. `terminal`: `out` is a terminal, so
// `diff` may colour what differs.
int runScenarioLog(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool terminal = false);

}  // namespace scenariolog
