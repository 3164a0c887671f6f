#pragma once

#include "tests/support/Standard_Library.h"

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

/// A socket bound to a port of 127.0.0.1 or another address, not yet listening.
/// @param port 0: a free one.
Socket Bind_Port(const char* address = "127.0.0.1", int port = 0);

/// One that listens.
Socket Listen_On_Free_Port(int backlog);

/// The port that a socket is bound to.
int Port_Of(const Socket& socket);

/// Begins to connect to a port of 127.0.0.1; with a blocking socket, connects.
bool Connect(const Socket& socket, int port);

/// A port of 127.0.0.1 that nobody listens on, for a server that takes its port as a number.
int Free_Port();

/// True as soon as somebody listens on the port; false when nobody does within ten seconds, or
/// nobody will any more.
bool Wait_For_Listener(int port, const std::function<bool()>& has_failed);

/// A port whose connections are neither accepted nor refused, as if a firewall dropped their packets: its queue is
/// full.
class Full_Port {
public:
    Full_Port();

    int Port() const { return Port_Of(m_Listener); }
    std::string Url(const std::string& scheme, const std::string& host = "good.test") const {
        return scheme + "://" + host + ":" + std::to_string(Port()) + "/";
    }

private:
    Socket m_Listener = Listen_On_Free_Port(0);
    std::vector<Socket> m_Clients;
};

} // namespace QEL::Tests
