// The rows of a query, written as they come: aligned columns (widths taken
// from the first rows, so that memory stays bounded), CSV, or one JSON object
// per row.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace scenariolog {

enum class SqlFormat { kColumns, kCsv, kJson };

class SqlOutput {
  public:
    virtual ~SqlOutput() = default;
    // The current row of `statement`.
    virtual void row(sqlite3_stmt* statement) = 0;
    // After the last row (also when there was none).
    virtual void finish() {}
};

std::unique_ptr<SqlOutput> makeSqlOutput(SqlFormat format, sqlite3_stmt* statement,
                                         std::ostream& out);

}  // namespace scenariolog
