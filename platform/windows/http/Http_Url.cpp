#include "platform/common/Http_Url.h"

#include "platform/windows/Windows_Headers.h"
#include "util/Ascii.h"
#include "util/Control_Characters.h"

#include <wininet.h>

#include <algorithm>
#include <utility>

namespace QEL::FrontEnd::Platform {

std::optional<Http_Url> Http_Url::Parse(std::string_view text) {
    if (Util::Holds_Control_Character(text) || text.find("://") == std::string_view::npos) {
        return std::nullopt;
    }

    // A length without a buffer asks for a pointer into the URL.
    URL_COMPONENTSA parts{};
    parts.dwStructSize = sizeof(parts);
    parts.dwHostNameLength = 1;
    if (InternetCrackUrlA(text.data(), static_cast<DWORD>(text.size()), 0, &parts) == 0) {
        return std::nullopt;
    }
    const bool is_web = parts.nScheme == INTERNET_SCHEME_HTTP || parts.nScheme == INTERNET_SCHEME_HTTPS;
    if (!is_web || parts.dwHostNameLength == 0) {
        return std::nullopt;
    }
    std::string host(parts.lpszHostName, parts.dwHostNameLength);
    std::ranges::transform(host, host.begin(), Util::To_Ascii_Lower);
    return Http_Url{std::string(text), parts.nScheme == INTERNET_SCHEME_HTTPS ? "https" : "http", std::move(host),
                    std::to_string(parts.nPort)};
}

} // namespace QEL::FrontEnd::Platform
