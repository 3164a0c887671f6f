#pragma once

#include "platform/windows/Windows_Headers.h"

#include <wininet.h>

#include <optional>
#include <string>

namespace QEL::FrontEnd::Platform {

/// An http or https URL, taken apart as a request needs it.
struct Http_Url {
    bool secure = false;
    std::string host;
    INTERNET_PORT port = 0;
    std::string object; ///< path and query
};

/// Takes a URL apart; empty when it is no http or https URL, or holds control characters.
std::optional<Http_Url> Parse_Http_Url(const std::string& url);

/// The URL that a Location header names, seen from the URL that was answered with it; empty when the
/// two do not make a URL.
std::string Resolve_Location(const std::string& base_url, const std::string& location);

} // namespace QEL::FrontEnd::Platform
