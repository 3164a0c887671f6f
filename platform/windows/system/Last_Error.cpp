#include "util/Last_Error.h"

#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd::Util {

std::uint32_t Get_Last_Error() {
    return GetLastError();
}

void Set_Last_Error(std::uint32_t error) {
    SetLastError(error);
}

} // namespace QEL::FrontEnd::Util
