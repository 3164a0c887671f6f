#pragma once

#include "tests/support/Misbehaving_Server.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QEL::Tests {

/// A web server on a free port of 127.0.0.1. It serves the files it is given, and status 404 for all else; or
/// it sends the same response to every request, and closes. It remembers what it was asked.
class Web_Server {
public:
    static constexpr char Empty_Response[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

    /// @param response to every request; empty: the files
    /// @param host the name that it is asked by
    explicit Web_Server(std::string response = "", std::string host = "127.0.0.1");

    /// From now on sends this to every request.
    void Respond_With(std::string response);

    /// @param path such as "/landscape.xml".
    void Publish(const std::string& path, const std::string& content, const std::string& last_modified);

    int Port() const { return m_Port; }
    std::string Url(const std::string& path = "/file.xml") const;

    /// The last request with its headers; empty when there was none.
    std::string Request() const;
    /// All requests so far, such as "GET /landscape.xml".
    std::vector<std::string> Requests() const;

    /// Ends the server; its port refuses connections from now on.
    void Stop() { m_Server.reset(); }

private:
    struct File {
        std::string content;
        std::string last_modified;
    };

    void Serve(Server_Connection& connection);
    std::string File_For(const std::string& request);

    const std::string m_Host;
    mutable std::mutex m_Mutex; ///< guards the four below
    std::string m_Response;
    std::map<std::string, File> m_Files;
    std::string m_Request;
    std::vector<std::string> m_Requests;
    std::unique_ptr<Misbehaving_Server> m_Server; ///< last: its threads use the rest
    int m_Port;
};

} // namespace QEL::Tests
