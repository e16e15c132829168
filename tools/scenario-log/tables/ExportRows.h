// The rows of an exported table as text: one JSON object per line (JSON
// Lines), or CSV records (RFC 4180: a header record, CRLF line ends). Both
// start with schema_version, then the table's columns in their documented
// order and types (TableExport.h).
//
// JSON: integers as numbers, NULL as null, texts as strings. CSV: NULL as an
// empty field, an empty text as "" (so that the two stay apart), a text with
// a comma, quote or line break in quotes with its quotes doubled.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "tables/SqlSchema.h"

namespace scenariolog {

enum class RowFormat { kJsonLines, kCsv };

// "jsonl" or "csv", the files' extension.
const char* rowFormatName(RowFormat format);

class RowText {
  public:
    virtual ~RowText() = default;
    // What a file starts with: the CSV header record; nothing for JSON Lines.
    virtual std::string header() const = 0;
    // Appends the current row of `row` (the table's columns, in order).
    virtual void append(std::string& out, sqlite3_stmt* row) = 0;
};

std::unique_ptr<RowText> makeRowText(RowFormat format, const SqlTableDoc& table);

}  // namespace scenariolog
