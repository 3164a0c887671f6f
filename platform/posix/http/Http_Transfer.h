#pragma once

#include <optional>

#include "platform/posix/http/Http_Exchange.h"

namespace QEL::FrontEnd::Platform {

/// Which certificates have to hold.
enum class Certificate_Trust {
    Verify_All,     ///< every server's
    Ignore_For_Url, ///< every server's that the URL redirects to, not that of the URL itself
    Ignore_All      ///< none
};

/// The failure of a URL that no request can be sent to.
Http_Failure Invalid_Url_Failure();

struct Http_Request {
    Http_Method method;
    Http_Url url;
    Http_Timeouts timeouts;
    Certificate_Trust trust = Certificate_Trust::Verify_All;
};

/// Redirects that one request follows.
inline constexpr int Most_Redirects = 10;

/// Sends a request and reads the whole answer, on a connection of the process's pool.
///
/// Redirects (301, 302, 303, 307, 308) are followed with the same method to http and https URLs, but
/// never from https to http: such an answer, and one that leads to anything else, is the answer.
/// Each server that a request is redirected to has the time-outs to itself.
/// @param answer that of the last server; meaningless after a failure.
/// @return nothing on success.
std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& answer);

} // namespace QEL::FrontEnd::Platform
