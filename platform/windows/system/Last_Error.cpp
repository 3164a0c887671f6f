#include "util/Last_Error.h"

#include "platform/common/Set_Last_Error.h"
#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd {

void Platform::Set_Last_Error(std::uint32_t error) {
    SetLastError(error);
}

std::uint32_t Util::Get_Last_Error() {
    return GetLastError();
}

} // namespace QEL::FrontEnd
