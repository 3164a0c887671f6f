#include "filecache/CFileCache.h"

#include "filecache/download/Com_Error.h"
#include "filecache/download/cached_file_writer.h"
#include "filecache/download/http_request.h"
#include "filecache/download/outcome_codes.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"
#include "util/Last_Error.h"

#include <algorithm>

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr std::uint32_t Byte_Array_Dimensions = 1;

} // namespace

/// Checks what the request object claims of the body, names the copy and writes it.
/// A step of Download_Inet_URL, and traced as such.
bool CFileCache::Save_Response_Body(const Response_Body& body, const std::string& content_type, CacheEntry& entry) {
    constexpr const char* method = "Download_Inet_URL";
    if (body.type != Byte_Array_Type) {
        TRACE_ERROR_AS(method, "Wrong variant type %d, expecting byte array (%d).\n", static_cast<int>(body.type),
                       static_cast<int>(Byte_Array_Type));
        return false;
    }
    TRACE_DATA_AS(method, "Response body is of correct type - byte array.\n");
    TRACE_DATA_AS(method, "dims = %d\n", static_cast<int>(body.dimensions));
    if (body.dimensions != Byte_Array_Dimensions) {
        TRACE_ERROR_AS(method, "Wrong dimensions - %d, expecting 1.\n", static_cast<int>(body.dimensions));
        return false;
    }
    if (Failed(body.lower_bound_result) || Failed(body.upper_bound_result)) {
        TRACE_ERROR_AS(method, "Cannot get lbound or ubound, ec1 = %d, ec2 = %d.\n", body.lower_bound_result,
                       body.upper_bound_result);
        return false;
    }
    const std::int64_t end = std::int64_t{body.upper_bound} + 1;
    TRACE_DATA_AS(method, "lbound = %d, ubound = %d\n", body.lower_bound, static_cast<int>(end));
    if (Failed(body.access_result)) {
        TRACE_ERROR_AS(method, "Cannot access safe array, ec3 = %d.\n", body.access_result);
        return false;
    }

    const auto length = static_cast<std::size_t>(std::max<std::int64_t>(end - body.lower_bound, 0));
    entry.cached_file = Generate_Cached_File_Name_from_Contents(content_type, body.data, length);
    TRACE_DATA_AS(method, "cache_entry.cached_file = '%s', Writing contents to the file...\n",
                  entry.cached_file.c_str());
    Write_Cached_File(entry.cached_file, body.data, length);
    TRACE_DATA_AS(method, "Closed file '%s'.\n", entry.cached_file.c_str());
    return true;
}

std::string CFileCache::Download_Inet_URL(const std::string& url, bool& download_error) {
    TRACE_CALL("url='%s'", url.c_str());
    const std::string nothing;
    CacheEntry entry;
    bool ok = false;

    TRACE_DATA("Creatign HTTP request object.\n");
    try {
        const std::unique_ptr<IRequest_Object> request = Create_HTTP_Request(__func__);

        TRACE_DATA("Opening HTTP GET request with URL '%s'.\n", url.c_str());
        if (const HResult opened = request->Open("GET", url); Failed(opened)) {
            const std::uint32_t last_error = Util::Get_Last_Error();
            TRACE_ERROR("GET HTTP request failed. HR=%d, LE=%d.\n", opened, static_cast<int>(last_error));
            throw Request_Abandoned();
        }

        TRACE_DATA("Sending HTTP GET request with URL '%s'.\n", url.c_str());
        const HResult sent = Http_Request::Send(*request);

        long status = Http_Request::Status(*request);
        TRACE_DATA("HTTP status = %d.\n", static_cast<int>(status));
        status = Http_Request::Status(*request);
        m_Cert_Error_Detected = Util::HttpWinInet::HttpClient::IsErrorInRange(static_cast<std::uint32_t>(status));
        if (m_Cert_Error_Detected) {
            const std::uint32_t last_error = Util::Get_Last_Error();
            download_error = true;
            TRACE_ERROR("Sending of GET HTTP request failed. HR=%d, LE=%d.\n", sent, static_cast<int>(last_error));
            throw Request_Abandoned();
        }

        status = Http_Request::Status(*request);
        TRACE_DATA("HTTP status = %d.\n", static_cast<int>(status));
        if (!HTTP_Status_OK(status)) {
            // The server has answered: the second client would get the same answer.
            download_error = true;
            TRACE_ERROR("HTTP GET request failed with status %d. On HTTP error we cannot download the file.\n",
                        static_cast<int>(status));
            TRACE_RETURN("%s", Shown(nothing));
            m_errHTTPFileDownLoad = Http_Download_Failed;
            return nothing;
        }

        std::string last_modified = Http_Request::Response_Header(*request, "Last-Modified");
        TRACE_DATA("Last-Modified header: '%s'.\n", last_modified.c_str());
        const std::string content_type = Http_Request::Response_Header(*request, "Content-Type");
        TRACE_DATA("Content-Type header: '%s'.\n", content_type.c_str());

        ok = Save_Response_Body(Http_Request::Body(*request), content_type, entry);
        if (ok) {
            entry.last_modified = std::move(last_modified);
            entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
        }
    } catch (const Com_Error& error) {
        m_errHTTPFileDownLoad = Http_Download_Failed;
        const std::string error_text = com_error_to_string(error, url);
        const auto error_number = static_cast<std::uint32_t>(win32_from_hresult(error.Error()));
        TRACE_ERROR("COM exception: \n %s \nWin32 error code: %d", error_text.c_str(), static_cast<int>(error_number));
        Note_Transport_Error(error_number, error_text);
        ok = false;
    } catch (...) {
        TRACE_ERROR("Downloading from URL '%s' failed.\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Download_Failed;
        ok = false;
    }

    if (m_Cert_Error_Detected && Process_Inet_URL_By_WinInet(Util::HttpWinInet::Http_Get, url, download_error, entry)) {
        m_errHTTPFileDownLoad = Http_Ok;
        ok = true;
    }

    if (!ok) {
        download_error = true;
        m_errHTTPFileDownLoad = Http_Download_Failed;
        TRACE_RETURN("%s", Shown(nothing));
        return nothing;
    }
    if (entry.cached_file.empty()) {
        download_error = true;
        TRACE_BUG();
        TRACE_ERROR("Unexpected empty cache file name for URL '%s'.\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Copy_Unnamed;
        return nothing;
    }
    Persist_Downloaded_File_Metadata(url, entry);
    download_error = false;
    TRACE_RETURN("rtn = %s", entry.cached_file.c_str());
    return entry.cached_file;
}

} // namespace QEL::FrontEnd::FileCache
