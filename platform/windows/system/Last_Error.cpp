#include "util/Last_Error.h"

#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd::Util {

std::uint32_t Get_Last_Error() {
    return GetLastError();
}

} // namespace QEL::FrontEnd::Util
