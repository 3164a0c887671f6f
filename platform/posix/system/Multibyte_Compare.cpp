#include "util/Multibyte_Compare.h"

#include "util/Ascii.h"

#include <algorithm>
#include <compare>

namespace QEL::FrontEnd::Util {

// The same in every locale: the host's choice must not decide whether two paths are one.
int Compare_Ignoring_Case(const std::string& left, const std::string& right) {
    const auto compare = [](char one, char other) {
        return static_cast<unsigned char>(To_Ascii_Lower(one)) <=> static_cast<unsigned char>(To_Ascii_Lower(other));
    };
    const auto order =
        std::lexicographical_compare_three_way(left.begin(), left.end(), right.begin(), right.end(), compare);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

} // namespace QEL::FrontEnd::Util
