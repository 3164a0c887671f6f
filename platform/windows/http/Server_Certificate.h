#pragma once

#include "platform/windows/handles/Unique_Handle.h"

#include <string>

namespace QEL::FrontEnd::Platform {

/// Examines the certificate of the server of a request.
///
/// WinInet examines it too, but remembers for the life of the process for which servers the errors
/// of a certificate were once ignored, and then lets every later request to such a server pass.
///
/// @return 0 when the certificate is valid, else the WinInet error number that names its fault.
DWORD Certificate_Fault(const Internet_Handle& request, const std::string& host);

} // namespace QEL::FrontEnd::Platform
