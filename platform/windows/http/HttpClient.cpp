#include "util/HttpClient.h"

#include "platform/windows/http/Http_Exchange.h"
#include "platform/windows/http/Http_Url.h"
#include "util/Cert_Error_Handling.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::Util::HttpWinInet {

namespace {

using Platform::Http_Exchange;
using Platform::Http_Order;

constexpr int Most_Redirects = 10;

bool Is_Redirect(DWORD status) {
    switch (status) {
    case HTTP_STATUS_MOVED:
    case HTTP_STATUS_REDIRECT:
    case HTTP_STATUS_REDIRECT_METHOD:
    case HTTP_STATUS_REDIRECT_KEEP_VERB:
    case 308:
        return true;
    default:
        return false;
    }
}

/// Whose certificate errors the configuration lets a request ignore.
enum class Certificate_Trust { None, Only_The_Url, Every_Url };

Certificate_Trust Configured_Trust(const char* url) {
    CertErrorHandlingMode mode = Default;
    std::vector<std::string> white_list;
    Read_CertErrorHandling_Parameters(mode, white_list);
    if (mode == IgnoreAllErrorsMode) {
        return Certificate_Trust::Every_Url;
    }
    const bool is_listed = std::find(white_list.begin(), white_list.end(), url) != white_list.end();
    return mode == WhiteListMode && is_listed ? Certificate_Trust::Only_The_Url : Certificate_Trust::None;
}

/// Where to go on; empty when the answer is the last one.
std::string Redirect_Target(const std::string& url, const Http_Exchange& exchange) {
    const std::string location = Is_Redirect(exchange.Status()) ? exchange.Header("Location") : std::string();
    if (location.empty()) {
        return {};
    }
    std::string target = Platform::Resolve_Location(url, location);
    const auto from = Platform::Parse_Http_Url(url);
    const auto to = Platform::Parse_Http_Url(target);
    return to && !(from->secure && !to->secure) ? target : std::string();
}

/// The last error as the answer to a failed request: a number that no HTTP status is taken for.
DWORD Transport_Error() {
    const DWORD error = GetLastError();
    if (error == WSAETIMEDOUT) {
        return ERROR_INTERNET_TIMEOUT;
    }
    return HttpClient::IsErrorInRange(error) ? error : ERROR_INTERNET_INTERNAL_ERROR;
}

} // namespace

struct HttpClient::Answer {
    Http_Exchange exchange;
    std::string body;
};

HttpClient::HttpClient() : m_Answer(std::make_unique<Answer>()) {}

HttpClient::~HttpClient() = default;

Window_Handle HttpClient::GetHWnd() const {
    // The client never shows a dialog.
    return nullptr;
}

unsigned long HttpClient::SendWinInetRequest(int http_type, const char* url, Window_Handle /*window*/,
                                             unsigned long timeout) {
    const bool is_head = http_type == Http_Head;
    const Certificate_Trust trust = Configured_Trust(url);
    Http_Order order;
    order.method = is_head ? "HEAD" : "GET";
    order.connect_timeout = timeout;
    order.ignore_certificate_errors = trust != Certificate_Trust::None;

    std::string current_url = url;
    for (int redirects = 0;; ++redirects) {
        *m_Answer = Answer();
        if (!m_Answer->exchange.Send(current_url, order)) {
            return Transport_Error();
        }
        std::string target = Redirect_Target(current_url, m_Answer->exchange);
        if (target.empty()) {
            break;
        }
        if (redirects == Most_Redirects) {
            return ERROR_HTTP_REDIRECT_FAILED;
        }
        current_url = std::move(target);
        order.ignore_certificate_errors = trust == Certificate_Trust::Every_Url;
    }

    // Nobody wants the body of an error.
    const DWORD status = m_Answer->exchange.Status();
    const bool wants_body = !is_head && status >= 200 && status <= 299;
    const bool is_complete = !wants_body || m_Answer->exchange.Read_Body(m_Answer->body);
    return is_complete ? status : Transport_Error();
}

std::string HttpClient::GetResponseHeader(const char* name) const {
    return m_Answer->exchange.Header(name);
}

std::string_view HttpClient::GetResponseBody() const {
    return m_Answer->body;
}

} // namespace QEL::FrontEnd::Util::HttpWinInet
