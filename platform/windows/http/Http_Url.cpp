#include "platform/windows/http/Http_Url.h"

#include "platform/common/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

std::optional<Http_Url> Parse_Http_Url(const std::string& url) {
    if (Holds_Control_Character(url)) {
        return std::nullopt;
    }

    // Lengths without buffers ask for pointers into the URL.
    URL_COMPONENTSA parts{};
    parts.dwStructSize = sizeof(parts);
    parts.dwHostNameLength = 1;
    parts.dwUrlPathLength = 1;
    parts.dwExtraInfoLength = 1;
    if (InternetCrackUrlA(url.c_str(), static_cast<DWORD>(url.size()), 0, &parts) == 0) {
        return std::nullopt;
    }
    const bool is_web = parts.nScheme == INTERNET_SCHEME_HTTP || parts.nScheme == INTERNET_SCHEME_HTTPS;
    if (!is_web || parts.dwHostNameLength == 0) {
        return std::nullopt;
    }

    Http_Url parsed;
    parsed.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    parsed.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    parsed.port = parts.nPort;
    parsed.object.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    if (parts.dwExtraInfoLength > 0) {
        // The fragment is for the client alone.
        const std::string extra(parts.lpszExtraInfo, parts.dwExtraInfoLength);
        parsed.object += extra.substr(0, extra.find('#'));
    }
    return parsed;
}

std::string Resolve_Location(const std::string& base_url, const std::string& location) {
    std::string url(INTERNET_MAX_URL_LENGTH, '\0');
    DWORD length = static_cast<DWORD>(url.size());
    if (InternetCombineUrlA(base_url.c_str(), location.c_str(), url.data(), &length, ICU_BROWSER_MODE) == 0) {
        return {};
    }
    url.resize(length);
    return url;
}

} // namespace QEL::FrontEnd::Platform
