#pragma once

#include <string>
#include <string_view>

namespace QEL::FrontEnd::Util {

/// The meaning of an HTTP status, such as "not found", or of its class if the status is unknown.
std::string_view Meaning_Of_Status(long status);

/// What to do about a status, such as "check the address"; empty for a success.
std::string_view Remedy_For_Status(long status);

/// "the server h (port 80) responds with status 404 (not found)"; 407 is a proxy's: "the proxy h:8080 requires ...".
std::string Cause_Of_Status(long status, std::string_view subject);

/// Cause and remedy in sentences: "The server h (port 80) responds with status 404 (not found). Check the address."
/// @param detail an addition to the cause; may be empty.
std::string Sentences_On_Status(long status, std::string_view subject, const std::string& detail = {});

/// "; the request was redirected to 'http://server/'"; empty when the address that was reached is the one asked for.
std::string Redirection(const std::string& asked_url, const std::string& reached_url);

inline constexpr long Proxy_Login_Required = 407;

/// True when a status concerns HEAD requests only: a download may still succeed.
inline constexpr bool Refuses_Head_Alone(long status) {
    return status == 405 || status == 501;
}

/// True when a response with this status has no file, or a part of one.
inline constexpr bool Is_Without_Whole_File(long status) {
    return status == 204 || status == 206;
}

/// True when a response with this status may redirect the client.
inline constexpr bool Is_Redirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace QEL::FrontEnd::Util
