#include "tables/TableExport.h"

#include <cstring>

#include "base/Sqlite.h"

namespace scenariolog {
namespace {

constexpr const char* kExported[] = {"records", "requests", "headlines",
                                     "series",  "files",    "problems"};

// The documented columns, named one by one: a view that lost or renamed one
// fails here rather than export something else. Records are read through
// the view that joins their file and series, in file order.
std::string selectOf(const SqlTableDoc& table) {
    std::string select = "SELECT ";
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        select += std::string(i > 0 ? ", " : "") + table.columns[i].name;
    }
    const bool records = std::strcmp(table.name, "records") == 0;
    return select + " FROM " + (records ? "stored_records_joined" : table.name);
}

}  // namespace

std::vector<const SqlTableDoc*> exportedTables() {
    std::vector<const SqlTableDoc*> tables;
    for (const char* name : kExported) {
        for (const SqlTableDoc& doc : sqlSchemaDocs()) {
            if (std::strcmp(doc.name, name) == 0) tables.push_back(&doc);
        }
    }
    return tables;
}

ExportSummary exportTables(sqlite3* tables, const std::vector<std::string>& inputs,
                           const std::vector<ExportTarget*>& targets) {
    ExportSummary summary;
    summary.inputs = inputs;
    for (const SqlTableDoc* table : exportedTables()) {
        std::vector<std::unique_ptr<TableSink>> sinks;
        sinks.reserve(targets.size());
        for (ExportTarget* target : targets) sinks.push_back(target->openTable(*table));
        const SqliteStatement select = prepareSql(tables, selectOf(*table));
        TableRows counted{table->name, 0};
        int code = SQLITE_ROW;
        while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
            for (const auto& sink : sinks) sink->row(select.get());
            ++counted.rows;
        }
        if (code != SQLITE_DONE) throw SqliteError(code, sqlite3_errmsg(tables));
        for (const auto& sink : sinks) sink->finish();
        summary.tables.push_back(counted);
    }
    for (ExportTarget* target : targets) target->commit(summary);
    return summary;
}

}  // namespace scenariolog
