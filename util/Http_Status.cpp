#include "util/Http_Status.h"

#include "util/Error_Meaning.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace QEL::FrontEnd::Util {

namespace {

struct Status_Meaning {
    long first;
    long last;
    std::string_view cause;
    std::string_view remedy;
};

constexpr std::string_view no_such_request = "the server does not support this kind of request";
constexpr std::string_view server_log = "read the server's log";

/// The first one that fits counts.
constexpr Status_Meaning status_meanings[] = {
    {204, 204, "no content: the response holds no file", "check the address, and what the server has there"},
    {206, 206, "a part of the file, not the file", "read the log of the server and of the proxies between"},
    {200, 299, "success", ""},
    {304, 304, "not modified, a response that only a browser can use", "check the server and the proxies between"},
    {300, 399, "a redirect that is not followed", "use the address that the server redirects to"},
    {400, 400, "bad request", "check the address"},
    {401, 401, "a login is required, and the cache has none", "let this machine read the file without a login"},
    {403, 403, "forbidden", "let this machine read the file"},
    {404, 404, "not found", "check the address, letter case too, and whether the file is published"},
    {405, 405, no_such_request, "allow GET and HEAD on the server"},
    {Proxy_Login_Required, Proxy_Login_Required, "the proxy requires a login",
     "have the proxy let this machine through without a login, or exempt the server from it"},
    {408, 408, "the server waited too long for the request", "check the network, and try again"},
    {410, 410, "the file is gone", "publish it again, or request another one"},
    {416, 416, "the server has no such part of the file, though the cache asks for none",
     "check the server and the proxies between"},
    {421, 421, "the server does not serve this name", "check the server's names, and the proxies between"},
    {429, 429, "too many requests", "allow this machine more requests, or ask less often"},
    {501, 501, no_such_request, "allow GET and HEAD on the server"},
    {502, 502, "bad gateway", "check the server behind the gateway or proxy"},
    {503, 503, "the service is not available", "try again later"},
    {504, 504, "the gateway got no response in time", "check the server behind the gateway or proxy"},
    {505, 505, "the server does not support this version of HTTP", "let it support HTTP/1.1"},
    {511, 511, "the network requires a login", "log in to the network with a browser"},
    {600, 999, "no valid status", server_log},
    {500, 999, "internal error of the server", server_log},
    {0, 999, "the server refuses the request", server_log},
};

const Status_Meaning& Find(long status) {
    return *std::find_if(
        std::begin(status_meanings), std::end(status_meanings) - 1,
        [status](const Status_Meaning& meaning) { return status >= meaning.first && status <= meaning.last; });
}

/// The address without its fragment, with a path, and with the characters that stand behind "%".
std::string Plain_Address(std::string address) {
    address.erase(std::min(address.find('#'), address.size()));
    for (auto percent = address.find('%'); percent != std::string::npos; percent = address.find('%', percent + 1)) {
        unsigned int character = 0;
        const char* const digits = address.data() + percent + 1;
        const char* const end = address.data() + std::min(percent + 3, address.size());
        if (std::from_chars(digits, end, character, 16).ptr - digits == 2) {
            address.replace(percent, 3, 1, static_cast<char>(character));
        }
    }
    const bool has_path = address.find('/', address.find("//") + 2) != std::string::npos;
    return has_path ? address : address + '/';
}

} // namespace

std::string_view Meaning_Of_Status(long status) {
    return Find(status).cause;
}

std::string_view Remedy_For_Status(long status) {
    return Find(status).remedy;
}

std::string Cause_Of_Status(long status, std::string_view subject) {
    const std::string number = std::to_string(status);
    const std::string meaning(Meaning_Of_Status(status));
    std::string cause = "the " + std::string(subject);
    constexpr std::string_view proxy = "the proxy";
    if (status == Proxy_Login_Required && cause.starts_with(proxy)) {
        cause += meaning.substr(proxy.size()) + " (status " + number + ")";
    } else {
        cause += " responds with status " + number + " (" + meaning + ")";
    }
    return cause;
}

std::string Sentences_On_Status(long status, std::string_view subject, const std::string& detail) {
    return Sentences(Cause_Of_Status(status, subject) + detail, Remedy_For_Status(status));
}

std::string Redirection(const std::string& asked_url, const std::string& reached_url) {
    const bool is_the_same = Plain_Address(reached_url) == Plain_Address(asked_url);
    if (is_the_same || reached_url.empty()) {
        return {};
    }
    return "; the request was redirected to '" + reached_url + "'";
}

} // namespace QEL::FrontEnd::Util
