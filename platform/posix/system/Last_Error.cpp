#include "util/Last_Error.h"

namespace QEL::FrontEnd::Util {

namespace {

thread_local std::uint32_t t_last_error = 0;

} // namespace

std::uint32_t Get_Last_Error() {
    return t_last_error;
}

void Set_Last_Error(std::uint32_t error) {
    t_last_error = error;
}

} // namespace QEL::FrontEnd::Util
