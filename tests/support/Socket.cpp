#include "tests/support/Socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace QEL::Tests {

namespace {

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

} // namespace

Socket::~Socket() {
    if (m_Descriptor >= 0) {
        close(m_Descriptor);
    }
}

Socket Bind_Port(const char* address, int port) {
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    auto end = Loopback(port);
    if (inet_pton(AF_INET, address, &end.sin_addr) != 1 ||
        bind(socket.Get(), reinterpret_cast<const sockaddr*>(&end), sizeof end) != 0) {
        throw std::runtime_error(std::string("no free port on ") + address);
    }
    return socket;
}

Socket Listen_On_Free_Port(int backlog) {
    Socket socket = Bind_Port();
    if (listen(socket.Get(), backlog) != 0) {
        throw std::runtime_error("no socket to listen on");
    }
    return socket;
}

bool Connect(const Socket& socket, int port) {
    const auto address = Loopback(port);
    return connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

int Port_Of(const Socket& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

int Free_Port() {
    static std::mutex s_mutex;
    static std::set<int> s_given_out; // the system soon offers a port again that nobody has bound yet
    const std::lock_guard lock(s_mutex);
    for (;;) {
        const auto port = Port_Of(Bind_Port());
        if (s_given_out.insert(port).second) {
            return port;
        }
    }
}

bool Wait_For_Listener(int port, const std::function<bool()>& has_failed) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < end && !has_failed()) {
        if (Connect(Socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), port)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

Full_Port::Full_Port() {
    for (int client = 0; client < 4; ++client) {
        m_Clients.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        Connect(m_Clients.back(), Port());
    }
}

} // namespace QEL::Tests
