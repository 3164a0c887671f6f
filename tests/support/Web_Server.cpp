#include "tests/support/Web_Server.h"

#include <sstream>
#include <utility>

namespace QEL::Tests {

Web_Server::Web_Server(std::string response, std::string host)
    : m_Host(std::move(host)), m_Response(std::move(response)),
      m_Server(std::make_unique<Misbehaving_Server>([this](Server_Connection& connection) { Serve(connection); })),
      m_Port(m_Server->Port()) {}

void Web_Server::Respond_With(std::string response) {
    const std::lock_guard lock(m_Mutex);
    m_Response = std::move(response);
}

void Web_Server::Publish(const std::string& path, const std::string& content, const std::string& last_modified) {
    const std::lock_guard lock(m_Mutex);
    m_Files[path] = {content, last_modified};
}

std::string Web_Server::Url(const std::string& path) const {
    return "http://" + m_Host + ":" + std::to_string(m_Port) + path;
}

std::string Web_Server::Request() const {
    const std::lock_guard lock(m_Mutex);
    return m_Request;
}

std::vector<std::string> Web_Server::Requests() const {
    const std::lock_guard lock(m_Mutex);
    return m_Requests;
}

void Web_Server::Serve(Server_Connection& connection) {
    for (std::string request = connection.Read_Request(); !request.empty(); request = connection.Read_Request()) {
        std::string response;
        {
            const std::lock_guard lock(m_Mutex);
            m_Request = request;
            response = m_Response;
        }
        connection.Send(response.empty() ? File_For(request) : response);
        if (!response.empty()) {
            return;
        }
    }
}

std::string Web_Server::File_For(const std::string& request) {
    std::string method;
    std::string path;
    std::istringstream(request) >> method >> path;

    const std::lock_guard lock(m_Mutex);
    m_Requests.push_back(method + " " + path);
    const auto file = m_Files.find(path);
    if (file == m_Files.end()) {
        return "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
    }
    return "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nLast-Modified: " + file->second.last_modified +
           "\r\nContent-Length: " + std::to_string(file->second.content.size()) + "\r\n\r\n" +
           (method == "GET" ? file->second.content : "");
}

} // namespace QEL::Tests
