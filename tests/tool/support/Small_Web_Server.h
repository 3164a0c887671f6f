#pragma once

#include "tests/support/Misbehaving_Server.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QEL::Tests {

/// A web server on a free loopback port: serves the files it is given, answers 404 to all else, and
/// remembers what it was asked.
class Small_Web_Server {
public:
    Small_Web_Server();

    /// @param path such as "/landscape.xml".
    void Publish(const std::string& path, const std::string& content, const std::string& last_modified);

    /// Address of a path on this server.
    std::string Url(const std::string& path) const;

    /// What it was asked so far, such as "GET /landscape.xml".
    std::vector<std::string> Requests() const;

    /// Ends the server; its port refuses connections from now on.
    void Stop() { m_Server.reset(); }

private:
    struct File {
        std::string content;
        std::string last_modified;
    };

    void Serve(Server_Connection& connection);
    std::string Answer(const std::string& request);

    mutable std::mutex m_Mutex; ///< guards the two below
    std::map<std::string, File> m_Files;
    std::vector<std::string> m_Requests;
    std::unique_ptr<Misbehaving_Server> m_Server; ///< last: its threads use the rest
    int m_Port;
};

} // namespace QEL::Tests
