#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one open descriptor and closes it. In a host that has closed its standard streams, a file can come
/// to stand in the place of one, where others write to it: it gets another number here.
class File_Descriptor {
public:
    File_Descriptor() = default;
    explicit File_Descriptor(int descriptor) : m_Descriptor(descriptor) {
        if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
            Reset(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        }
    }
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

/// Keeps what others open, the libraries that are used and streams, from that place where messages are written.
inline void Occupy_Standard_Error() {
    if (fcntl(STDERR_FILENO, F_GETFD) == -1) {
        const File_Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
        static_cast<void>(fcntl(nowhere.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO)); // stays open
    }
}

} // namespace QEL::FrontEnd::Platform
