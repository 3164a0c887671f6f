#include "filecache/inspection/Cache_Inspection.h"

#include "filecache/download/http_request.h"
#include "filecache/inspection/Inspection_State.h"
#include "filecache/locks.h"
#include "filecache/texts.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Configuration_Values.h"
#include "util/Dead_Servers.h"
#include "util/Trace_Directory.h"

#include <algorithm>
#include <utility>

namespace QEL::FrontEnd::FileCache {

namespace {

Inspected_Setting Setting(const char* name, const std::string& value) {
    const auto configured = Util::Find_Configured_Value(Util::Options_Key, name);
    return configured ? Inspected_Setting{name, value, configured->place, configured->text}
                      : Inspected_Setting{name, value, {}, {}};
}

Inspected_Setting Trace_Directory_Setting() {
    Util::Tracing::Directory_Buffer directory;
    Util::Tracing::InitBuffer(directory);
    const bool usable = Util::Tracing::InitTraceDir(directory) != 0;
    const std::string value = usable ? directory.data() : "";
    return {Util::Trace_Directory_Value, value, Util::Tracing::Trace_Directory_Source(), value};
}

std::string One_A_Line(const std::vector<std::string>& texts) {
    std::string lines;
    for (const std::string& text : texts) {
        lines += (lines.empty() ? "" : "\n") + text;
    }
    return lines;
}

} // namespace

Cache_Inspection::Cache_Inspection(const std::string& directory)
    : Cache_Inspection(directory, OSWRAPI::IOSWrapper::Create()) {}

Cache_Inspection::Cache_Inspection(const std::string& directory, std::shared_ptr<OSWRAPI::IOSWrapper> os_wrapper)
    : m_State(std::make_unique<State>()) {
    m_State->services = std::make_shared<Read_Only_OS_Wrapper>(std::move(os_wrapper));
    m_State->cache = std::make_shared<CFileCache>(m_State->services);
    m_State->listed = std::make_shared<CFileCache>(m_State->services);
    m_State->cache->m_Cache_Directory = directory; // on whose disk there may be no room, even before it is made
    if (directory.empty() || !m_State->services->Directory_Exists(directory)) {
        return;
    }
    // Not by Set_Cache_Directory: other processes would take the look for a use.
    const std::lock_guard guard(s_api_mutex);
    const auto load = [&](CFileCache& cache) {
        cache.m_Cache_Directory = directory;
        return cache.Deserialize();
    };
    m_State->metadata_is_sound = load(*m_State->cache);
    m_State->services->Say_Every_File_Exists(true);
    load(*m_State->listed);
    m_State->services->Say_Every_File_Exists(false);
}

Cache_Inspection::~Cache_Inspection() = default;

std::uint64_t Cache_Inspection::Now() const {
    return m_State->services->Get_Current_Time();
}

bool Cache_Inspection::Metadata_Is_Sound() const {
    return m_State->metadata_is_sound;
}

Inspected_Entry Cache_Inspection::Inspect(CFileCache& cache, const std::string& url) const {
    const CacheEntry& known = cache.m_Cache_Entries.at(url);
    Inspected_Entry entry;
    entry.url = url;
    entry.copy = known.cached_file;
    entry.last_modified = known.last_modified;
    entry.last_checked_remotely = known.last_checked_remotely;
    entry.fresh_until = known.last_checked_remotely + cache.Get_LandscapeCacheExpiryPeriod();
    entry.fresh = cache.Cached_File_Still_Fresh(url);
    entry.copy_exists = m_State->services->File_Exists(known.cached_file);
    return entry;
}

std::vector<Inspected_Entry> Cache_Inspection::Entries() const {
    const std::lock_guard guard(s_api_mutex);
    std::vector<Inspected_Entry> entries;
    for (const auto& [url, entry] : m_State->listed->m_Cache_Entries) {
        const bool is_known = m_State->cache->m_Cache_Entries.contains(url);
        entries.push_back(Inspect(is_known ? *m_State->cache : *m_State->listed, url));
    }
    return entries;
}

std::vector<std::string> Cache_Inspection::Unreferenced_Copies() const {
    const std::lock_guard guard(s_api_mutex);
    if (m_State->cache->m_Cache_Directory.empty()) {
        return {};
    }
    // The sweep itself, which gets nowhere.
    constexpr bool only_obsolete = true;
    m_State->cache->Delete_Cached_Files(only_obsolete);
    auto copies = m_State->services->Take_Refused_Deletions();
    std::sort(copies.begin(), copies.end());
    return copies;
}

std::vector<Inspected_Setting> Cache_Inspection::Settings() const {
    const std::lock_guard guard(s_api_mutex);
    CFileCache reader(*m_State->cache); // the connect time-out is read once in the life of an object
    reader.Read_Connect_Timeout();
    Util::HttpWinInet::CertErrorHandlingMode mode = Util::HttpWinInet::Default;
    std::vector<std::string> white_list;
    Util::HttpWinInet::Read_CertErrorHandling_Parameters(mode, white_list);
    std::vector<Inspected_Setting> settings{
        Setting(Util::Expiry_Period_Value,
                std::to_string(reader.Get_LandscapeCacheExpiryPeriod() / Intervals_Per_Minute)),
        Setting(Util::Connect_Timeout_Value, std::to_string(reader.m_Connect_Timeout / Milliseconds_Per_Second)),
        Setting(Util::Server_Retry_Value, std::to_string(Util::Server_Retry_Period().count())),
        Setting(Util::Cert_Error_Mode_Value, std::to_string(static_cast<int>(mode))),
        Setting(Util::Cert_Error_White_List_Value, One_A_Line(white_list)),
        Trace_Directory_Setting()}; // GCOVR_EXCL_BR_LINE: half-way
    if (const auto megabytes = Util::Largest_File_Megabytes()) {
        settings.push_back(Setting(Util::Largest_File_Value, std::to_string(std::max(*megabytes, 0))));
    }
    for (const auto& [variable, named] : Util::Configured_Authorities()) {
        settings.push_back({variable, named, "environment variable " + variable, named});
    }
    return settings;
}

std::string Cache_Inspection::Unusable_Configuration() {
    return Util::Configuration_Problem();
}

std::string Cache_Inspection::Configuration_Problem() const {
    return Unusable_Configuration();
}

std::vector<std::string> Cache_Inspection::Configuration_Faults() {
    return Util::Configuration_Faults();
}

Certificate_Handling Cache_Inspection::Handling_Of(const std::string& url) const {
    using namespace Util::HttpWinInet;
    CertErrorHandlingMode mode = Default;
    std::vector<std::string> white_list;
    Read_CertErrorHandling_Parameters(mode, white_list);
    Certificate_Handling handling;
    handling.mode = static_cast<int>(mode);
    handling.listed = std::find(white_list.begin(), white_list.end(), url) != white_list.end();
    handling.errors_are_ignored = mode == IgnoreAllErrorsMode || (mode == WhiteListMode && handling.listed);
    return handling;
}

Request_Explanation Cache_Inspection::Explain(const std::string& url_or_path) const {
    const std::lock_guard guard(s_api_mutex);
    CFileCache& cache = *m_State->cache;
    Request_Explanation explained;
    explained.request = url_or_path;
    explained.now = Now();

    const std::string url = cache.Normalize_if_File_URL(url_or_path);
    explained.normalised = url;
    if (url.empty() && !url_or_path.empty()) {
        return explained;
    }
    if (cache.Is_Local(url)) {
        explained.kind = Request_Explanation::Kind::Local;
        explained.local_file_exists = m_State->services->File_Exists(url);
        return explained;
    }
    if (cache.Is_Inet_URL(url)) {
        explained.kind = Request_Explanation::Kind::Web;
        explained.certificate = Handling_Of(url);
    } else if (cache.Is_File_Share(url)) {
        explained.kind = Request_Explanation::Kind::Share;
    } else {
        return explained;
    }
    if (cache.m_Cache_Entries.contains(url)) {
        explained.entry = Inspect(cache, url);
    } else if (m_State->listed->m_Cache_Entries.contains(url)) {
        explained.entry = Inspect(*m_State->listed, url);
    }
    return explained;
}

} // namespace QEL::FrontEnd::FileCache
