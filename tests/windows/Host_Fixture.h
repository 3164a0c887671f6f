#pragma once

#include "tests/support/Cache_Host.h"

namespace QEL::Tests {

/// A host with a web server that hands out the files of a directory, see with_http_servers.py.
class Host_Fixture : public Cache_Host {
protected:
    Host_Fixture() {
        Restart_Host();
        Requests();
    }
    ~Host_Fixture() override {
        for (const auto& entry : std::filesystem::directory_iterator(Published())) {
            std::filesystem::remove(entry);
        }
    }

    static std::string Variable(const std::string& name) { return std::getenv(name.c_str()); }
    static std::string Url(const std::string& path) { return Variable("QEL_TEST_HTTP") + path; }

    /// Puts a file on the web server, last changed at a moment of its own.
    static void Publish(const std::string& name, const std::string& content,
                        std::chrono::sys_seconds changed = First_Of_2019) {
        std::ofstream(Published() / name, std::ios::binary) << content;
        std::filesystem::last_write_time(Published() / name, std::chrono::file_clock::from_sys(changed));
    }
    static void Unpublish(const std::string& name) { std::filesystem::remove(Published() / name); }

    /// The requests that the web server has had since the last call: method and path. All are there at once.
    static std::vector<std::string> Requests(std::size_t = 0) {
        const auto log_file = Here(Variable("QEL_TEST_REQUESTS"));
        std::vector<std::string> requests;
        std::ifstream log(log_file);
        for (std::string line; std::getline(log, line);) {
            requests.push_back(line);
        }
        log.close();
        std::ofstream(log_file, std::ios::trunc);
        return requests;
    }

    /// A path of the machine that Wine runs on.
    static std::filesystem::path Here(const std::string& path) { return "Z:" + path; }

private:
    static std::filesystem::path Published() { return Here(Variable("QEL_TEST_FILES")); }
};

} // namespace QEL::Tests
