#pragma once

#include <string>

#include "platform/common/Http_Url.h"

namespace QEL::FrontEnd::Platform {

/// The proxy through which a request is sent, as its variable (http_proxy, https_proxy, all_proxy) names it; empty when
/// there is none or no_proxy exempts the server. By libcurl's rules, which does not say which proxy it would take.
std::string Proxy_For(const Http_Url& url);

} // namespace QEL::FrontEnd::Platform
