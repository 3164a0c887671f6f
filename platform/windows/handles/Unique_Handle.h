#pragma once

#include "platform/windows/Windows_Headers.h"

#include <wincrypt.h>
#include <wininet.h>

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one handle of the system and closes it with `Close` at the end of its scope.
///
/// Where there is none, the system has either null or, for files and searches, INVALID_HANDLE_VALUE. This class takes
/// both for none.
template <typename Value, auto Close>
class Unique_Handle {
public:
    Unique_Handle() = default;
    explicit Unique_Handle(Value handle)
        : m_Handle(static_cast<const void*>(handle) == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    Unique_Handle(Unique_Handle&& other) noexcept : m_Handle(other.Release()) {}
    Unique_Handle& operator=(Unique_Handle&& other) noexcept {
        std::swap(m_Handle, other.m_Handle);
        return *this;
    }
    ~Unique_Handle() {
        if (Is_Open()) {
            Close(m_Handle);
        }
    }

    bool Is_Open() const { return m_Handle != nullptr; }
    Value Get() const { return m_Handle; }

    /// Hands the handle over to the caller.
    Value Release() { return std::exchange(m_Handle, nullptr); }

    /// Where a system call puts the handle that this object shall own. Only while this object is empty.
    Value* Receive() { return &m_Handle; }

private:
    Value m_Handle = nullptr;
};

using Object_Handle = Unique_Handle<HANDLE, &CloseHandle>; ///< a file, mutex, process or the like
using Search_Handle = Unique_Handle<HANDLE, &FindClose>;
using System_Memory = Unique_Handle<HLOCAL, &LocalFree>; ///< what the system has allocated for the caller
using Mapped_View = Unique_Handle<void*, &UnmapViewOfFile>;
using Registry_Key = Unique_Handle<HKEY, &RegCloseKey>;
using Certificate_Chain = Unique_Handle<PCCERT_CHAIN_CONTEXT, &CertFreeCertificateChain>;
using Internet_Handle = Unique_Handle<HINTERNET, &InternetCloseHandle>; ///< a WinInet session, connection or request

} // namespace QEL::FrontEnd::Platform
