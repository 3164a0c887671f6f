#include "platform/windows/http/Proxy.h"

#include "platform/windows/Windows_Headers.h"

#include <shlwapi.h>
#include <wininet.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace QEL::FrontEnd::Platform {

namespace {

std::vector<std::string> Entries(const std::string& list) {
    constexpr const char* separators = " \t\r\n;";
    std::vector<std::string> entries;
    for (auto begin = list.find_first_not_of(separators); begin != std::string::npos;) {
        const auto end = std::min(list.find_first_of(separators, begin), list.size());
        entries.push_back(list.substr(begin, end - begin));
        begin = list.find_first_not_of(separators, end);
    }
    return entries;
}

} // namespace

std::string Proxy_In(const std::string& proxies, const std::string& exemptions, const Http_Url& url) {
    for (const auto& exemption : Entries(exemptions)) {
        if (exemption == "<local>" ? url.host.find('.') == std::string::npos
                                   : PathMatchSpecA(url.host.c_str(), exemption.c_str()) != 0) {
            return {};
        }
    }
    for (const auto& proxy : Entries(proxies)) {
        const auto scheme = proxy.find('=');
        if (scheme == std::string::npos || proxy.substr(0, scheme) == url.scheme) {
            return proxy.substr(scheme + 1); // all of it where no scheme is named
        }
    }
    return {};
}

std::string Wininet_Proxy_For(const Http_Url& url) {
    DWORD size = 0;
    InternetQueryOptionA(nullptr, INTERNET_OPTION_PROXY, nullptr, &size);
    std::vector<std::byte> room(std::max<std::size_t>(size, sizeof(INTERNET_PROXY_INFO)));
    size = static_cast<DWORD>(room.size());
    if (InternetQueryOptionA(nullptr, INTERNET_OPTION_PROXY, room.data(), &size) == 0) {
        return {};
    }
    const auto& proxy = *reinterpret_cast<const INTERNET_PROXY_INFO*>(room.data());
    const auto text = [](const char* value) { return std::string(value == nullptr ? "" : value); };
    return proxy.dwAccessType == INTERNET_OPEN_TYPE_PROXY
               ? Proxy_In(text(proxy.lpszProxy), text(proxy.lpszProxyBypass), url)
               : std::string();
}

} // namespace QEL::FrontEnd::Platform
