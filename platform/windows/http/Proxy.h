#pragma once

#include "platform/common/Http_Url.h"

#include <string>

namespace QEL::FrontEnd::Platform {

/// The proxy that settings of the system name for a URL; empty when there is none.
/// @param proxies such as "proxy:8080" or "http=proxy:8080;https=other:8080".
/// @param exemptions hosts that are asked without a proxy: names with wildcards; "<local>" is each name without a dot.
std::string Proxy_In(const std::string& proxies, const std::string& exemptions, const Http_Url& url);

/// The proxy of WinInet's clients, a setting of the user; empty where a script chooses it: that is not asked.
std::string Wininet_Proxy_For(const Http_Url& url);

/// The proxy of the request object, a setting of the machine (netsh winhttp).
std::string Winhttp_Proxy_For(const Http_Url& url);

} // namespace QEL::FrontEnd::Platform
