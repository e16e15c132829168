#include "commands/RecordFilter.h"

#include <CLI/CLI.hpp>

#include "base/PrefilteredRegex.h"
#include "commands/Command.h"

namespace scenariolog {

std::string RecordFilter::compile() {
    mRegex.reset();
    if (!regex) return {};
    auto compiled = std::make_shared<const PrefilteredRegex>(*regex);
    if (!compiled->ok()) {
        return "--regex '" + *regex + "' is not an RE2 pattern: " + compiled->error();
    }
    mRegex = std::move(compiled);
    return {};
}

// Each absent filter costs one test, so that no filter costs next to nothing.
bool RecordFilter::matches(const Record& record) const {
    const bool isDecision = record.kind == RecordKind::kDecision;
    if (decision && (!isDecision || *decision != record.decision)) return false;
    if ((stage || result) && isDecision) return false;
    if (module && *module != record.module) return false;
    if (stage && *stage != record.stage) return false;
    if (result && *result != record.result) return false;
    if (sensorId && sensorId != record.sensorId) return false;
    if (frameNum && frameNum != record.frameNum) return false;
    if (magicNum && magicNum != record.magicNum) return false;
    if (text && record.text.find(*text) == std::string_view::npos) return false;
    return !mRegex || mRegex->matches(record.text);
}

bool RecordFilter::empty() const {
    return !module && !decision && !stage && !result && !sensorId && !frameNum && !magicNum &&
           !text && !regex;
}

void addKeyFilterOptions(CLI::App& app, RecordFilter& filter) {
    app.add_option("--module", filter.module, "module name, exact")->type_name("NAME");
    app.add_option("--decision", filter.decision, "decision name, exact (decision records only)")
        ->type_name("NAME");
    app.add_option("--stage", filter.stage, "stage name, exact (execution records only)")
        ->type_name("NAME");
    app.add_option("--result", filter.result, "result name, exact (execution records only)")
        ->type_name("NAME");
}

void addLineFilterOptions(CLI::App& app, RecordFilter& filter) {
    addNumberOption(app, "--sensor", filter.sensorId, "sensor id");
    addNumberOption(app, "--frame", filter.frameNum, "frame number");
    addNumberOption(app, "--magic", filter.magicNum, "magic number");
    app.add_option("--text", filter.text, "plain substring of the record's text (no wildcards)")
        ->type_name("TEXT");
    app.add_option("--regex", filter.regex,
                   "RE2 regular expression found in the record's text\n"
                   "(linear time: no backreferences or lookaround)")
        ->type_name("PATTERN");
}

}  // namespace scenariolog
