#pragma once

#include <string>

#include "platform/common/Http_Url.h"

namespace QEL::FrontEnd::Platform {

/// The proxy through which libcurl sends a request, as its variable (http_proxy, https_proxy, all_proxy) names it;
/// empty when there is none or no_proxy exempts the server.
///
/// libcurl does not say which proxy it took before the connection stands, so its rules are applied here once more.
std::string Proxy_For(const Http_Url& url);

} // namespace QEL::FrontEnd::Platform
