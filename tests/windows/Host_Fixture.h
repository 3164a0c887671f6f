#pragma once

#include "filecache/CFileCache.h"
#include "filecache/IFileCache.h"
#include "tests/support/Overridden_Root.h"
#include "tests/support/Scratch_Directory.h"
#include "trace/Set_Trace_Level.h"

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

/// The result of a request, status and all. The codes begin with a value that no operation
/// writes, so that an unwritten one shows.
struct Served {
    static constexpr int Unwritten = -4711;

    std::string path;
    bool download_error = false;
    int http_error = Unwritten;
    int file_share_error = Unwritten;
};

/// A host of the DLL: it has COM, a cache directory, a configuration of its own, and a web server
/// that hands out the files of a directory.
class Host_Fixture : public testing::Test {
protected:
    Host_Fixture() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        SetEnvironmentVariableA("QEL_TRACE_DIR", m_Home.Path().string().c_str());
        std::filesystem::create_directory(m_Home.Path() / "cache");
        Restart_Host();
        Requests();
    }
    ~Host_Fixture() override {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        cache.reset();
        SetEnvironmentVariableA("QEL_TRACE_DIR", nullptr);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Home.Path())) {
            SetFileAttributesA(entry.path().string().c_str(), FILE_ATTRIBUTE_NORMAL);
        }
        for (const auto& entry : std::filesystem::directory_iterator(Published())) {
            std::filesystem::remove(entry);
        }
        CoUninitialize();
    }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        cache = std::make_unique<FrontEnd::FileCache::CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
    }

    /// 0: every request asks the remote side. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(std::uint32_t minutes) { user.Write_Number("LandscapeCacheExpiryPeriod", minutes); }

    Served Get(const std::string& url) {
        Served served;
        served.path = cache->Get_Cached_File_and_Status(url, 213, served.download_error, &served.http_error,
                                                        &served.file_share_error);
        return served;
    }

    std::string Cache_Directory() const { return (m_Home.Path() / "cache").string(); }
    const std::filesystem::path& Home() const { return m_Home.Path(); }

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

    static std::string Content(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::vector<std::string> Names_In_Cache() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Cache_Directory())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
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
    std::unique_ptr<FrontEnd::FileCache::IFileCache> cache;

private:
    static std::filesystem::path Published() { return Here(Variable("QEL_TEST_FILES")); }

    const Scratch_Directory m_Home;
};

inline constexpr std::chrono::sys_seconds First_Of_2019 =
    std::chrono::sys_days{std::chrono::year{2019} / 1 / 1} + std::chrono::hours(10);
inline constexpr std::chrono::sys_seconds Second_Of_February_2020 =
    std::chrono::sys_days{std::chrono::year{2020} / 2 / 2} + std::chrono::hours(11);

} // namespace QEL::Tests
