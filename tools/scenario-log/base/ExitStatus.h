// The exit status of scenario-log, alike for every command. Problems inside
// files (a torn last line, a foreign file in a folder) are reported but change
// no status: they do not turn an answer into a failure.
#pragma once

namespace scenariolog {

constexpr int kExitMatch = 0;    // found what was asked; for diff: identical
constexpr int kExitNoMatch = 1;  // nothing matched; for diff: different
constexpr int kExitTrouble = 2;  // bad usage, or an input error: nothing was answered

}  // namespace scenariolog
