#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "tests/support/Misbehaving_Server.h"

namespace QEL::Tests {

/// A server that gives the same answer to every request, then closes.
class Answering_Server {
public:
    explicit Answering_Server(std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
        : m_Answer(std::move(answer)) {}

    void Answer_With(std::string answer) {
        const std::lock_guard lock(m_Mutex);
        m_Answer = std::move(answer);
    }

    /// The last request; empty when there was none.
    std::string Request() const {
        const std::lock_guard lock(m_Mutex);
        return m_Request;
    }

    int Port() const { return m_Server.Port(); }
    std::string Url(const std::string& path = "/file.xml") const { return m_Server.Url(path); }

private:
    void Serve(Server_Connection& client) {
        const auto request = client.Read_Request();
        std::string answer;
        {
            const std::lock_guard lock(m_Mutex);
            m_Request = request;
            answer = m_Answer;
        }
        client.Send(answer);
    }

    mutable std::mutex m_Mutex;
    std::string m_Request;
    std::string m_Answer;
    Misbehaving_Server m_Server{[this](Server_Connection& client) { Serve(client); }};
};

} // namespace QEL::Tests
