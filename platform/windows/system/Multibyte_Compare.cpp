#include "util/Multibyte_Compare.h"

#include <mbstring.h>

namespace QEL::FrontEnd::Util {

int Compare_Ignoring_Case(const std::string& left, const std::string& right) {
    return _mbsicmp(reinterpret_cast<const unsigned char*>(left.c_str()),
                    reinterpret_cast<const unsigned char*>(right.c_str()));
}

} // namespace QEL::FrontEnd::Util
