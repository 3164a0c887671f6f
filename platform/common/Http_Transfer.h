#pragma once

#include <functional>
#include <optional>

#include "platform/common/Http_Request.h"

namespace QEL::FrontEnd::Platform {

/// One request to one server, redirects not followed: the method and time-outs of the request, the URL and the
/// check of this server. Nothing on success; the response is meaningless after a failure.
using Http_Exchange_Function = std::optional<Http_Failure>(const Http_Request& request, const Http_Url& url,
                                                           Certificate_Check check, Http_Response& response);

/// The exchange of the platform, over libcurl or WinInet.
Http_Exchange_Function Exchange;

/// Redirects that one request follows.
inline constexpr int Most_Redirects = 10;

/// Sends a request and reads the whole response. Each request of both clients passes here, on every platform.
///
/// Redirects (301, 302, 303, 307, 308) are followed with the same method to http and https URLs, but
/// never from https to http: such a response, and one that leads to anything else, is the response.
/// Each server that a request is redirected to has the time-outs to itself.
/// @param response that of the last server; meaningless after a failure.
/// @return nothing on success.
std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response);

/// The same with a client's own exchange.
std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response,
                                     const std::function<Http_Exchange_Function>& exchange);

} // namespace QEL::FrontEnd::Platform
