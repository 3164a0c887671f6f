#pragma once

#include <cstdint>

namespace QEL::FrontEnd::Platform {

/// Sets the calling thread's last error, which Get_Last_Error answers with.
void Set_Last_Error(std::uint32_t error);

} // namespace QEL::FrontEnd::Platform
