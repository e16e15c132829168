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
    const char* term = std::getenv("TERM");
    const bool terminal =
        isatty(STDOUT_FILENO) == 1 && term != nullptr && std::strcmp(term, "dumb") != 0;
    return scenariolog::runScenarioLog(args, std::cout, std::cerr, terminal);
}
