#pragma once

#ifdef _WIN32
#include <objbase.h>
#endif

/// Makes the thread that owns it fit for requests. On Windows a thread that requests web addresses needs COM, which
/// the cache leaves to its host; elsewhere any thread will do.
class Request_Thread {
public:
    Request_Thread(const Request_Thread&) = delete;
    Request_Thread& operator=(const Request_Thread&) = delete;

#ifdef _WIN32
    Request_Thread() : m_Initialised(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        // RPC_E_CHANGED_MODE: the thread has COM of the other kind already. The cache works with both.
    }
    ~Request_Thread() {
        if (m_Initialised) {
            CoUninitialize();
        }
    }

private:
    const bool m_Initialised;
#else
    Request_Thread() = default;
#endif
};
