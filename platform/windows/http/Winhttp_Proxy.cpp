#include "platform/windows/http/Proxy.h"

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/system/Wide_Text.h"

#include <winhttp.h> // which cannot be included beside <wininet.h>

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
