#pragma once

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/owners/Handle_Owner.h"

#include <wininet.h>

namespace QEL::FrontEnd::Platform {

struct Internet_Kind {
    using Value = HINTERNET;
    static Value Nothing() { return nullptr; }
    static void Close(Value handle) { InternetCloseHandle(handle); }
};

/// A WinInet session, connection or request.
using Internet_Handle = Handle_Owner<Internet_Kind>;

} // namespace QEL::FrontEnd::Platform
