#include "tables/RecordKey.h"

namespace scenariolog {

RecordKeyView RecordKeyView::of(const Record& record) {
    if (record.kind == RecordKind::kDecision) {
        return {record.kind, record.module, record.decision, {}};
    }
    return {record.kind, record.module, record.stage, record.result};
}

std::string RecordKey::label() const {
    if (kind == RecordKind::kDecision) return "Decision: " + first;
    return first + " Result: " + second;
}

}  // namespace scenariolog
