#include "filecache/CFileCache.h"

#include "filecache/last_results.h"
#include "filecache/locks.h"
#include "filecache/trace_messages.h"
#include "filecache/url/request_kind.h"
#include "util/Multibyte_Compare.h"

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr int Ordinary_Request = 213;
} // namespace

std::string CFileCache::Get_Cached_File(const std::string& url_or_path) {
    bool download_error = false;
    return Get_Cached_File_and_Status(url_or_path, Ordinary_Request, download_error, nullptr, nullptr);
}

std::string CFileCache::Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind,
                                                   bool& download_error, int* http_error, int* file_share_error) {
    const std::lock_guard guard(s_api_mutex);
    TRACE_CALL("url='%s'", url_or_path.c_str());

    Forget_Last_Request();
    Cleanup_Obsolete_Cached_Files();
    download_error = false;
    std::string path_of_file_url;
    const std::string& url = Normalize_if_File_URL(url_or_path, path_of_file_url);
    TRACE_DATA("url_or_path = '%s'.\n", url.c_str());

    if (Is_Local(url)) {
        TRACE_DATA("URL is local.\n");
        if (!m_OS_Wrapper->File_Exists(url)) {
            TRACE_ERROR("Previously cached local file does not exist '%s'.\n", url.c_str());
            return TRACED(std::string());
        }
        TRACE_DATA("Local file exists '%s'.\n", url.c_str());
        return TRACED(url);
    }

    if (Is_File_Share(url) && Is_Left_In_Place(url, request_kind)) {
        return {}; // the one exit that leaves no record
    }

    if (Is_Local(url)) {
        TRACE_BUG();
        TRACE_ERROR("Local file URL is not expected at this point: '%s'.\n", url.c_str());
        return TRACED(std::string());
    }

    if (m_Cache_Directory.empty()) {
        TRACE_ERROR("Cache directory has not been configured.\n");
        return TRACED(std::string());
    }

    if (Cached_File_Still_Fresh(url)) {
        const auto fresh = m_Cache_Entries.find(url);
        if (fresh == m_Cache_Entries.end()) {
            TRACE_BUG();
            TRACE_ERROR("URL '%s' not found in cache.\n", url.c_str());
            return TRACED(std::string());
        }
        return TRACED(fresh->second.cached_file);
    }

    std::string old_cached_file;
    if (const auto old_entry = m_Cache_Entries.find(url); old_entry != m_Cache_Entries.end()) {
        old_cached_file = old_entry->second.cached_file;
        TRACE_DATA("Old cached file: %s\n", old_cached_file.c_str());
    } else {
        TRACE_DATA("No old cached file detected in metadata.\n");
    }

    std::string result;
    if (Is_Inet_URL(url)) {
        TRACE_DATA("Inet URL detected: '%s'.\n", url.c_str());
        result = Get_Cached_Remote_File(url, &CFileCache::Is_Inet_URL_Expired, &CFileCache::Download_Inet_URL,
                                        download_error);
        if (http_error != nullptr) {
            *http_error = m_errHTTPFileDownLoad;
        }
    } else if (Is_File_Share(url)) {
        TRACE_DATA("File share URL detected: '%s'.\n", url.c_str());
        result = Get_Cached_Remote_File(url, &CFileCache::Is_File_Share_Expired, &CFileCache::Download_File_Share,
                                        download_error);
        if (file_share_error != nullptr) {
            *file_share_error = m_errFileShareDownLoad;
        }
    } else {
        TRACE_BUG();
        TRACE_ERROR("Neither local, nor Inet, nor File share. Unexpected at this point. '%s'.\n", url.c_str());
    }

    const bool replaced = !old_cached_file.empty() && Util::Compare_Ignoring_Case(old_cached_file, result) != 0;
    if (replaced && m_OS_Wrapper->File_Exists(old_cached_file)) {
        const bool delete_ok = m_OS_Wrapper->Delete_File(old_cached_file);
        const bool still_exists = m_OS_Wrapper->File_Exists(old_cached_file);
        if (delete_ok && !still_exists) {
            TRACE_DATA("Deleted obsolete cached file: '%s'.\n", old_cached_file.c_str());
        } else {
            TRACE_ERROR("Error deleting obsolete cached file: '%s', delete_ok=%s, still_exists=%s.\n",
                        old_cached_file.c_str(), Shown(delete_ok), Shown(still_exists));
        }
    }

    return TRACED(std::move(result));
}

} // namespace QEL::FrontEnd::FileCache
