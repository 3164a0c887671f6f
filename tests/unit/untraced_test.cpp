// The trace changes nothing: with it off, every step that reports something odd decides as it does with it
// on, and writes nothing.

#include "tests/unit/support/Http_Fixture.h"
#include "util/Dead_Servers.h"

#include <cstdint>
#include <functional>
#include <string>

using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::IFileCache;
using QEL::FrontEnd::FileCache::Set_Trace_Level;
using testing::IsEmpty;

namespace {

/// Run in a process of its own, it makes the first call.
TEST(Untraced_Singleton, IsCreatedWithoutARecord) {
    Set_Trace_Level(QELPCTRC_OFF);
    Recorded_Trace::Forget();
    EXPECT_NE(IFileCache::Instance(), nullptr);
    EXPECT_EQ(IFileCache::Instance(), IFileCache::Instance());
    EXPECT_THAT(Recorded_Trace::All(), IsEmpty());
}

/// What a step works on: entries without a copy's name, and with one.
class Untraced : public Cache_Fixture {
protected:
    const std::string unnamed = "http://server/unnamed.xml";
    const std::string unnamed_share = "\\\\server\\share\\unnamed.xml";
    const std::string known = "http://server/known.xml";
    const std::string share = "\\\\server\\share\\known.xml";
    const std::string new_url = "https://server/new.xml";
    Scripted_Services::Request_Script* response = nullptr;

    static std::string Said(bool result) { return result ? "true" : "false"; }
    std::string Ask(const std::string& request) {
        return cache.Get_Cached_File_and_Status(request, 213, error, nullptr, nullptr);
    }
    std::string Ask_With_Bad_Certificate(int mode, const std::vector<std::string>& white_list) {
        response->send = Certificate_Error;
        g_services.cert_mode = mode;
        g_services.white_list = white_list;
        return Ask(new_url);
    }
    std::string Check(const std::string& url) {
        return Said(url.starts_with("http") ? cache.Is_Inet_URL_Expired(url, error)
                                            : cache.Is_File_Share_Expired(url, error));
    }
    std::string Load(const std::string& metadata) {
        Write_File(Metadata_Path(), "QEL Logon Landscape Cache Metadata\n" + metadata);
        return Said(cache.Deserialize());
    }

    /// A step's result, on a fresh scene.
    std::string Run(const std::function<std::string()>& step, QELPCTRC_LEVEL level) {
        g_services.Reset();
        response = &g_services.requests.front();
        response->headers = {{"Last-Modified", "monday"}, {"Content-Type", "text/xml"}};
        *os = Scripted_OS();
        os->on_stat_file = [](const std::string&, std::int64_t& time) {
            time = 17;
            return 0;
        };
        std::filesystem::remove(Metadata_Path());
        Set_Trace_Level(QELPCTRC_OFF);
        cache = CFileCache(os);
        cache.Set_Cache_Directory(cache_directory);
        const std::string copy = Write_File(In_Cache("00000000-0000-0000-0000-00000000000a.xml"), "old");
        cache.m_Cache_Entries = {{unnamed, {"", "monday", 1}},
                                 {unnamed_share, {"", "17", 1}},
                                 {known, {copy, "monday", os->current_time - 600000000}},
                                 {share, {copy, "17", 1}}};
        error = false;
        Set_Trace_Level(level);
        Recorded_Trace::Forget();
        std::string result = step();
        Set_Trace_Level(QELPCTRC_OFF);
        return result + (error ? ", error" : "");
    }

    void Expect_The_Same(const std::vector<std::function<std::string()>>& steps) {
        for (std::size_t number = 0; number < steps.size(); ++number) {
            SCOPED_TRACE("step " + std::to_string(number));
            const std::string untraced = Run(steps[number], QELPCTRC_OFF);
            EXPECT_THAT(Recorded_Trace::All(), IsEmpty());
            const std::string traced = Run(steps[number], QELPCTRC_ADDITIONAL_DATA);
            EXPECT_FALSE(Recorded_Trace::All().empty());
            EXPECT_EQ(untraced, traced);
        }
    }

    bool error = false;
};

TEST_F(Untraced, DirectoryAndMetadataAreTheSame) {
    Expect_The_Same({[this] { return Said(cache.Set_Cache_Directory("")); },
                     [this] { return Said(cache.Set_Cache_Directory(cache_directory)); },
                     [this] {
                         cache.m_Cache_Directory.clear();
                         return cache.Get_Cache_Metadata();
                     },
                     [this] { return Said(cache.Remove_From_Cache(unnamed)); },
                     [this] {
                         cache.m_Cache_Entries[known].cached_file = "\\\\server\\cache\\copy.xml";
                         return Said(cache.Remove_From_Cache(known));
                     },
                     [this] {
                         Write_File(Metadata_Path(), "other\n");
                         return Said(cache.Deserialize());
                     },
                     [this] { return Load("other\n"); }, [this] { return Load("version\nx\n"); },
                     [this] { return Load("version\n3\n"); }, [this] { return Load("version\n2\nother\n"); },
                     [this] { return Load("version\n2\nentries\nx\n"); },
                     [this] { return Load("version\n2\nentries\n1\nmonday\nx\na\nb\n"); },
                     [this] { return Load("version\n2\nentries\n1\nmonday\n1\n"); },
                     [this] {
                         const std::string copy = cache.m_Cache_Entries[known].cached_file;
                         return Load("version\n2\nentries\n2\nmonday\n1\n" + copy + "\nu\nmonday\n1\n" + copy +
                                     "x\nv\n");
                     }});
}

TEST_F(Untraced, CleaningUpIsTheSame) {
    Expect_The_Same({[this] { return Said(cache.Purge_Cache_Folder()); },
                     [this] {
                         os->on_delete_file = [](const std::string&) { return false; };
                         return Said(cache.Purge_Cache_Folder()) + Said(cache.Clear());
                     },
                     [this] {
                         cache.m_Cache_Directory = In_Cache("missing");
                         return Said(cache.Purge_Cache_Folder()) + Said(cache.Set_Cache_Directory(In_Cache("missing")));
                     },
                     [this] {
                         cache.m_Cache_Directory.clear();
                         return Said(cache.Purge_Cache_Folder());
                     },
                     [this] {
                         cache.Cleanup_Obsolete_Cached_Files();
                         cache.Cleanup_Obsolete_Cached_Files();
                         return Said(cache.Clear()) + Said(cache.Remove_From_Cache("unknown"));
                     },
                     [this] {
                         cache.m_Cache_Entries[known].cached_file = In_Cache("gone.xml");
                         return Said(cache.Serialize()) + Said(cache.Deserialize()) +
                                Said(cache.Remove_From_Cache(known));
                     }});
}

TEST_F(Untraced, OrdinaryRequestsAreTheSame) {
    const auto ask = [this](const std::string& request) {
        return std::filesystem::path(Ask(request)).extension().string() + Said(cache.m_Cache_Entries.contains(request));
    };
    const auto copy = [this](int result) {
        os->on_copy_file = [=, this](const std::string&, const std::string& to, int) {
            if (result > 1) {
                Write_File(to, "copy");
            }
            return result;
        };
    };
    Expect_The_Same({[&] { return ask(known) + ask(new_url) + ask(In_Cache("missing")); },
                     [&] { return ask(Write_File(In_Cache("local.txt"), "")); },
                     [&] {
                         os->expiry_minutes = 60;
                         return ask(known);
                     },
                     [&] {
                         cache.m_Cache_Directory.clear();
                         return ask(known);
                     },
                     [&] {
                         response->headers["Last-Modified"] = "another";
                         return ask(known);
                     },
                     [&] {
                         response->headers.clear();
                         return ask(known);
                     },
                     [&] {
                         response->creation_fails = true;
                         return ask(known) + ask(new_url);
                     },
                     [&] {
                         response->open = Certificate_Error;
                         return ask(known) + ask(new_url);
                     },
                     [&] {
                         response->status = {12029};
                         return ask(known) + ask(new_url);
                     },
                     [&] {
                         response->during_send = [] { throw std::runtime_error("no client"); };
                         return ask(known) + ask(new_url);
                     }});
    Expect_The_Same({[&] { return ask(share); },
                     [&] {
                         copy(2);
                         os->on_stat_file = [](const std::string&, std::int64_t&) { return 53; };
                         return ask(share) + ask("\\\\server\\share\\new.xml");
                     },
                     [&] {
                         copy(1);
                         return ask("\\\\server\\share\\new.xml");
                     },
                     [&] {
                         copy(0);
                         return ask("\\\\server\\share\\new.xml");
                     },
                     [&] {
                         os->on_copy_file = [](const std::string&, const std::string&, int) {
                             QEL::FrontEnd::Util::Unasked_Share_Server::Describe("It was last tried at noon.");
                             return 0;
                         };
                         return ask("\\\\server\\share\\new.xml");
                     },
                     [&] {
                         g_services.uuid_throws = true;
                         return ask("\\\\server\\share\\new.xml") + ask(new_url);
                     },
                     [&] {
                         cache.m_Cache_Entries[known].cached_file = In_Cache("gone.xml");
                         return ask(known);
                     },
                     [&] {
                         os->on_directory_exists = [](const std::string&) { return false; };
                         return ask("\\\\server\\share\\new.xml");
                     }});
}

TEST_F(Untraced, ChecksAreTheSame) {
    Expect_The_Same({[this] { return Check("\\\\unknown"); }, [this] { return Check("http://unknown"); },
                     [this] { return Check(unnamed); },
                     [this] {
                         cache.m_Cache_Entries[share].last_modified.clear();
                         return Check(share);
                     },
                     [this] {
                         response->during_send = [this] { cache.m_Cache_Entries.erase(known); };
                         return Check(known);
                     }});
}

TEST_F(Untraced, DownloadsAreTheSame) {
    const auto ask_for_body = [this](void (*change)(QEL::FrontEnd::FileCache::Response_Body&)) {
        response->change_body = change;
        return Ask(new_url);
    };
    Expect_The_Same(
        {[this] { return cache.Download_File_Share("/local", error); },
         [&] { return ask_for_body([](auto& body) { body.type = 8; }); },
         [&] { return ask_for_body([](auto& body) { body.dimensions = 2; }); },
         [&] { return ask_for_body([](auto& body) { body.upper_bound_result = -1; }); },
         [&] { return ask_for_body([](auto& body) { body.access_result = -1; }); },
         [this] { return std::filesystem::path(Ask_With_Bad_Certificate(1, {new_url})).extension().string(); },
         [this] { return Ask_With_Bad_Certificate(1, {}); },
         [this] {
             g_services.client.status = 500;
             return Ask_With_Bad_Certificate(2, {});
         },
         [this] {
             g_services.client.during_send = [] { throw std::runtime_error("no client"); };
             return Ask_With_Bad_Certificate(0, {});
         }});
}

TEST_F(Untraced, LookupsAreTheSame) {
    const auto ask_on_drives = [this](const std::vector<unsigned int>& types) {
        os->on_get_drive_type = [types, next = std::size_t{0}](const std::string&) mutable { return types.at(next++); };
        return Ask("z:\\file");
    };
    Expect_The_Same({[&] {
                         return ask_on_drives({4, 4, 3, 3});
                     }, // it becomes local
                     [&] {
                         return ask_on_drives({4, 4, 4, 3, 3});
                     }, // it is of no kind
                     [this] {
                         decltype(cache.m_Cache_Entries)::node_type taken; // not freed: it is still looked at
                         os->on_read_registry_int = [&]() -> std::uint32_t {
                             taken = cache.m_Cache_Entries.extract(known);
                             return 1000000000;
                         };
                         return Ask(known);
                     },
                     [this] {
                         os->on_delete_file = [](const std::string&) { return false; };
                         response->headers["Last-Modified"] = "another";
                         return std::filesystem::path(Ask(known)).extension().string();
                     },
                     [this] { return Ask(unnamed_share); },
                     [this] {
                         response->during_send = [this] { cache.m_Cache_Entries.erase(known); };
                         response->status = {404};
                         return Ask(known);
                     }});
}

TEST_F(Untraced, NamesAreTheSame) {
    const auto named = [this](const std::string& path) {
        const std::string name = cache.Generate_Cached_File_Name_from_File_Share(path);
        return name.substr(name.size() - 5);
    };
    Expect_The_Same(
        {[&] {
             cache.m_Magic.m_Initialized = false;
             return cache.Generate_Cached_File_Name_from_Contents("", "abc", 3).substr(cache_directory.size() + 37) +
                    named("\\\\server\\share\\file");
         },
         [&] {
             g_services.on_file_extension = [](const std::string&) { return ".xml"; };
             return named("\\\\server\\share\\file.xml");
         },
         [&] {
             g_services.file_unreadable = true;
             return named("\\\\server\\share\\file");
         },
         [this] {
             return cache.Normalize_if_File_URL("file:///C:/a") + cache.Normalize_if_File_URL("file://a/b") +
                    cache.Normalize_if_File_URL("file:a");
         }});
}

} // namespace
