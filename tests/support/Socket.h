#pragma once

#include <functional>
#include <utility>

namespace QEL::Tests {

/// Owns a socket.
class Socket {
public:
    Socket() = default;
    explicit Socket(int descriptor) : m_Descriptor(descriptor) {}
    Socket(Socket&& other) noexcept : m_Descriptor(std::exchange(other.m_Descriptor, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(m_Descriptor, other.m_Descriptor);
        return *this;
    }
    ~Socket();

    int Get() const { return m_Descriptor; }

private:
    int m_Descriptor = -1;
};

/// A socket bound to a free port of 127.0.0.1, not yet listening.
Socket Bind_Free_Port();

/// The port that a socket is bound to.
int Port_Of(const Socket& socket);

/// A port of 127.0.0.1 that nobody listens on, for a server that takes its port as a number.
int Free_Port();

/// True as soon as somebody listens on the port; false when nobody does within ten seconds, or
/// nobody will any more.
bool Wait_For_Listener(int port, const std::function<bool()>& has_failed);

} // namespace QEL::Tests
