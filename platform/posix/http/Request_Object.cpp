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

/// The request object on libcurl.
class Curl_Request_Object final : public IRequest_Object {
public:
    explicit Curl_Request_Object(std::string copy_directory) : m_Copy_Directory(std::move(copy_directory)) {}

    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override {
        if (std::min({resolve, connect, send, receive}) < -1) {
            return Fail({Platform::Error_Invalid_Parameter, "A time-out is negative."});
        }
        m_Timeouts = {Timeout(resolve), Timeout(connect), Timeout(send), Timeout(receive)};
        return 0;
    }

    HResult Open(const char* method, const std::string& url) override {
        m_Request.reset();
        m_Response.reset();
        m_Opened_Url = url;
        m_Final_Url.clear();
        const bool is_head = std::string_view(method) == "HEAD";
        if (!is_head && std::string_view(method) != "GET") {
            return Fail({Platform::Error_Invalid_Parameter, "The method of a request is GET or HEAD."});
        }
        auto http_url = Http_Url::Parse(url);
        if (!http_url) {
            return Fail({Platform::Error_Internet_Invalid_URL,
                         "The URL is not valid. Check its spelling: it begins with http:// "
                         "or https:// and the name of a server."});
        }
        m_Request = Platform::Http_Request{
            is_head ? Http_Method::Head : Http_Method::Get, *std::move(http_url), {}, {}, m_Copy_Directory};
        return 0;
    }

    HResult Send() override {
        m_Response.reset();
        if (!m_Request) {
            m_Error_Description = "There is no request to send. Open one first.";
            return Pending;
        }
        m_Request->timeouts = m_Timeouts;
        auto response = std::make_shared<Http_Response>();
        auto failure = Platform::Transfer(*m_Request, *response);
        // As it was given, unless it was redirected.
        m_Final_Url = response->final_url == m_Request->url.text ? m_Opened_Url : response->final_url;
        if (failure) {
            return Fail(*std::move(failure));
        }
        m_Response = std::move(response);
        return 0;
    }

    HResult Get_Status(long& status) override {
        return Read_Response([&] { status = m_Response->status; });
    }

    HResult Get_Response_Header(const char* name, std::string& value) override {
        return Read_Response([&] { value = m_Response->headers.Value(name); });
    }

    HResult Get_Response_Body(Response_Body& body) override {
        return Read_Response([&] {
            body = Response_Body();
            body.type = Byte_Array_Type;
            body.dimensions = 1;
            body.upper_bound = static_cast<std::int64_t>(m_Response->body.size()) - 1;
            body.data = m_Response->body.data();
            body.lock = m_Response;
            body.publish = m_Response->publish_body;
        });
    }

    std::string Final_Url() override { return m_Final_Url; }

    long Proxy_Status() override { return m_Proxy_Status; }

    std::string Error_Description(Request_Interface) override { return m_Error_Description; }

private:
    HResult Fail(Http_Failure failure) {
        m_Error_Description = std::move(failure.description);
        m_Proxy_Status = failure.proxy_status;
        Util::Set_Last_Error(failure.error);
        return Platform::HResult_From_Win32(failure.error);
    }

    template <typename Read>
    HResult Read_Response(Read read) {
        if (m_Response == nullptr) {
            m_Error_Description = "There is no response yet. Send the request first.";
            return Pending;
        }
        read();
        return 0;
    }

    const std::string m_Copy_Directory;
    Http_Timeouts m_Timeouts;
    std::optional<Platform::Http_Request> m_Request;
    std::shared_ptr<const Http_Response> m_Response;
    std::string m_Opened_Url;
    std::string m_Final_Url;
    long m_Proxy_Status = 0;
    std::string m_Error_Description;
};

} // namespace

Request_Object_Creation Create_Request_Object(const std::string& copy_directory) {
    Request_Object_Creation creation;
    creation.object = std::make_unique<Curl_Request_Object>(copy_directory);
    return creation;
}

} // namespace QEL::FrontEnd::FileCache
