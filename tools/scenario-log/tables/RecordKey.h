// What `diff` and `changes` match records by: the module, the record kind, and
// the decision (decision records) or the stage and result (execution records).
#pragma once

#include <string>
#include <string_view>
#include <tuple>

#include "reading/LogParser.h"

namespace scenariolog {

// A key whose parts point into a parsed line; for lookups without copying.
struct RecordKeyView {
    RecordKind kind = RecordKind::kDecision;
    std::string_view module;
    std::string_view first;   // decision, or stage
    std::string_view second;  // result; empty for decisions

    static RecordKeyView of(const Record& record);

    auto tie() const { return std::tie(module, kind, first, second); }
};

struct RecordKey {
    RecordKind kind = RecordKind::kDecision;
    std::string module;
    std::string first;
    std::string second;

    explicit RecordKey(const RecordKeyView& view)
        : kind(view.kind), module(view.module), first(view.first), second(view.second) {}

    RecordKeyView view() const { return {kind, module, first, second}; }
    // The key as the line writes it, without the module: "Decision: ISP_FLOW"
    // or "Stage_MDP Result: ISP_FLOW".
    std::string label() const;
};

// Orders keys and views alike, so maps keyed by RecordKey take views.
struct RecordKeyLess {
    using is_transparent = void;
    static RecordKeyView viewOf(const RecordKey& key) { return key.view(); }
    static const RecordKeyView& viewOf(const RecordKeyView& view) { return view; }
    template <typename A, typename B>
    bool operator()(const A& a, const B& b) const {
        return viewOf(a).tie() < viewOf(b).tie();
    }
};

}  // namespace scenariolog
