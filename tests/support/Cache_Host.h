#pragma once

#include "filecache/CFileCache.h"
#include "tests/support/Scratch_Directory.h"
#include "trace/Set_Trace_Level.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace QEL::Tests {

/// The result of a request, status and all. The codes begin with a value that no operation writes, so that an
/// unwritten one shows.
struct Served {
    static constexpr int Unwritten = -4711;

    std::string path;
    bool download_error = true;
    int http_error = Unwritten;
    int file_share_error = Unwritten;
};

inline Served Request(FrontEnd::FileCache::IFileCache& cache, const std::string& url, int request_kind = 213) {
    Served served;
    served.path = cache.Get_Cached_File_and_Status(url, request_kind, served.download_error, &served.http_error,
                                                   &served.file_share_error);
    return served;
}

inline constexpr std::chrono::sys_seconds First_Of_2019 =
    std::chrono::sys_days{std::chrono::year{2019} / 1 / 1} + std::chrono::hours(10);
inline constexpr std::chrono::sys_seconds Second_Of_February_2020 =
    std::chrono::sys_days{std::chrono::year{2020} / 2 / 2} + std::chrono::hours(11);

/// A host of the whole cache, with a directory for the cache and all else that it writes.
class Cache_Host : public testing::Test {
protected:
    Cache_Host() { m_Home.Make_Directory("cache"); }
    ~Cache_Host() override { FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        cache = std::make_unique<FrontEnd::FileCache::CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
    }

    Served Get(const std::string& url) { return Request(*cache, url); }

    std::string Cache_Directory() const { return m_Home / "cache"; }
    const std::filesystem::path& Home() const { return m_Home.Path(); }

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

    const Scratch_Directory m_Home;
    std::unique_ptr<FrontEnd::FileCache::IFileCache> cache;
};

} // namespace QEL::Tests
