#include "base/RangeSet.h"

#include <climits>
#include <iterator>

namespace scenariolog {

void RangeSet::insert(int value) {
    auto next = mRuns.upper_bound(value);
    if (next != mRuns.begin()) {
        auto previous = std::prev(next);
        if (previous->second >= value) return;
        if (previous->second == value - 1) {
            previous->second = value;
            if (next != mRuns.end() && next->first == value + 1) {
                previous->second = next->second;
                mRuns.erase(next);
            }
            return;
        }
    }
    if (next != mRuns.end() && value != INT_MAX && next->first == value + 1) {
        const int last = next->second;
        mRuns.erase(next);
        mRuns.emplace(value, last);
        return;
    }
    mRuns.emplace(value, value);
}

bool RangeSet::contains(int value) const {
    const auto next = mRuns.upper_bound(value);
    return next != mRuns.begin() && std::prev(next)->second >= value;
}

std::string RangeSet::toString() const {
    std::string text;
    for (const auto& [first, last] : mRuns) {
        if (!text.empty()) text += ", ";
        text += std::to_string(first);
        if (last != first) text += "-" + std::to_string(last);
    }
    return text;
}

}  // namespace scenariolog
