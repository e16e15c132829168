// Texts compared with their numbers taken as equal within a relative
// tolerance, so that an exposure of 1100 us against 1130 us reads alike at 5 %
// while "face AE on" against "face AE off" never does; and the tolerances of
// `compare --tolerance`, for every key or by name.
//
// A text is seen as runs of digits with an optional fraction ("1130",
// "11.5") and the bytes between them. Two texts are equal within a tolerance
// when the bytes between their numbers are the same and each pair of numbers
// in the same place differs by at most the tolerance times the larger of the
// two (both as written: a sign is one of the bytes between).
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tables/RecordKey.h"

namespace scenariolog {

// `relative`: 0.05 for 5 %.
bool equalWithinTolerance(std::string_view a, std::string_view b, double relative);

class ToleranceRules {
  public:
    // Takes one value of --tolerance: "PCT" for every key, or "NAME=PCT" for the
    // keys of a decision or result NAME, or of module NAME; PCT is a percentage
    // from 0 to 100, with or without "%". Returns a usage error, or "".
    std::string add(std::string_view option);

    bool empty() const { return !mEveryKey && mByName.empty(); }
    // The tolerance of a key: its decision or result's, else its module's,
    // else the one for every key; nullopt when texts must be the same.
    std::optional<double> of(const RecordKeyView& key) const;

  private:
    std::optional<double> mEveryKey;
    std::map<std::string, double, std::less<>> mByName;
};

}  // namespace scenariolog
