#include "platform/windows/http/Http_Exchange.h"

#include "platform/windows/http/Content_Length.h"
#include "platform/windows/http/Header_Value.h"
#include "platform/windows/http/Http_Url.h"
#include "platform/windows/http/Server_Certificate.h"

#include <algorithm>
#include <array>
#include <utility>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr DWORD Send_Timeout = 30000; // milliseconds

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
    return InternetQueryOptionA(request.Get(), INTERNET_OPTION_SECURITY_FLAGS, &flags, &size) != 0 &&
           Set_Option(request, INTERNET_OPTION_SECURITY_FLAGS, flags | Ignored_Certificate_Errors);
}

} // namespace

bool Http_Exchange::Send(const std::string& url_text, const Http_Order& order) {
    const auto url = Parse_Http_Url(url_text);
    if (!url) {
        SetLastError(ERROR_INTERNET_INVALID_URL);
        return false;
    }
    m_Session = Internet_Handle(InternetOpenA("QELFileCache/1.0", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!m_Session.Is_Open()) {
        return false;
    }
    m_Connection = Internet_Handle(
        InternetConnectA(m_Session.Get(), url->host.c_str(), url->port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    if (!m_Connection.Is_Open()) {
        return false;
    }
    std::array<const char*, 2> any_type = {"*/*", nullptr};
    m_Request = Internet_Handle(HttpOpenRequestA(m_Connection.Get(), order.method, url->object.c_str(), nullptr,
                                                 nullptr, any_type.data(), Request_Flags(url->secure), 0));
    // The client would try five times otherwise, each with the whole time-out.
    if (!m_Request.Is_Open() || !Set_Option(m_Request, INTERNET_OPTION_CONNECT_RETRIES, 1) ||
        !Set_Option(m_Request, INTERNET_OPTION_CONNECT_TIMEOUT, order.connect_timeout) ||
        !Set_Option(m_Request, INTERNET_OPTION_SEND_TIMEOUT, Send_Timeout) ||
        !Set_Option(m_Request, INTERNET_OPTION_RECEIVE_TIMEOUT, order.receive_timeout)) {
        return false;
    }
    if (order.ignore_certificate_errors && url->secure && !Ignore_Certificate_Errors(m_Request)) {
        return false;
    }
    if (HttpSendRequestA(m_Request.Get(), nullptr, 0, nullptr, 0) == 0) {
        return false;
    }
    if (url->secure && !order.ignore_certificate_errors) {
        if (const DWORD fault = Certificate_Fault(m_Request, url->host); fault != ERROR_SUCCESS) {
            SetLastError(fault);
            return false;
        }
    }
    if (Status() == 0) {
        SetLastError(ERROR_HTTP_INVALID_SERVER_RESPONSE);
        return false;
    }
    return true;
}

DWORD Http_Exchange::Status() const {
    DWORD status = 0;
    DWORD size = sizeof(status);
    if (HttpQueryInfoA(m_Request.Get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &size, nullptr) ==
        0) {
        return 0;
    }
    return status;
}

std::string Http_Exchange::Header(const char* name) const {
    // The name of the header goes in where its value comes out.
    std::string value = name;
    DWORD size = 0;
    BOOL found = FALSE;
    do {
        value.resize(std::max<std::size_t>(size, 256));
        value.replace(0, value.find('\0'), name);
        size = static_cast<DWORD>(value.size());
        found = HttpQueryInfoA(m_Request.Get(), HTTP_QUERY_CUSTOM, value.data(), &size, nullptr);
    } while (found == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER);
    value.resize(found == 0 ? 0 : size);
    return Clean_Header_Value(std::move(value));
}

bool Http_Exchange::Read_Body(std::string& body) const {
    body.clear();
    std::array<char, 16384> block;
    DWORD length = 0;
    do {
        if (InternetReadFile(m_Request.Get(), block.data(), static_cast<DWORD>(block.size()), &length) == 0) {
            return false;
        }
        body.append(block.data(), length);
    } while (length > 0);

    if (Content_Length(Header("Content-Length")).value_or(body.size()) != body.size()) {
        SetLastError(ERROR_INTERNET_CONNECTION_ABORTED);
        return false;
    }
    return true;
}

} // namespace QEL::FrontEnd::Platform
