#pragma once

#include "filecache/CFileCache.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "trace/Set_Trace_Level.h"
#include "util/Non_Copyable.h"

#include <gmock/gmock.h>

#ifdef _WIN32
#include <objbase.h>
// A host that writes services of its own does the same.
#undef FindFirstFile
#undef FindNextFile
#endif

namespace QEL::Tests {

/// Initialises what a thread of a host needs before it requests Internet URLs.
class Host_Thread : private FrontEnd::Util::Non_Copyable {
public:
#ifdef _WIN32
    Host_Thread() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    }
    ~Host_Thread() {
        CoUninitialize();
    }
#else
    Host_Thread() = default;
    ~Host_Thread() = default;
#endif
};

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

/// A host of the whole cache, with a directory for the cache and all else that it writes, and a configuration.
class Cache_Host : public testing::Test {
protected:
    Cache_Host() { Set_Expiry_Minutes(0); }
    ~Cache_Host() override { FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        cache = std::make_unique<FrontEnd::FileCache::CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
    }

    /// 0: every request asks the remote side. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(std::uint32_t minutes) { configuration.Set_Number("LandscapeCacheExpiryPeriod", minutes); }

    Served Get(const std::string& url) { return Request(*cache, url); }

    const std::filesystem::path& Home() const { return m_Home.Path(); }
    const std::string& Cache_Directory() const { return m_Cache_Directory; }
    std::string In_Cache(const std::string& name) const {
        return (std::filesystem::path(Cache_Directory()) / name).string();
    }
    std::string Metadata_Path() const { return In_Cache("qelfilecache_Metadata.txt"); }

    /// What a metadata file holds of these requests and their copies.
    static std::string List_Of(const std::vector<std::pair<std::string, std::string>>& copies) {
        std::string list =
            "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n" + std::to_string(copies.size()) + "\n";
        for (const auto& [request, copy] : copies) {
            list += "monday\n1\n" + copy + "\n" + request + "\n";
        }
        return list;
    }

    /// The copies in the cache directory, whether or not an entry names them, in order.
    std::vector<std::string> Copies() const {
        std::vector<std::string> copies = Names_In(Cache_Directory());
        std::erase(copies, "qelfilecache_Metadata.txt");
        std::transform(copies.begin(), copies.end(), copies.begin(),
                       [this](const auto& name) { return In_Cache(name); });
        return copies;
    }

    /// The trace file of this process.
    std::filesystem::path Trace_File() const {
        for (const auto& entry : std::filesystem::directory_iterator(Home())) {
            if (entry.path().extension() == ".trc") {
                return entry.path();
            }
        }
        return {};
    }

private:
    const Host_Thread m_Thread;

protected:
    const Scratch_Directory m_Home;
    User_Configuration configuration;

private:
    const std::string m_Cache_Directory = m_Home.Make_Directory("cache");
    const Environment_Variable m_Trace_Directory{"QEL_TRACE_DIR", m_Home.Path().string().c_str()};

protected:
    std::unique_ptr<FrontEnd::FileCache::CFileCache> cache;
};

} // namespace QEL::Tests
