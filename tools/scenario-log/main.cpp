// scenario-log: reports on tuning log files; see `scenario-log --help`.
#include <iostream>
#include <string>
#include <vector>

#include "Report.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return scenariolog::runScenarioLog(args, std::cout, std::cerr);
}
