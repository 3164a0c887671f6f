#include "tests/support/Hostile_Servers_At_Work.h"

#include <string>

#include "platform/common/WinInet_Error.h"

namespace QEL::Tests {

namespace {

Ending Ending_Of_The_File(const Hostile_Server& server) {
    switch (server.failure.error) {
    case 0:
        return server.Serves_A_File() ? Ending::Served : Ending::Refused;
    case FrontEnd::Platform::Error_Internet_Timeout:
        return Ending::Timed_Out;
    default:
        return Ending::Failed;
    }
}

Ending Ending_Of_The_Head(const Hostile_Server& server) {
    return server.failure.spares_head ? Ending::Served : Ending_Of_The_File(server);
}

std::string Url(const Misbehaving_Server& server, const std::string& scheme) {
    return scheme + "://127.0.0.1:" + std::to_string(server.Port()) + "/file.xml";
}

} // namespace

Hostile_Servers_At_Work::Hostile_Servers_At_Work() {
    for (const auto& server : Hostile_Http_Servers()) {
        Start(server, "http");
        Start_With_Good_File(server);
    }
    for (const auto& server : Hostile_Tls_Servers()) {
        Start(server, "https");
    }
}

void Hostile_Servers_At_Work::Start(const Hostile_Server& server, const char* scheme) {
    const auto& started = m_Servers.emplace_back(server.behaviour);
    m_Sites.push_back(
        {server.name, Url(started, scheme), Ending_Of_The_Head(server), Ending_Of_The_File(server), server.body});
}

void Hostile_Servers_At_Work::Start_With_Good_File(const Hostile_Server& server) {
    static const std::string good_content = "<good/>";
    const auto& started = m_Servers.emplace_back([behaviour = server.behaviour](Server_Connection& client) {
        if (!client.Is_Asked_For("GET ")) {
            behaviour(client);
            return;
        }
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nConnection: close\r\nContent-Length: " +
                    std::to_string(good_content.size()) + "\r\n\r\n" + good_content);
    });
    m_Sites.push_back({server.name + std::string("ToTheCheckAlone"), Url(started, "http"), Ending_Of_The_Head(server),
                       Ending::Served, good_content});
}

} // namespace QEL::Tests
