#pragma once

#include "tests/faults/support/Document.h"
#include "tests/faults/support/Failing_OS_Wrapper.h"
#include "tests/support/Cache_Host.h"
#include "tests/support/Child_Process.h"
#ifndef _WIN32
#include "tests/support/Nginx_Server.h"
#endif

namespace QEL::Tests {

/// A cache directory of the real disk with its surroundings, a configuration, a share that is a
/// directory, and documents on a web server.
class Cache_Home : public Cache_Host {
protected:
    using CFileCache = FrontEnd::FileCache::CFileCache;
    using Entries = std::map<std::string, FrontEnd::FileCache::CacheEntry>;

    Cache_Home() {
        std::filesystem::create_directory(share_folder);
        std::filesystem::create_directory(working_folder);
        // What has the shape of a copy, everywhere but in the cache directory.
        for (const auto& folder : {home, share_folder, working_folder}) {
            std::ofstream(folder / "12345678-1234-1234-1234-123456789012.xml") << "not a copy";
        }
        std::filesystem::current_path(working_folder);
    }

    ~Cache_Home() override { std::filesystem::current_path(m_Previous_Folder); }

    /// Puts documents on the web server and on the share; what they are requested by goes into `requests`.
    void Offer(const std::vector<std::string>& on_the_web, const std::vector<std::string>& on_the_share) {
        for (const std::string& name : on_the_web) {
            requests.push_back(Web_Url(name));
        }
        for (const std::string& name : on_the_share) {
            requests.push_back(Failing_OS_Wrapper::Share + name);
        }
        Publish_All();
    }

    std::string Web_Url(const std::string& name) const { return m_Web_Server + "/" + name; }

    /// The next version of a document, of a later time; the first is 1.
    void Publish(const std::string& request) {
        const std::string name = Name_In(request);
        const auto folder = request.starts_with("http:") ? m_Web_Files : share_folder;
        // Under another name first: nobody must get half of it. Windows does not replace a file that is being copied.
        const auto unfinished = folder / (name + ".new");
        std::ofstream(unfinished, std::ios::binary) << Document_Text(name, static_cast<unsigned>(++m_Versions[name]));
        std::filesystem::last_write_time(unfinished, m_Next_Change += std::chrono::seconds(2));
        std::error_code error;
        do {
            std::filesystem::rename(unfinished, folder / name, error);
        } while (error);
    }
    void Publish_All() {
        for (const std::string& request : requests) {
            Publish(request);
        }
    }

    bool Is_Known(const std::string& request) const {
        return std::find(requests.begin(), requests.end(), request) != requests.end();
    }

    /// A request for a document as its name in the texts: the last part of the URL or path.
    static std::string Name_In(const std::string& request) { return request.substr(request.find_last_of("/\\") + 1); }

    /// The version that the remote side has now.
    int Current_Version(const std::string& request) const { return m_Versions.at(Name_In(request)); }

    std::shared_ptr<Failing_OS_Wrapper> Services() const { return std::make_shared<Failing_OS_Wrapper>(share_folder); }

    /// What the next host finds in the cache directory: a metadata file may have been cut.
    std::unique_ptr<CFileCache> Next_Host() const {
        auto next = std::make_unique<CFileCache>(Services());
        next->Set_Cache_Directory(Cache_Directory());
        return next;
    }
    Entries Loaded() const { return Next_Host()->m_Cache_Entries; }

    /// A returned path is empty, or names a whole version that was published.
    void Expect_Nothing_Or_A_Document(const std::string& path, const std::string& request) const {
        if (path.empty()) {
            return;
        }
        EXPECT_EQ(std::filesystem::path(path).parent_path(), cache_folder) << path;
        const int version = Version_Of(Content_Of(path), Name_In(request));
        EXPECT_GE(version, 1) << path << " is not a complete copy of " << request;
        EXPECT_LE(version, Current_Version(request));
    }

    /// A request is served what the remote side has now.
    void Expect_Current_Document(CFileCache& host, const std::string& request) const {
        const Served served = Request(host, request);
        EXPECT_FALSE(served.download_error) << request;
        EXPECT_EQ(Version_Of(Content_Of(served.path), Name_In(request)), Current_Version(request)) << request;
    }

    /// All requests are, and what a host records is what the next one finds.
    void Expect_Current_Documents(CFileCache& host) const {
        for (const std::string& request : requests) {
            Expect_Current_Document(host, request);
        }
        Expect_Equal(host.m_Cache_Entries, Loaded());
    }
    /// In addition nothing else is in the directory.
    void Expect_Current_Documents_Alone(CFileCache& host) const {
        Expect_Current_Documents(host);
        EXPECT_EQ(Copies(), Copies_Of(host.m_Cache_Entries)) << "nothing else is left";
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

    /// The copies that entries name, in order.
    static std::vector<std::string> Copies_Of(const Entries& entries) {
        std::set<std::string> copies;
        for (const auto& [url, entry] : entries) {
            copies.insert(entry.cached_file);
        }
        return {copies.begin(), copies.end()};
    }

    using Files = std::map<std::string, std::string>;

    /// Everything around the cache directory: each file's time and content.
    Files Surroundings() const {
        Files files;
        for (const auto& folder : {home, share_folder, working_folder}) {
            for (const auto& file : std::filesystem::directory_iterator(folder)) {
                if (file.is_regular_file() && file.path().extension() != ".trc") {
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

    /// A process that makes each request once a round, see cache_worker.cpp.
    Child_Process Worker(int rounds, std::size_t file_limit = 0) const {
        std::vector<std::string> arguments = {Cache_Directory(), share_folder.string(), Ready_File().string(),
                                              std::to_string(rounds), std::to_string(file_limit)};
        arguments.insert(arguments.end(), requests.begin(), requests.end());
        return Child_Process(Beside_The_Tests("cache_worker", arguments));
    }
    std::filesystem::path Ready_File() const { return working_folder / "ready"; }

private:
#ifdef _WIN32
    // A program beside the test, see tests/windows/with_http_servers.py. It runs outside of Wine.
    const std::string m_Web_Server = std::getenv("QEL_TEST_HTTP");
    const std::filesystem::path m_Web_Files = std::string("Z:") + std::getenv("QEL_TEST_FILES");
#else
    const Nginx_Server m_Nginx{std::vector<Nginx_Site>(1)};
    const std::string m_Web_Server = m_Nginx.Site().Url("", "127.0.0.1");
    const std::filesystem::path m_Web_Files = m_Nginx.Files();
#endif
    const std::filesystem::path m_Previous_Folder = std::filesystem::current_path();
    std::map<std::string, int> m_Versions;
    std::filesystem::file_time_type m_Next_Change = std::filesystem::file_time_type::clock::now();

protected:
    const std::filesystem::path home = Home();
    const std::filesystem::path cache_folder = home / "cache";
    const std::filesystem::path share_folder = home / "share";
    const std::filesystem::path working_folder = home / "work";
    std::vector<std::string> requests;
};

} // namespace QEL::Tests
