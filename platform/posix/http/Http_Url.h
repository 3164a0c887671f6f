#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// A URL that a request can be sent to: http or https, with a host, without control characters.
class Http_Url {
public:
    /// Nothing for any other text. Spaces and bytes above 0x7F are percent-encoded, as they are on
    /// the way to the server.
    static std::optional<Http_Url> Parse(std::string_view text);

    const std::string& Text() const { return m_Text; }

    bool Is_Https() const { return m_Scheme == "https"; }

    /// Scheme, host and port, lower case: what a connection is made to.
    std::string Origin() const { return m_Scheme + "://" + m_Host + ":" + m_Port; }

    /// Host and port for messages, such as "server.example (port 443)".
    std::string Server() const { return m_Host + " (port " + m_Port + ")"; }

    const std::string& Host() const { return m_Host; }

private:
    Http_Url() = default;

    static std::optional<Http_Url> Parse_Once(std::string_view text);

    std::string m_Text;
    std::string m_Scheme;
    std::string m_Host;
    std::string m_Port;
};

} // namespace QEL::FrontEnd::Platform
