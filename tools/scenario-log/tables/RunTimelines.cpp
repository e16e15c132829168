#include "tables/RunTimelines.h"

#include <map>

#include "base/Sqlite.h"
#include "tables/RequestNumbering.h"

namespace scenariolog {
namespace {

// Each series with the requests that it holds records of, in the catalog's
// order (series ids follow it).
constexpr const char* kSeriesRequests =
    "SELECT s.id, s.kind, s.request, s.time_stamp, q.request FROM stored_series AS s "
    "LEFT JOIN stored_requests AS q ON q.series = s.id AND q.records > 0 "
    "ORDER BY s.id, q.request";

struct OpenTimeline {
    std::size_t index = 0;  // in the list of timelines
    RequestNumbering numbering;
};

}  // namespace

std::vector<RunTimeline> readRunTimelines(sqlite3* db) {
    std::vector<RunTimeline> timelines;
    std::map<std::string, OpenTimeline> open;  // by kind
    std::map<std::string, int> begun;          // timelines per kind
    const SqliteStatement select = prepareSql(db, kSeriesRequests);
    std::int64_t seriesId = 0;
    OpenTimeline* current = nullptr;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
        sqlite3_stmt* row = select.get();
        const std::int64_t id = sqlite3_column_int64(row, 0);
        if (current == nullptr || id != seriesId) {
            seriesId = id;
            const std::string kind(columnText(row, 1));
            const auto found = open.find(kind);
            const bool named = sqlite3_column_type(row, 2) != SQLITE_NULL;
            const int request = sqlite3_column_int(row, 2);
            if (found == open.end() || (named && found->second.numbering.restartsAt(request))) {
                timelines.push_back({kind, ++begun[kind], std::string(columnText(row, 3)), {}});
                open[kind] = OpenTimeline{timelines.size() - 1, {}};
            }
            current = &open[kind];
            timelines[current->index].series.push_back(id);
        }
        if (sqlite3_column_type(row, 4) != SQLITE_NULL) {
            current->numbering.take(sqlite3_column_int(row, 4));
        }
    }
    if (code != SQLITE_DONE) throw SqliteError(code, sqlite3_errmsg(db));
    return timelines;
}

}  // namespace scenariolog
