// Starting the build's own programs from a test. A cross build's programs
// run on this machine only through its emulator: the kernel has no handler
// for their format, and the emulator does not follow an exec by itself.
#pragma once

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace testsupport {

// The emulator's words separated by spaces; empty in a native build.
constexpr const char* kEmulator = SCENARIO_RECORDER_TEST_EMULATOR;

// `argv` with the emulator's words in front; start it with posix_spawnp.
inline std::vector<std::string> throughEmulator(const std::vector<std::string>& argv) {
    std::istringstream emulator(kEmulator);
    std::vector<std::string> words{std::istream_iterator<std::string>(emulator),
                                   std::istream_iterator<std::string>()};
    words.insert(words.end(), argv.begin(), argv.end());
    return words;
}

// gtest's "threadsafe" style re-executes the test program for each death
// test, which only the emulator can run; under it the forking style is used.
inline const char* deathTestStyle() {
    return kEmulator[0] == '\0' ? "threadsafe" : "fast";
}

}  // namespace testsupport
