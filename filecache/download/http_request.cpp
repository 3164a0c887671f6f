#include "filecache/download/http_request.h"

#include "filecache/CFileCache.h"
#include "filecache/download/Com_Error.h"
#include "filecache/last_results.h"
#include "filecache/trace_messages.h"
#include "util/Configuration_Values.h"
#include "util/HttpClient.h"
#include "util/Http_Status.h"
#include "util/Last_Error.h"
#include "util/Registry.h"

#include <algorithm>
#include <limits>

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr int Resolve_Timeout = 60000; // all in milliseconds
constexpr int Send_Timeout = 30000;
constexpr int Receive_Timeout = 30000;
constexpr std::int32_t Default_Connect_Timeout = 60000;

constexpr unsigned long Win32_Facility_Failure = 0x8007;
constexpr unsigned long Unknown_Error = 1003;

} // namespace

// The order of the calls and records is fixed, and so is that the status is read three times.
Http_Response CFileCache::Send_HTTP_Request(const Request_Method& method, const std::string& url, bool& error) {
    const char* const recorded_as = method.is_inspection ? nullptr : method.operation;
    Http_Response response;
    const std::unique_ptr<IRequest_Object> request = Create_HTTP_Request(method.operation);
    if (!request) {
        return response;
    }
    const auto succeeded = [&](HResult result, Request_Interface callee = Request_Interface::XMLHTTPRequest) {
        if (Failed(result)) {
            response.end = Http_Response::End::Failed;
            response.last_modified.clear();
            response.error = static_cast<std::uint32_t>(win32_from_hresult(result));
            response.error_text = request->Error_Description(callee);
            const std::string text = com_error_to_string(Com_Error(result, response.error_text), url);
            m_errHTTPFileDownLoad = method.failure;
            TRACE_ERROR_AS(recorded_as, "COM exception: \n %s \nWin32 error code: %d%s", text.c_str(),
                           static_cast<int>(response.error), method.error_end);
            Note_Transport_Error(response.error, text);
            const long refusal = request->Proxy_Status();
            response.status = refusal != 0 ? refusal : response.status;
            Note_Error(response.error, response.error_text, refusal);
        }
        return !Failed(result);
    };
    if (!succeeded(request->Set_Timeouts(Resolve_Timeout, m_Connect_Timeout, Send_Timeout, Receive_Timeout),
                   Request_Interface::ServerXMLHTTPRequest)) {
        return response;
    }

    TRACE_DATA_AS(recorded_as, "Opening HTTP %s request with URL '%s'.\n", method.name, url.c_str());
    if (const HResult opened = request->Open(method.name, url); Failed(opened)) {
        const std::uint32_t last_error = Util::Get_Last_Error();
        TRACE_ERROR_AS(recorded_as, "%s HTTP request failed. HR=%d, LE=%d.\n", method.name, opened,
                       static_cast<int>(last_error));
        response.error = static_cast<std::uint32_t>(win32_from_hresult(opened));
        if (method.is_inspection) { // nobody else takes the object's description away
            response.error_text = request->Error_Description(Request_Interface::XMLHTTPRequest);
        }
        Note_Error(response.error, response.error_text);
        return response;
    }

    TRACE_DATA_AS(recorded_as, "Sending HTTP %s request with URL '%s'.\n", method.name, url.c_str());
    const HResult sent = request->Send();
    long status = 0;
    if (!succeeded(sent) || !succeeded(request->Get_Status(status))) {
        if (method.is_inspection) {
            response.final_url = request->Final_Url();
        }
        return response;
    }
    TRACE_DATA_AS(recorded_as, "HTTP status = %d.\n", static_cast<int>(status));
    if (!succeeded(request->Get_Status(status))) {
        return response;
    }
    m_Cert_Error_Detected = Util::HttpWinInet::HttpClient::IsErrorInRange(static_cast<std::uint32_t>(status));
    if (m_Cert_Error_Detected) {
        const std::uint32_t last_error = Util::Get_Last_Error();
        error = true;
        TRACE_ERROR_AS(recorded_as, "Sending of %s request failed. HR=%d, LE=%d.\n", method.sending, sent,
                       static_cast<int>(last_error));
        response.error = static_cast<std::uint32_t>(status);
        Note_Error(response.error, {});
        return response;
    }
    if (!succeeded(request->Get_Status(status))) {
        return response;
    }
    TRACE_DATA_AS(recorded_as, "HTTP status = %d.\n", static_cast<int>(status));
    response.status = status;
    Note_Status(status);
    response.accepted = HTTP_Status_OK(status);
    if (!response.accepted) {
        error = true;
        TRACE_ERROR_AS(recorded_as, "HTTP %s request failed with status %d. %s\n", method.name,
                       static_cast<int>(status), method.refusal);
        m_errHTTPFileDownLoad = method.failure;
        response.end = Http_Response::End::Refused;
        Note_Status(status, Util::Sentences_On_Status(status, "server", Util::Redirection(url, request->Final_Url())));
        if (!method.is_inspection) {
            return response;
        }
    }

    if (!succeeded(request->Get_Response_Header("Last-Modified", response.last_modified))) {
        return response;
    }
    TRACE_DATA_AS(recorded_as, "Last-Modified header: '%s'.\n", response.last_modified.c_str());
    if (method.has_body) {
        if (!succeeded(request->Get_Response_Header("Content-Type", response.content_type))) {
            return response;
        }
        // GCOVR_EXCL_BR_START: an inspection, which is not recorded, has no body
        TRACE_DATA_AS(recorded_as, "Content-Type header: '%s'.\n", response.content_type.c_str());
        // GCOVR_EXCL_BR_STOP
        if (!succeeded(request->Get_Response_Body(response.body))) {
            return response;
        }
    }
    if (method.is_inspection) {
        request->Get_Response_Header("Content-Type", response.content_type);
        request->Get_Response_Header("Content-Encoding", response.content_encoding);
        if (response.content_encoding.empty()) {
            request->Get_Response_Header("Content-Length", response.content_length);
        }
        request->Get_Response_Header("Age", response.age);
        request->Get_Response_Header("Via", response.via);
        response.final_url = request->Final_Url();
    }
    if (response.accepted) {
        response.end = Http_Response::End::Complete;
    }
    return response;
}

/// Creates the request object and sees that there is a connect time-out; null when there is no such object.
std::unique_ptr<IRequest_Object> CFileCache::Create_HTTP_Request(const char* method) {
    Request_Object_Creation creation = Create_Request_Object(m_Cache_Directory);
    if (!creation.object) {
        // GCOVR_EXCL_BR_START: always under a name
        TRACE_ERROR_AS(method, "Create instance failed for HTTP request object. HR=%d, LE=%d.\n", creation.result,
                       static_cast<int>(creation.last_error));
        // GCOVR_EXCL_BR_STOP
        return nullptr;
    }
    Read_Connect_Timeout();
    return std::move(creation.object);
}

void CFileCache::Read_Connect_Timeout() {
    if (m_Connect_Timeout != 0) {
        return;
    }
    constexpr int also_machine = 1;
    Util::GetRegValInt(m_Connect_Timeout, Util::Options_Key, Util::Connect_Timeout_Value, also_machine);
    if (m_Connect_Timeout <= 0) {
        m_Connect_Timeout = Default_Connect_Timeout;
        return;
    }
    constexpr std::int32_t longest = std::numeric_limits<std::int32_t>::max() / Milliseconds_Per_Second;
    m_Connect_Timeout = std::min(m_Connect_Timeout, longest) * Milliseconds_Per_Second;
}

void CFileCache::Note_Transport_Error(std::uint32_t error_number, const std::string& error_text) {
    m_Cert_Error_Detected = Util::HttpWinInet::HttpClient::IsErrorInRange(error_number);
    if (!m_Cert_Error_Detected) {
        return;
    }
    Util::HttpWinInet::Read_CertErrorHandling_Parameters(m_Cert_Error_Handling_Mode, m_Cert_Error_Parameters);
    const bool host_is_informed = m_Cert_Error_Handling_Mode == Util::HttpWinInet::Default ||
                                  m_Cert_Error_Handling_Mode == Util::HttpWinInet::WhiteListMode;
    Set_Additional_Error_Info(host_is_informed ? error_text : std::string());
}

bool CFileCache::HTTP_Status_OK(long http_status) const {
    TRACE_CALL("http_status=%d\n", static_cast<int>(http_status));
    const bool ok = http_status >= 200 && http_status <= 299;
    return TRACED(ok);
}

unsigned long CFileCache::win32_from_hresult(long hr) const {
    if (hr == 0) {
        return 0;
    }
    const auto bits = static_cast<std::uint32_t>(hr);
    return bits >> 16 == Win32_Facility_Failure ? bits & 0xFFFF : Unknown_Error;
}

const std::string CFileCache::com_error_to_string(const Com_Error& e, const std::string& file) const {
    return Get_Msg_Separator() + "\nFile: " + file + "\nDescription: " + e.Description() + "\n";
}

} // namespace QEL::FrontEnd::FileCache
