#include "platform/posix/http/Proxy.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <arpa/inet.h>
#include <netdb.h>

#include "util/Ascii.h"
#include "util/Configuration_Source.h"
#include "util/IRequest_Object.h"
#include "util/Process.h"

namespace QEL::FrontEnd::Platform {

namespace {

/// The first of the variables that is not empty, and its value.
Util::Configured_Value Variable(std::initializer_list<const char*> names) {
    for (const char* const name : names) {
        if (auto value = Util::Environment_Variable(name); !value.empty()) {
            return {name, std::move(value)};
        }
    }
    return {};
}

/// An IPv4 address as a number; nothing for any other text.
std::optional<std::uint32_t> Ipv4_Address(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 ? std::optional(ntohl(address.s_addr)) : std::nullopt;
}

/// Whether the address belongs to the network, such as 10.0.0.0/8, or is the only one that is named.
bool Is_Of_Network(std::uint32_t address, const std::string& network) {
    const auto slash = std::min(network.find('/'), network.size());
    const auto wanted = Ipv4_Address(network.substr(0, slash));
    const int bits = slash == network.size() ? 0 : std::atoi(network.c_str() + slash + 1);
    if (!wanted || bits < 0 || bits > 32) {
        return false;
    }
    return bits == 0 ? *wanted == address : (*wanted ^ address) >> (32 - bits) == 0;
}

/// Whether the host has the name, or one below it.
bool Is_Of_Domain(std::string_view host, std::string_view domain) {
    host.remove_suffix(host.ends_with('.') ? 1 : 0);
    domain.remove_suffix(domain.ends_with('.') ? 1 : 0);
    domain.remove_prefix(domain.starts_with('.') ? 1 : 0);
    if (domain.empty() || domain.size() > host.size()) {
        return false;
    }
    const auto above = host.size() - domain.size();
    return Util::Equals_Ignoring_Case(host.substr(above), domain) && (above == 0 || host[above - 1] == '.');
}

/// IPv6 addresses are compared as names.
bool Is_Exempt(const std::string& host, std::string_view exemptions) {
    if (exemptions == "*") {
        return true;
    }
    const auto address = Ipv4_Address(host);
    const auto name = host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
    constexpr std::string_view separators = " \t,";
    while (!exemptions.empty()) {
        const auto length = std::min(exemptions.find_first_of(separators), exemptions.size());
        const std::string entry(exemptions.substr(0, length));
        if (address ? Is_Of_Network(*address, entry) : Is_Of_Domain(name, entry)) {
            return true;
        }
        exemptions.remove_prefix(std::min(length + 1, exemptions.size()));
    }
    return false;
}

/// The variable that decides, and the proxy that it names; no proxy for a server that it exempts.
Util::Configured_Value Find(const Http_Url& url) {
    // HTTP_PROXY is not asked for: a web server sets it for its programs to what a client has sent.
    auto proxy = url.Is_Https() ? Variable({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
                                : Variable({"http_proxy", "all_proxy", "ALL_PROXY"});
    const auto exemptions = proxy.text.empty() ? proxy : Variable({"no_proxy", "NO_PROXY"});
    return Is_Exempt(url.host, exemptions.text) ? Util::Configured_Value{exemptions.place, {}} : proxy;
}

} // namespace

std::string Proxy_For(const Http_Url& url) {
    return Find(url).text;
}

std::string Proxy_Variable(const Http_Url& url) {
    return Find(url).place;
}

std::string Host_And_Port(std::string_view proxy) {
    const auto scheme = proxy.find("://");
    proxy.remove_prefix(scheme == std::string_view::npos ? 0 : scheme + 3);
    const auto login_size = proxy.rfind('@') + 1;
    const auto end = proxy.find_first_of("/?#");
    // Before '@' one of these belongs to a password, which libcurl would take for the proxy's address.
    const bool names_host = end >= login_size && !proxy.substr(login_size).starts_with(':');
    return names_host ? std::string(proxy.substr(login_size, end - login_size)) : std::string();
}

} // namespace QEL::FrontEnd::Platform

std::optional<QEL::FrontEnd::Util::Configured_Value> QEL::FrontEnd::Util::Find_Proxy(const std::string& url) {
    const auto http_url = Platform::Http_Url::Parse(url);
    auto found = http_url ? Platform::Find(*http_url) : Configured_Value();
    found.text = Platform::Host_And_Port(found.text);
    return found;
}

std::vector<std::string> QEL::FrontEnd::FileCache::Addresses_Of_Server(const std::string& url) {
    const auto http_url = Platform::Http_Url::Parse(url);
    if (!http_url || !Platform::Proxy_For(*http_url).empty()) {
        return {};
    }
    const std::string& host = http_url->host;
    const std::string name = host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
    addrinfo hints{};
    hints.ai_flags = AI_ADDRCONFIG; // none of a kind that this machine cannot reach
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0) {
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    std::vector<std::string> addresses;
    for (const auto* next = found; next != nullptr; next = next->ai_next) {
        char text[NI_MAXHOST] = "";
        ::getnameinfo(next->ai_addr, next->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
        if (std::find(addresses.begin(), addresses.end(), text) == addresses.end()) {
            addresses.emplace_back(text);
        }
    }
    return addresses;
}
