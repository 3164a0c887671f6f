#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace QEL::Tests {

/// A web server on a free loopback port: serves the files it is given, answers 404 to all else, and
/// remembers what it was asked.
class Small_Web_Server {
public:
    Small_Web_Server();
    ~Small_Web_Server();
    Small_Web_Server(const Small_Web_Server&) = delete;
    Small_Web_Server& operator=(const Small_Web_Server&) = delete;

    /// @param path such as "/landscape.xml".
    void Publish(const std::string& path, const std::string& content, const std::string& last_modified);

    /// Address of a path on this server.
    std::string Url(const std::string& path) const;

    /// What it was asked so far, such as "GET /landscape.xml".
    std::vector<std::string> Requests() const;

    /// Ends the server; its port refuses connections from now on.
    void Stop();

private:
    struct File {
        std::string content;
        std::string last_modified;
    };

    void Serve();
    void Answer(int connection);

    int m_Listener;
    int m_Port = 0;
    mutable std::mutex m_Mutex; ///< guards the two below
    std::map<std::string, File> m_Files;
    std::vector<std::string> m_Requests;
    std::thread m_Thread; ///< last: it uses the rest
};

} // namespace QEL::Tests
