// scenario-log: reports on tuning log files; see `scenario-log --help`.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "Report.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> args(argv + 1, argv + argc);
    // Read on the main thread before the reader starts any other.
    const char* term = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe)
    const bool terminal =
        isatty(STDOUT_FILENO) == 1 && term != nullptr && std::strcmp(term, "dumb") != 0;
    return scenariolog::runScenarioLog(args, std::cout, std::cerr, terminal);
}
