#include "filecache/CFileCache.h"

#include "filecache/download/http_request.h"
#include "filecache/download/outcome_codes.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"

#include <algorithm>
#include <fstream>

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
    const std::int64_t end = body.upper_bound + 1;
    TRACE_DATA_AS(method, "lbound = %d, ubound = %d\n", static_cast<int>(body.lower_bound), static_cast<int>(end));
    if (Failed(body.access_result)) {
        TRACE_ERROR_AS(method, "Cannot access safe array, ec3 = %d.\n", body.access_result);
        return false;
    }

    const auto length = static_cast<std::size_t>(std::max<std::int64_t>(end - body.lower_bound, 0));
    Write_Cached_File(method, content_type, {body.data, length}, body.publish, entry);
    entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
    return true;
}

/// Names the copy of a downloaded body and writes it as a text file of the platform, a step of `operation`. A failure
/// to write or close is not reported: the copy then holds what could be written, and is missing where the platform
/// publishes the body.
void CFileCache::Write_Cached_File(const char* operation, const std::string& content_type, std::string_view body,
                                   const Util::Body_Publication& publish, CacheEntry& entry) {
    entry.cached_file = Generate_Cached_File_Name_from_Contents(content_type, body.data(), body.size());
    // GCOVR_EXCL_BR_START: an inspection, which is not recorded, writes nothing
    TRACE_DATA_AS(operation, "cache_entry.cached_file = '%s', Writing contents to the file...\n",
                  entry.cached_file.c_str());
    if (publish) {
        publish(entry.cached_file);
    } else {
        std::ofstream file(entry.cached_file);
        file.write(body.data(), static_cast<std::streamsize>(body.size()));
    }
    TRACE_DATA_AS(operation, "Closed file '%s'.\n", entry.cached_file.c_str());
    // GCOVR_EXCL_BR_STOP
}

std::string CFileCache::Download_Inet_URL(const std::string& url, bool& download_error) {
    TRACE_CALL("url='%s'", url.c_str());
    CacheEntry entry;
    bool ok = false;

    TRACE_DATA("Creatign HTTP request object.\n");
    auto end = Http_Response::End::Abandoned;
    try {
        const Http_Response response = Send_HTTP_Request(Get_Method, url, download_error);
        entry.last_modified = response.last_modified;
        ok = response.end == Http_Response::End::Complete &&
             Save_Response_Body(response.body, response.content_type, entry);
        end = response.end;
    } catch (...) {
        ok = false; // no memory, no name: abandoned like any other
    }
    if (end == Http_Response::End::Refused) {
        // The second client would get the same response.
        return TRACED(std::string());
    }
    if (end == Http_Response::End::Abandoned) {
        TRACE_ERROR("Downloading from URL '%s' failed.\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Download_Failed;
    }

    if (m_Cert_Error_Detected && Process_Inet_URL_By_WinInet(Util::HttpWinInet::Http_Get, url, download_error, entry)) {
        m_errHTTPFileDownLoad = Http_Ok;
        ok = true;
    }

    if (!ok) {
        download_error = true;
        m_errHTTPFileDownLoad = Http_Download_Failed;
        return TRACED(std::string());
    }
    if (entry.cached_file.empty()) {
        download_error = true;
        TRACE_BUG();
        TRACE_ERROR("Unexpected empty cache file name for URL '%s'.\n", url.c_str());
        m_errHTTPFileDownLoad = Http_Copy_Unnamed;
        return {};
    }
    Persist_Downloaded_File_Metadata(url, entry);
    download_error = false;
    TRACE_RETURN("rtn = %s", entry.cached_file.c_str());
    return entry.cached_file;
}

} // namespace QEL::FrontEnd::FileCache
