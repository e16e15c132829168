// `diff`: two requests compared item by item.
//
// Items are matched by group (module, or the headline), key and occurrence:
// the n-th record with a key in A is matched with the n-th in B. Output per
// group, in the order groups first appear (A, then B): the items only in A,
// those only in B, and those whose texts differ, with the differing span
// marked (carets below, or colour on a terminal).
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "tables/RequestCollector.h"

namespace scenariolog {

struct DiffSideView {
    std::string name;  // as the user named the side: its input(s) and request
    const KeptRequest* request = nullptr;
};

struct DiffStyle {
    bool json = false;
    bool ignoreNumbers = false;
    bool color = false;
};

struct DiffCounts {
    std::uint64_t onlyA = 0;
    std::uint64_t onlyB = 0;
    std::uint64_t changed = 0;

    bool identical() const { return onlyA + onlyB + changed == 0; }
};

DiffCounts printDiff(const DiffSideView& a, const DiffSideView& b, const DiffStyle& style,
                     std::ostream& out);

}  // namespace scenariolog
