// A set of request numbers kept as runs of consecutive numbers, so that a
// series holding many consecutive requests costs a few entries, not one each.
#pragma once

#include <map>
#include <string>

namespace scenariolog {

class RangeSet {
  public:
    void insert(int value);
    bool empty() const { return mRuns.empty(); }
    bool contains(int value) const;
    // Runs as first -> last, both included, in ascending order.
    const std::map<int, int>& runs() const { return mRuns; }
    // "3, 7-9, 12"
    std::string toString() const;

  private:
    std::map<int, int> mRuns;
};

}  // namespace scenariolog
