#include "filecache/CFileCache.h"

#include "filecache/download/Com_Error.h"
#include "filecache/download/outcome_codes.h"
#include "filecache/last_results.h"
#include "filecache/trace_messages.h"
#include "util/Dead_Servers.h"
#include "util/Last_Error.h"

#include <stdexcept>
#include <system_error>

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr int Fail_If_Exists = 1;
constexpr std::uint32_t Invalid_Name = 123; // as the system reports it

} // namespace

std::string CFileCache::Download_File_Share(const std::string& url, bool& download_error) {
    TRACE_CALL("url='%s'", url.c_str());
    download_error = false;

    if (Is_Local(url) || Is_Inet_URL(url)) {
        TRACE_BUG();
        TRACE_ERROR("Trying to download a file share that is local or Inet: '%s'.\n", url.c_str());
        return TRACED(std::string());
    }
    if (!m_OS_Wrapper->Directory_Exists(m_Cache_Directory)) {
        TRACE_BUG();
        TRACE_ERROR("Cache directory does not exist. It needs to be created before using the cache: '%s'.\n",
                    m_Cache_Directory.c_str());
        return TRACED(std::string());
    }

    std::int64_t modification_time = 0;
    const int stat_error = m_OS_Wrapper->Stat_File(url, modification_time);
    if (stat_error != 0) {
        // A share that cannot be examined may still be readable.
        TRACE_WARNING("Trying to download a file share URL that cannot be stat-ed: '%s', error code %d.\n", url.c_str(),
                      stat_error);
        m_errFileShareDownLoad = Share_Source_Not_Examined;
    }
    TRACE_DATA("Downloading file share '%s', stat error code %d, mtime = %d.\n", url.c_str(), stat_error,
               static_cast<int>(modification_time));

    CacheEntry entry;
    bool can_be_copied = true;
    try {
        entry.cached_file = Generate_Cached_File_Name_from_File_Share(url);
    } catch (const std::system_error&) { // GCOVR_EXCL_BR_LINE: exceptions
        throw;                           // a lock failed
    } catch (const std::runtime_error&) {
        can_be_copied = false; // without a name: it failed like any other copy, and the last good one is served
    }
    entry.last_modified = std::to_string(modification_time);
    entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
    const Util::Unasked_Share_Server unasked; // changes the last error on Windows
    if (url.find('\0') != std::string::npos) {
        can_be_copied = false; // the copy takes C strings: it would fetch the file that is named before the NUL
        Util::Set_Last_Error(Invalid_Name);
    }
    if (!can_be_copied || m_OS_Wrapper->Copy_File(url.c_str(), entry.cached_file.c_str(), Fail_If_Exists) == 0) {
        const std::uint32_t last_error = Util::Get_Last_Error();
        download_error = true;
        TRACE_ERROR("Copy file failed for URL: '%s', cached file: '%s' , GetLastError returned %d.\n", url.c_str(),
                    entry.cached_file.c_str(), static_cast<int>(last_error));
        Note_Error(last_error, unasked.Refusal().empty() ? unasked.Description() : unasked.Refusal());
        if (!unasked.Description().empty()) {
            TRACE_ERROR("Description: %s\n", unasked.Description().c_str());
            Set_Additional_Error_Info(com_error_to_string(Com_Error(0, unasked.Description()), url));
        }
        m_errFileShareDownLoad = Share_Copy_Failed;
        return TRACED(std::string());
    }
    if (!m_OS_Wrapper->File_Exists(entry.cached_file)) {
        const std::uint32_t last_error = Util::Get_Last_Error();
        download_error = true;
        TRACE_BUG();
        TRACE_ERROR("Copy file succeeded but the target still does not exist? URL: '%s', cached file: '%s' , "
                    "GetLastError returned %d.\n",
                    url.c_str(), entry.cached_file.c_str(), static_cast<int>(last_error));
        Note_Error(last_error, {});
        m_errFileShareDownLoad = Share_Copy_Missing;
        return TRACED(std::string());
    }
    TRACE_NOTE("Copied file '%s' to the cached file: '%s'.\n", url.c_str(), entry.cached_file.c_str());

    Persist_Downloaded_File_Metadata(url, entry);
    download_error = entry.cached_file.empty();
    if (download_error) {
        m_errFileShareDownLoad = Share_Copy_Unnamed;
    }
    TRACE_RETURN("'%s'", entry.cached_file.c_str());
    return entry.cached_file;
}

} // namespace QEL::FrontEnd::FileCache
