#pragma once

#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd::Platform {

/// Keeps the thread's last error as it is now: whatever the scope does, it ends with that error set.
class Last_Error_Keeper {
public:
    Last_Error_Keeper() : m_Error(GetLastError()) {}
    Last_Error_Keeper(const Last_Error_Keeper&) = delete;
    Last_Error_Keeper& operator=(const Last_Error_Keeper&) = delete;
    ~Last_Error_Keeper() { SetLastError(m_Error); }

private:
    const DWORD m_Error;
};

} // namespace QEL::FrontEnd::Platform
