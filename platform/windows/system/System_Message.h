#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

/// The system's text for a Win32 error code, without a line end; the number when it has none.
std::string System_Message(std::uint32_t error);

} // namespace QEL::FrontEnd::Platform
