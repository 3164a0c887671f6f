#pragma once

#include <string>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>

#include "tests/support/Socket.h"

namespace QEL::Tests {

/// A port whose connections are neither accepted nor refused: its queue is full.
class Full_Port {
public:
    Full_Port() : m_Listener(Bind_Free_Port()) {
        listen(m_Listener.Get(), 0);
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(m_Listener.Get(), reinterpret_cast<sockaddr*>(&address), &size);
        for (int client = 0; client < 4; ++client) {
            m_Clients.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            connect(m_Clients.back().Get(), reinterpret_cast<const sockaddr*>(&address), size);
        }
    }

    std::string Url(const std::string& scheme, const std::string& host = "good.test") const {
        return scheme + "://" + host + ":" + std::to_string(Port_Of(m_Listener)) + "/";
    }

private:
    Socket m_Listener;
    std::vector<Socket> m_Clients;
};

} // namespace QEL::Tests
