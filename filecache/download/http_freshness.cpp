#include "filecache/CFileCache.h"

#include "filecache/download/Com_Error.h"
#include "filecache/download/http_request.h"
#include "filecache/download/outcome_codes.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"
#include "util/Last_Error.h"

namespace QEL::FrontEnd::FileCache {

bool CFileCache::Is_Inet_URL_Expired(const std::string& url, bool& check_error) {
    TRACE_CALL("url='%s'", url.c_str());
    m_errHTTPFileDownLoad = Http_Ok;
    check_error = false;

    if (!m_Cache_Entries.contains(url)) {
        TRACE_BUG();
        TRACE_ERROR("Unexpectedly checking if a non-existing URL is expired '%s'.\n", url.c_str());
        TRACE_RETURN("%s", Shown(true));
        return true;
    }

    std::string last_modified;
    try {
        const std::unique_ptr<IRequest_Object> request = Create_HTTP_Request(__func__);

        TRACE_DATA("Opening HTTP HEAD request with URL '%s'.\n", url.c_str());
        if (const HResult opened = request->Open("HEAD", url); Failed(opened)) {
            const std::uint32_t last_error = Util::Get_Last_Error();
            TRACE_ERROR("HEAD HTTP request failed. HR=%d, LE=%d.\n", opened, static_cast<int>(last_error));
            throw Request_Abandoned();
        }

        TRACE_DATA("Sending HTTP HEAD request with URL '%s'.\n", url.c_str());
        const HResult sent = Http_Request::Send(*request);

        long status = Http_Request::Status(*request);
        TRACE_DATA("HTTP status = %d.\n", static_cast<int>(status));
        status = Http_Request::Status(*request);
        m_Cert_Error_Detected = Util::HttpWinInet::HttpClient::IsErrorInRange(static_cast<std::uint32_t>(status));
        if (m_Cert_Error_Detected) {
            const std::uint32_t last_error = Util::Get_Last_Error();
            check_error = true;
            TRACE_ERROR("Sending of HTTP HEAD request failed. HR=%d, LE=%d.\n", sent, static_cast<int>(last_error));
            throw Request_Abandoned();
        }

        status = Http_Request::Status(*request);
        TRACE_DATA("HTTP status = %d.\n", static_cast<int>(status));
        if (!HTTP_Status_OK(status)) {
            check_error = true;
            TRACE_ERROR("HTTP HEAD request failed with status %d. try to download/read the file directly, therefore "
                        "expired = true.\n",
                        static_cast<int>(status));
            TRACE_RETURN("%s", Shown(true));
            m_errHTTPFileDownLoad = Http_Check_Failed;
            return true;
        }

        last_modified = Http_Request::Response_Header(*request, "Last-Modified");
        TRACE_DATA("Last-Modified header: '%s'.\n", last_modified.c_str());
    } catch (const Com_Error& error) {
        m_errHTTPFileDownLoad = Http_Check_Failed;
        const std::string error_text = com_error_to_string(error, url);
        const auto error_number = static_cast<std::uint32_t>(win32_from_hresult(error.Error()));
        TRACE_ERROR("COM exception: \n %s \nWin32 error code: %d\n", error_text.c_str(),
                    static_cast<int>(error_number));
        Note_Transport_Error(error_number, error_text);
    } catch (...) {
        TRACE_ERROR("HEAD request from URL '%s' failed. try to download/read the file direct.\n", url.c_str());
        TRACE_RETURN("%s", Shown(true));
        m_errHTTPFileDownLoad = Http_Check_Failed;
        if (!m_Cert_Error_Detected) {
            return true;
        }
    }

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
        TRACE_RETURN("%s", Shown(true));
        return true;
    }
    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        TRACE_BUG();
        TRACE_ERROR("Could not find cached entry for checked URL: '%s'\n", url.c_str());
        TRACE_RETURN("%s", Shown(true));
        return true;
    }
    CacheEntry& entry = found->second;
    if (entry.cached_file.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Cached file is unexpectedly unnamed: '%s'\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Copy_Unnamed;
        TRACE_RETURN("%s", Shown(true));
        return true;
    }
    if (last_modified == entry.last_modified) {
        entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
        Serialize();
        TRACE_DATA("Modification time is the same. Still fresh URL '%s'/'%s'\n", url.c_str(),
                   entry.cached_file.c_str());
        TRACE_RETURN("%s", Shown(false));
        return false;
    }
    TRACE_DATA("Cache entry needs updating for URL '%s', last modified URL = '%s', old cache entry: %s\n", url.c_str(),
               last_modified.c_str(), entry.To_String().c_str());
    TRACE_RETURN("%s", Shown(true));
    return true;
}

} // namespace QEL::FrontEnd::FileCache
