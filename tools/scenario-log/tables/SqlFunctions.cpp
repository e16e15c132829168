#include "tables/SqlFunctions.h"

#include <charconv>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/PrefilteredRegex.h"
#include "base/TextScan.h"

namespace scenariolog {
namespace {

bool isWordByte(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == ':' || c == '=';
}

// "-12", "12", "11.5" at the start of `text`.
std::optional<SqlNumber> readNumber(std::string_view text) {
    std::size_t end = text.empty() || text[0] != '-' ? 0 : 1;
    const std::size_t digitsStart = end;
    while (end < text.size() && isDigit(text[end])) ++end;
    if (end == digitsStart) return std::nullopt;
    const bool decimal = end + 1 < text.size() && text[end] == '.' && isDigit(text[end + 1]);
    if (!decimal) {
        std::int64_t value = 0;
        const auto parsed = std::from_chars(text.data(), text.data() + end, value);
        if (parsed.ec == std::errc()) return value;
    } else {
        for (++end; end < text.size() && isDigit(text[end]);) ++end;
    }
    double value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + end, value);
    if (parsed.ec != std::errc()) return std::nullopt;
    return value;
}

std::optional<SqlNumber> numberAt(std::string_view text, std::size_t pos, std::string_view word) {
    if (pos > 0 && isWordByte(text[pos - 1]) && isWordByte(word.front())) return std::nullopt;
    std::size_t after = pos + word.size();
    if (after < text.size() && isWordByte(text[after]) && isWordByte(word.back())) {
        return std::nullopt;
    }
    while (after < text.size() && isSeparator(text[after])) ++after;
    return readNumber(text.substr(after));
}

std::string_view valueText(sqlite3_value* value) {
    const auto* text = sqlite3_value_text(value);
    const int size = sqlite3_value_bytes(value);
    return text == nullptr ? std::string_view()
                           : std::string_view(reinterpret_cast<const char*>(text),
                                              static_cast<std::size_t>(size));
}

void resultNumber(sqlite3_context* context, const std::optional<SqlNumber>& number) {
    if (!number) {
        sqlite3_result_null(context);
    } else if (const auto* integer = std::get_if<std::int64_t>(&*number)) {
        sqlite3_result_int64(context, *integer);
    } else {
        sqlite3_result_double(context, std::get<double>(*number));
    }
}

void num(sqlite3_context* context, int /*argc*/, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    resultNumber(context, numberAfterWord(valueText(argv[0]), valueText(argv[1])));
}

void deletePattern(void* pattern) {
    delete static_cast<PrefilteredRegex*>(pattern);
}

// The compiled pattern of argument `index`, kept by SQLite for the rows of
// a statement while the argument stays the same; null after an error result.
const PrefilteredRegex* patternOf(sqlite3_context* context, sqlite3_value** argv, int index,
                                  const char* name) {
    if (auto* kept = static_cast<const PrefilteredRegex*>(sqlite3_get_auxdata(context, index))) {
        return kept;
    }
    const std::string_view text = valueText(argv[index]);
    auto pattern = std::make_unique<PrefilteredRegex>(text);
    if (!pattern->ok()) {
        const std::string message =
            std::string(name) + ": bad pattern '" + std::string(text) + "': " + pattern->error();
        sqlite3_result_error(context, message.c_str(), -1);
        return nullptr;
    }
    sqlite3_set_auxdata(context, index, pattern.release(), deletePattern);
    // SQLite may have deleted it at once (when it cannot keep it): look again.
    if (auto* kept = static_cast<const PrefilteredRegex*>(sqlite3_get_auxdata(context, index))) {
        return kept;
    }
    sqlite3_result_error(context, "regexp: out of memory", -1);
    return nullptr;
}

re2::StringPiece piece(std::string_view text) {
    return re2::StringPiece(text.data(), text.size());
}

void regexp(sqlite3_context* context, int /*argc*/, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const PrefilteredRegex* pattern = patternOf(context, argv, 0, "regexp");
    if (pattern == nullptr) return;
    sqlite3_result_int(context, pattern->matches(valueText(argv[1])) ? 1 : 0);
}

// What regexp_capture found in the texts it was asked about, for one pattern
// and group at a time. SQLite evaluates an expression once for each
// aggregate that uses it (min(x), max(x), avg(x) of x = regexp_capture(text,
// ...)), and, when it groups by sorting, once before the sort (in WHERE x IS
// NOT NULL) and again after it, in another order: each text is matched once.
// Texts that cannot match (PrefilteredRegex::mayMatch) are not kept. At most
// kMemoBytes of texts and captures are kept; past that it starts afresh.
// Owned by the connection (its function's user data); a connection runs on
// one thread at a time, so no lock.
class CaptureMemo {
  public:
    struct Answer {
        bool found = false;
        std::string capture;
    };

    // The answer for `text`, matching it if it is not kept yet.
    const Answer& answer(const PrefilteredRegex& pattern, int group, std::string_view text) {
        static const Answer kNoMatch;
        if (pattern.pattern() != mPattern || group != mGroup) {
            forget();
            mPattern = pattern.pattern();
            mGroup = group;
        }
        if (mLast != nullptr && mLast->first == text) return mLast->second;
        if (!pattern.mayMatch(text)) return kNoMatch;
        auto kept = mAnswers.find(text);
        if (kept == mAnswers.end()) {
            if (mBytes > kMemoBytes) forget();
            Answer answer = match(pattern, group, text);
            mBytes += text.size() + answer.capture.size() + kEntryBytes;
            const std::string& owned = mTexts.emplace_back(text);
            kept = mAnswers.emplace(owned, std::move(answer)).first;
        }
        mLast = &*kept;
        return kept->second;
    }

  private:
    static constexpr std::size_t kMemoBytes = std::size_t{8} << 20;
    // What an entry costs beyond its bytes: the nodes of the map and deque.
    static constexpr std::size_t kEntryBytes = 96;

    static Answer match(const PrefilteredRegex& pattern, int group, std::string_view text) {
        constexpr int kOnStack = 10;
        re2::StringPiece onStack[kOnStack];
        std::vector<re2::StringPiece> onHeap;
        re2::StringPiece* groups = onStack;
        if (group >= kOnStack) {
            onHeap.resize(static_cast<std::size_t>(group) + 1);
            groups = onHeap.data();
        }
        Answer answer;
        answer.found = pattern.regex().Match(piece(text), 0, text.size(), RE2::UNANCHORED, groups,
                                             group + 1) &&
                       groups[group].data() != nullptr;
        if (answer.found) answer.capture.assign(groups[group].data(), groups[group].size());
        return answer;
    }

    void forget() {
        mLast = nullptr;
        mAnswers.clear();
        mTexts.clear();
        mBytes = 0;
    }

    std::string mPattern;
    int mGroup = -1;
    // The keys view the texts in mTexts, whose elements never move.
    std::deque<std::string> mTexts;
    std::unordered_map<std::string_view, Answer> mAnswers;
    const std::pair<const std::string_view, Answer>* mLast = nullptr;
    std::size_t mBytes = 0;
};

void deleteCaptureMemo(void* memo) {
    delete static_cast<CaptureMemo*>(memo);
}

void regexpCapture(sqlite3_context* context, int argc, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const PrefilteredRegex* pattern = patternOf(context, argv, 1, "regexp_capture");
    if (pattern == nullptr) return;
    const sqlite3_int64 group = argc > 2 ? sqlite3_value_int64(argv[2]) : 1;
    const int groups = pattern->regex().NumberOfCapturingGroups();
    if (group < 0 || group > groups) {
        const std::string message = "regexp_capture: pattern '" + pattern->pattern() + "' has " +
                                    std::to_string(groups) + " groups, no group " +
                                    std::to_string(group);
        sqlite3_result_error(context, message.c_str(), -1);
        return;
    }
    const std::string_view text = valueText(argv[0]);
    auto& memo = *static_cast<CaptureMemo*>(sqlite3_user_data(context));
    const CaptureMemo::Answer& answer = memo.answer(*pattern, static_cast<int>(group), text);
    if (!answer.found) {
        sqlite3_result_null(context);
        return;
    }
    sqlite3_result_text64(context, answer.capture.data(), answer.capture.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8);
}

}  // namespace

std::optional<SqlNumber> numberAfterWord(std::string_view text, std::string_view word) {
    if (word.empty()) return std::nullopt;
    for (std::size_t pos = text.find(word); pos != std::string_view::npos;
         pos = text.find(word, pos + 1)) {
        if (auto number = numberAt(text, pos, word)) return number;
    }
    return std::nullopt;
}

void registerSqlFunctions(sqlite3* db) {
    constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
    (void)sqlite3_create_function_v2(db, "num", 2, kFlags, nullptr, num, nullptr, nullptr, nullptr);
    (void)sqlite3_create_function_v2(db, "regexp", 2, kFlags, nullptr, regexp, nullptr, nullptr,
                                     nullptr);
    for (int argc : {2, 3}) {
        // Each registration owns a memory of its own: SQLite deletes it with
        // the function (when the connection closes).
        (void)sqlite3_create_function_v2(db, "regexp_capture", argc, kFlags, new CaptureMemo,
                                         regexpCapture, nullptr, nullptr, deleteCaptureMemo);
    }
}

}  // namespace scenariolog
