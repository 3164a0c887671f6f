#include "tests/unit/support/Cache_Fixture.h"

#include <functional>

using QEL::FrontEnd::FileCache::CFileCache;

namespace {

/// Services that work, but for one call: that one fails.
class Failing_OS : public Scripted_OS {
public:
    explicit Failing_OS(std::size_t failing_call) : m_Failing_Call(failing_call) {}

    /// False when the services were asked less often than that.
    bool Has_Failed() const { return m_Calls >= m_Failing_Call; }

    int Stat_File(const std::string& path, std::int64_t& modification_time) override {
        return Fails() ? 5 : Scripted_OS::Stat_File(path, modification_time);
    }
    std::uint64_t Get_Current_Time() override { return Fails() ? 0 : Scripted_OS::Get_Current_Time(); }
    bool File_Exists(const std::string& path) override { return !Fails() && Scripted_OS::File_Exists(path); }
    bool Delete_File(const std::string& path) override { return !Fails() && Scripted_OS::Delete_File(path); }
    bool Directory_Exists(const std::string& path) override { return !Fails() && Scripted_OS::Directory_Exists(path); }
    Find_Handle FindFirstFile(const char* pattern, Find_Data& found) override {
        return Fails() ? QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle : Scripted_OS::FindFirstFile(pattern, found);
    }
    int FindNextFile(Find_Handle search, Find_Data& found) override {
        return Fails() ? 0 : Scripted_OS::FindNextFile(search, found);
    }
    int Get_Drive_Number(const char* path) override { return Fails() ? -1 : Scripted_OS::Get_Drive_Number(path); }
    unsigned int Get_Drive_Type(const char* root) override { return Fails() ? 0 : Scripted_OS::Get_Drive_Type(root); }
    int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) override {
        return Fails() ? 0 : Scripted_OS::Copy_File(existing_path, new_path, fail_if_exists);
    }
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override {
        return Fails() ? 0 : Scripted_OS::Read_Registry_Int(root, key, value);
    }

private:
    bool Fails() { return ++m_Calls == m_Failing_Call; }

    std::size_t m_Failing_Call;
    std::size_t m_Calls = 0;
};

class Failing_Services : public Cache_Fixture {
protected:
    Failing_Services() { QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    const std::string url = "http://server/file.txt";
    const std::string share = "\\\\server\\share\\file.xml";

    /// What a host does in two sessions, while files change on the server and on the share.
    void Use_The_Cache(const std::shared_ptr<Scripted_OS>& services) {
        std::int64_t share_time = 1;
        services->expiry_minutes = 60;
        services->on_stat_file = [&](const std::string&, std::int64_t& time) {
            time = share_time;
            return 0;
        };
        services->on_copy_file = [this](const std::string&, const std::string& to, int) {
            Write_File(to, "from the share");
            return 1;
        };
        const std::string stray = Write_File(In_Cache("00000000-0000-0000-0000-00000000ffff.txt"), "stray");
        const std::string local = Write_File(In_Cache("local.xml"), "local");
        for (int session = 0; session < 2; ++session) {
            CFileCache host(services);
            host.Set_Cache_Directory(cache_directory);
            for (const std::string last_modified : {"monday", "tuesday", "tuesday"}) {
                for (auto& request : g_services.requests) {
                    request.headers = {{"Last-Modified", last_modified}, {"Content-Type", "text/plain"}};
                }
                for (const std::string& request : {url, share, local}) {
                    Expect_A_File_Or_Nothing(host.Get_Cached_File(request), request);
                    Expect_A_File_Or_Nothing(host.Get_Cached_File(request), request);
                }
                share_time += last_modified == "monday" ? 1 : 0;
                services->current_time += 61ULL * 600000000;
            }
            if (session == 1) {
                host.Clear();
                host.Purge_Cache_Folder();
                Expect_A_File_Or_Nothing(host.Get_Cached_File(url), url);
            }
        }
    }

    static void Expect_A_File_Or_Nothing(const std::string& path, const std::string& request) {
        EXPECT_TRUE(path.empty() || std::filesystem::is_regular_file(path)) << path << " for " << request;
    }

    /// What is on the disk must be of use to the next session.
    void Expect_A_Sound_Directory() {
        CFileCache next_session(os);
        EXPECT_TRUE(next_session.Set_Cache_Directory(cache_directory));
        for (const auto& [request, entry] : next_session.m_Cache_Entries) {
            EXPECT_TRUE(request == url || request == share) << request;
            EXPECT_TRUE(std::filesystem::exists(entry.cached_file)) << entry.cached_file;
        }
        os->expiry_minutes = 60;
        EXPECT_NE(next_session.Get_Cached_File(url), "") << "and it works again";
    }

    void Empty_The_Directory() const {
        for (const auto& file : std::filesystem::directory_iterator(directory)) {
            std::filesystem::remove(file.path());
        }
    }
};

TEST_F(Failing_Services, OneFailedCallOfTheSystemLeavesASoundCache) {
    std::size_t failing_call = 1;
    for (;; ++failing_call) {
        SCOPED_TRACE("call " + std::to_string(failing_call));
        Empty_The_Directory();
        const auto services = std::make_shared<Failing_OS>(failing_call);
        Use_The_Cache(services);
        if (!services->Has_Failed()) {
            break;
        }
        Expect_A_Sound_Directory();
    }
    EXPECT_GT(failing_call, 60U) << "the calls of the whole scenario";
}

TEST_F(Failing_Services, OneFailedCallOfTheRequestLeavesASoundCache) {
    using Script = Scripted_Services::Request_Script;
    constexpr QEL::FrontEnd::FileCache::HResult failure = static_cast<QEL::FrontEnd::FileCache::HResult>(0x80072EE7U);
    const std::vector<std::function<void(Script&)>> failures = {
        [](Script& script) { script.creation_fails = true; },
        [](Script& script) { script.set_timeouts = failure; },
        [](Script& script) { script.open = failure; },
        [](Script& script) { script.send = failure; },
        [](Script& script) { script.get_status = {failure}; },
        [](Script& script) {
            script.get_status = {0, failure};
        },
        [](Script& script) {
            script.get_status = {0, 0, failure};
        },
        [](Script& script) { script.get_header["Last-Modified"] = failure; },
        [](Script& script) { script.get_header["Content-Type"] = failure; },
        [](Script& script) { script.get_body = failure; },
        [](Script& script) { script.status = {500}; },
        [](Script& script) { script.status = {12029}; },
        [](Script& script) { script.change_body = [](auto& body) { body.type = 8; }; },
    };
    for (const unsigned long second_client : {200UL, 12029UL}) {
        g_services.client.status = second_client;
        for (std::size_t failing_request = 0; failing_request < 3; ++failing_request) {
            for (std::size_t kind = 0; kind < failures.size(); ++kind) {
                SCOPED_TRACE("request " + std::to_string(failing_request) + ", failure " + std::to_string(kind));
                Empty_The_Directory();
                g_services.requests.assign(6, Script{});
                failures[kind](g_services.requests[failing_request]);
                g_services.requests_created = 0;
                Use_The_Cache(std::make_shared<Scripted_OS>());
                EXPECT_EQ(g_services.requests_alive, 0);
                EXPECT_EQ(g_services.bodies_locked, 0);
                Expect_A_Sound_Directory();
            }
        }
    }
}

} // namespace
