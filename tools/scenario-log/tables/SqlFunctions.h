// The functions that queries may call besides SQLite's own:
//   num(text, 'word')                 the number right after a whole word
//   regexp(pattern, text), text REGEXP pattern
//                                     1 when RE2's pattern matches in text
//   regexp_capture(text, pattern[, group])
//                                     the text of a group of the first match
// RE2 matches in time linear in the text, so that no pattern can hang a
// query. A pattern that does not compile fails the query with a message that
// names it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

namespace scenariolog {

using SqlNumber = std::variant<std::int64_t, double>;

// The first number that follows `word` where `word` stands as a whole word
// (no letter, digit or '_' joined to it), after blanks, ':' or '=':
// "exposure 1190 us" gives 1190 for "exposure", "lv 11.5" gives 11.5 for
// "lv". Integers, decimals and a leading minus; nothing when no occurrence of
// the word is followed by a number.
std::optional<SqlNumber> numberAfterWord(std::string_view text, std::string_view word);

void registerSqlFunctions(sqlite3* db);

}  // namespace scenariolog
