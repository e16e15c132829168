#include "tables/ExportRows.h"

#include <charconv>
#include <vector>

#include "base/Json.h"
#include "base/Sqlite.h"
#include "base/Utf8.h"
#include "tables/SqlSchema.h"
#include "tables/TableExport.h"

namespace scenariolog {
namespace {

void appendInteger(std::string& out, sqlite3_int64 value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

class JsonLinesText : public RowText {
  public:
    explicit JsonLinesText(const SqlTableDoc& table) : mTable(table) {
        mStart = "{\"" + std::string(kVersionColumn) + "\":" + std::to_string(kSqlSchemaVersion);
        for (const SqlColumnDoc& column : table.columns) {
            mKeys.push_back(",\"" + std::string(column.name) + "\":");
        }
    }

    std::string header() const override { return {}; }

    void append(std::string& out, sqlite3_stmt* row) override {
        out += mStart;
        for (std::size_t i = 0; i < mKeys.size(); ++i) {
            out += mKeys[i];
            const int column = static_cast<int>(i);
            if (sqlite3_column_type(row, column) == SQLITE_NULL) {
                out += "null";
            } else if (mTable.columns[i].type == SqlType::kInteger) {
                appendInteger(out, sqlite3_column_int64(row, column));
            } else {
                appendJsonString(out, columnText(row, column));
            }
        }
        out += "}\n";
    }

  private:
    const SqlTableDoc& mTable;
    std::string mStart;              // '{"schema_version":N'
    std::vector<std::string> mKeys;  // ',"name":' of each column
};

class CsvText : public RowText {
  public:
    explicit CsvText(const SqlTableDoc& table) : mTable(table) {}

    std::string header() const override {
        std::string header = kVersionColumn;
        for (const SqlColumnDoc& column : mTable.columns) header += std::string(",") + column.name;
        return header + "\r\n";
    }

    void append(std::string& out, sqlite3_stmt* row) override {
        appendInteger(out, kSqlSchemaVersion);
        for (std::size_t i = 0; i < mTable.columns.size(); ++i) {
            out += ',';
            const int column = static_cast<int>(i);
            if (sqlite3_column_type(row, column) == SQLITE_NULL) continue;
            if (mTable.columns[i].type == SqlType::kInteger) {
                appendInteger(out, sqlite3_column_int64(row, column));
            } else {
                appendField(out, columnText(row, column));
            }
        }
        out += "\r\n";
    }

  private:
    void appendField(std::string& out, std::string_view text) {
        mScratch.clear();
        appendAsUtf8(mScratch, text);
        if (!mScratch.empty() && mScratch.find_first_of(",\"\r\n") == std::string::npos) {
            out += mScratch;
            return;
        }
        out += '"';
        for (const char c : mScratch) {
            if (c == '"') out += '"';
            out += c;
        }
        out += '"';
    }

    const SqlTableDoc& mTable;
    std::string mScratch;  // a field as UTF-8, kept for its capacity
};

}  // namespace

const char* rowFormatName(RowFormat format) {
    return format == RowFormat::kJsonLines ? "jsonl" : "csv";
}

std::unique_ptr<RowText> makeRowText(RowFormat format, const SqlTableDoc& table) {
    if (format == RowFormat::kJsonLines) return std::make_unique<JsonLinesText>(table);
    return std::make_unique<CsvText>(table);
}

}  // namespace scenariolog
