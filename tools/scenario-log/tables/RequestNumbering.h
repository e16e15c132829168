// Where one numbering of a kind's requests ends and the next begins, so that
// two requests with one number are never taken for one: `changes` and
// `compare` split a run's requests into timelines by this rule.
//
// Series come in the catalog's order. Within one numbering a series is named
// by a request not taken yet, and at most kReorderWindow below the highest
// request taken (blocks are written in the order requests end, so a series
// may begin a little below its predecessor's last request). A series named
// otherwise (the camera was opened anew, or a folder holds several runs)
// starts a new numbering.
#pragma once

#include <climits>

#include "base/RangeSet.h"

namespace scenariolog {

class RequestNumbering {
  public:
    static constexpr int kReorderWindow = 64;

    // Whether a series named by `request` cannot continue this numbering.
    bool restartsAt(int request) const {
        return mTaken.contains(request) ||
               static_cast<long long>(request) + kReorderWindow < static_cast<long long>(mHighest);
    }

    void take(int request) {
        mTaken.insert(request);
        if (request > mHighest) mHighest = request;
    }

  private:
    RangeSet mTaken;
    int mHighest = INT_MIN;
};

}  // namespace scenariolog
