#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// A URL that a request can be sent to: http or https, with a host, without control characters.
struct Http_Url {
    /// The platform takes the text apart; nothing for any other text.
    static std::optional<Http_Url> Parse(std::string_view text);

    bool Is_Https() const { return scheme == "https"; }

    /// Scheme, host and port: what a connection is made to.
    std::string Origin() const { return scheme + "://" + host + ":" + port; }

    /// Host and port for messages, such as "server.example (port 443)".
    std::string Server() const { return host + " (port " + port + ")"; }

    std::string text;   ///< as it is sent: on Linux spaces and bytes above 0x7F are percent-encoded
    std::string scheme; ///< lower case
    std::string host;   ///< lower case
    std::string port;   ///< in decimal, the scheme's own where the text has none
};

} // namespace QEL::FrontEnd::Platform
