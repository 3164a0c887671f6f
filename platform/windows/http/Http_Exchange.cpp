#include "platform/common/Http_Transfer.h"
#include "platform/windows/handles/Unique_Handle.h"
#include "platform/windows/http/Proxy.h"
#include "platform/windows/http/Server_Certificate.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace QEL::FrontEnd::Platform {

namespace {

// An authority that nobody knows, another host's name, a date out of range, a certificate for another use,
// and a revocation list that cannot be had: one of one's own making mostly has several of them at once.
constexpr DWORD Ignored_Certificate_Errors = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                                             SECURITY_FLAG_IGNORE_CERT_DATE_INVALID | SECURITY_FLAG_IGNORE_WRONG_USAGE |
                                             SECURITY_FLAG_IGNORE_REVOCATION;

bool Set_Option(const Internet_Handle& handle, DWORD option, DWORD value) {
    return InternetSetOptionA(handle.Get(), option, &value, sizeof(value)) != 0;
}

DWORD Request_Flags(bool secure) {
    const DWORD flags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_PRAGMA_NOCACHE |
                        INTERNET_FLAG_NO_COOKIES | INTERNET_FLAG_NO_UI | INTERNET_FLAG_NO_AUTO_REDIRECT |
                        INTERNET_FLAG_KEEP_CONNECTION;
    return secure ? flags | INTERNET_FLAG_SECURE : flags;
}

bool Ignore_Certificate_Errors(const Internet_Handle& request) {
    DWORD flags = 0;
    DWORD size = sizeof(flags);
    if (InternetQueryOptionA(request.Get(), INTERNET_OPTION_SECURITY_FLAGS, &flags, &size) == 0) {
        return false;
    }
    flags |= Ignored_Certificate_Errors;
    // Old systems know no weak signatures.
    return Set_Option(request, INTERNET_OPTION_SECURITY_FLAGS, flags | SECURITY_FLAG_IGNORE_WEAK_SIGNATURE) ||
           Set_Option(request, INTERNET_OPTION_SECURITY_FLAGS, flags);
}

/// A server may ask for a certificate of the client and do without: sent again, the request goes without one.
bool Send(const Internet_Handle& request) {
    const auto send = [&] { return HttpSendRequestA(request.Get(), nullptr, 0, nullptr, 0) != 0; };
    return send() || (GetLastError() == ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED && send());
}

/// Path and query of a URL. The fragment is for the client alone.
std::string Request_Target(const Http_Url& url) {
    const auto begin = url.text.find_first_of("/\\?#", url.text.find("://") + 3);
    return begin == std::string::npos ? std::string() : url.text.substr(begin, url.text.find('#', begin) - begin);
}

/// Information about the response, as WinInet has it; empty when there is none.
std::string Query(const Internet_Handle& request, DWORD what) {
    DWORD size = 0;
    HttpQueryInfoA(request.Get(), what, nullptr, &size, nullptr);
    std::string text(size, '\0');
    if (HttpQueryInfoA(request.Get(), what, text.data(), &size, nullptr) == 0) {
        return {};
    }
    text.resize(size);
    return text;
}

long Status(const Internet_Handle& request) {
    DWORD status = 0;
    DWORD size = sizeof(status);
    HttpQueryInfoA(request.Get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &size, nullptr);
    return static_cast<long>(status);
}

Response_Headers Headers(const Internet_Handle& request) {
    Response_Headers headers;
    const std::string text = Query(request, HTTP_QUERY_RAW_HEADERS_CRLF);
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find("\r\n", begin), text.size());
        headers.Add_Line(std::string_view(text).substr(begin, end - begin));
        begin = end + 2;
    }
    return headers;
}

/// The URL that a Location header names, seen from the URL of its response; empty when the
/// two do not make a URL. For one that is too long the system may hand out the base.
std::string Resolve_Location(const std::string& base_url, const std::string& location) {
    std::string url(INTERNET_MAX_URL_LENGTH, '\0');
    auto length = static_cast<DWORD>(url.size());
    if (location.empty() || location.size() >= url.size() ||
        InternetCombineUrlA(base_url.c_str(), location.c_str(), url.data(), &length, ICU_BROWSER_MODE) == 0) {
        return {};
    }
    url.resize(length);
    const bool is_too_long = url == base_url && base_url.size() + location.size() >= INTERNET_MAX_URL_LENGTH;
    return is_too_long ? std::string() : url;
}

/// The last error of WinInet as a failure.
Http_Failure Last_Failure() {
    const DWORD error = GetLastError();
    return {error == WSAETIMEDOUT ? ERROR_INTERNET_TIMEOUT : error, {}};
}

/// How far a request has come.
enum class Stage { Unconnected, Connected, Sent };

void CALLBACK Enter_Stage(HINTERNET, DWORD_PTR stage, DWORD status, void*, DWORD) {
    if (stage != 0 && status == INTERNET_STATUS_CONNECTED_TO_SERVER) {
        *reinterpret_cast<Stage*>(stage) = Stage::Connected;
    } else if (stage != 0 && status == INTERNET_STATUS_SENDING_REQUEST) {
        *reinterpret_cast<Stage*>(stage) = Stage::Sent;
    }
}

/// The last error of WinInet as the failure of a request that has no response.
Http_Failure Failure_At(Stage stage, const Http_Url& url) {
    auto failure = Last_Failure();
    if (stage == Stage::Sent) {
        failure.attempt = failure.error == ERROR_INTERNET_TIMEOUT ? Attempt::Silent : Attempt::Failed_Otherwise;
    } else {
        failure.attempt = stage == Stage::Connected || Wininet_Proxy_For(url).empty() ? Attempt::Server_Unreached
                                                                                      : Attempt::Proxy_Unreached;
    }
    return failure;
}

Http_Failure Cut_Body(DWORD error) {
    return {error, {}, Attempt::Responded};
}

/// Reads the whole body. Fails when the connection ended before the content length.
std::optional<Http_Failure> Read_Body(const Internet_Handle& request, Http_Response& response) {
    const auto body = std::make_shared<std::string>();
    std::array<char, 16384> block;
    DWORD length = 0;
    do {
        if (InternetReadFile(request.Get(), block.data(), static_cast<DWORD>(block.size()), &length) == 0) {
            return Cut_Body(Last_Failure().error);
        }
        body->append(block.data(), length);
    } while (length > 0);
    if (Content_Length(response.headers.Value("Content-Length")).value_or(body->size()) != body->size()) {
        return Cut_Body(ERROR_INTERNET_CONNECTION_ABORTED);
    }
    response.body = *body;
    response.body_owner = body;
    return std::nullopt;
}

// No cache or cookie is used, and no dialog is shown.
std::optional<Http_Failure> Exchange(const Http_Request& request, const Http_Url& url, Certificate_Check check,
                                     Http_Response& response) {
    auto stage = Stage::Unconnected; // outlives the handles, which report to it
    const Internet_Handle session(InternetOpenA("QELFileCache/1.0", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!session.Is_Open()) {
        return Last_Failure();
    }
    InternetSetStatusCallbackA(session.Get(), &Enter_Stage);
    const auto context = reinterpret_cast<DWORD_PTR>(&stage);
    const Internet_Handle connection(InternetConnectA(session.Get(), url.host.c_str(),
                                                      static_cast<INTERNET_PORT>(std::stoul(url.port)), nullptr,
                                                      nullptr, INTERNET_SERVICE_HTTP, 0, context));
    if (!connection.Is_Open()) {
        return Last_Failure();
    }
    std::array<const char*, 2> any_type = {"*/*", nullptr};
    const bool is_head = request.method == Http_Method::Head;
    const Internet_Handle exchange(HttpOpenRequestA(connection.Get(), is_head ? "HEAD" : "GET",
                                                    Request_Target(url).c_str(), nullptr, nullptr, any_type.data(),
                                                    Request_Flags(url.Is_Https()), context));
    const auto set_timeout = [&](DWORD option, std::chrono::milliseconds timeout) {
        return Set_Option(exchange, option, static_cast<DWORD>(timeout.count()));
    };
    // The client would try five times otherwise, each with the whole time-out.
    if (!exchange.Is_Open() || !Set_Option(exchange, INTERNET_OPTION_CONNECT_RETRIES, 1) ||
        !set_timeout(INTERNET_OPTION_CONNECT_TIMEOUT, request.timeouts.connect) ||
        !set_timeout(INTERNET_OPTION_SEND_TIMEOUT, request.timeouts.send) ||
        !set_timeout(INTERNET_OPTION_RECEIVE_TIMEOUT, request.timeouts.receive)) {
        return Last_Failure();
    }
    const bool verifies = check == Certificate_Check::Verify;
    if (url.Is_Https() && !verifies && !Ignore_Certificate_Errors(exchange)) {
        return Last_Failure();
    }
    if (!Send(exchange)) {
        return Failure_At(stage, url);
    }
    if (url.Is_Https() && verifies) {
        if (const DWORD fault = Certificate_Fault(exchange, url.host); fault != ERROR_SUCCESS) {
            return Http_Failure{fault, {}};
        }
    }
    response.status = Status(exchange);
    if (response.status == 0) {
        return Http_Failure{ERROR_HTTP_INVALID_SERVER_RESPONSE, {}};
    }
    response.headers = Headers(exchange);
    response.redirect_url = Resolve_Location(url.text, response.headers.Value("Location"));
    // Nobody wants the body of an error.
    const bool wants_body = !is_head && response.status >= 200 && response.status <= 299;
    return wants_body ? Read_Body(exchange, response) : std::nullopt;
}

} // namespace

const Http_Client& Platform_Client() {
    static const auto& s_client = *new Http_Client{"WinInet", &Exchange, &Wininet_Proxy_For};
    return s_client;
}

} // namespace QEL::FrontEnd::Platform
