#include "fuzz/support/Responding_Sockets.h"

#include "fuzz/Require.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace QEL::Fuzz {

namespace {

Responding_Sockets* s_servers = nullptr;

} // namespace

Responding_Sockets::Responding_Sockets(std::vector<std::string> responses, bool stay_open)
    : m_Responses(std::move(responses)), m_Stay_Open(stay_open) {
    REQUIRE(s_servers == nullptr && !m_Responses.empty());
    s_servers = this;
}

Responding_Sockets::~Responding_Sockets() {
    for (const int server : m_Servers) {
        ::close(server);
    }
    s_servers = nullptr;
}

int Responding_Sockets::Connect(int socket) {
    int ends[2];
    REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    const int flags = ::fcntl(socket, F_GETFL);
    REQUIRE(::dup2(ends[0], socket) == socket);
    ::close(ends[0]);
    ::fcntl(socket, F_SETFL, flags);

    // A response fits into the buffer of the socket, so no thread has to serve it.
    const auto& response = m_Responses[std::min(m_Servers.size(), m_Responses.size() - 1)];
    REQUIRE(::send(ends[1], response.data(), response.size(), MSG_DONTWAIT) == static_cast<ssize_t>(response.size()));
    if (!m_Stay_Open) {
        ::shutdown(ends[1], SHUT_WR);
    }
    m_Servers.push_back(ends[1]);
    return 0;
}

std::vector<std::string> Responding_Sockets::Received() const {
    std::vector<std::string> received;
    for (const int server : m_Servers) {
        auto& text = received.emplace_back();
        char piece[16384];
        for (ssize_t count = 0; (count = ::recv(server, piece, sizeof piece, MSG_DONTWAIT)) > 0;) {
            text.append(piece, static_cast<std::size_t>(count));
        }
    }
    return received;
}

} // namespace QEL::Fuzz

// These take the place of the system's functions for the program and all its libraries.

extern "C" __attribute__((visibility("default"))) int connect(int socket, const sockaddr*, socklen_t) {
    if (QEL::Fuzz::s_servers == nullptr) {
        errno = ENETUNREACH;
        return -1;
    }
    return QEL::Fuzz::s_servers->Connect(socket);
}

/// Every name is that of 127.0.0.1, for no name service may be asked.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char*, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
    struct Address {
        addrinfo info;
        sockaddr_in address;
    };
    auto* const found = static_cast<Address*>(std::calloc(1, sizeof(Address)));
    REQUIRE(found != nullptr);
    found->address.sin_family = AF_INET;
    found->address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    found->address.sin_port = htons(static_cast<std::uint16_t>(service != nullptr ? std::atoi(service) : 0));
    found->info.ai_family = AF_INET;
    found->info.ai_socktype = hints != nullptr ? hints->ai_socktype : SOCK_STREAM;
    found->info.ai_addrlen = sizeof found->address;
    found->info.ai_addr = reinterpret_cast<sockaddr*>(&found->address);
    *result = &found->info;
    return 0;
}

extern "C" __attribute__((visibility("default"))) void freeaddrinfo(addrinfo* found) {
    std::free(found);
}
