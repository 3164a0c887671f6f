#include "platform/windows/http/Proxy.h"

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/system/Wide_Text.h"

#include <winhttp.h> // which cannot be included beside <wininet.h>

#include "util/Configuration_Source.h"
#include "util/IRequest_Object.h"

#include <memory>

namespace QEL::FrontEnd::Platform {

std::string Winhttp_Proxy_For(const Http_Url& url) {
    WINHTTP_PROXY_INFO proxy{};
    if (WinHttpGetDefaultProxyConfiguration(&proxy) == 0) {
        return {};
    }
    const auto free = [](void* text) { GlobalFree(text); };
    const std::unique_ptr<wchar_t, decltype(free)> proxies(proxy.lpszProxy);
    const std::unique_ptr<wchar_t, decltype(free)> exemptions(proxy.lpszProxyBypass);
    const auto text = [](const wchar_t* value) { return value == nullptr ? std::string() : To_Narrow(value); };
    return Proxy_In(text(proxies.get()), text(exemptions.get()), url);
}

} // namespace QEL::FrontEnd::Platform

std::optional<QEL::FrontEnd::Util::Configured_Value> QEL::FrontEnd::Util::Find_Proxy(const std::string& url) {
    const auto http_url = Platform::Http_Url::Parse(url);
    if (!http_url) {
        return std::nullopt;
    }
    const std::string proxy = Platform::Winhttp_Proxy_For(*http_url);
    return Configured_Value{"netsh winhttp", proxy.substr(proxy.rfind('@') + 1)};
}

std::vector<std::string> QEL::FrontEnd::FileCache::Addresses_Of_Server(const std::string&) {
    return {};
}
