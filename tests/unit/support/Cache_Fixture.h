#pragma once

#include "filecache/CFileCache.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/unit/support/Expected_Records.h"
#include "tests/unit/support/Scripted_OS.h"
#include "tests/unit/support/Scripted_Services.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>

/// The bytes of a text file of this platform.
inline std::string Text_File(const std::vector<std::string>& lines) {
#ifdef _WIN32
    const std::string line_end = "\r\n";
#else
    const std::string line_end = "\n";
#endif
    std::string text;
    for (const std::string& line : lines) {
        text += line + line_end;
    }
    return text;
}

/// A cache on scripted services, with a directory of its own on the real disk and a recorded trace.
class Cache_Fixture : public testing::Test {
protected:
    Cache_Fixture() {
        std::filesystem::create_directory(directory);
        cache_directory = directory.string();
        values["metadata"] = Metadata_Path();
        // What a cache with a made-up directory writes lands here and goes with the test.
        std::filesystem::current_path(m_Scratch.Make_Directory("work"));
        Recorded_Trace::Forget();
    }

    ~Cache_Fixture() override {
        std::error_code ignored;
        std::filesystem::current_path(m_Previous_Directory, ignored);
        EXPECT_TRUE(!Recorded_Trace::Is_Off() || Recorded_Trace::All().empty());
    }

    /// Sets the cache directory and forgets what that traced and asked.
    void Use_Cache_Directory() {
        ASSERT_TRUE(cache.Set_Cache_Directory(cache_directory));
        Forget();
    }

    /// Forgets every record and call so far.
    void Forget() {
        Recorded_Trace::Forget();
        os->calls.clear();
        g_services.request_calls.clear();
        g_services.client_calls.clear();
        g_services.magic_calls.clear();
        g_services.path_calls.clear();
        g_services.registry_calls.clear();
    }

    /// The full path of a file in the cache directory.
    std::string In_Cache(const std::string& name) const { return (directory / name).string(); }

    /// Writes a file, byte for byte, and returns its path.
    std::string Write_File(const std::string& path, const std::string& content) const {
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    /// The bytes of a file.
    static std::string Content(const std::string& path) { return QEL::Tests::Content_Of(path); }

    /// Name, time of change and bytes of every file in the cache directory.
    std::map<std::string, std::pair<std::filesystem::file_time_type, std::string>> Everything_On_Disk() const {
        std::map<std::string, std::pair<std::filesystem::file_time_type, std::string>> files;
        for (const auto& file : std::filesystem::directory_iterator(directory)) {
            files[file.path().filename().string()] = {file.last_write_time(), Content(file.path().string())};
        }
        return files;
    }

    std::string Metadata_Path() const { return In_Cache("qelfilecache_Metadata.txt"); }

    /// Compares all records, or the given ones, with these lines.
    void Expect_Records(const std::string& lines,
                        const Recorded_Trace::Records& recorded = Recorded_Trace::All()) const {
        EXPECT_EQ(Recorded_Trace::Joined(Recorded_Trace::Shown(recorded)),
                  Recorded_Trace::Joined(Recorded_Trace::Lines_Of(lines, values)));
    }
    /// Expects these records among others.
    void Expect_Record(const std::string& lines) const {
        EXPECT_THAT(Recorded_Trace::Shown(Recorded_Trace::All()),
                    testing::IsSupersetOf(Recorded_Trace::Lines_Of(lines, values)));
    }
    /// Expects the records to end with these.
    void Expect_Last_Records(const std::string& lines,
                             const Recorded_Trace::Records& recorded = Recorded_Trace::All()) const {
        const auto expected = Recorded_Trace::Lines_Of(lines, values);
        auto shown = Recorded_Trace::Shown(recorded);
        shown.erase(shown.begin(), shown.end() - static_cast<std::ptrdiff_t>(std::min(shown.size(), expected.size())));
        EXPECT_EQ(Recorded_Trace::Joined(shown), Recorded_Trace::Joined(expected));
    }

    /// The URLs of all entries, in order.
    std::vector<std::string> Urls() const {
        std::vector<std::string> urls;
        for (const auto& [url, entry] : cache.m_Cache_Entries) {
            urls.push_back(url);
        }
        return urls;
    }

    /// Puts an entry in the map, with a copy on the disk.
    std::string Cache_Copy(const std::string& url, const std::string& name, const std::string& last_modified,
                           std::uint64_t last_checked_remotely, const std::string& content = "old") {
        const std::string path = Write_File(In_Cache(name), content);
        cache.m_Cache_Entries[url] = {path, last_modified, last_checked_remotely};
        return path;
    }

private:
    /// The first member: the cache below is built on a fresh script and a fresh trace.
    struct Fresh_Script {
        Fresh_Script() {
            g_services.Reset();
            Recorded_Trace::Forget();
            QEL::FrontEnd::FileCache::Set_Trace_Level(Recorded_Trace::Is_Off() ? QELPCTRC_OFF
                                                                               : QELPCTRC_ADDITIONAL_DATA);
        }
    };
    Fresh_Script m_Fresh_Script;

protected:
    std::filesystem::path m_Previous_Directory = std::filesystem::current_path();
    const QEL::Tests::Scratch_Directory m_Scratch;
    const std::filesystem::path directory = m_Scratch.Path() / "cache";
    std::string cache_directory;
    Recorded_Trace::Values values; ///< what the names in files of expected records stand for
    std::shared_ptr<Scripted_OS> os = std::make_shared<Scripted_OS>();
    QEL::FrontEnd::FileCache::CFileCache cache{os};
};
