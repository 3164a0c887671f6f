#pragma once

#include <cstdint>
#include <string>

#include "util/IRequest_Object.h"

namespace QEL::FrontEnd::Platform {

/// Why a request has no answer.
struct Http_Failure {
    std::uint32_t error = 0; ///< WinInet error number, or another Win32 error code
    std::string description; ///< cause and what to check, for the user; one line without its end
};

/// A Win32 error code as the result of a call of the request object.
inline FileCache::HResult HResult_From_Win32(std::uint32_t error) {
    return static_cast<FileCache::HResult>(0x80070000U | error);
}

} // namespace QEL::FrontEnd::Platform
