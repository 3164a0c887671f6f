#pragma once

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/handles/Unique_Handle.h"

#include <wininet.h>

namespace QEL::FrontEnd::Platform {

struct Internet_Kind {
    using Value = HINTERNET;
    static Value Nothing() { return nullptr; }
    static void Close(Value handle) { InternetCloseHandle(handle); }
};

/// A WinInet session, connection or request.
using Internet_Handle = Unique_Handle<Internet_Kind>;

} // namespace QEL::FrontEnd::Platform
