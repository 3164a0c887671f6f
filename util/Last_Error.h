#pragma once

#include <cstdint>

namespace QEL::FrontEnd::Util {

/// The calling thread's last system error as a Win32 code, as the last failed platform operation
/// left it.
std::uint32_t Get_Last_Error();

/// Makes it the reason of an operation that was not even tried.
void Set_Last_Error(std::uint32_t error);

} // namespace QEL::FrontEnd::Util
