#include "filecache/CFileCache.h"

#include "filecache/download/http_request.h"
#include "filecache/download/outcome_codes.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"

namespace QEL::FrontEnd::FileCache {

bool CFileCache::Is_Inet_URL_Expired(const std::string& url, bool& check_error) {
    TRACE_CALL("url='%s'", url.c_str());
    m_errHTTPFileDownLoad = Http_Ok;
    check_error = false;

    if (!m_Cache_Entries.contains(url)) {
        TRACE_BUG();
        TRACE_ERROR("Unexpectedly checking if a non-existing URL is expired '%s'.\n", url.c_str());
        return TRACED(true);
    }

    Http_Response response;
    try {
        response = Send_HTTP_Request(Head_Method, url, check_error);
    } catch (...) {
        // Without memory the request is abandoned like any other.
    }
    if (response.end == Http_Response::End::Refused) {
        return TRACED(true);
    }
    if (response.end == Http_Response::End::Abandoned) {
        TRACE_ERROR("HEAD request from URL '%s' failed. try to download/read the file direct.\n", url.c_str());
        TRACE_RETURN("%s", Shown(true));
        m_errHTTPFileDownLoad = Http_Check_Failed;
        if (!m_Cert_Error_Detected) {
            return true;
        }
    }
    std::string& last_modified = response.last_modified;

    if (m_Cert_Error_Detected) {
        CacheEntry remote;
        if (Process_Inet_URL_By_WinInet(Util::HttpWinInet::Http_Head, url, check_error, remote)) {
            m_errHTTPFileDownLoad = Http_Ok;
            last_modified = remote.last_modified;
            TRACE_DATA("Last-Modified header: '%s'.\n", last_modified.c_str());
        }
    }

    if (last_modified.empty()) {
        TRACE_WARNING("Last-Modified header is empty.\n");
        return TRACED(true);
    }
    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        TRACE_BUG();
        TRACE_ERROR("Could not find cached entry for checked URL: '%s'\n", url.c_str());
        return TRACED(true);
    }
    CacheEntry& entry = found->second;
    if (entry.cached_file.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Cached file is unexpectedly unnamed: '%s'\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Copy_Unnamed;
        return TRACED(true);
    }
    if (last_modified == entry.last_modified) {
        entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
        Serialize();
        TRACE_DATA("Modification time is the same. Still fresh URL '%s'/'%s'\n", url.c_str(),
                   entry.cached_file.c_str());
        return TRACED(false);
    }
    TRACE_DATA("Cache entry needs updating for URL '%s', last modified URL = '%s', old cache entry: %s\n", url.c_str(),
               last_modified.c_str(), entry.To_String().c_str());
    return TRACED(true);
}

} // namespace QEL::FrontEnd::FileCache
