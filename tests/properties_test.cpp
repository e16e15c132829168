// The host stand-in of the system property service: the seeding from a file
// that the README documents for host programs.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "support/TempDir.h"

namespace {

constexpr const char* kProbeVariable = "PROPERTIES_TEST_PROBE";
const char* const kProbeKeys[] = {"vendor.test.first", "vendor.test.hex",   "vendor.test.cr",
                                  "vendor.test.long",  "vendor.test.empty", "#vendor.test.hidden"};

// Started again as a probe, this program prints what the seed file gave and
// exits before any test runs: the store is seeded once, at first use, so only
// a fresh process shows the seeding.
const bool kRunAsProbe = [] {
    if (getenv(kProbeVariable) == nullptr) return false;
    char value[PROPERTY_VALUE_MAX];
    for (const char* key : kProbeKeys) {
        property_get(key, value, "unset");
        printf("%s=%s\n", key, value);
    }
    printf("int=%d\n", property_get_int32("vendor.test.hex", -5));
    fflush(stdout);
    _exit(0);
}();

// What the recorder itself relies on (defaults for unset or emptied values,
// numbers) the startup and log folder tests show through the recorder.
TEST(HostProperties, SeedsFromTheFileNamedInTheEnvironment) {
    ASSERT_FALSE(kRunAsProbe);
    testsupport::TempDir dir;
    const std::string seed = dir.file("seed.prop");
    testsupport::writeFile(seed,
                           "# a comment\n#vendor.test.hidden=5\nvendor.test.first=1\n"
                           "vendor.test.hex=0x10\n\n=orphan\nvendor.test.cr=seven\r\n"
                           "vendor.test.long=" +
                               std::string(PROPERTY_VALUE_MAX, 'x') + "\nvendor.test.empty=\n");
    char self[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof(self) - 1), 0);
    const std::string command = std::string(kProbeVariable) + "=1 ZYNCAM_HOST_PROPERTIES='" + seed +
                                "' " SCENARIO_RECORDER_TEST_EMULATOR " '" + self + "'";
    FILE* probe = popen(command.c_str(), "r");
    ASSERT_NE(probe, nullptr);
    std::string output;
    char chunk[256];
    while (fgets(chunk, sizeof(chunk), probe) != nullptr) output += chunk;
    EXPECT_EQ(pclose(probe), 0);
    EXPECT_EQ(output,
              "vendor.test.first=1\nvendor.test.hex=0x10\nvendor.test.cr=seven\n"
              "vendor.test.long=unset\nvendor.test.empty=unset\n#vendor.test.hidden=unset\n"
              "int=16\n");
}

}  // namespace
