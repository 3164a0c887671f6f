#include "tests/tool/support/Small_Web_Server.h"

#include <sstream>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace QEL::Tests {

Small_Web_Server::Small_Web_Server() : m_Listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const generic_address = reinterpret_cast<sockaddr*>(&address);
    if (m_Listener == -1 || ::bind(m_Listener, generic_address, size) != 0 || ::listen(m_Listener, 16) != 0 ||
        ::getsockname(m_Listener, generic_address, &size) != 0) {
        throw std::runtime_error("no web server on the loopback interface");
    }
    m_Port = ntohs(address.sin_port);
    m_Thread = std::thread([this] { Serve(); });
}

Small_Web_Server::~Small_Web_Server() {
    Stop();
}

void Small_Web_Server::Publish(const std::string& path, const std::string& content, const std::string& last_modified) {
    const std::lock_guard lock(m_Mutex);
    m_Files[path] = {content, last_modified};
}

std::string Small_Web_Server::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_Port) + path;
}

std::vector<std::string> Small_Web_Server::Requests() const {
    const std::lock_guard lock(m_Mutex);
    return m_Requests;
}

void Small_Web_Server::Stop() {
    if (m_Thread.joinable()) {
        ::shutdown(m_Listener, SHUT_RDWR); // wakes the thread from accept
        m_Thread.join();
        ::close(m_Listener);
    }
}

void Small_Web_Server::Serve() {
    for (;;) {
        const int connection = ::accept4(m_Listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection == -1) {
            return;
        }
        Answer(connection);
        ::close(connection);
    }
}

void Small_Web_Server::Answer(int connection) {
    std::string request;
    char buffer[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = ::recv(connection, buffer, sizeof(buffer), 0);
        if (count <= 0) {
            return;
        }
        request.append(buffer, static_cast<std::size_t>(count));
    }
    std::string method;
    std::string path;
    std::istringstream(request) >> method >> path;

    std::ostringstream answer;
    {
        const std::lock_guard lock(m_Mutex);
        m_Requests.push_back(method + " " + path);
        const auto file = m_Files.find(path);
        if (file == m_Files.end()) {
            answer << "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n";
        } else {
            answer << "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " << file->second.content.size()
                   << "\r\nLast-Modified: " << file->second.last_modified << "\r\n";
        }
        answer << "Connection: close\r\n\r\n";
        if (file != m_Files.end() && method == "GET") {
            answer << file->second.content;
        }
    }
    const std::string text = answer.str();
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = ::send(connection, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

} // namespace QEL::Tests
