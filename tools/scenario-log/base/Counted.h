// A count with its noun in the right number, for what the reader prints:
// "1 request", "2 requests", "0 keys".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace scenariolog {

inline std::string counted(std::uint64_t count, std::string_view one, std::string_view many) {
    std::string text = std::to_string(count);
    text += ' ';
    text += count == 1 ? one : many;
    return text;
}

}  // namespace scenariolog
