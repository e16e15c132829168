// Host stand-in for the device's system property service (libcutils).
//
// Same signatures and semantics as on the device. Values live in the process:
// they are seeded once, on first use, from the file named by the environment
// variable ZYNCAM_HOST_PROPERTIES (lines of "key=value"; blank lines and lines
// starting with '#' are ignored), and property_set() changes them from then on.
// A key of that file that starts like the scenario recorder's keys
// ("vendor.debug.camera.scenario", in any case) but is none of them is
// reported once on standard error with the nearest of the recorder's keys.
// All functions are thread-safe.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

// Copies the value of `key` into `value` (at most PROPERTY_VALUE_MAX bytes, NUL
// included) and returns its length. When the key is unset or its value is
// empty, copies `default_value` instead (or "" when it is null).
int property_get(const char* key, char* value, const char* default_value);

// Parses the value of `key` as a signed integer in any base that strtoimax
// infers ("12", "0x1f", "-1"; trailing characters are ignored). Returns
// `default_value` when the key is unset, empty, not a number, or outside the
// range of int32_t.
int32_t property_get_int32(const char* key, int32_t default_value);

// Sets `key` to `value`. Returns 0, or -1 when the key is null or empty or
// the value does not fit into PROPERTY_VALUE_MAX bytes.
int property_set(const char* key, const char* value);

#ifdef __cplusplus
}
#endif
