#include "filecache/download/http_request.h"

#include "filecache/CFileCache.h"
#include "filecache/Process_Wide.h"
#include "filecache/download/Com_Error.h"
#include "filecache/trace_messages.h"
#include "util/HttpClient.h"
#include "util/Registry.h"

#include <algorithm>
#include <limits>

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr int Resolve_Timeout = 60000; // all in milliseconds
constexpr int Send_Timeout = 30000;
constexpr int Receive_Timeout = 30000;
constexpr std::int32_t Default_Connect_Timeout = 60000;
using Http_Request::Milliseconds_Per_Second;

constexpr unsigned long Win32_Facility_Failure = 0x8007;
constexpr unsigned long Unknown_Error = 1003;

void Raise_If_Failed(HResult result, IRequest_Object& request, Request_Interface failed_interface) {
    if (Failed(result)) {
        throw Com_Error(result, request.Error_Description(failed_interface));
    }
}

} // namespace

namespace Http_Request {

void Set_Timeouts(IRequest_Object& request, int connect_timeout) {
    Raise_If_Failed(request.Set_Timeouts(Resolve_Timeout, connect_timeout, Send_Timeout, Receive_Timeout), request,
                    Request_Interface::ServerXMLHTTPRequest);
}

HResult Send(IRequest_Object& request) {
    const HResult result = request.Send();
    Raise_If_Failed(result, request, Request_Interface::XMLHTTPRequest);
    return result;
}

long Status(IRequest_Object& request) {
    long status = 0;
    Raise_If_Failed(request.Get_Status(status), request, Request_Interface::XMLHTTPRequest);
    return status;
}

std::string Response_Header(IRequest_Object& request, const char* name) {
    std::string value;
    Raise_If_Failed(request.Get_Response_Header(name, value), request, Request_Interface::XMLHTTPRequest);
    return value;
}

Response_Body Body(IRequest_Object& request) {
    Response_Body body;
    Raise_If_Failed(request.Get_Response_Body(body), request, Request_Interface::XMLHTTPRequest);
    return body;
}

} // namespace Http_Request

std::unique_ptr<IRequest_Object> CFileCache::Create_HTTP_Request(const char* method) {
    Request_Object_Creation creation = Create_Request_Object();
    if (!creation.object) {
        TRACE_ERROR_AS(method, "Create instance failed for HTTP request object. HR=%d, LE=%d.\n", creation.result,
                       static_cast<int>(creation.last_error));
        throw Request_Abandoned();
    }
    Read_Connect_Timeout();
    Http_Request::Set_Timeouts(*creation.object, m_Connect_Timeout);
    return std::move(creation.object);
}

void CFileCache::Read_Connect_Timeout() {
    if (m_Connect_Timeout != 0) {
        return;
    }
    constexpr int also_machine = 1;
    Util::GetRegValInt(m_Connect_Timeout, Options_Key, Connect_Timeout_Value, also_machine);
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
    const bool host_is_told = m_Cert_Error_Handling_Mode == Util::HttpWinInet::Default ||
                              m_Cert_Error_Handling_Mode == Util::HttpWinInet::WhiteListMode;
    Set_Additional_Error_Info(host_is_told ? error_text : std::string());
}

bool CFileCache::HTTP_Status_OK(long http_status) const {
    TRACE_CALL("http_status=%d\n", static_cast<int>(http_status));
    const bool ok = http_status >= 200 && http_status <= 299;
    TRACE_RETURN("%s", Shown(ok));
    return ok;
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
