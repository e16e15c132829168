// The data of one series as `report` hands it to its page: the decision map
// (one row per record key, one column per request in number order) and every
// request's blocks in written order, in a compact JSON object.
//
// Compact because a folder holds tens of thousands of requests with dozens of
// records each, and most texts repeat: every distinct text is stored once, a
// row as runs of cells, and a cell as a code into the row's own list of
// distinct values. Texts are numbered row by row, so that the texts of one
// key, which differ mostly in their numbers, stand together for the
// compressor. Lines are not stored: a record line is its prefix (the sensor,
// frame and magic pieces as written), its key and its text, and its place
// follows from the block's first line unless stated.
//
// The object (a block stream is a flat list of integers; `T` a text number,
// -1 for an empty text):
//   files   the series' file paths
//   rows    [module, label, head] per row: the head is the line's module
//           and key pieces as written, "[ModuleName: M][Decision: D]"
//   columns [first, last] runs of the request numbers, ascending
//   texts   the distinct texts
//   joins   lists of texts, for cells of several records (written order)
//   dict    per row: the row's distinct cell values in order of first use,
//           each as the difference to the one before; a value is 2*T for a
//           text, 2*J+1 for join J
//   cells   per row: [count, code, ...] runs over the columns; code 0 no
//           record, 1 each cell a value not used before in the row (the next
//           entry of dict), k >= 2 the value dict[k-2]
//   blocks  per column: -1 file line ndd snippets (a block and its headline
//           line, NDD texts and snippets as texts T); -2 file line (a block
//           without a headline; its first record there); -3 T (the prefix of
//           the records that follow); -4 file line (the next record's place);
//           r >= 0 a record of row r on the next line
// Records of unknown request are left out; the series' summary counts them.
// Memory: the series' distinct texts and two integers per record, until the
// series is written out.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "reading/SeriesWalker.h"
#include "tables/RecordKey.h"

namespace scenariolog {

class SeriesTable {
  public:
    explicit SeriesTable(const LogSeries& series) : mSeries(series) {}

    void addHeadline(const LineContext& context, const Headline& headline);
    void addRecord(const LineContext& context, const Record& record);

    // The object described above.
    std::string json() const;

    // A cell's value: 2*T for one text T, 2*J+1 for join J, -1 for none.
    using CellValue = std::int64_t;
    // The texts of each cell, and the joins, as the walk numbered the texts.
    struct CellGrid {
        std::vector<std::vector<CellValue>> rows;  // [row][column]
        std::vector<std::vector<std::int32_t>> joins;
    };

  private:
    struct RecordRef {
        std::int32_t row;
        std::int32_t text;
    };
    struct RequestData {
        std::vector<std::int64_t> ops;  // the block stream
        std::vector<RecordRef> records;
        std::int32_t file = -1;  // where the next record line is expected
        std::uint64_t nextLine = 0;
        std::int32_t prefix = -1;
    };

    std::int32_t intern(std::string_view text);
    std::int32_t internPart(std::string_view text);  // -1 for an empty one
    CellGrid cellGrid() const;
    std::int32_t fileIndex(const LineContext& context) const;
    std::int32_t rowIndex(std::string_view head, const Record& record);
    RequestData* blockFor(const LineContext& context);

    const LogSeries& mSeries;
    std::unordered_map<std::string, std::int32_t> mTextIds;
    std::vector<const std::string*> mTexts;  // keys of mTextIds, by number
    std::map<RecordKey, std::int32_t, RecordKeyLess> mRowIds;
    struct Row {
        const RecordKey* key;  // of mRowIds
        std::string head;
    };
    std::vector<Row> mRows;  // by number
    std::map<int, RequestData> mRequests;
    std::optional<int> mOpenBlock;  // the request whose block the walk is in
};

}  // namespace scenariolog
