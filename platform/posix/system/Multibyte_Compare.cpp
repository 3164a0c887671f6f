#include "util/Multibyte_Compare.h"

#include <algorithm>

namespace QEL::FrontEnd::Util {

namespace {

/// The same in every locale: the host's choice must not decide whether two paths are one.
int Folded(char letter) {
    const int code = static_cast<unsigned char>(letter);
    return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

} // namespace

int Compare_Ignoring_Case(const std::string& left, const std::string& right) {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t at = 0; at < common; ++at) {
        if (const int difference = Folded(left[at]) - Folded(right[at]); difference != 0) {
            return difference;
        }
    }
    return left.size() == right.size() ? 0 : (left.size() < right.size() ? -1 : 1);
}

} // namespace QEL::FrontEnd::Util
