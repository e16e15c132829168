// README.md's "Messages" section held to the library's sources: every line
// that an SR_LOG* or SR_FATAL call under utils/ScenarioRecorder can log has an
// entry with its level, and every entry is such a line. An entry shows the
// line as it appears: the function in brackets, then the format with each
// number as N and each text as a word in capitals.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

const std::string kSourceDir = SCENARIO_RECORDER_SOURCE_DIR;

struct Message {
    std::string function;  // empty when the caller names it at run time
    std::string format;
    std::string level;  // error, warning, info, debug or fatal
    std::string where;  // file:line of one call

    bool operator<(const Message& other) const {
        return std::tie(function, format, level) <
               std::tie(other.function, other.format, other.level);
    }
};

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// The source with comments, preprocessor lines and the insides of string and
// character literals blanked, every offset kept: what is left is code.
std::string codeOf(const std::string& source) {
    enum class State { kCode, kLineComment, kBlockComment, kLiteral, kDirective };
    std::string code = source;
    State state = State::kCode;
    char quote = 0;
    bool lineStart = true;  // nothing but blanks since the line began
    for (size_t i = 0; i < source.size(); ++i) {
        const char c = source[i];
        const char next = i + 1 < source.size() ? source[i + 1] : '\0';
        switch (state) {
            case State::kCode:
                if (c == '/' && (next == '/' || next == '*')) {
                    state = next == '/' ? State::kLineComment : State::kBlockComment;
                    code[i] = code[i + 1] = ' ';
                    ++i;
                } else if (c == '"' || c == '\'') {
                    state = State::kLiteral;
                    quote = c;
                } else if (c == '#' && lineStart) {
                    state = State::kDirective;
                    code[i] = ' ';
                }
                break;
            case State::kLiteral:
                if (c == quote) {
                    state = State::kCode;
                    break;
                }
                code[i] = ' ';
                if (c == '\\' && next != '\0') code[++i] = ' ';
                break;
            case State::kBlockComment:
                if (c == '*' && next == '/') {
                    code[i] = code[i + 1] = ' ';
                    ++i;
                    state = State::kCode;
                } else if (c != '\n') {
                    code[i] = ' ';
                }
                break;
            case State::kLineComment:
            case State::kDirective:
                if (c != '\n') {
                    code[i] = ' ';
                } else if (state == State::kLineComment || source[i - 1] != '\\') {
                    state = State::kCode;
                }
                break;
        }
        if (c == '\n') lineStart = true;
        if (!isspace(static_cast<unsigned char>(c))) lineStart = false;
    }
    return code;
}

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\n");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\n") - first + 1);
}

// The text of adjacent string literals spanning [begin, end) of the code, or
// false when anything else stands there.
bool literalText(const std::string& source, const std::string& code, size_t begin, size_t end,
                 std::string* text) {
    text->clear();
    for (size_t i = begin; i < end; ++i) {
        if (isspace(static_cast<unsigned char>(code[i]))) continue;
        if (code[i] != '"') return false;
        const size_t close = code.find('"', i + 1);
        for (size_t j = i + 1; j < close; ++j) {
            if (source[j] == '\\') ++j;
            *text += source[j];
        }
        i = close;
    }
    return true;
}

// The arguments of the call whose '(' is at `open`: [begin, end) of each.
std::vector<std::pair<size_t, size_t>> argumentsAt(const std::string& code, size_t open) {
    std::vector<std::pair<size_t, size_t>> arguments;
    size_t begin = open + 1;
    int depth = 0;
    for (size_t i = open; i < code.size(); ++i) {
        if (code[i] == '(' || code[i] == '[' || code[i] == '{') ++depth;
        if (code[i] == ')' || code[i] == ']' || code[i] == '}') --depth;
        if ((code[i] == ',' && depth == 1) || depth == 0) {
            arguments.emplace_back(begin, i);
            begin = i + 1;
        }
        if (depth == 0) break;
    }
    return arguments;
}

// What a '{' opens, judged by the code since the last statement or block.
std::string scopeOf(const std::string& head) {
    static const std::regex kLambdaTail(R"(\]\s*(\([^()]*\))?\s*(mutable)?\s*(->[\w:<>*&\s]+)?$)");
    static const std::regex kEndsLikeAFunction(R"((\)|\bconst|\bnoexcept|\boverride|\bfinal)$)");
    static const std::regex kCalledName(R"(([A-Za-z_]\w*)\s*\()");
    static const std::regex kBlockWords(
        R"((\b(else|do|try)$)|\b(namespace|struct|class|enum|union)\b)");
    static const std::set<std::string> kControl{"if", "for", "while", "switch", "catch"};
    const std::string text = trimmed(head);
    std::smatch match;
    if (std::regex_search(text, kLambdaTail)) return "operator()";
    if (std::regex_search(text, kEndsLikeAFunction)) {
        if (std::regex_search(text, match, kCalledName) && kControl.count(match[1]) == 0)
            return match[1];
        return "block";
    }
    if (std::regex_search(text, kBlockWords)) return "block";
    return "initialiser";
}

// The name that __func__ gives at `offset`: the innermost lambda's or function's.
std::string functionAt(const std::string& code, size_t offset) {
    std::vector<std::string> scopes;
    size_t boundary = 0;
    for (size_t i = 0; i < offset; ++i) {
        if (code[i] == '{') {
            scopes.push_back(scopeOf(code.substr(boundary, i - boundary)));
            if (scopes.back() != "initialiser") boundary = i + 1;
        } else if (code[i] == '}' && !scopes.empty()) {
            if (scopes.back() != "initialiser") boundary = i + 1;
            scopes.pop_back();
        } else if (code[i] == ';') {
            boundary = i + 1;
        }
    }
    for (auto scope = scopes.rbegin(); scope != scopes.rend(); ++scope) {
        if (*scope != "block" && *scope != "initialiser") return *scope;
    }
    return "";
}

std::string levelOf(const std::string& macro, const std::string& levelArgument) {
    static const std::vector<std::pair<std::string, std::string>> kLevels{
        {"LOGE", "error"},       {"LOGW", "warning"}, {"LOGI", "info"},
        {"LOGD", "debug"},       {"FATAL", "fatal"},  {"kError", "error"},
        {"kWarning", "warning"}, {"kInfo", "info"},   {"kDebug", "debug"}};
    for (const auto& [word, level] : kLevels) {
        if (macro == word || (macro == "LOG_AS" && levelArgument.find(word) != std::string::npos))
            return level;
    }
    return "unknown";
}

// Every log call of one file; a call whose format or level can't be read
// fails the test.
void collectMessages(const std::filesystem::path& path, std::set<Message>* messages) {
    static const std::regex kCall(R"(\bSR_(LOGE|LOGW|LOGI|LOGD|LOG_AS|FATAL)\s*\()");
    const std::string source = readFile(path);
    const std::string code = codeOf(source);
    for (auto it = std::sregex_iterator(code.begin(), code.end(), kCall);
         it != std::sregex_iterator(); ++it) {
        const size_t open = it->position(0) + it->length(0) - 1;
        const std::string macro = (*it)[1];
        const bool named = macro == "LOG_AS";
        const auto arguments = argumentsAt(code, open);
        Message message;
        message.where = path.filename().string() + ":" +
                        std::to_string(std::count(code.begin(), code.begin() + open, '\n') + 1);
        const size_t formatIndex = named ? 2 : 0;
        ASSERT_GT(arguments.size(), formatIndex) << message.where;
        const auto [begin, end] = arguments[formatIndex];
        ASSERT_TRUE(literalText(source, code, begin, end, &message.format))
            << message.where << ": the format is not a string literal";
        const auto argumentText = [&](size_t index) {
            return source.substr(arguments[index].first,
                                 arguments[index].second - arguments[index].first);
        };
        message.level = levelOf(macro, named ? argumentText(0) : "");
        ASSERT_NE(message.level, "unknown") << message.where;
        if (!named) {
            message.function = functionAt(code, open);
        } else if (!literalText(source, code, arguments[1].first, arguments[1].second,
                                &message.function)) {
            // A constant of the file names it, or the caller does at run time.
            const std::regex constant("\\b" + trimmed(argumentText(1)) + R"(\s*=\s*"([^"]*)\")");
            std::smatch match;
            message.function = std::regex_search(source, match, constant) ? match[1].str() : "";
        }
        messages->insert(message);
    }
}

std::set<Message> messagesOfTheSources() {
    std::set<Message> messages;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(kSourceDir + "/utils/ScenarioRecorder")) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".cpp" || extension == ".h") collectMessages(entry.path(), &messages);
    }
    return messages;
}

struct Entry {
    std::string line;
    std::string level;
};

// The entries of README.md's "Messages" section: "- `LINE` (LEVEL): ...".
std::vector<Entry> entriesOfTheReadme() {
    static const std::regex kEntry(R"(^- `([^`]+)` \((\w+)\))");
    std::istringstream readme(readFile(kSourceDir + "/README.md"));
    std::vector<Entry> entries;
    bool inSection = false;
    std::string line;
    std::smatch match;
    while (std::getline(readme, line)) {
        if (line.rfind("## ", 0) == 0) inSection = line == "## Messages";
        if (inSection && std::regex_search(line, match, kEntry))
            entries.push_back({match[1], match[2]});
    }
    return entries;
}

// The line of a message as the README shows it, as a pattern.
std::regex patternOf(const Message& message) {
    static const std::regex kSpecial(R"([.^$|()\[\]{}*+?\\])");
    static const std::regex kConversion(
        R"(%[-+ #0]*[0-9]*(\.[0-9]+)?(hh|h|ll|l|z|j|t)?([a-zA-Z%]))");
    const auto escaped = [](const std::string& text) {
        return std::regex_replace(text, kSpecial, "\\$&");
    };
    std::string pattern =
        message.function.empty() ? R"(\[[A-Z][A-Z_]*\])" : escaped("[" + message.function + "]");
    pattern += " ";
    const std::string& format = message.format;
    size_t done = 0;
    for (auto it = std::sregex_iterator(format.begin(), format.end(), kConversion);
         it != std::sregex_iterator(); ++it) {
        pattern += escaped(format.substr(done, it->position(0) - done));
        const std::string kind = (*it)[3];
        pattern += kind == "s" ? "[A-Z][A-Z_]*" : kind == "%" ? "%" : "N";
        done = it->position(0) + it->length(0);
    }
    return std::regex(pattern + escaped(format.substr(done)));
}

std::string shown(const Message& message) {
    return "[" + (message.function.empty() ? "?" : message.function) + "] " + message.format +
           " (" + message.level + ", " + message.where + ")";
}

TEST(Messages, TheSourcesGiveEachLineWithItsFunctionAndLevel) {
    const std::set<Message> messages = messagesOfTheSources();
    const auto has = [&](const std::string& function, const std::string& format,
                         const std::string& level) {
        return messages.count(Message{function, format, level, ""}) == 1;
    };
    EXPECT_TRUE(has("writeStringToHeadline", "Headline size is not enough", "warning"));
    EXPECT_TRUE(has("operator()", "snprintf failed", "error")) << "inside a lambda";
    EXPECT_TRUE(has("serviceThreadEntry", "Request(%d)'s buffer is expired. It's life time is(%d)",
                    "debug"))
        << "named by a constant";
    EXPECT_TRUE(has("", "failed: %s", "error")) << "named by the caller";
}

TEST(Messages, EveryLineOfTheSourcesHasAnEntryWithItsLevel) {
    const std::vector<Entry> entries = entriesOfTheReadme();
    for (const Message& message : messagesOfTheSources()) {
        const std::regex pattern = patternOf(message);
        std::set<std::string> levels;
        for (const Entry& entry : entries) {
            if (std::regex_match(entry.line, pattern)) levels.insert(entry.level);
        }
        EXPECT_EQ(levels, std::set<std::string>{message.level})
            << "README.md, ## Messages, for " << shown(message);
    }
}

TEST(Messages, EveryEntryIsALineOfTheSources) {
    const std::set<Message> messages = messagesOfTheSources();
    const std::vector<Entry> entries = entriesOfTheReadme();
    EXPECT_FALSE(entries.empty()) << "README.md has no ## Messages entries";
    for (const Entry& entry : entries) {
        bool found = false;
        for (const Message& message : messages) {
            found = found || (message.level == entry.level &&
                              std::regex_match(entry.line, patternOf(message)));
        }
        EXPECT_TRUE(found) << "README.md's entry `" << entry.line << "` (" << entry.level
                           << ") is no line of the library";
    }
}

}  // namespace
