#pragma once

#include <cstdint>

namespace QEL::FrontEnd::Util {

/// The calling thread's last system error as a Win32 code, as the last failed platform operation
/// left it.
std::uint32_t Get_Last_Error();

} // namespace QEL::FrontEnd::Util
