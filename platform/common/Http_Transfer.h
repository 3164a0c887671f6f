#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/common/Http_Request.h"

namespace QEL::FrontEnd::Platform {

/// A way to send requests, with proxy settings of its own.
struct Http_Client {
    std::string name; ///< distinguishes it from the other clients

    /// One request to one server, redirects not followed: the method and time-outs of the request, the URL and the
    /// check of this server. Nothing on success; the response is meaningless after a failure.
    std::function<std::optional<Http_Failure>(const Http_Request& request, const Http_Url& url, Certificate_Check check,
                                              Http_Response& response)>
        exchange;

    /// The proxy that a request goes through, in whatever words; empty when there is none.
    std::function<std::string(const Http_Url& url)> proxy;
};

/// The client of the platform, over libcurl or WinInet.
const Http_Client& Platform_Client();

/// Redirects that one request follows.
inline constexpr int Most_Redirects = 10;

/// Sends a request and reads the whole response. Each request of both clients passes here, on every platform.
///
/// Redirects (301, 302, 303, 307, 308) are followed with the same method to http and https URLs, but
/// never from https to http: such a response, and one that leads to anything else, is the response.
/// Each server that a request is redirected to has the time-outs to itself. One that lately cost time in vain is
/// not asked, see Dead_Servers.
/// @param response that of the last server; meaningless after a failure.
/// @return nothing on success.
std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response,
                                     const Http_Client& client = Platform_Client());

} // namespace QEL::FrontEnd::Platform
