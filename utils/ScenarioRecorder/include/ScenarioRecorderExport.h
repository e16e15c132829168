// Symbol visibility of the library: it is built with hidden visibility, and
// only what carries SCENARIO_RECORDER_EXPORT is part of its ABI.
#pragma once

#define SCENARIO_RECORDER_EXPORT __attribute__((visibility("default")))
// Private members of an exported class that stay out of the ABI.
#define SCENARIO_RECORDER_LOCAL __attribute__((visibility("hidden")))
