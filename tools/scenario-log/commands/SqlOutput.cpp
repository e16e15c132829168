#include "commands/SqlOutput.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "base/Json.h"

namespace scenariolog {
namespace {

std::string_view columnBytes(sqlite3_stmt* statement, int column) {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement, column));
    const int size = sqlite3_column_bytes(statement, column);
    return data == nullptr ? std::string_view()
                           : std::string_view(data, static_cast<std::size_t>(size));
}

std::string numberText(sqlite3_stmt* statement, int column) {
    char digits[32];
    std::to_chars_result end{};
    if (sqlite3_column_type(statement, column) == SQLITE_INTEGER) {
        end =
            std::to_chars(digits, digits + sizeof digits, sqlite3_column_int64(statement, column));
    } else {
        const double value = sqlite3_column_double(statement, column);
        if (!std::isfinite(value)) return std::isnan(value) ? "NaN" : value > 0 ? "Inf" : "-Inf";
        end = std::to_chars(digits, digits + sizeof digits, value);
        // A real number keeps a mark of being one, as SQLite prints it: 6.0, not 6.
        const std::string_view text(digits, static_cast<std::size_t>(end.ptr - digits));
        if (text.find_first_of(".e") == std::string_view::npos) return std::string(text) + ".0";
    }
    return std::string(digits, end.ptr);
}

std::string hexText(std::string_view bytes) {
    static const char* const kDigits = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

// The value as text: numbers as digits, blobs in hex, NULL as "".
std::string valueText(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
        case SQLITE_FLOAT:
            return numberText(statement, column);
        case SQLITE_BLOB:
            return "x'" + hexText(columnBytes(statement, column)) + "'";
        case SQLITE_NULL:
            return "";
        default:
            break;
    }
    const auto* text = sqlite3_column_text(statement, column);
    return std::string(reinterpret_cast<const char*>(text),
                       static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

std::vector<std::string> columnNames(sqlite3_stmt* statement) {
    std::vector<std::string> names;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const char* name = sqlite3_column_name(statement, i);
        names.emplace_back(name != nullptr ? name : "");
    }
    return names;
}

// Aligned columns. The widths are those of the header and the first
// kProbeRows rows, at most kMaxWidth; a longer value later takes its room and
// pushes the rest of its line right. Control bytes are shown as \xNN so that
// a row stays one line.
class ColumnOutput : public SqlOutput {
  public:
    static constexpr std::size_t kProbeRows = 200;
    static constexpr std::size_t kMaxWidth = 60;

    ColumnOutput(sqlite3_stmt* statement, std::ostream& out)
        : mOut(out),
          mNames(columnNames(statement)),
          mWidths(mNames.size(), 0),
          mNumeric(mNames.size(), false),
          mTyped(mNames.size(), false) {
        for (std::size_t i = 0; i < mNames.size(); ++i) mWidths[i] = width(mNames[i]);
    }

    void row(sqlite3_stmt* statement) override {
        std::vector<std::string> cells;
        for (std::size_t i = 0; i < mNames.size(); ++i) {
            const int column = static_cast<int>(i);
            const int type = sqlite3_column_type(statement, column);
            if (!mTyped[i] && type != SQLITE_NULL) {
                mTyped[i] = true;
                mNumeric[i] = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
            }
            cells.push_back(printable(valueText(statement, column)));
        }
        if (mProbed) {
            print(cells);
            return;
        }
        for (std::size_t i = 0; i < cells.size(); ++i) {
            mWidths[i] = std::max(mWidths[i], std::min(width(cells[i]), kMaxWidth));
        }
        mRows.push_back(std::move(cells));
        if (mRows.size() == kProbeRows) flushProbe();
    }

    // No rows, no header: the exit status says that none came back.
    void finish() override {
        if (!mProbed && !mRows.empty()) flushProbe();
        mOut.flush();
    }

  private:
    static std::size_t width(std::string_view text) {
        // Code points of UTF-8: every byte but the continuation bytes.
        return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    }

    static std::string printable(std::string text) {
        static const char* const kDigits = "0123456789abcdef";
        const auto control = [](char c) {
            return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
        };
        if (std::none_of(text.begin(), text.end(), control)) return text;
        std::string shown;
        for (const char c : text) {
            if (!control(c)) {
                shown += c;
                continue;
            }
            const auto byte = static_cast<unsigned char>(c);
            shown += "\\x";
            shown += kDigits[byte >> 4];
            shown += kDigits[byte & 15];
        }
        return shown;
    }

    void flushProbe() {
        mProbed = true;
        print(mNames, false);
        std::vector<std::string> rules;
        for (const std::size_t w : mWidths) rules.emplace_back(w, '-');
        print(rules, false);
        for (const auto& cells : mRows) print(cells);
        mRows.clear();
    }

    void print(const std::vector<std::string>& cells, bool alignNumbers = true) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::size_t used = width(cells[i]);
            const std::size_t pad = mWidths[i] > used ? mWidths[i] - used : 0;
            const bool last = i + 1 == cells.size();
            if (i > 0) line += "  ";
            if (alignNumbers && mNumeric[i]) line.append(pad, ' ');
            line += cells[i];
            if (!(alignNumbers && mNumeric[i]) && !last) line.append(pad, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        line += '\n';
        mOut.write(line.data(), static_cast<std::streamsize>(line.size()));
    }

    std::ostream& mOut;
    std::vector<std::string> mNames;
    std::vector<std::size_t> mWidths;
    std::vector<bool> mNumeric;  // by the first value that is not NULL
    std::vector<bool> mTyped;
    std::vector<std::vector<std::string>> mRows;  // the first rows, until the widths are known
    bool mProbed = false;
};

// RFC 4180: a header line; fields with a comma, quote or line break quoted,
// quotes doubled; NULL as an empty field.
class CsvOutput : public SqlOutput {
  public:
    CsvOutput(sqlite3_stmt* statement, std::ostream& out) : mOut(out) {
        write(columnNames(statement));
    }

    void row(sqlite3_stmt* statement) override {
        std::vector<std::string> cells;
        cells.reserve(static_cast<std::size_t>(sqlite3_column_count(statement)));
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            cells.push_back(valueText(statement, i));
        }
        write(cells);
    }

    void finish() override { mOut.flush(); }

  private:
    void write(const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) line += ',';
            const std::string& cell = cells[i];
            if (cell.find_first_of(",\"\r\n") == std::string::npos) {
                line += cell;
                continue;
            }
            line += '"';
            for (const char c : cell) line += c == '"' ? std::string("\"\"") : std::string(1, c);
            line += '"';
        }
        line += "\r\n";
        mOut.write(line.data(), static_cast<std::streamsize>(line.size()));
    }

    std::ostream& mOut;
};

// One object per row, keyed by the column names; numbers as numbers, NULL
// as null, blobs as hex strings.
class JsonOutput : public SqlOutput {
  public:
    JsonOutput(sqlite3_stmt* statement, std::ostream& out)
        : mOut(out), mNames(columnNames(statement)) {}

    void row(sqlite3_stmt* statement) override {
        JsonObject object;
        for (std::size_t i = 0; i < mNames.size(); ++i) {
            const int column = static_cast<int>(i);
            switch (sqlite3_column_type(statement, column)) {
                case SQLITE_INTEGER:
                    object.add(mNames[i],
                               static_cast<std::int64_t>(sqlite3_column_int64(statement, column)));
                    break;
                case SQLITE_FLOAT: {
                    const bool finite = std::isfinite(sqlite3_column_double(statement, column));
                    object.addRaw(mNames[i], finite ? numberText(statement, column) : "null");
                    break;
                }
                case SQLITE_NULL:
                    object.addRaw(mNames[i], "null");
                    break;
                case SQLITE_BLOB:
                    object.add(mNames[i], hexText(columnBytes(statement, column)));
                    break;
                default:
                    object.add(mNames[i], valueText(statement, column));
                    break;
            }
        }
        mOut << object.str() << '\n';
    }

    void finish() override { mOut.flush(); }

  private:
    std::ostream& mOut;
    std::vector<std::string> mNames;
};

}  // namespace

std::unique_ptr<SqlOutput> makeSqlOutput(SqlFormat format, sqlite3_stmt* statement,
                                         std::ostream& out) {
    switch (format) {
        case SqlFormat::kCsv:
            return std::make_unique<CsvOutput>(statement, out);
        case SqlFormat::kJson:
            return std::make_unique<JsonOutput>(statement, out);
        case SqlFormat::kColumns:
            break;
    }
    return std::make_unique<ColumnOutput>(statement, out);
}

}  // namespace scenariolog
