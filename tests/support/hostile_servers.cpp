// The hostile servers for a client under Wine, whose time-outs are not the test's affair: those that let their clients
// go. Prints a line for each and serves until its standard input ends.
//
//   NAME URL SERVED "BODY"    SERVED: 1 where the file is to be served, with this body

#include "tests/support/Hostile_Servers.h"

#include "platform/common/WinInet_Error.h"

#include <iomanip>

int main() {
    using namespace QEL::Tests;
    std::list<Web_Server> servers;
    const auto start = [&servers](const std::vector<Hostile_Server>& table, const char* scheme) {
        for (const auto& [name, behaviour, failure, status, body, last_modified] : table) {
            if (failure.error != QEL::FrontEnd::Platform::Error_Internet_Timeout) {
                const auto url = servers.emplace_back(behaviour).Url("/file.xml", "127.0.0.1");
                const bool is_served = failure.error == 0 && status / 100 == 2;
                std::cout << name << ' ' << scheme << url.substr(4) << ' ' << is_served << ' ' << std::quoted(body)
                          << '\n';
            }
        }
    };
    start(Hostile_Http_Servers, "http");
    start(Hostile_Tls_Servers, "https");
    std::cout << std::endl; // an empty line ends the list
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}
