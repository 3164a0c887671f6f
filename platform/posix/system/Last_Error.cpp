#include "util/Last_Error.h"

#include "platform/posix/system/Win32_Error.h"

namespace QEL::FrontEnd {

namespace {

thread_local std::uint32_t t_last_error = 0;

} // namespace

void Platform::Set_Last_Error(std::uint32_t error) {
    t_last_error = error;
}

std::uint32_t Util::Get_Last_Error() {
    return t_last_error;
}

} // namespace QEL::FrontEnd
