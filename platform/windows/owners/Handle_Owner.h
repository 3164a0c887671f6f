#pragma once

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one handle of the system and closes it at the end of its scope.
///
/// `Kind` describes the handle: its type `Value`, the value `Nothing()` that stands for no handle,
/// and `Close(Value)`.
template <typename Kind>
class Handle_Owner {
public:
    using Value = typename Kind::Value;

    Handle_Owner() = default;
    explicit Handle_Owner(Value handle) : m_Handle(handle) {}
    Handle_Owner(Handle_Owner&& other) noexcept : m_Handle(std::exchange(other.m_Handle, Kind::Nothing())) {}
    Handle_Owner& operator=(Handle_Owner&& other) noexcept {
        std::swap(m_Handle, other.m_Handle);
        return *this;
    }
    ~Handle_Owner() {
        if (Is_Open()) {
            Kind::Close(m_Handle);
        }
    }

    bool Is_Open() const { return m_Handle != Kind::Nothing(); }
    Value Get() const { return m_Handle; }

    /// Where a system call puts the handle that this object shall own. Only for an empty owner.
    Value* Receive() { return &m_Handle; }

private:
    Value m_Handle = Kind::Nothing();
};

} // namespace QEL::FrontEnd::Platform
