#pragma once

#include "tests/support/Cache_Host.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/User_Configuration.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace QEL::Tests {

/// The whole cache on this platform, with nginx as its server and a configuration of its own.
class Web_Cache_Fixture : public Cache_Host {
protected:
    Web_Cache_Fixture() {
        Set_Expiry_Minutes(0);
        Restart_Host();
    }

    /// 0: every request asks the server. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(int minutes) {
        m_Home.Write("qel/qel.ini", "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=" +
                                        std::to_string(minutes) + "\n");
    }

    std::string Url(const std::string& path) const { return server.Site().Url(path, "127.0.0.1"); }

    /// Replaces a file on the server by one of a later second.
    void Publish_Change(const std::string& name, const std::string& content) {
        server.Write(name, content);
        std::filesystem::last_write_time(server.Files() / name, m_Next_Change += std::chrono::seconds(2));
    }

    /// The requests that the server has had since the last call: method, path and status.
    std::vector<std::string> Requests(std::size_t expected) {
        std::vector<std::string> requests = server.Requests(expected);
        for (std::string& request : requests) {
            request.erase(0, request.find(' ') + 1); // connection number
            request.erase(request.rfind(' '));       // TLS session
        }
        server.Forget_Requests();
        return requests;
    }

    /// Puts a file on the server, last changed at a moment of its own.
    void Publish(const std::string& name, const std::string& content, std::chrono::sys_seconds changed) {
        server.Write(name, content);
        std::filesystem::last_write_time(server.Files() / name, std::chrono::file_clock::from_sys(changed));
    }

    /// The file on this machine.
    static std::filesystem::path Here(const std::string& path) { return path; }

    static std::vector<Nginx_Site> Sites() {
        Nginx_Site site;
        site.directives = "location /no-head/ { if ($request_method = HEAD) { return 405; } }\n"
                          "location /unstamped/ { add_header Last-Modified ''; }\n"
                          "location /moved/ { rewrite ^/moved/(.*)$ /$1 redirect; }\n"
                          "location /chunked/ { sub_filter_once off; sub_filter_types *; sub_filter 'old' 'new';\n"
                          "                     sub_filter_last_modified on; }\n"
                          "location /typed/ { types { } default_type 'Text/XML; charset=\"utf-8\"; x=y'; }\n";
        return {site};
    }

private:
    const Environment_Variable m_Configuration{"XDG_CONFIG_HOME", m_Home.Path().c_str()};
    const Environment_Variable m_Trace_Directory{"QEL_TRACE_DIR", m_Home.Path().c_str()};
    std::filesystem::file_time_type m_Next_Change = std::filesystem::file_time_type::clock::now();

protected:
    Nginx_Server server{Sites()};
};

} // namespace QEL::Tests
