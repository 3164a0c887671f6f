#pragma once

#include "tests/support/Socket.h"
#include "util/Non_Copyable.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

namespace QEL::Tests {

/// A port that accepts connections, and nobody ever responds on them.
class Silent_Port {
public:
    int Port() const { return Port_Of(m_Listener); }

private:
    Socket m_Listener = Listen_On_Free_Port(16);
};

/// A line to a server that carries so many bytes a second to the client. One client at a time.
class Slow_Line : private FrontEnd::Util::Non_Copyable {
public:
    Slow_Line(int server_port, std::size_t bytes_per_second)
        : m_Server_Port(server_port), m_Step(bytes_per_second / 20), m_Thread([this] { Run(); }) {}
    ~Slow_Line() {
        m_Ends = true;
        m_Thread.join();
    }

    int Port() const { return Port_Of(m_Listener); }

private:
    void Run() const {
        while (!m_Ends) {
            pollfd listener{m_Listener.Get(), POLLIN, 0};
            if (::poll(&listener, 1, 50) > 0) {
                const Socket client(::accept4(m_Listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
                const Socket server(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
                if (Connect(server, m_Server_Port)) {
                    Carry(client.Get(), server.Get());
                }
            }
        }
    }

    void Carry(int client, int server) const {
        while (!m_Ends) {
            pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
            ::poll(ends, 2, 50);
            if ((ends[0].revents != 0 && Pass_On(client, server) <= 0)) {
                return;
            }
            if (ends[1].revents != 0) {
                const ssize_t count = Pass_On(server, client);
                if (count <= 0) {
                    return;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(50) * count / static_cast<ssize_t>(m_Step));
            }
        }
    }

    ssize_t Pass_On(int from, int to) const {
        std::vector<char> bytes(m_Step);
        const ssize_t count = ::recv(from, bytes.data(), bytes.size(), 0);
        return count <= 0 ? count : ::send(to, bytes.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL);
    }

    const Socket m_Listener = Listen_On_Free_Port(16);
    const int m_Server_Port;
    const std::size_t m_Step; ///< bytes in a twentieth of a second
    std::atomic<bool> m_Ends = false;
    std::thread m_Thread;
};

} // namespace QEL::Tests
