#pragma once

#include <string>
#include <string_view>

#include "platform/common/Http_Url.h"

namespace QEL::FrontEnd::Platform {

/// The proxy through which a request is sent, as its variable (http_proxy, https_proxy, all_proxy) names it; empty when
/// there is none or no_proxy exempts the server. By libcurl's rules, which does not say which proxy it would take.
std::string Proxy_For(const Http_Url& url);

/// The variable that names it.
std::string Proxy_Variable(const Http_Url& url);

/// A proxy as a message may show it, such as "proxy:3128": its variable may hold user and password. Empty for a value
/// that names none.
std::string Host_And_Port(std::string_view proxy);

} // namespace QEL::FrontEnd::Platform
