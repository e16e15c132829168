#include "tables/SeriesTable.h"

#include <charconv>

#include "base/Json.h"

namespace scenariolog {
namespace {

constexpr std::string_view kModulePiece = "[ModuleName: ";
constexpr std::int64_t kOpHeadlineBlock = -1;
constexpr std::int64_t kOpBareBlock = -2;
constexpr std::int64_t kOpPrefix = -3;
constexpr std::int64_t kOpPlace = -4;
constexpr std::int64_t kNoCell = -1;

using CellValue = SeriesTable::CellValue;
using CellGrid = SeriesTable::CellGrid;

// Appends integers and strings to a JSON text.
class JsonWriter {
  public:
    JsonWriter& raw(std::string_view text) {
        mText += text;
        return *this;
    }
    JsonWriter& number(std::int64_t value) {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof(digits), value);
        mText.append(digits, result.ptr);
        return *this;
    }
    JsonWriter& string(std::string_view text) {
        mText += jsonString(text, true);
        return *this;
    }
    template <typename List, typename Write>
    JsonWriter& list(const List& items, Write write) {
        mText += '[';
        bool first = true;
        for (const auto& item : items) {
            if (!first) mText += ',';
            first = false;
            write(item);
        }
        mText += ']';
        return *this;
    }
    std::string take() { return std::move(mText); }

  private:
    std::string mText;
};

// Numbers texts row by row, in the order of the columns, then the rest.
class Renumbering {
  public:
    explicit Renumbering(std::size_t texts) : mNew(texts, -1) {}

    void take(std::int32_t old) {
        if (mNew[old] < 0) {
            mNew[old] = static_cast<std::int32_t>(mOrder.size());
            mOrder.push_back(old);
        }
    }
    void takeRest() {
        for (std::size_t old = 0; old < mNew.size(); ++old) take(static_cast<std::int32_t>(old));
    }
    std::int64_t operator()(std::int64_t old) const { return old < 0 ? old : mNew[old]; }
    const std::vector<std::int32_t>& order() const { return mOrder; }

  private:
    std::vector<std::int32_t> mNew;
    std::vector<std::int32_t> mOrder;  // old numbers in the new order
};

// The [count, code, ...] runs and the dict entries of one row.
void encodeRow(const std::vector<CellValue>& cells, const Renumbering& renumber, JsonWriter& dict,
               JsonWriter& runs) {
    std::unordered_map<CellValue, std::int64_t> seen;
    std::int64_t previousValue = 0;
    std::int64_t runCode = -1;
    std::int64_t runCount = 0;
    bool firstEntry = true;
    bool firstRun = true;
    const auto endRun = [&] {
        if (runCount == 0) return;
        runs.raw(firstRun ? "" : ",").number(runCount).raw(",").number(runCode);
        firstRun = false;
    };
    dict.raw("[");
    runs.raw("[");
    for (const CellValue cell : cells) {
        std::int64_t code = 0;
        if (cell != kNoCell) {
            const auto [slot, added] =
                seen.try_emplace(cell, static_cast<std::int64_t>(seen.size()));
            code = added ? 1 : slot->second + 2;
            if (added) {
                const bool isJoin = (cell & 1) != 0;
                const std::int64_t value = isJoin ? cell : 2 * renumber(cell / 2);
                dict.raw(firstEntry ? "" : ",").number(value - previousValue);
                firstEntry = false;
                previousValue = value;
            }
        }
        if (code != runCode) {
            endRun();
            runCode = code;
            runCount = 0;
        }
        ++runCount;
    }
    endRun();
    dict.raw("]");
    runs.raw("]");
}

Renumbering renumberTexts(const CellGrid& grid, std::size_t texts) {
    Renumbering renumber(texts);
    for (const auto& row : grid.rows) {
        for (const CellValue cell : row) {
            if (cell == kNoCell) continue;
            if ((cell & 1) == 0) {
                renumber.take(static_cast<std::int32_t>(cell / 2));
                continue;
            }
            for (const std::int32_t text : grid.joins[cell / 2]) renumber.take(text);
        }
    }
    renumber.takeRest();
    return renumber;
}

// The "dict" and "cells" members.
void writeCells(const CellGrid& grid, const Renumbering& renumber, JsonWriter& out) {
    JsonWriter dict;
    JsonWriter runs;
    bool firstRow = true;
    for (const auto& row : grid.rows) {
        dict.raw(firstRow ? "" : ",");
        runs.raw(firstRow ? "" : ",");
        firstRow = false;
        encodeRow(row, renumber, dict, runs);
    }
    out.raw(",\"dict\":[").raw(dict.take()).raw("],\"cells\":[").raw(runs.take()).raw("]");
}

// The "columns" member: runs of consecutive request numbers.
template <typename Requests>
void writeColumns(const Requests& requests, JsonWriter& out) {
    out.raw(",\"columns\":[");
    bool firstRun = true;
    for (auto it = requests.begin(); it != requests.end();) {
        const int first = it->first;
        int last = first;
        while (++it != requests.end() && it->first == last + 1) ++last;
        out.raw(firstRun ? "[" : ",[").number(first).raw(",").number(last).raw("]");
        firstRun = false;
    }
    out.raw("]");
}

// A block stream with its text numbers renumbered.
void writeOps(const std::vector<std::int64_t>& ops, const Renumbering& renumber, JsonWriter& out) {
    out.raw("[");
    std::size_t i = 0;
    while (i < ops.size()) {
        const std::int64_t op = ops[i];
        // Operands 1..count follow the op; those from `firstText` on are texts.
        std::size_t count = 0;
        std::size_t firstText = 1;
        if (op == kOpHeadlineBlock) {
            count = 4;
            firstText = 3;
        } else if (op == kOpBareBlock || op == kOpPlace) {
            count = 2;
            firstText = 3;
        } else if (op == kOpPrefix) {
            count = 1;
        }
        out.raw(i == 0 ? "" : ",").number(op);
        for (std::size_t k = 1; k <= count; ++k) {
            const std::int64_t operand = ops[i + k];
            out.raw(",").number(k >= firstText ? renumber(operand) : operand);
        }
        i += 1 + count;
    }
    out.raw("]");
}

}  // namespace

std::int32_t SeriesTable::internPart(std::string_view text) {
    return text.empty() ? -1 : intern(text);
}

std::int32_t SeriesTable::intern(std::string_view text) {
    const auto [slot, added] =
        mTextIds.try_emplace(std::string(text), static_cast<std::int32_t>(mTexts.size()));
    if (added) mTexts.push_back(&slot->first);
    return slot->second;
}

std::int32_t SeriesTable::fileIndex(const LineContext& context) const {
    return static_cast<std::int32_t>(context.file - mSeries.files.data());
}

std::int32_t SeriesTable::rowIndex(std::string_view head, const Record& record) {
    const RecordKeyView view = RecordKeyView::of(record);
    const auto found = mRowIds.find(view);
    if (found != mRowIds.end()) return found->second;
    const auto slot =
        mRowIds.emplace(RecordKey(view), static_cast<std::int32_t>(mRows.size())).first;
    mRows.push_back({&slot->first, std::string(head)});
    return slot->second;
}

void SeriesTable::addHeadline(const LineContext& context, const Headline& headline) {
    mOpenBlock = context.request;
    if (!context.request) return;
    RequestData& data = mRequests[*context.request];
    const std::string_view line = context.text;
    const std::string_view ndd = line.substr(0, line.size() - headline.snippets.size());
    const std::int64_t ops[] = {kOpHeadlineBlock, fileIndex(context),
                                static_cast<std::int64_t>(context.line), internPart(ndd),
                                internPart(headline.snippets)};
    data.ops.insert(data.ops.end(), std::begin(ops), std::end(ops));
    data.file = fileIndex(context);
    data.nextLine = context.line + 1;
    data.prefix = -1;
}

// The request's data with its open block at the record's line, or null for a
// record of unknown request.
SeriesTable::RequestData* SeriesTable::blockFor(const LineContext& context) {
    if (!context.request) return nullptr;
    RequestData& data = mRequests[*context.request];
    const std::int32_t file = fileIndex(context);
    const auto line = static_cast<std::int64_t>(context.line);
    if (mOpenBlock != context.request) {
        mOpenBlock = context.request;
        data.ops.insert(data.ops.end(), {kOpBareBlock, file, line});
        data.prefix = -1;
    } else if (data.file != file || data.nextLine != context.line) {
        data.ops.insert(data.ops.end(), {kOpPlace, file, line});
    }
    data.file = file;
    data.nextLine = context.line + 1;
    return &data;
}

void SeriesTable::addRecord(const LineContext& context, const Record& record) {
    RequestData* data = blockFor(context);
    if (data == nullptr) return;
    // The line is its prefix, its head (module and key), a space and the text.
    const std::string_view line = context.text;
    const std::size_t headStart = line.find(kModulePiece);
    const auto textStart = static_cast<std::size_t>(record.text.data() - line.data());
    const std::int32_t row = rowIndex(line.substr(headStart, textStart - 1 - headStart), record);
    const std::int32_t prefix = internPart(line.substr(0, headStart));
    if (prefix != data->prefix) {
        data->ops.insert(data->ops.end(), {kOpPrefix, prefix});
        data->prefix = prefix;
    }
    data->ops.push_back(row);
    data->records.push_back({row, intern(record.text)});
}

SeriesTable::CellGrid SeriesTable::cellGrid() const {
    CellGrid grid;
    grid.rows.assign(mRows.size(), std::vector<CellValue>(mRequests.size(), kNoCell));
    std::map<std::vector<std::int32_t>, std::int32_t> joinIds;
    std::size_t column = 0;
    for (const auto& [request, data] : mRequests) {
        std::map<std::int32_t, std::vector<std::int32_t>> texts;
        for (const RecordRef& record : data.records) texts[record.row].push_back(record.text);
        for (const auto& [row, list] : texts) {
            if (list.size() == 1) {
                grid.rows[row][column] = 2 * static_cast<CellValue>(list.front());
                continue;
            }
            const auto [slot, added] =
                joinIds.try_emplace(list, static_cast<std::int32_t>(grid.joins.size()));
            if (added) grid.joins.push_back(list);
            grid.rows[row][column] = 2 * static_cast<CellValue>(slot->second) + 1;
        }
        ++column;
    }
    return grid;
}

std::string SeriesTable::json() const {
    const CellGrid grid = cellGrid();
    const Renumbering renumber = renumberTexts(grid, mTexts.size());
    JsonWriter out;
    out.raw("{\"files\":").list(mSeries.files, [&](const LogFile& file) { out.string(file.path); });
    out.raw(",\"rows\":").list(mRows, [&](const Row& row) {
        out.raw("[").string(row.key->module).raw(",").string(row.key->label()).raw(",");
        out.string(row.head).raw("]");
    });
    writeColumns(mRequests, out);
    out.raw(",\"texts\":").list(renumber.order(), [&](std::int32_t old) {
        out.string(*mTexts[old]);
    });
    out.raw(",\"joins\":").list(grid.joins, [&](const std::vector<std::int32_t>& join) {
        out.list(join, [&](std::int32_t text) { out.number(renumber(text)); });
    });
    writeCells(grid, renumber, out);
    out.raw(",\"blocks\":").list(mRequests, [&](const auto& request) {
        writeOps(request.second.ops, renumber, out);
    });
    out.raw("}");
    return out.take();
}

}  // namespace scenariolog
