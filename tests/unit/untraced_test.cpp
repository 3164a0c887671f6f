// The trace changes nothing: with it off, every step that reports something odd decides as it does with it
// on, and writes nothing.

#include "tests/unit/support/Http_Fixture.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::IFileCache;
using QEL::FrontEnd::FileCache::Set_Trace_Level;
using testing::IsEmpty;
using testing::Not;

namespace {

/// What a step works on: a cache with a directory, an entry without a copy's name, and one with.
struct Scene {
    CFileCache& cache;
    Scripted_OS& os;
    std::string directory;
    bool error = false;

    const std::string unnamed = "http://server/unnamed.xml";
    const std::string unnamed_share = "\\\\server\\share\\unnamed.xml";
    const std::string known = "http://server/known.xml";
    const std::string share = "\\\\server\\share\\known.xml";

    std::string Ask(const std::string& request) {
        return cache.Get_Cached_File_and_Status(request, 213, error, nullptr, nullptr);
    }
    std::string Load(const std::string& metadata) {
        std::ofstream(directory + "/qelfilecache_Metadata.txt", std::ios::binary) << metadata;
        return Said(cache.Deserialize());
    }
    static std::string Said(bool result) { return result ? "true" : "false"; }
};

struct Step {
    const char* name;
    std::function<std::string(Scene&)> run;
};

void PrintTo(const Step& step, std::ostream* out) {
    *out << step.name;
}

const std::string First_Line = "QEL Logon Landscape Cache Metadata\n";

/// Results of Get_Drive_Type, one after the other, for the paths that change their kind meanwhile.
void Change_Kind(Scripted_OS& os, std::vector<unsigned int> types) {
    os.on_get_drive_type = [types, next = std::size_t{0}](const std::string&) mutable {
        return types[std::min(next++, types.size() - 1)];
    };
}

const Step Steps[] = {
    {"NoDirectory", [](Scene& scene) { return Scene::Said(scene.cache.Set_Cache_Directory("")); }},
    {"SameDirectory", [](Scene& scene) { return Scene::Said(scene.cache.Set_Cache_Directory(scene.directory)); }},
    {"MetadataWithoutDirectory",
     [](Scene& scene) {
         scene.cache.m_Cache_Directory.clear();
         return scene.cache.Get_Cache_Metadata();
     }},
    {"RemovalOfAnUnnamedCopy", [](Scene& scene) { return Scene::Said(scene.cache.Remove_From_Cache(scene.unnamed)); }},
    {"RemovalOfACopyOnAShare",
     [](Scene& scene) {
         scene.cache.m_Cache_Entries[scene.known].cached_file = "\\\\server\\cache\\copy.xml";
         return Scene::Said(scene.cache.Remove_From_Cache(scene.known));
     }},
    {"ShareCopyOfALocalPath", [](Scene& scene) { return scene.cache.Download_File_Share("/local", scene.error); }},
    {"ShareCheckOfAnUnknownPath",
     [](Scene& scene) { return Scene::Said(scene.cache.Is_File_Share_Expired("\\\\unknown", scene.error)); }},
    {"ShareCheckWithoutAKnownTime",
     [](Scene& scene) {
         scene.cache.m_Cache_Entries[scene.share].last_modified.clear();
         return Scene::Said(scene.cache.Is_File_Share_Expired(scene.share, scene.error));
     }},
    {"CheckOfAnUnknownUrl",
     [](Scene& scene) { return Scene::Said(scene.cache.Is_Inet_URL_Expired("http://unknown", scene.error)); }},
    {"CheckOfAnUnnamedCopy",
     [](Scene& scene) { return Scene::Said(scene.cache.Is_Inet_URL_Expired(scene.unnamed, scene.error)); }},
    {"CheckOfAnEntryThatGoesMeanwhile",
     [](Scene& scene) {
         g_services.requests.front().during_send = [&scene] { scene.cache.m_Cache_Entries.erase(scene.known); };
         return Scene::Said(scene.cache.Is_Inet_URL_Expired(scene.known, scene.error));
     }},
    {"BodyOfTwoDimensions",
     [](Scene& scene) {
         g_services.requests.front().change_body = [](auto& body) { body.dimensions = 2; };
         return scene.Ask("http://server/new");
     }},
    {"BodyWithoutBounds",
     [](Scene& scene) {
         g_services.requests.front().change_body = [](auto& body) { body.upper_bound_result = -1; };
         return scene.Ask("http://server/new");
     }},
    {"BodyThatCannotBeLocked",
     [](Scene& scene) {
         g_services.requests.front().change_body = [](auto& body) { body.access_result = -1; };
         return scene.Ask("http://server/new");
     }},
    {"UrlOnTheWhiteList",
     [](Scene& scene) {
         g_services.requests.front().send = Certificate_Error;
         g_services.cert_mode = 1;
         g_services.white_list = {"https://server/listed"};
         return std::filesystem::path(scene.Ask("https://server/listed")).extension().string();
     }},
    {"UrlNotOnTheWhiteList",
     [](Scene& scene) {
         g_services.requests.front().send = Certificate_Error;
         g_services.cert_mode = 1;
         return scene.Ask("https://server/new");
     }},
    {"AllCertificatesIgnored",
     [](Scene& scene) {
         g_services.requests.front().send = Certificate_Error;
         g_services.cert_mode = 2;
         g_services.client.status = 500;
         return scene.Ask("https://server/new");
     }},
    {"SecondClientThatThrows",
     [](Scene& scene) {
         g_services.requests.front().send = Certificate_Error;
         g_services.client.during_send = [] { throw std::runtime_error("no client"); };
         return scene.Ask("https://server/new");
     }},
    {"PathThatBecomesLocal",
     [](Scene& scene) {
         Change_Kind(scene.os, {4, 4, 3});
         return scene.Ask("z:\\file");
     }},
    {"PathThatIsOfNoKind",
     [](Scene& scene) {
         Change_Kind(scene.os, {4, 4, 4, 3});
         return scene.Ask("z:\\file");
     }},
    {"EntryThatGoesAfterItWasFresh",
     [](Scene& scene) {
         decltype(scene.cache.m_Cache_Entries)::node_type taken; // not freed: it is still looked at
         scene.os.on_read_registry_int = [&]() -> std::uint32_t {
             taken = scene.cache.m_Cache_Entries.extract(scene.known);
             return 1000000000;
         };
         return scene.Ask(scene.known);
     }},
    {"OldCopyThatCannotBeDeleted",
     [](Scene& scene) {
         scene.os.on_delete_file = [](const std::string&) { return false; };
         g_services.requests.front().headers["Last-Modified"] = "another";
         return std::filesystem::path(scene.Ask(scene.known)).extension().string();
     }},
    {"UnnamedCopy",
     [](Scene& scene) {
         scene.os.on_stat_file = [](const std::string&, std::int64_t& time) {
             time = 17;
             return 0;
         };
         return scene.Ask(scene.unnamed_share);
     }},
    {"EntryThatGoesDuringTheCheck",
     [](Scene& scene) {
         scene.os.on_stat_file = [&scene](const std::string&, std::int64_t& time) {
             time = 17;
             return 0;
         };
         const auto gone = [&scene] { scene.cache.m_Cache_Entries.erase(scene.known); };
         g_services.requests.front().during_send = gone;
         g_services.requests.front().status = {404};
         return scene.Ask(scene.known);
     }},
    {"MetadataWithoutMagic", [](Scene& scene) { return scene.Load("other\n"); }},
    {"MetadataWithoutVersion", [](Scene& scene) { return scene.Load(First_Line + "other\n"); }},
    {"MetadataOfNoVersion", [](Scene& scene) { return scene.Load(First_Line + "version\nx\n"); }},
    {"MetadataOfAnotherVersion", [](Scene& scene) { return scene.Load(First_Line + "version\n3\n"); }},
    {"MetadataWithoutEntries", [](Scene& scene) { return scene.Load(First_Line + "version\n2\nother\n"); }},
    {"MetadataWithoutANumber", [](Scene& scene) { return scene.Load(First_Line + "version\n2\nentries\nx\n"); }},
    {"MetadataWithoutATime",
     [](Scene& scene) { return scene.Load(First_Line + "version\n2\nentries\n1\nmonday\nx\na\nb\n"); }},
    {"MetadataThatEnds", [](Scene& scene) { return scene.Load(First_Line + "version\n2\nentries\n1\nmonday\n1\n"); }},
    {"NameWithoutTypes",
     [](Scene& scene) {
         scene.cache.m_Magic.m_Initialized = false;
         const std::string by_content = scene.cache.Generate_Cached_File_Name_from_Contents("", "abc", 3);
         const std::string by_path = scene.cache.Generate_Cached_File_Name_from_File_Share("\\\\server\\share\\file");
         return by_content.substr(by_content.size() - 7) + by_path.substr(by_path.size() - 7);
     }},
    {"NameByAnOddExtension",
     [](Scene& scene) {
         g_services.on_file_extension = [](const std::string&) { return ".xml"; };
         const std::string name = scene.cache.Generate_Cached_File_Name_from_File_Share("\\\\server\\share\\file.xml");
         return name.substr(name.size() - 5);
     }},
    {"NameOfAFileThatCannotBeRead",
     [](Scene& scene) {
         g_services.file_unreadable = true;
         const std::string name = scene.cache.Generate_Cached_File_Name_from_File_Share("\\\\server\\share\\file");
         return name.substr(name.size() - 7);
     }},
    {"FileUrls",
     [](Scene& scene) {
         return scene.cache.Normalize_if_File_URL("file:///C:/a") + scene.cache.Normalize_if_File_URL("file://a/b") +
                scene.cache.Normalize_if_File_URL("file:a");
     }},
};

class Untraced_Step : public Cache_Fixture, public testing::WithParamInterface<Step> {
protected:
    /// The step's result, on a fresh scene.
    std::string Run(QELPCTRC_LEVEL level) {
        g_services.Reset();
        g_services.requests.front().headers = {{"Last-Modified", "monday"}, {"Content-Type", "text/xml"}};
        *os = Scripted_OS();
        os->on_stat_file = [](const std::string&, std::int64_t& time) {
            time = 17;
            return 0;
        };
        std::filesystem::remove(Metadata_Path());
        Set_Trace_Level(QELPCTRC_OFF);
        CFileCache fresh{os};
        fresh.Set_Cache_Directory(cache_directory);
        Scene scene{fresh, *os, cache_directory};
        const std::string copy = Write_File(In_Cache("00000000-0000-0000-0000-00000000000a.xml"), "old");
        fresh.m_Cache_Entries = {{scene.unnamed, {"", "monday", 1}},
                                 {scene.unnamed_share, {"", "17", 1}},
                                 {scene.known, {copy, "monday", os->current_time - 600000000}},
                                 {scene.share, {copy, "17", 1}}};
        Set_Trace_Level(level);
        Recorded_Trace::Forget();
        std::string result = GetParam().run(scene);
        Set_Trace_Level(QELPCTRC_OFF);
        return result + (scene.error ? ", error" : "");
    }
};

/// Run in a process of its own, it makes the first call.
TEST(Untraced_Singleton, IsCreatedWithoutARecord) {
    Set_Trace_Level(QELPCTRC_OFF);
    Recorded_Trace::Forget();
    EXPECT_NE(IFileCache::Instance(), nullptr);
    EXPECT_EQ(IFileCache::Instance(), IFileCache::Instance());
    EXPECT_THAT(Recorded_Trace::All(), IsEmpty());
}

TEST_P(Untraced_Step, DecidesAsATracedOne) {
    const std::string untraced = Run(QELPCTRC_OFF);
    EXPECT_THAT(Recorded_Trace::All(), IsEmpty());

    const std::string traced = Run(QELPCTRC_ADDITIONAL_DATA);
    EXPECT_THAT(Recorded_Trace::All(), Not(IsEmpty()));

    EXPECT_EQ(untraced, traced);
}

INSTANTIATE_TEST_SUITE_P(Table, Untraced_Step, testing::ValuesIn(Steps),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

} // namespace
