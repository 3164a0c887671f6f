#pragma once

#include "platform/windows/Windows_Headers.h"
#include "util/Non_Copyable.h"

namespace QEL::FrontEnd::Platform {

/// Keeps the thread's last error as it is now: whatever the scope does, it ends with that error set.
class Last_Error_Keeper : private Util::Non_Copyable {
public:
    Last_Error_Keeper() : m_Error(GetLastError()) {}
    ~Last_Error_Keeper() { SetLastError(m_Error); }

private:
    const DWORD m_Error;
};

} // namespace QEL::FrontEnd::Platform
