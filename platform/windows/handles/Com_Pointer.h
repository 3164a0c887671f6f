#pragma once

#include "platform/windows/Windows_Headers.h"

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one reference to a COM object.
template <typename Interface>
class Com_Pointer {
public:
    Com_Pointer() = default;
    Com_Pointer(Com_Pointer&& other) noexcept : m_Object(std::exchange(other.m_Object, nullptr)) {}
    Com_Pointer& operator=(Com_Pointer&& other) noexcept {
        std::swap(m_Object, other.m_Object);
        return *this;
    }
    ~Com_Pointer() {
        if (m_Object != nullptr) {
            m_Object->Release();
        }
    }

    explicit operator bool() const { return m_Object != nullptr; }
    Interface* operator->() const { return m_Object; }
    Interface* Get() const { return m_Object; }

    /// Where a call puts the reference that this object shall own. Only while this object is empty.
    Interface** Receive() { return &m_Object; }
    void** Receive_Untyped() { return reinterpret_cast<void**>(&m_Object); }

private:
    Interface* m_Object = nullptr;
};

} // namespace QEL::FrontEnd::Platform
