#pragma once

#include "filecache/CFileCache.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace QEL::Tests {

/// The result of a request, status and all. The codes begin with a value that no operation
/// writes, so that an unwritten one shows.
struct Served {
    static constexpr int Unwritten = -4711;

    std::string path;
    bool download_error = false;
    int http_error = Unwritten;
    int file_share_error = Unwritten;
};

/// The whole cache on this platform, with nginx as its server and a configuration of its own.
class Web_Cache_Fixture : public testing::Test {
protected:
    Web_Cache_Fixture() {
        setenv("XDG_CONFIG_HOME", m_Home.Path().c_str(), 1);
        setenv("QEL_TRACE_DIR", m_Home.Path().c_str(), 1);
        Set_Expiry_Minutes(0);
        std::filesystem::create_directory(Cache_Directory());
        Restart_Host();
    }

    ~Web_Cache_Fixture() override {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        unsetenv("XDG_CONFIG_HOME");
        unsetenv("QEL_TRACE_DIR");
    }

    /// 0: every request asks the server. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(int minutes) {
        m_Home.Write("qel/qel.ini", "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=" +
                                        std::to_string(minutes) + "\n");
    }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        cache = std::make_unique<FrontEnd::FileCache::CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
    }

    Served Get(const std::string& url) {
        Served served;
        served.path = cache->Get_Cached_File_and_Status(url, 213, served.download_error, &served.http_error,
                                                        &served.file_share_error);
        return served;
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

    /// The copies in the cache directory.
    std::vector<std::string> Copies() const {
        std::vector<std::string> copies;
        for (const auto& entry : std::filesystem::directory_iterator(Cache_Directory())) {
            if (entry.path().filename() != "qelfilecache_Metadata.txt") {
                copies.push_back(entry.path().string());
            }
        }
        return copies;
    }

    static std::string Content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string Cache_Directory() const { return (m_Home.Path() / "cache").string(); }
    std::filesystem::path Home() const { return m_Home.Path(); }

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
    Scratch_Directory m_Home;
    std::filesystem::file_time_type m_Next_Change = std::filesystem::file_time_type::clock::now();

protected:
    Nginx_Server server{Sites()};
    std::unique_ptr<FrontEnd::FileCache::CFileCache> cache;
};

} // namespace QEL::Tests
