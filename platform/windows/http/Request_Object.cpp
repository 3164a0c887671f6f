#include "util/IRequest_Object.h"

#include "platform/common/Http_Transfer.h"
#include "platform/windows/handles/Com_Values.h"
#include "platform/windows/http/Failed_Attempt.h"
#include "platform/windows/http/Proxy.h"
#include "platform/windows/http/Xml_Http_Interfaces.h"
#include "platform/windows/system/Wide_Text.h"
#include "util/Control_Characters.h"
#include "util/Error_Meaning.h"
#include "util/Non_Copyable.h"

#include <wininet.h>

#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

namespace QEL::FrontEnd::FileCache {

namespace {

using Platform::Bstr;
using Platform::Com_Pointer;
using Platform::Variant;

/// The body of a response, with access to its bytes until the end of its life.
struct Locked_Body : private Util::Non_Copyable {
    Locked_Body() = default;
    ~Locked_Body() {
        if (accessed) {
            SafeArrayUnaccessData(V_ARRAY(&value.Get()));
        }
    }

    Variant value;
    bool accessed = false;
};

/// The error object of the thread, which is taken away from it.
Com_Pointer<IErrorInfo> Take_Error_Info() {
    Com_Pointer<IErrorInfo> error_info;
    GetErrorInfo(0, error_info.Receive());
    return error_info;
}

/// The system's request object behind the interface of the downloads.
class Com_Request_Object : public IRequest_Object {
public:
    explicit Com_Request_Object(Com_Pointer<IServerXMLHTTPRequest> request) : m_Request(std::move(request)) {}

    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override {
        using std::chrono::milliseconds;
        m_Order.timeouts = {milliseconds(resolve), milliseconds(connect), milliseconds(send), milliseconds(receive)};
        return m_Request->setTimeouts(resolve, connect, send, receive);
    }

    HResult Open(const char* method, const std::string& url) override {
        if (Util::Holds_Control_Character(url)) {
            SetLastError(ERROR_INTERNET_INVALID_URL);
            return HRESULT_FROM_WIN32(ERROR_INTERNET_INVALID_URL);
        }
        m_Order.method = std::string_view(method) == "HEAD" ? Platform::Http_Method::Head : Platform::Http_Method::Get;
        // The object may know URLs that nobody else does, and says so when it opens them.
        m_Order.url = Platform::Http_Url::Parse(url).value_or(Platform::Http_Url{url, {}, url, {}});
        const Bstr method_text(Platform::To_Wide(method));
        const Bstr url_text(Platform::To_Wide(url));
        const HResult result = m_Request->open(method_text.Get(), url_text.Get(), Platform::Boolean_Argument(false),
                                               Platform::Omitted_Argument(), Platform::Omitted_Argument());
        if (!Failed(result) && New_Connections::Current() != nullptr) {
            const Bstr name(L"Connection");
            const Bstr value(L"close"); // so the next request cannot use it
            m_Request->setRequestHeader(name.Get(), value.Get());
        }
        return result;
    }

    /// The system's object follows redirects itself.
    HResult Send() override {
        m_Error_Description.reset();
        bool is_sent = false;
        const auto send = [&](const auto&, const auto& url, auto, auto&) {
            is_sent = true;
            return Send_To(url);
        };
        Platform::Http_Response response;
        const auto failure =
            Platform::Transfer(m_Order, response, {"ServerXMLHTTP", send, &Platform::Winhttp_Proxy_For});
        if (failure && !is_sent) {
            m_Error_Description = failure->description;
        }
        return failure ? static_cast<HResult>(failure->error) : S_OK;
    }

    HResult Get_Status(long& status) override { return m_Request->get_status(&status); }

    HResult Get_Response_Header(const char* name, std::string& value) override {
        const Bstr name_text(Platform::To_Wide(name));
        Bstr value_text;
        const HResult result = m_Request->getResponseHeader(name_text.Get(), value_text.Receive());
        value = Platform::Clean_Header_Value(Platform::To_Narrow(value_text.View()));
        if (result == HRESULT_FROM_WIN32(ERROR_HTTP_HEADER_NOT_FOUND)) {
            // An absent header is no failure. What the object says of it would explain the next one.
            Take_Error_Info();
            return S_OK;
        }
        return result;
    }

    HResult Get_Response_Body(Response_Body& body) override {
        const auto locked = std::make_shared<Locked_Body>();
        const HResult result = m_Request->get_responseBody(locked->value.Receive());
        if (Failed(result)) {
            return result;
        }

        body.type = V_VT(&locked->value.Get());
        if (body.type == VT_EMPTY && Has_No_Content()) {
            body.type = Byte_Array_Type;
            body.dimensions = 1;
            body.data = "";
            return result;
        }
        if (body.type != Byte_Array_Type) {
            return result;
        }
        SAFEARRAY* const array = V_ARRAY(&locked->value.Get());
        body.dimensions = SafeArrayGetDim(array);
        if (body.dimensions != 1) {
            return result;
        }
        LONG lower_bound = 0;
        LONG upper_bound = -1;
        body.lower_bound_result = SafeArrayGetLBound(array, 1, &lower_bound);
        body.upper_bound_result = SafeArrayGetUBound(array, 1, &upper_bound);
        if (Failed(body.lower_bound_result) || Failed(body.upper_bound_result)) {
            return result;
        }
        body.lower_bound = lower_bound;
        body.upper_bound = upper_bound;

        void* data = nullptr;
        body.access_result = SafeArrayAccessData(array, &data);
        locked->accessed = !Failed(body.access_result);
        body.data = static_cast<const char*>(data);
        body.lock = locked;
        if (!Is_Cut_Short(body)) {
            return result;
        }
        m_Error_Description =
            Util::Sentences_On_Error(ERROR_INTERNET_CONNECTION_ABORTED, "server " + m_Order.url.Server(), {});
        return HRESULT_FROM_WIN32(ERROR_INTERNET_CONNECTION_ABORTED);
    }

    std::string Final_Url() override {
        Variant reached;
        const bool is_known =
            !Failed(m_Request->getOption(SXH_OPTION_URL, reached.Receive())) && V_VT(&reached.Get()) == VT_BSTR;
        return is_known ? Platform::To_Narrow(V_BSTR(&reached.Get())) : std::string();
    }

    std::string Error_Description(Request_Interface failed_interface) override {
        if (m_Error_Description) {
            return *std::exchange(m_Error_Description, std::nullopt);
        }
        Com_Pointer<IErrorInfo> error_info;
        if (Supports_Error_Info(failed_interface)) {
            error_info = Take_Error_Info();
        }
        if (!error_info) {
            error_info = Take_Error_Info();
        }
        Bstr description;
        if (!error_info || Failed(error_info->GetDescription(description.Receive()))) {
            return {};
        }
        return Platform::To_Narrow(description.View());
    }

private:
    std::optional<Platform::Http_Failure> Send_To(const Platform::Http_Url& url) {
        const auto& dead_servers = Platform::Dead_Servers::Instance();
        const auto began = dead_servers.Now();
        const HResult result = m_Request->send(Platform::Omitted_Argument());
        if (!Failed(result)) {
            return std::nullopt;
        }
        Platform::Http_Failure failure{static_cast<std::uint32_t>(result), {}};
        const auto attempt = Platform::Failed_Attempt(failure.error, dead_servers.Now() - began, m_Order,
                                                      !Platform::Winhttp_Proxy_For(url).empty());
        if (attempt != Platform::Attempt::Failed_Otherwise) {
            // Before the object is asked for anything else, which has a description of its own.
            m_Error_Description = failure.description = Error_Description(Request_Interface::XMLHTTPRequest);
            failure.attempt = Has_Response()       ? Platform::Attempt::Responded
                              : Is_Redirected(url) ? Platform::Attempt::Failed_Otherwise
                                                   : attempt;
        }
        return failure;
    }

    /// True after a failure within the body.
    bool Has_Response() {
        long status = 0;
        return !Failed(m_Request->get_status(&status)) && status != 0;
    }

    /// True when it was another server that failed, to which this one has redirected the request.
    bool Is_Redirected(const Platform::Http_Url& url) {
        const auto reached_url = Platform::Http_Url::Parse(Final_Url());
        return reached_url && reached_url->Origin() != url.Origin();
    }

    /// True for a success with a body of no bytes, which the object may report as no body.
    bool Has_No_Content() {
        long status = 0;
        std::string content_length;
        return !Failed(Get_Status(status)) && status / 100 == 2 &&
               !Failed(Get_Response_Header("Content-Length", content_length)) &&
               Platform::Content_Length(content_length) == 0U;
    }

    /// True when the connection ended before its content length, which the object may take for the
    /// end of the body.
    bool Is_Cut_Short(const Response_Body& body) {
        std::string content_length;
        std::string content_encoding;
        if (Failed(Get_Response_Header("Content-Length", content_length)) ||
            Failed(Get_Response_Header("Content-Encoding", content_encoding)) || !content_encoding.empty()) {
            return false;
        }
        const std::int64_t length = std::int64_t{body.upper_bound} - body.lower_bound + 1;
        return Platform::Content_Length(content_length).value_or(0) > static_cast<std::uint64_t>(length);
    }

    bool Supports_Error_Info(Request_Interface failed_interface) {
        Com_Pointer<ISupportErrorInfo> support;
        if (Failed(m_Request->QueryInterface(IID_ISupportErrorInfo, support.Receive_Untyped()))) {
            return false;
        }
        return support->InterfaceSupportsErrorInfo(failed_interface == Request_Interface::ServerXMLHTTPRequest
                                                       ? Platform::Server_Xml_Http_Request_Id
                                                       : Platform::Xml_Http_Request_Id) == S_OK;
    }

    Com_Pointer<IServerXMLHTTPRequest> m_Request;
    Platform::Http_Request m_Order;
    std::optional<std::string> m_Error_Description; ///< of a failed Send or a cut body, until it is asked for
};

/// Creates the system's server-side request object. Every class context is allowed (23).
HResult Create_Instance(Com_Pointer<IServerXMLHTTPRequest>& request) {
    CLSID class_id;
    if (const HResult result = CLSIDFromProgID(L"Msxml2.ServerXMLHTTP.6.0", &class_id); Failed(result)) {
        return result;
    }
    Com_Pointer<IUnknown> object;
    if (const HResult result = CoCreateInstance(class_id, nullptr, CLSCTX_ALL, IID_IUnknown, object.Receive_Untyped());
        Failed(result)) {
        return result;
    }
    if (const HResult result = OleRun(object.Get()); Failed(result)) {
        return result;
    }
    return object->QueryInterface(Platform::Server_Xml_Http_Request_Id, request.Receive_Untyped());
}

static_assert(CLSCTX_ALL == 23);
static_assert(Byte_Array_Type == (VT_ARRAY | VT_UI1));

} // namespace

Request_Object_Creation Create_Request_Object(const std::string&) {
    Com_Pointer<IServerXMLHTTPRequest> request;
    Request_Object_Creation creation;
    creation.result = Create_Instance(request);
    if (Failed(creation.result)) {
        creation.last_error = GetLastError();
        return creation;
    }
    creation.object = std::make_unique<Com_Request_Object>(std::move(request));
    return creation;
}

} // namespace QEL::FrontEnd::FileCache
