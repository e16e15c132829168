// The exit status of scenario-log, alike for every command.
#pragma once

namespace scenariolog {

constexpr int kExitClean = 0;     // every input read and understood
constexpr int kExitProblems = 1;  // report complete, some input had problems
constexpr int kExitUsage = 2;     // bad usage; for diff any trouble

}  // namespace scenariolog
