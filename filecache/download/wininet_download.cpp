#include "filecache/CFileCache.h"

#include "filecache/download/outcome_codes.h"
#include "filecache/last_results.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"

#include <algorithm>

namespace QEL::FrontEnd::FileCache {

using Util::HttpWinInet::Http_Get;
using Util::HttpWinInet::Http_Head;
using Util::HttpWinInet::HttpClient;

namespace {

constexpr std::uint32_t Invalid_Url = 12005; // as the client reports it

} // namespace

// The modes differ on purpose in what they reset: only Default flags the failure itself and leaves
// the outcome code of a success to the caller; only Default and a white-listed URL empty the text
// for the host.
bool CFileCache::Process_Inet_URL_By_WinInet(int http_type, const std::string& url, bool& download_error,
                                             CacheEntry& entry) {
    Util::HttpWinInet::Read_CertErrorHandling_Parameters(m_Cert_Error_Handling_Mode, m_Cert_Error_Parameters);

    bool ok = false;
    switch (m_Cert_Error_Handling_Mode) {
    case Util::HttpWinInet::Default:
        TRACE_ERROR("CertErrorHandlingMode: 'Default'.\n");
        ok = Download_Inet_URL_By_WinInet(http_type, url, download_error, entry);
        if (ok) {
            Set_Additional_Error_Info({});
        } else {
            download_error = true;
            m_errHTTPFileDownLoad = Http_Download_Failed;
        }
        break;
    case Util::HttpWinInet::WhiteListMode: {
        TRACE_ERROR("CertErrorHandlingMode: 'WhiteListMode'.\n");
        const auto listed = std::find(m_Cert_Error_Parameters.begin(), m_Cert_Error_Parameters.end(), url);
        if (listed == m_Cert_Error_Parameters.end()) {
            TRACE_ERROR("URL not found in while-list. URL: %s\n", url.c_str());
            break;
        }
        TRACE_ERROR("URL was found in while list. Downloading with ignoring certificate errors. URL: '%s'\n",
                    url.c_str());
        ok = Download_Inet_URL_By_WinInet(http_type, url, download_error, entry);
        Set_Additional_Error_Info({});
        m_errHTTPFileDownLoad = ok ? Http_Ok : Http_Download_Failed;
        break;
    }
    case Util::HttpWinInet::IgnoreAllErrorsMode:
        TRACE_ERROR("CertErrorHandlingMode: 'IgnoreAllErrorsMode'.\n");
        TRACE_ERROR("Downloading with ignoring all certificate errors. URL: '%s'\n", url.c_str());
        ok = Download_Inet_URL_By_WinInet(http_type, url, download_error, entry);
        m_errHTTPFileDownLoad = ok ? Http_Ok : Http_Download_Failed;
        break;
    }

    TRACE_ERROR("Download_Inet_URL_By_WinInet: ok: %d, download_error: %d, m_errHTTPFileDownLoad: %d.\n",
                static_cast<int>(ok), static_cast<int>(download_error), m_errHTTPFileDownLoad);
    return ok;
}

bool CFileCache::Download_Inet_URL_By_WinInet(int http_type, const std::string& url, bool& download_error,
                                              CacheEntry& entry) try {
    TRACE_CALL("url='%s'", url.c_str());
    TRACE_DATA("Opening and sending HTTP request with URL '%s'.\n", url.c_str());
    TRACE_DATA("HTTP type: '%s'.\n", http_type == Http_Head ? "HEAD" : "GET");
    TRACE_DATA("Timeout is: '%d'.\n", m_Connect_Timeout);

    HttpClient client;
    client.SetCopyDirectory(m_Cache_Directory);
    // The client would take a URL with a NUL for the shorter one before it.
    const bool is_cut = url.find('\0') != std::string::npos;
    const unsigned long status = is_cut ? Invalid_Url
                                        : client.SendWinInetRequest(http_type, url.c_str(), client.GetHWnd(),
                                                                    static_cast<unsigned long>(m_Connect_Timeout));
    TRACE_DATA("HTTP status = %d.\n", static_cast<int>(status));
    const std::uint32_t error = is_cut ? Invalid_Url : client.GetError();
    if (error == 0) {
        Note_Status(static_cast<long>(status));
    } else {
        Note_Error(error, client.GetErrorDescription());
    }
    if (!HTTP_Status_OK(static_cast<long>(status))) {
        TRACE_ERROR("HTTP request failed with status %d. On HTTP error we cannot download the file.\n",
                    static_cast<int>(status));
        TRACE_RETURN("%s", Shown(false));
        m_errHTTPFileDownLoad = http_type == Http_Head ? Http_Check_Failed : Http_Download_Failed;
        download_error = true;
        return false;
    }

    entry.last_modified = client.GetResponseHeader("Last-Modified");
    TRACE_DATA("Last-Modified header: '%s'.\n", entry.last_modified.c_str());
    entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();

    if (http_type == Http_Get) {
        const std::string content_type = client.GetResponseHeader("Content-Type");
        TRACE_DATA("Content-Type header: '%s'.\n", content_type.c_str());
        Write_Cached_File(__func__, content_type, client.GetResponseBody(), client.GetBodyPublication(), entry);
    }
    download_error = false;
    return true;
} catch (...) { // an attempt that failed like any other: the last good copy is served
    TRACE_ERROR("Downloading from URL '%s' failed.\n", url.c_str());
    TRACE_RETURN("%s", Shown(false));
    m_errHTTPFileDownLoad = http_type == Http_Head ? Http_Check_Failed : Http_Download_Failed;
    download_error = true;
    return false;
}

} // namespace QEL::FrontEnd::FileCache
