#pragma once

#ifdef _WIN32
#include "tests/windows/Host_Fixture.h"
#else
#include "tests/support/Cache_Host.h"
#include "tests/support/Nginx_Server.h"
#endif

namespace QEL::Tests {

#ifdef _WIN32
using Web_Cache_Fixture = Host_Fixture;
#else

/// The whole cache on this platform, with nginx as its server.
class Web_Cache_Fixture : public Cache_Host {
protected:
    Web_Cache_Fixture() { Restart_Host(); }

    std::string Url(const std::string& path) const { return server.Site().Url(path, "127.0.0.1"); }

    /// Puts a file on the server, last changed at a moment of its own.
    void Publish(const std::string& name, const std::string& content,
                 std::chrono::sys_seconds changed = First_Of_2019) const {
        server.Write(name, content);
        std::filesystem::last_write_time(server.Files() / name, std::chrono::file_clock::from_sys(changed));
    }
    void Unpublish(const std::string& name) const { std::filesystem::remove(server.Files() / name); }

    /// The requests that the server has had since the last call: method and path. The server notes them late: waits
    /// until there are as many as given.
    std::vector<std::string> Requests(std::size_t expected) const {
        std::vector<std::string> requests = server.Requests(expected);
        for (std::string& request : requests) {
            const auto begin = request.find(' ') + 1; // behind the connection
            request = request.substr(begin, request.find(' ', request.find(' ', begin) + 1) - begin);
        }
        server.Forget_Requests();
        return requests;
    }

    Nginx_Server server{{Nginx_Site{"location /chunked { sub_filter 'old' 'new'; sub_filter_types *; }\n", {}}}};
};

#endif

} // namespace QEL::Tests
