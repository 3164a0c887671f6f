#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/common/Dead_Servers.h"
#include "platform/common/Http_Url.h"
#include "platform/common/Response_Headers.h"
#include "util/Body_Publication.h"

namespace QEL::FrontEnd::Platform {

enum class Http_Method { Get, Head };

/// How long each step of a request may take; 0 is no limit.
struct Http_Timeouts {
    std::chrono::milliseconds resolve{60000}; ///< looking up the server's name
    std::chrono::milliseconds connect{60000}; ///< the connection, over all addresses of the name
    std::chrono::milliseconds send{30000};    ///< until the server's system has acknowledged the request
    /// Each of: the TLS handshake; from the request to the end of the response's headers; from one
    /// packet of the body to the next.
    std::chrono::milliseconds receive{30000};
};

/// Which certificates have to be valid.
enum class Certificate_Trust {
    Verify_All,     ///< every server's
    Ignore_For_Url, ///< every server's that the URL redirects to, not that of the URL itself
    Ignore_All      ///< none
};

/// Whether one server's certificate has to be valid.
enum class Certificate_Check { Verify, Ignore };

/// What a client wants.
struct Http_Request {
    Http_Method method = Http_Method::Get;
    Http_Url url;
    Http_Timeouts timeouts;
    Certificate_Trust trust = Certificate_Trust::Verify_All;
    std::string copy_directory = {}; ///< where the body will be saved
};

struct Http_Response {
    long status = 0;
    Response_Headers headers;
    std::string_view body = "";               ///< its data is never null
    std::shared_ptr<const void> body_owner;   ///< holds the bytes
    Util::Body_Publication publish_body = {}; ///< empty where the bytes have to be written
    std::string redirect_url;                 ///< where the response sends the client to; empty when nowhere
    std::string final_url; ///< what it is the response for, or the target of a redirect that is not followed
};

/// Why a request has no response.
struct Http_Failure {
    std::uint32_t error = 0;                     ///< WinInet error number, or another Win32 error code
    std::string description;                     ///< cause and what to check, for the user; one line without its end
    Attempt attempt = Attempt::Failed_Otherwise; ///< what it says of the server
    long proxy_status = 0;                       ///< with which a proxy has refused the connection
};

} // namespace QEL::FrontEnd::Platform
