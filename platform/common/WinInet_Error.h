#pragma once

#include <cstdint>

#include "util/IRequest_Object.h"

namespace QEL::FrontEnd::Platform {

/// The WinInet error numbers that the HTTP clients answer with. The cache reports transport errors
/// in these numbers on every platform.
enum WinInet_Error : std::uint32_t {
    Error_Out_Of_Memory = 14, // of the system, as the clients report it
    Error_Internet_Timeout = 12002,
    Error_Internet_Internal_Error = 12004,
    Error_Internet_Invalid_URL = 12005,
    Error_Internet_Name_Not_Resolved = 12007,
    Error_Internet_Cannot_Connect = 12029,
    Error_Internet_Connection_Aborted = 12030,
    Error_Internet_Cert_Date_Invalid = 12037,
    Error_Internet_Cert_Name_Invalid = 12038,
    Error_Internet_Invalid_Authority = 12045,
    Error_Http_Invalid_Server_Response = 12152,
    Error_Http_Redirect_Failed = 12156,
    Error_Internet_Security_Channel = 12157,
    Error_Internet_Invalid_Certificate = 12169,
    Error_Internet_Cert_Revoked = 12170,
};

/// A Win32 error code as the result of a call of the request object.
inline FileCache::HResult HResult_From_Win32(std::uint32_t error) {
    return static_cast<FileCache::HResult>(0x80070000U | error);
}

} // namespace QEL::FrontEnd::Platform
