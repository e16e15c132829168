// The record filters of `grep` (and the key filters of `changes`): every
// given filter must match.
#pragma once

#include <optional>
#include <string>

#include "reading/LogParser.h"

namespace CLI {
class App;
}  // namespace CLI

namespace scenariolog {

struct RecordFilter {
    std::optional<std::string> module;
    std::optional<std::string> decision;  // decision records only
    std::optional<std::string> stage;     // execution records only
    std::optional<std::string> result;    // execution records only
    std::optional<int> sensorId;
    std::optional<int> frameNum;
    std::optional<int> magicNum;
    std::optional<std::string> text;  // substring of the record's text

    bool matches(const Record& record) const;
    // No filter given: every record matches.
    bool empty() const;
};

// --module, --decision, --stage, --result: of `grep` and `changes`.
void addKeyFilterOptions(CLI::App& app, RecordFilter& filter);
// --sensor, --frame, --magic, --text: of `grep`.
void addLineFilterOptions(CLI::App& app, RecordFilter& filter);

}  // namespace scenariolog
