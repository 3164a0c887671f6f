#include "util/HttpClient.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/common/Http_Transfer.h"
#include "platform/common/WinInet_Error.h"
#include "util/Cert_Error_Handling.h"
#include "util/Last_Error.h"

namespace QEL::FrontEnd::Util::HttpWinInet {

namespace {

using Platform::Certificate_Trust;
using Platform::Http_Method;

/// What the configuration allows for a URL. The white list holds whole URLs, compared byte for byte.
Certificate_Trust Configured_Trust(const char* url) {
    CertErrorHandlingMode mode = Default;
    std::vector<std::string> white_list;
    Read_CertErrorHandling_Parameters(mode, white_list);
    if (mode == IgnoreAllErrorsMode) {
        return Certificate_Trust::Ignore_All;
    }
    const bool is_listed = std::find(white_list.begin(), white_list.end(), url) != white_list.end();
    return mode == WhiteListMode && is_listed ? Certificate_Trust::Ignore_For_Url : Certificate_Trust::Verify_All;
}

} // namespace

struct HttpClient::Response : Platform::Http_Response {
    Platform::Http_Failure failure;
};

HttpClient::HttpClient() : m_Response(std::make_unique<Response>()) {}

HttpClient::~HttpClient() = default;

Window_Handle HttpClient::GetHWnd() const {
    // The client never shows a dialog.
    return nullptr;
}

void HttpClient::SetCopyDirectory(const std::string& directory) {
    m_Copy_Directory = directory;
}

unsigned long HttpClient::SendWinInetRequest(int http_type, const char* url, Window_Handle, unsigned long timeout) {
    *m_Response = Response();
    const auto fail = [this](Platform::Http_Failure failure) {
        *m_Response = Response{{}, std::move(failure)};
        const auto error = GetError();
        Util::Set_Last_Error(error);
        // A number that no good status is taken for.
        return static_cast<unsigned long>(error / 100 == 2 ? Platform::Error_Internet_Internal_Error : error);
    };
    auto http_url = Platform::Http_Url::Parse(url);
    if (!http_url) {
        return fail({Platform::Error_Internet_Invalid_URL, {}});
    }
    Platform::Http_Request request{http_type == Http_Head ? Http_Method::Head : Http_Method::Get,
                                   *std::move(http_url),
                                   {},
                                   Configured_Trust(url),
                                   m_Copy_Directory};
    if (timeout > 0) {
        request.timeouts.connect = std::chrono::milliseconds(timeout);
    }
    if (auto failure = Platform::Transfer(request, *m_Response)) {
        return fail(*std::move(failure));
    }
    return static_cast<unsigned long>(m_Response->status);
}

std::uint32_t HttpClient::GetError() const {
    return m_Response->failure.error;
}

const std::string& HttpClient::GetErrorDescription() const {
    return m_Response->failure.description;
}

std::string HttpClient::GetResponseHeader(const char* name) const {
    return m_Response->headers.Value(name);
}

std::string HttpClient::GetFinalUrl() const {
    return m_Response->final_url;
}

std::string_view HttpClient::GetResponseBody() const {
    return m_Response->body;
}

Body_Publication HttpClient::GetBodyPublication() const {
    return m_Response->publish_body;
}

} // namespace QEL::FrontEnd::Util::HttpWinInet
