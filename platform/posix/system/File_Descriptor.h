#pragma once

#include <unistd.h>

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one open descriptor and closes it.
class File_Descriptor {
public:
    File_Descriptor() = default;
    explicit File_Descriptor(int descriptor) : m_Descriptor(descriptor) {}
    File_Descriptor(File_Descriptor&& other) noexcept : m_Descriptor(other.Release()) {}
    ~File_Descriptor() { Reset(); }

    File_Descriptor& operator=(File_Descriptor&& other) noexcept {
        Reset(other.Release());
        return *this;
    }

    /// The descriptor, -1 when there is none.
    int Get() const { return m_Descriptor; }
    explicit operator bool() const { return m_Descriptor >= 0; }

    /// Closes the descriptor and takes over another one.
    void Reset(int descriptor = -1) {
        if (m_Descriptor >= 0) {
            close(m_Descriptor);
        }
        m_Descriptor = descriptor;
    }

    /// Hands the descriptor over to the caller.
    int Release() { return std::exchange(m_Descriptor, -1); }

private:
    int m_Descriptor = -1;
};

} // namespace QEL::FrontEnd::Platform
