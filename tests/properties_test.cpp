// The host stand-in of the system property service: defaults, integer
// parsing as on the device, value limits, and seeding from a file.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <utility>

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

std::string get(const char* key, const char* fallback) {
    char value[PROPERTY_VALUE_MAX];
    const int length = property_get(key, value, fallback);
    EXPECT_EQ(static_cast<size_t>(length), strlen(value));
    return value;
}

TEST(HostProperties, UnsetOrEmptyGivesTheDefault) {
    EXPECT_EQ(get("vendor.test.unset", "fallback"), "fallback");
    EXPECT_EQ(get("vendor.test.unset", nullptr), "");
    ASSERT_EQ(property_set("vendor.test.blank", ""), 0);
    EXPECT_EQ(get("vendor.test.blank", "fallback"), "fallback");
    EXPECT_EQ(property_get_int32("vendor.test.blank", 7), 7);
    ASSERT_EQ(property_set("vendor.test.set", "value"), 0);
    EXPECT_EQ(get("vendor.test.set", "fallback"), "value");
}

TEST(HostProperties, Int32ParsesLikeTheDevice) {
    const std::pair<const char*, int32_t> cases[] = {
        {"12", 12},         {"0x10", 16},        {"-1", -1},
        {"12abc", 12},      {"abc", 99},         {"2147483647", INT32_MAX},
        {"2147483648", 99}, {"-2147483649", 99}, {"99999999999999999999999", 99},
    };
    for (const auto& [text, expected] : cases) {
        ASSERT_EQ(property_set("vendor.test.int", text), 0);
        EXPECT_EQ(property_get_int32("vendor.test.int", 99), expected) << text;
    }
    EXPECT_EQ(property_get_int32("vendor.test.never.set", -3), -3);
}

TEST(HostProperties, ValuesAreBoundedByPropertyValueMax) {
    const std::string longest(PROPERTY_VALUE_MAX - 1, 'v');
    EXPECT_EQ(property_set("vendor.test.max", longest.c_str()), 0);
    EXPECT_EQ(get("vendor.test.max", ""), longest);
    EXPECT_EQ(property_set("vendor.test.max", (longest + "w").c_str()), -1);
    EXPECT_EQ(get("vendor.test.max", ""), longest);
    EXPECT_EQ(get("vendor.test.unset", (longest + "www").c_str()), longest);
    EXPECT_EQ(property_set("", "x"), -1);
    EXPECT_EQ(property_set(nullptr, "x"), -1);
}

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
    const std::string command =
        std::string(kProbeVariable) + "=1 ZYNCAM_HOST_PROPERTIES='" + seed + "' '" + self + "'";
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
