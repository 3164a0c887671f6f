#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "platform/common/Http_Transfer.h"
#include "platform/common/WinInet_Error.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/IRequest_Object.h"
#include "util/Last_Error.h"

namespace QEL::FrontEnd::FileCache {

namespace {

using Platform::Http_Failure;
using Platform::Http_Method;
using Platform::Http_Response;
using Platform::Http_Timeouts;
using Platform::Http_Url;

/// The response is not there yet.
constexpr HResult Pending = static_cast<HResult>(0x8000000A);

/// A time-out as the request object takes it: 0 and -1 are none.
std::chrono::milliseconds Timeout(int value) {
    return std::chrono::milliseconds(std::max(value, 0));
}

std::optional<Http_Method> Method_Of(std::string_view name) {
    if (name == "GET") {
        return Http_Method::Get;
    }
    if (name == "HEAD") {
        return Http_Method::Head;
    }
    return std::nullopt;
}

/// The request object on libcurl.
class Curl_Request_Object final : public IRequest_Object {
public:
    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override;
    HResult Open(const char* method, const std::string& url) override;
    HResult Send() override;
    HResult Get_Status(long& status) override;
    HResult Get_Response_Header(const char* name, std::string& value) override;
    HResult Get_Response_Body(Response_Body& body) override;
    std::string Error_Description(Request_Interface failed_interface) override;

private:
    HResult Fail(Http_Failure failure);
    HResult Fail_Without_Response();

    Http_Timeouts m_Timeouts;
    std::optional<Platform::Http_Request> m_Request;
    std::shared_ptr<const Http_Response> m_Response;
    std::string m_Error_Description;
};

HResult Curl_Request_Object::Fail(Http_Failure failure) {
    m_Error_Description = std::move(failure.description);
    Util::Set_Last_Error(failure.error);
    return Platform::HResult_From_Win32(failure.error);
}

HResult Curl_Request_Object::Fail_Without_Response() {
    m_Error_Description = "There is no response yet. Send the request first.";
    return Pending;
}

HResult Curl_Request_Object::Set_Timeouts(int resolve, int connect, int send, int receive) {
    if (std::min({resolve, connect, send, receive}) < -1) {
        return Fail({Platform::Error_Invalid_Parameter, "A time-out is negative."});
    }
    m_Timeouts = {Timeout(resolve), Timeout(connect), Timeout(send), Timeout(receive)};
    return 0;
}

HResult Curl_Request_Object::Open(const char* method, const std::string& url) {
    m_Request.reset();
    m_Response.reset();
    const auto http_method = Method_Of(method);
    if (!http_method) {
        return Fail({Platform::Error_Invalid_Parameter, "The method of a request is GET or HEAD."});
    }
    auto http_url = Http_Url::Parse(url);
    if (!http_url) {
        return Fail({Platform::Error_Internet_Invalid_URL,
                     "The URL is not valid. Check its spelling: it begins with http:// "
                     "or https:// and the name of a server."});
    }
    m_Request = Platform::Http_Request{*http_method, *std::move(http_url), {}, {}};
    return 0;
}

HResult Curl_Request_Object::Send() {
    m_Response.reset();
    if (!m_Request) {
        m_Error_Description = "There is no request to send. Open one first.";
        return Pending;
    }
    m_Request->timeouts = m_Timeouts;
    auto response = std::make_shared<Http_Response>();
    if (auto failure = Platform::Transfer(*m_Request, *response)) {
        return Fail(*std::move(failure));
    }
    m_Response = std::move(response);
    return 0;
}

HResult Curl_Request_Object::Get_Status(long& status) {
    if (m_Response == nullptr) {
        return Fail_Without_Response();
    }
    status = m_Response->status;
    return 0;
}

HResult Curl_Request_Object::Get_Response_Header(const char* name, std::string& value) {
    if (m_Response == nullptr) {
        return Fail_Without_Response();
    }
    value = m_Response->headers.Value(name);
    return 0;
}

HResult Curl_Request_Object::Get_Response_Body(Response_Body& body) {
    if (m_Response == nullptr) {
        return Fail_Without_Response();
    }
    body = Response_Body();
    body.type = Byte_Array_Type;
    body.dimensions = 1;
    body.upper_bound = static_cast<std::int32_t>(m_Response->body.size()) - 1;
    body.data = m_Response->body.data();
    body.lock = m_Response;
    return 0;
}

std::string Curl_Request_Object::Error_Description(Request_Interface) {
    return m_Error_Description;
}

} // namespace

Request_Object_Creation Create_Request_Object() {
    Request_Object_Creation creation;
    creation.object = std::make_unique<Curl_Request_Object>();
    return creation;
}

} // namespace QEL::FrontEnd::FileCache
