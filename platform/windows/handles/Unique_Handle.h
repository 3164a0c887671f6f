#pragma once

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one handle of the system and closes it at the end of its scope.
///
/// `Kind` describes the handle: its type `Value`, the value `Nothing()` that stands for no handle,
/// and `Close(Value)`.
template <typename Kind>
class Unique_Handle {
public:
    using Value = typename Kind::Value;

    Unique_Handle() = default;
    explicit Unique_Handle(Value handle) : m_Handle(handle) {}
    Unique_Handle(Unique_Handle&& other) noexcept : m_Handle(std::exchange(other.m_Handle, Kind::Nothing())) {}
    Unique_Handle& operator=(Unique_Handle&& other) noexcept {
        std::swap(m_Handle, other.m_Handle);
        return *this;
    }
    ~Unique_Handle() {
        if (Is_Open()) {
            Kind::Close(m_Handle);
        }
    }

    bool Is_Open() const { return m_Handle != Kind::Nothing(); }
    Value Get() const { return m_Handle; }

    /// Hands the handle over to the caller.
    Value Release() { return std::exchange(m_Handle, Kind::Nothing()); }

    /// Where a system call puts the handle that this object shall own. Only while this object is empty.
    Value* Receive() { return &m_Handle; }

private:
    Value m_Handle = Kind::Nothing();
};

} // namespace QEL::FrontEnd::Platform
