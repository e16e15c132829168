// Symbol visibility of the library: it is built with hidden visibility, and
// only what carries SCENARIO_RECORDER_EXPORT is part of its ABI.
#pragma once

#define SCENARIO_RECORDER_EXPORT __attribute__((visibility("default")))
