#pragma once

#include "tests/support/Cache_Host.h"
#include "tests/support/Overridden_Root.h"
#include "tests/support/User_Configuration.h"

#include <gmock/gmock.h>

#include <objbase.h>

// A host that writes services of its own does the same.
#undef FindFirstFile
#undef FindNextFile

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace QEL::Tests {

/// A host of the DLL: it has COM, a cache directory, a configuration of its own, and a web server
/// that hands out the files of a directory.
class Host_Fixture : public Cache_Host {
protected:
    Host_Fixture() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Restart_Host();
        Requests();
    }
    ~Host_Fixture() override {
        cache.reset();
        for (const auto& entry : std::filesystem::directory_iterator(Published())) {
            std::filesystem::remove(entry);
        }
        CoUninitialize();
    }

    /// 0: every request asks the remote side. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(std::uint32_t minutes) { user.Write_Number("LandscapeCacheExpiryPeriod", minutes); }

    static std::string Variable(const std::string& name) { return std::getenv(name.c_str()); }
    static std::string Url(const std::string& path) { return Variable("QEL_TEST_HTTP") + path; }

    /// Puts a file on the web server, last changed at a moment of its own.
    static void Publish(const std::string& name, const std::string& content, std::chrono::sys_seconds changed) {
        std::ofstream(Published() / name, std::ios::binary) << content;
        std::filesystem::last_write_time(Published() / name, std::chrono::file_clock::from_sys(changed));
    }

    /// The requests that the web server has had since the last call: method and path.
    static std::vector<std::string> Requests() {
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

    /// The trace file of this process.
    std::filesystem::path Trace_File() const {
        std::array<char, 32> name{};
        std::snprintf(name.data(), name.size(), "qelfilecache_%.4lu.trc", GetCurrentProcessId());
        return Home() / name.data();
    }

    /// A path of the machine that Wine runs on.
    static std::filesystem::path Here(const std::string& path) { return "Z:" + path; }

    Overridden_Root user{HKEY_CURRENT_USER, "User"};

private:
    static std::filesystem::path Published() { return Here(Variable("QEL_TEST_FILES")); }

    const Environment_Variable m_Trace_Directory{"QEL_TRACE_DIR", m_Home.Path().string().c_str()};
};

} // namespace QEL::Tests
