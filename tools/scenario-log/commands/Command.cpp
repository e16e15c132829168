#include "commands/Command.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "reading/LogCatalog.h"

namespace scenariolog {
namespace {

// Checked before CLI11 converts, so that a bad number is named in our words
// and a number out of int's range is refused rather than cut.
CLI::Validator wholeNumber() {
    return CLI::Validator(
        [](const std::string& text) -> std::string {
            int value = 0;
            const char* end = text.data() + text.size();
            const auto result = std::from_chars(text.data(), end, value);
            if (!text.empty() && result.ec == std::errc() && result.ptr == end) return {};
            return "'" + text + "' is not a whole number";
        },
        "", "whole number");
}

}  // namespace

bool RequestRange::contains(std::optional<int> request) const {
    if (!bounded()) return true;
    if (!request) return false;
    return (!from || *request >= *from) && (!to || *request <= *to);
}

std::string RequestRange::reversed() const {
    if (!from || !to || *from <= *to) return {};
    return "--from " + std::to_string(*from) + " is after --to " + std::to_string(*to);
}

std::string RequestRange::text() const {
    if (from && to) {
        return *from == *to ? std::to_string(*from)
                            : std::to_string(*from) + " to " + std::to_string(*to);
    }
    if (from) return std::to_string(*from) + " and later";
    if (to) return "up to " + std::to_string(*to);
    return "any";
}

void addInputsOption(CLI::App& app, std::vector<std::string>& inputs) {
    app.add_option("FOLDER|FILE", inputs, "folders and tuning log files to read")->required();
}

void addJsonOption(CLI::App& app, bool& json, std::string_view types) {
    app.add_flag("--json", json,
                 "one JSON object per line on standard output, of \"type\"\n" + std::string(types) +
                     " or \"problem\"");
}

void addRangeOptions(CLI::App& app, RequestRange& range) {
    addNumberOption(app, "--from", range.from, "only requests N and later");
    addNumberOption(app, "--to", range.to, "only requests up to M")->type_name("M");
}

CLI::Option* addNumberOption(CLI::App& app, const std::string& name, std::optional<int>& number,
                             const std::string& description) {
    return app.add_option(name, number, description)->type_name("N")->check(wholeNumber());
}

CLI::Option* addNumbersOption(CLI::App& app, const std::string& name, std::vector<int>& numbers,
                              const std::string& description) {
    return app.add_option(name, numbers, description)
        ->type_name("N")
        ->check(wholeNumber())
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

bool walkInputs(const std::vector<std::string>& inputs, SeriesVisitor& visitor,
                ProblemReport& problems) {
    const std::vector<LogSeries> series = catalogInputs(inputs, problems);
    if (problems.inputErrors() > 0) {
        problems.finish();
        return false;
    }
    for (const LogSeries& one : series) walkSeries(one, visitor, problems);
    problems.finish();
    return true;
}

}  // namespace scenariolog
