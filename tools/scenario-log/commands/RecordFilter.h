// The record filters of `grep` (and the key filters of `changes`): every
// given filter must match.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "reading/LogParser.h"

namespace CLI {
class App;
}  // namespace CLI

namespace scenariolog {

class PrefilteredRegex;

class RecordFilter {
  public:
    std::optional<std::string> module;
    std::optional<std::string> decision;  // decision records only
    std::optional<std::string> stage;     // execution records only
    std::optional<std::string> result;    // execution records only
    std::optional<int> sensorId;
    std::optional<int> frameNum;
    std::optional<int> magicNum;
    std::optional<std::string> text;   // substring of the record's text
    std::optional<std::string> regex;  // RE2 pattern found in the record's text; see compile()

    // Makes the matcher of `regex`; returns why the pattern is no RE2
    // pattern, or nothing. Call once the pattern is set, before matches().
    std::string compile();
    bool matches(const Record& record) const;
    // No filter given: every record matches.
    bool empty() const;

  private:
    std::shared_ptr<const PrefilteredRegex> mRegex;  // shared by the copies that reports keep
};

// --module, --decision, --stage, --result: of `grep` and `changes`.
void addKeyFilterOptions(CLI::App& app, RecordFilter& filter);
// --sensor, --frame, --magic, --text, --regex: of `grep`.
void addLineFilterOptions(CLI::App& app, RecordFilter& filter);

}  // namespace scenariolog
