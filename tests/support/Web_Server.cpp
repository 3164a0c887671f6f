#include "tests/support/Web_Server.h"

#include <poll.h>
#include <sys/socket.h>

namespace QEL::Tests {

std::string Server_Connection::Read_Request() {
    std::string request;
    char byte = 0;
    while (m_Is_Open && !request.ends_with("\r\n\r\n")) {
        const auto count = m_Ssl ? SSL_read(m_Ssl.get(), &byte, 1) : recv(m_Socket.Get(), &byte, 1, 0);
        if (count <= 0) {
            m_Is_Open = false;
            return {};
        }
        request += byte;
    }
    m_Server.Note(request);
    return request;
}

bool Server_Connection::Is_Asked_For(std::string_view beginning) {
    std::string request(beginning.size(), '\0');
    const auto count = recv(m_Socket.Get(), request.data(), request.size(), MSG_PEEK | MSG_WAITALL);
    return count == static_cast<ssize_t>(request.size()) && request == beginning;
}

void Server_Connection::Send(std::string_view bytes) {
    while (m_Is_Open && !bytes.empty()) {
        const auto count = m_Ssl ? SSL_write(m_Ssl.get(), bytes.data(), static_cast<int>(bytes.size()))
                                 : send(m_Socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            m_Is_Open = false;
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Server_Connection::Send_Without_End(std::string_view bytes, std::chrono::milliseconds interval) {
    while (m_Is_Open) {
        Send(bytes);
        Pause(interval);
    }
}

void Server_Connection::Pause(std::chrono::milliseconds duration) {
    if (duration.count() > 0 && !m_Server.Sleep(duration)) {
        m_Is_Open = false;
    }
}

void Server_Connection::Wait_For_Client_To_Go() {
    char rest[4096];
    while (m_Is_Open && recv(m_Socket.Get(), rest, sizeof rest, 0) > 0) {
    }
    m_Is_Open = false;
}

void Server_Connection::Reset() {
    const linger at_once{1, 0};
    setsockopt(m_Socket.Get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    m_Is_Open = false;
}

void Server_Connection::Relay_To(int port, std::chrono::milliseconds pause,
                                 const std::function<bool(std::string_view)>& is_last) {
    const Socket server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    Connect(server, port);
    char bytes[4096];
    while (m_Is_Open) {
        pollfd ends[] = {{m_Socket.Get(), POLLIN, 0}, {server.Get(), POLLIN, 0}};
        poll(ends, 2, m_Ssl && SSL_pending(m_Ssl.get()) > 0 ? 0 : -1);
        if (ends[1].revents != 0) {
            const auto count = recv(server.Get(), bytes, sizeof bytes, 0);
            if (count <= 0) {
                return;
            }
            Send({bytes, static_cast<std::size_t>(count)});
            Pause(pause);
        } else {
            const auto count =
                m_Ssl ? SSL_read(m_Ssl.get(), bytes, sizeof bytes) : recv(m_Socket.Get(), bytes, sizeof bytes, 0);
            m_Is_Open = count > 0 && !(is_last && is_last({bytes, static_cast<std::size_t>(count)})) &&
                        send(server.Get(), bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
        }
    }
}

bool Server_Connection::Start_Tls(SSL_CTX* context) {
    m_Ssl.reset(SSL_new(context));
    SSL_set_fd(m_Ssl.get(), m_Socket.Get());
    return SSL_accept(m_Ssl.get()) == 1;
}

void Server_Connection::Shut_Down() {
    m_Is_Open = false;
    shutdown(m_Socket.Get(), SHUT_RDWR);
}

Web_Server::Web_Server(std::string response, std::string host, int port)
    : m_Host(std::move(host)), m_Behaviour([this](Server_Connection& connection) { Respond(connection); }),
      m_Port(port), m_Response(std::move(response)) {
    Listen();
}

Web_Server::Web_Server(Behaviour behaviour, int receive_buffer)
    : m_Host("good.test"), m_Behaviour(std::move(behaviour)) {
    Listen(receive_buffer);
}

Web_Server::Web_Server(Behaviour behaviour, const Server_Certificate& tls)
    : m_Host("good.test"), m_Behaviour(std::move(behaviour)), m_Tls(SSL_CTX_new(TLS_server_method())) {
    if (SSL_CTX_use_certificate_chain_file(m_Tls.get(), tls.certificate.c_str()) != 1 ||
        SSL_CTX_use_PrivateKey_file(m_Tls.get(), tls.key.c_str(), SSL_FILETYPE_PEM) != 1) {
        throw std::runtime_error("cannot use the certificate " + tls.certificate.string());
    }
    Listen();
}

void Web_Server::Respond_With(std::string response) {
    const std::lock_guard lock(m_Mutex);
    m_Response = std::move(response);
}

void Web_Server::Publish(const std::string& path, const std::string& content, const std::string& last_modified) {
    const std::lock_guard lock(m_Mutex);
    m_Files[path] = {content, last_modified};
}

std::string Web_Server::Url(const std::string& path, const std::string& host) const {
    return (m_Tls ? "https://" : "http://") + host + ":" + std::to_string(m_Port) + path;
}

std::string Web_Server::Request() const {
    const std::lock_guard lock(m_Mutex);
    return m_Request;
}

std::vector<std::string> Web_Server::Requests() const {
    const std::lock_guard lock(m_Mutex);
    return m_Requests;
}

void Web_Server::Stop() {
    if (!m_Acceptor.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(m_Mutex);
        m_Is_Ending = true;
        for (auto& connection : m_Open_Connections) {
            connection.Shut_Down();
        }
    }
    m_Ended.notify_all();
    shutdown(m_Listener.Get(), SHUT_RDWR);
    m_Acceptor.join();
    for (auto& thread : m_Threads) {
        thread.join();
    }
    m_Listener = Socket();
}

void Web_Server::Listen(int receive_buffer) {
    m_Listener = Bind_Port(m_Host.starts_with("127.") ? m_Host.c_str() : "127.0.0.1", m_Port);
    if (receive_buffer > 0) {
        setsockopt(m_Listener.Get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    m_Port = Port_Of(m_Listener);
    listen(m_Listener.Get(), 64);
    m_Acceptor = std::thread(&Web_Server::Accept, this);
    m_Has_Started.wait();
}

void Web_Server::Accept() {
    m_Has_Started.count_down();
    for (;;) {
        Socket socket(accept4(m_Listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        const std::lock_guard lock(m_Mutex);
        if (socket.Get() < 0 || m_Is_Ending) {
            return;
        }
        ++m_Connections;
        auto& connection = m_Open_Connections.emplace_back(*this, std::move(socket));
        m_Threads.emplace_back([this, &connection] { Serve(connection); });
    }
}

void Web_Server::Serve(Server_Connection& connection) {
    sigset_t sigpipe; // a TLS client that has gone must not end the test
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);

    if (m_Tls == nullptr || connection.Start_Tls(m_Tls.get())) {
        m_Behaviour(connection);
    }
    const std::lock_guard lock(m_Mutex);
    m_Open_Connections.remove_if([&](const Server_Connection& open) { return &open == &connection; });
}

void Web_Server::Respond(Server_Connection& connection) {
    for (auto request = connection.Read_Request(); !request.empty(); request = connection.Read_Request()) {
        std::unique_lock lock(m_Mutex);
        const bool is_file = m_Response.empty();
        const std::string response = is_file ? File_For(request) : m_Response;
        lock.unlock();
        connection.Send(response);
        if (!is_file) {
            return;
        }
    }
}

std::string Web_Server::File_For(const std::string& request) const {
    const auto path = request.substr(request.find(' ') + 1);
    const auto file = m_Files.find(path.substr(0, path.find(' ')));
    if (file == m_Files.end()) {
        return "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
    }
    return "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nLast-Modified: " + file->second.last_modified +
           "\r\nContent-Length: " + std::to_string(file->second.content.size()) + "\r\n\r\n" +
           (request.starts_with("GET") ? file->second.content : "");
}

void Web_Server::Note(const std::string& request) {
    const std::lock_guard lock(m_Mutex);
    m_Request = request;
    m_Requests.push_back(request.substr(0, request.find(" HTTP/")));
}

bool Web_Server::Sleep(std::chrono::milliseconds duration) {
    std::unique_lock lock(m_Mutex);
    return !m_Ended.wait_for(lock, duration, [this] { return m_Is_Ending; });
}

} // namespace QEL::Tests
