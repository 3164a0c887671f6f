// Any text as a request: it is of exactly one kind, its path form is stable, and whatever it names,
// nothing but a copy in the cache directory is written, deleted or served, or the local file itself.
//
// The first byte says what the services return, the rest is the request.

#include "filecache/CFileCache.h"
#include "fuzz/Require.h"
#include "fuzz/support/Scratch.h"
#include "platform/common/Http_Url.h"
#include "tests/unit/support/Recorded_Trace.h"
#include "tests/unit/support/Scripted_OS.h"
#include "tests/unit/support/Scripted_Services.h"
#include "trace/Set_Trace_Level.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;
using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::HResult;
using QEL::FrontEnd::Platform::Http_Url;

/// What the services of one run return.
struct World {
    unsigned int bits;

    bool Drives_Are_Remote() const { return (bits & 1U) != 0; }
    bool Server_Fails() const { return (bits & 2U) != 0; }
    bool File_Changes() const { return (bits & 4U) != 0; }
    bool Wants_Original() const { return (bits & 8U) != 0; }
    bool Copy_Fails() const { return (bits & 16U) != 0; }
    bool Copies_Stay_Fresh() const { return (bits & 32U) != 0; }
    bool Request_Tells_Headers() const { return (bits & 64U) != 0; }
    bool Fails_Later() const { return (bits & 128U) != 0; }
};

struct Directories {
    fs::path all = QEL::Fuzz::Scratch_Directory();
    std::string cache = all / "cache";
    std::string work = all / "work";

    Directories() {
        fs::create_directories(cache);
        fs::create_directories(work);
        fs::current_path(work);
    }
};

const Directories& Places() {
    static const Directories places;
    return places;
}

bool Holds_Line_End_Or_Nul(const std::string& text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

/// A name of the cache's own making: directly in its directory, and nothing that Windows runs.
bool Is_Name_Of_A_Copy(const std::string& path) {
    constexpr std::size_t uuid_length = 36;
    const auto& directory = Places().cache;
    if (!path.starts_with(directory + "/")) {
        return false;
    }
    std::string name = path.substr(directory.size() + 1);
    if (name.size() <= uuid_length || name[uuid_length] != '.' || name.find_first_of("/\\") != std::string::npos) {
        return false;
    }
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    for (const char* const dangerous :
         {".com", ".exe", ".bat", ".cmd", ".vbs", ".vbe", ".js", ".jse", ".wsf", ".wsh", ".msc"}) {
        if (name.substr(uuid_length) == dangerous) {
            return false;
        }
    }
    return true;
}

std::shared_ptr<Scripted_OS> Services(const World& world, const std::string& request) {
    auto services = std::make_shared<Scripted_OS>();
    services->fixed_disk_type = world.Drives_Are_Remote() ? 4 : 3;
    services->expiry_minutes = world.Copies_Stay_Fresh() ? 60 : 0;
    services->on_stat_file = [](const std::string& path, std::int64_t& time) {
        time = 1;
        return Holds_Line_End_Or_Nul(path) ? 123 : 0;
    };
    services->on_file_exists = [](const std::string& path) {
        std::error_code ignored;
        return !Holds_Line_End_Or_Nul(path) && fs::is_regular_file(path, ignored);
    };
    services->on_delete_file = [](const std::string& path) {
        REQUIRE(Is_Name_Of_A_Copy(path));
        return fs::remove(path);
    };
    services->on_find = [](const std::string&) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(Places().cache)) {
            if (Is_Name_Of_A_Copy(entry.path())) {
                names.push_back(entry.path().filename());
            }
        }
        return names;
    };
    services->on_copy_file = [world, request](const std::string& from, const std::string& to, int) {
        REQUIRE(from == request);
        REQUIRE(Is_Name_Of_A_Copy(to));
        if (world.Copy_Fails() || Holds_Line_End_Or_Nul(from) || to.size() > 200) {
            return 0;
        }
        QEL::Fuzz::Write_File(to, "from the share");
        return 1;
    };
    return services;
}

bool Is_Control_Character(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// What stands behind the first # of the request, as the value of a header: the interface demands that
/// it has no control characters and no blanks around it.
std::string Header_In(const std::string& request) {
    const auto hash = request.find('#');
    std::string value = hash == std::string::npos ? std::string() : request.substr(hash + 1);
    std::replace_if(value.begin(), value.end(), Is_Control_Character, ' ');
    value.erase(value.find_last_not_of(' ') + 1);
    return value.substr(std::min(value.find_first_not_of(' '), value.size()));
}

void Set_Up_Server(const World& world, const std::string& request) {
    g_services.Reset();
    Scripted_Services::Request_Script script;
    // As the interface demands, a URL with control characters is refused.
    const bool refused = std::any_of(request.begin(), request.end(), Is_Control_Character);
    script.open = refused ? static_cast<HResult>(0x80072EE5U) : 0;
    script.status = {world.Server_Fails() ? 404 : 200};
    script.headers = {{"Content-Type", "text/xml"}, {"Last-Modified", "monday"}};
    script.body = "<landscape/>";
    g_services.client.status = 12029;
    if (world.Request_Tells_Headers()) {
        script.headers = {{"Content-Type", Header_In(request)}, {"Last-Modified", Header_In(request)}};
        script.body = request;
        g_services.client = {200, script.headers, script.body, {}};
    }
    g_services.requests = {script};
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
}

/// A second passes, after which copies are checked unless they stay fresh.
void Let_Time_Pass(const World& world, Scripted_OS& services) {
    constexpr std::uint64_t second = 10000000;
    services.current_time += second;
    auto& server = g_services.requests.front();
    if (world.File_Changes()) {
        server.headers["Last-Modified"] = "tuesday";
        g_services.client.headers["Last-Modified"] = "tuesday";
        services.on_stat_file = [](const std::string&, std::int64_t& time) {
            time = 2;
            return 0;
        };
    }
    if (world.Fails_Later()) {
        server.status = {503};
        server.send = world.Copy_Fails() ? 0 : static_cast<HResult>(0x80072EFDU);
        services.on_stat_file = [](const std::string&, std::int64_t&) { return 53; };
        services.on_copy_file = [](const std::string&, const std::string&, int) { return 0; };
    }
}

void Require_One_Kind(CFileCache& cache, const std::string& text) {
    const int kinds = int{cache.Is_Inet_URL(text)} + int{cache.Is_File_URL(text)} + int{cache.Is_File_Share(text)} +
                      int{cache.Is_Local(text)};
    REQUIRE(kinds == 1);
}

std::string Require_Stable_Path_Form(CFileCache& cache, const std::string& text) {
    const std::string path = cache.Normalize_if_File_URL(text);
    if (!cache.Is_File_URL(text)) {
        REQUIRE(path == text);
        return path;
    }
    REQUIRE(path.find('/') == std::string::npos);
    REQUIRE(path.size() < text.size());
    if (text.starts_with("file:///")) {
        REQUIRE(path.size() == text.size() - 8);
    } else if (text.starts_with("file://")) {
        REQUIRE(cache.Is_File_Share(path) && path.size() == text.size() - 5);
    } else {
        REQUIRE(path.empty());
    }
    REQUIRE(cache.Is_File_URL(path) || cache.Normalize_if_File_URL(path) == path);
    return path;
}

/// What the real HTTP client makes of the text.
void Require_Sound_Http_Url(CFileCache& cache, const std::string& text) {
    const auto url = Http_Url::Parse(text);
    if (!url) {
        return;
    }
    REQUIRE(!url->host.empty());
    REQUIRE(std::all_of(url->text.begin(), url->text.end(),
                        [](char c) { return static_cast<unsigned char>(c) > 0x20 && c != 0x7F; }));
    REQUIRE(cache.Is_Inet_URL(url->text));
    REQUIRE(url->Origin().starts_with(url->Is_Https() ? "https://" : "http://"));
    const auto again = Http_Url::Parse(url->text);
    REQUIRE(again && again->text == url->text && again->Origin() == url->Origin());
}

void Require_Served(CFileCache& cache, const std::string& text, const std::string& path_form, const World& world) {
    bool download_error = true;
    int http_error = 0;
    int share_error = 0;
    const std::string served = cache.Get_Cached_File_and_Status(text, world.Wants_Original() ? 201 : 213,
                                                                download_error, &http_error, &share_error);
    if (served.empty()) {
        return;
    }
    REQUIRE(fs::is_regular_file(served));
    if (cache.Is_Local(path_form)) {
        REQUIRE(served == path_form && !download_error);
        return;
    }
    REQUIRE(Is_Name_Of_A_Copy(served));
    REQUIRE(cache.m_Cache_Entries.contains(path_form) && cache.m_Cache_Entries[path_form].cached_file == served);
}

/// Nothing was asked of a server but this URL, and no file lies where it does not belong.
void Require_Nothing_Else(const CFileCache& cache, const std::string& path_form) {
    for (const std::string& call : g_services.request_calls) {
        REQUIRE(!call.starts_with("Open(") || call == "Open(GET, " + path_form + ")" ||
                call == "Open(HEAD, " + path_form + ")");
    }
    for (const std::string& call : g_services.client_calls) {
        REQUIRE(!call.starts_with("SendWinInetRequest(") ||
                call.starts_with("SendWinInetRequest(1, " + path_form + ", ") ||
                call.starts_with("SendWinInetRequest(2, " + path_form + ", "));
    }
    std::size_t copies = 0;
    for (const auto& entry : fs::directory_iterator(Places().cache)) {
        const bool is_metadata = entry.path().filename() == "qelfilecache_Metadata.txt";
        REQUIRE(is_metadata || Is_Name_Of_A_Copy(entry.path()));
        copies += is_metadata ? 0 : 1;
    }
    REQUIRE(copies == cache.m_Cache_Entries.size());
    REQUIRE(fs::is_empty(Places().work));
    REQUIRE(std::distance(fs::directory_iterator(Places().all), fs::directory_iterator()) == 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const World world{bytes[0]};
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    QEL::Fuzz::Empty(Places().cache);
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Recorded_Trace::Forget();

    CFileCache unset(Services(world, text));
    Require_One_Kind(unset, text);
    const std::string path_form = Require_Stable_Path_Form(unset, text);
    Require_One_Kind(unset, path_form);
    Require_Sound_Http_Url(unset, text);

    const auto services = Services(world, path_form);
    Set_Up_Server(world, path_form);
    CFileCache cache(services);
    REQUIRE(cache.Set_Cache_Directory(Places().cache));
    Require_Served(cache, text, path_form, world);
    Require_Nothing_Else(cache, path_form);

    Let_Time_Pass(world, *services);
    Require_Served(cache, text, path_form, world);
    Require_Nothing_Else(cache, path_form);

    CFileCache next(Services(world, path_form));
    REQUIRE(next.Set_Cache_Directory(Places().cache));
    REQUIRE(next.m_Cache_Entries.size() == cache.m_Cache_Entries.size());
    for (const auto& [url, entry] : cache.m_Cache_Entries) {
        REQUIRE(next.m_Cache_Entries.contains(url));
        REQUIRE(next.m_Cache_Entries[url].cached_file == entry.cached_file);
        REQUIRE(next.m_Cache_Entries[url].last_modified == entry.last_modified);
    }
    return 0;
}
