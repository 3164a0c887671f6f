#pragma once

#include "util/Ascii.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::Util {

/// How many letters have to be added, dropped or exchanged to make one word the other, whatever their case.
inline std::size_t Distance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t line = 1; line <= left.size(); ++line) {
        std::size_t diagonal = std::exchange(row[0], line);
        for (std::size_t column = 1; column <= right.size(); ++column) {
            const bool are_equal = To_Ascii_Lower(left[line - 1]) == To_Ascii_Lower(right[column - 1]);
            const std::size_t exchanged = diagonal + (are_equal ? 0 : 1);
            diagonal = std::exchange(row[column], std::min({row[column] + 1, row[column - 1] + 1, exchanged}));
        }
    }
    return row.back();
}

/// The word that is nearest and less than `limit` letters away; empty when there is none.
template <typename Words>
std::string Nearest(std::string_view word, const Words& words, std::size_t limit) {
    std::string nearest;
    for (const auto& candidate : words) {
        if (const std::size_t distance = Distance(word, candidate); distance < limit) {
            limit = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace QEL::FrontEnd::Util
