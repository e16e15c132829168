#include "tables/NumberTolerance.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "base/TextScan.h"

namespace scenariolog {
namespace {

// The end of the number that starts at `begin`: digits, then a point and
// digits if they follow.
std::size_t numberEnd(std::string_view text, std::size_t begin) {
    std::size_t end = begin;
    while (end < text.size() && isDigit(text[end])) ++end;
    if (end + 1 < text.size() && text[end] == '.' && isDigit(text[end + 1])) {
        end += 2;
        while (end < text.size() && isDigit(text[end])) ++end;
    }
    return end;
}

std::optional<double> numberValue(std::string_view digits) {
    double value = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

bool numbersWithin(std::string_view a, std::string_view b, double relative) {
    if (a == b) return true;
    const auto x = numberValue(a);
    const auto y = numberValue(b);
    if (!x || !y) return false;
    return std::fabs(*x - *y) <= relative * std::max(*x, *y);
}

// "5%", "0.5" or "100%" as 0.05, 0.005 or 1.
std::optional<double> percentage(std::string_view text) {
    if (!text.empty() && text.back() == '%') text.remove_suffix(1);
    if (text.empty() || !isDigit(text.front()) || numberEnd(text, 0) != text.size()) {
        return std::nullopt;
    }
    const auto value = numberValue(text);
    if (!value || *value > 100) return std::nullopt;
    return *value / 100;
}

}  // namespace

bool equalWithinTolerance(std::string_view a, std::string_view b, double relative) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        const bool numberA = isDigit(a[i]);
        if (numberA != isDigit(b[j])) return false;
        if (!numberA) {
            if (a[i++] != b[j++]) return false;
            continue;
        }
        const std::size_t endA = numberEnd(a, i);
        const std::size_t endB = numberEnd(b, j);
        if (!numbersWithin(a.substr(i, endA - i), b.substr(j, endB - j), relative)) return false;
        i = endA;
        j = endB;
    }
    return i == a.size() && j == b.size();
}

std::string ToleranceRules::add(std::string_view option) {
    const std::size_t equals = option.rfind('=');
    const std::string_view name = equals == std::string_view::npos ? "" : option.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? option : option.substr(equals + 1);
    const std::string quoted = "--tolerance '" + std::string(option) + "'";
    const auto relative = percentage(value);
    if (!relative || (equals != std::string_view::npos && name.empty())) {
        return quoted + " is neither PCT nor NAME=PCT (a percentage from 0 to 100, as 5%)";
    }
    if (name.empty()) {
        if (mEveryKey) return quoted + ": a tolerance for every key is given twice";
        mEveryKey = relative;
        return {};
    }
    if (!mByName.emplace(name, *relative).second) {
        return quoted + ": a tolerance for " + std::string(name) + " is given twice";
    }
    return {};
}

std::optional<double> ToleranceRules::of(const RecordKeyView& key) const {
    const std::string_view name = key.kind == RecordKind::kDecision ? key.first : key.second;
    for (const std::string_view candidate : {name, key.module}) {
        const auto found = mByName.find(candidate);
        if (found != mByName.end()) return found->second;
    }
    return mEveryKey;
}

}  // namespace scenariolog
