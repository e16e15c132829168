// A run's timelines, read from its tables (SqlSchema.h): per series kind, the
// series whose requests continue one numbering (RequestNumbering.h), in the
// catalog's order, as `changes` takes them.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace scenariolog {

struct RunTimeline {
    std::string kind;  // "preview", "capture" or "unknown"
    int number = 1;    // the n-th numbering of its kind in the run, from 1
    std::string from;  // the time stamp of its first series
    std::vector<std::int64_t> series;

    // "preview", or "preview #2" from a run's second numbering on.
    std::string name() const { return number == 1 ? kind : kind + " #" + std::to_string(number); }
};

// The timelines in the order they begin. Throws SqliteError.
std::vector<RunTimeline> readRunTimelines(sqlite3* db);

}  // namespace scenariolog
