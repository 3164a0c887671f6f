#pragma once

#include "filecache/CFileCache.h"
#include "tests/faults/support/Document.h"
#include "tests/faults/support/Failing_OS_Wrapper.h"
#include "tests/faults/support/Web_Documents.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "util/Non_Copyable.h"
#include "util/Path_Separator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#ifdef _WIN32
#include <objbase.h>
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

/// A cache directory of the real disk with its surroundings, a configuration, a share that is a
/// directory, and documents on a web server.
class Cache_Home : public testing::Test {
protected:
    using CFileCache = FrontEnd::FileCache::CFileCache;
    using Entries = std::map<std::string, FrontEnd::FileCache::CacheEntry>;

    Cache_Home() {
        std::filesystem::create_directory(cache_folder);
        std::filesystem::create_directory(share_folder);
        std::filesystem::create_directory(working_folder);
        // What has the shape of a copy, everywhere but in the cache directory.
        for (const auto& folder : {home, share_folder, working_folder}) {
            std::ofstream(folder / "12345678-1234-1234-1234-123456789012.xml") << "not a copy";
        }
        std::filesystem::current_path(working_folder);
        Set_Expiry_Minutes(0);
    }

    ~Cache_Home() override { std::filesystem::current_path(m_Previous_Folder); }

    /// 0: every request asks the remote side. Otherwise a copy is served unasked for so long.
    void Set_Expiry_Minutes(std::uint32_t minutes) { configuration.Set_Number("LandscapeCacheExpiryPeriod", minutes); }

    std::string Cache_Directory() const { return cache_folder.string(); }
    std::string Metadata_Path() const {
        return FrontEnd::Util::FileSystem::Join_Path(Cache_Directory(), "qelfilecache_Metadata.txt");
    }

    /// The next version of a document on the share, of a later second.
    void Publish_On_Share(const std::string& name) {
        const int version = ++m_Share_Versions[name];
        // Under another name first: nobody must copy half of it. Windows does not replace a file that
        // is being copied.
        const auto unfinished = share_folder / (name + ".new");
        std::ofstream(unfinished, std::ios::binary) << Document_Text(name, static_cast<unsigned>(version));
        std::filesystem::last_write_time(unfinished, m_Next_Change += std::chrono::seconds(2));
        std::error_code error;
        do {
            std::filesystem::rename(unfinished, share_folder / name, error);
        } while (error);
    }

    static std::string Share_Path(const std::string& name) { return Failing_OS_Wrapper::Share + name; }

    /// A request for a document as its name in the texts: the last part of the URL or path.
    static std::string Name_In(const std::string& request) { return request.substr(request.find_last_of("/\\") + 1); }

    /// The version that the remote side has now.
    int Current_Version(const std::string& request) const {
        const std::string name = Name_In(request);
        return request.starts_with("http:") ? web.Version(name) : m_Share_Versions.at(name);
    }

    /// A returned path is empty, or names a whole version that was published.
    void Expect_Nothing_Or_A_Document(const std::string& path, const std::string& request) const {
        if (path.empty()) {
            return;
        }
        EXPECT_EQ(std::filesystem::path(path).parent_path(), cache_folder) << path;
        const int version = Version_Of(Content_Of(path), Name_In(request));
        EXPECT_GE(version, 1) << path << " holds no complete copy of " << request;
        EXPECT_LE(version, Current_Version(request));
    }

    /// What the next process reads of the cache directory.
    Entries Loaded() const {
        CFileCache next(FrontEnd::OSWRAPI::IOSWrapper::Create());
        next.Set_Cache_Directory(Cache_Directory());
        return next.m_Cache_Entries;
    }

    /// The entries whose copies are on the disk.
    static Entries With_Copies(Entries entries) {
        std::erase_if(entries, [](const auto& item) { return !std::filesystem::exists(item.second.cached_file); });
        return entries;
    }

    static void Expect_Equal(const Entries& left, const Entries& right) {
        const auto text = [](const Entries& entries) {
            std::string all;
            for (const auto& [url, entry] : entries) {
                all += url + " " + entry.To_String() + " " + std::to_string(entry.last_checked_remotely) + "\n";
            }
            return all;
        };
        EXPECT_EQ(text(left), text(right));
    }

    /// The copies in the cache directory, whether or not an entry names them.
    std::set<std::string> Copies() const {
        std::set<std::string> copies;
        for (const auto& file : std::filesystem::directory_iterator(cache_folder)) {
            if (file.path().filename() != "qelfilecache_Metadata.txt") {
                copies.insert(file.path().string());
            }
        }
        return copies;
    }

    static std::set<std::string> Copies_Of(const Entries& entries) {
        std::set<std::string> copies;
        for (const auto& [url, entry] : entries) {
            copies.insert(entry.cached_file);
        }
        return copies;
    }

    using Files = std::map<std::string, std::string>;

    /// Everything around the cache directory: each file's time and content.
    Files Surroundings() const {
        Files files;
        for (const auto& folder : {home, share_folder, working_folder}) {
            for (const auto& file : std::filesystem::directory_iterator(folder)) {
                if (file.is_regular_file()) {
                    const auto time = file.last_write_time().time_since_epoch().count();
                    files[file.path().string()] = std::to_string(time) + " " + Content_Of(file.path());
                }
            }
        }
        return files;
    }

    void Empty_The_Cache_Directory() const {
        for (const auto& file : std::filesystem::directory_iterator(cache_folder)) {
            std::filesystem::remove_all(file.path());
        }
    }

private:
    const std::filesystem::path m_Previous_Folder = std::filesystem::current_path();
    const Scratch_Directory m_Home;
    const Host_Thread m_Thread;
    std::map<std::string, int> m_Share_Versions;
    std::filesystem::file_time_type m_Next_Change = std::filesystem::file_time_type::clock::now();

protected:
    const std::filesystem::path home = m_Home.Path();
    const std::filesystem::path cache_folder = home / "cache";
    const std::filesystem::path share_folder = home / "share";
    const std::filesystem::path working_folder = home / "work";
    User_Configuration configuration;
    Web_Documents web;
};

} // namespace QEL::Tests
