#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// The parts of a path `\\server\share\folder\file`.
struct Share_Path {
    std::string server;
    std::string share;
    std::string file; ///< below the share, parts joined by "/"; empty for the share itself
};

/// Takes a share path apart. Both slashes separate, and repeated ones count as one.
/// @return nothing when the server or the share is missing or cannot be the name of one. A server is
///         a host name or an IPv4 address: a port, a user or an option, which the URL form of a share
///         could carry, is refused, so that no path can point the connection or the logon elsewhere.
std::optional<Share_Path> Parse_Share_Path(std::string_view path);

/// The path in the URL form of the SMB client library. All but letters, digits and "-._~" is
/// percent-encoded.
std::string To_Smb_Url(const Share_Path& path);

} // namespace QEL::FrontEnd::Platform
