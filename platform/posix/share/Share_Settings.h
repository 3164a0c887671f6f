#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

/// How to reach shares and as whom: section [Shares] of the configuration. Every value is optional.
///
///     [Shares]
///     Timeout = 30                        ; seconds, 1 to 3600
///     Port = 445
///     User = reader
///     Workgroup = OFFICE                  ; or the Kerberos realm
///     PasswordFile = /home/reader/.smb    ; the password is the first line
///     Servers = *.office.example          ; who may get these; repeated, one name a line
///     Signing = required
struct Share_Settings {
    std::uint32_t timeout_ms = 30000;
    std::uint16_t port = 0; ///< 0: the usual one
    std::string user;       ///< empty: the Kerberos ticket of the user at the desk, else guest
    std::string workgroup;
    std::string password;
    bool is_signing_required = false; ///< also of servers that do not get the user

    bool operator==(const Share_Settings&) const = default;
};

/// Reads the section as it is at this moment.
/// @param server as the path names it. One that is not to get user and password gets neither.
/// @param refusal why the settings cannot be used; set on failure only.
/// @return false when a value makes no sense or the password file is not safe: it has to be a regular
///         file that belongs to this user or to root and that nobody else may read or write.
bool Read_Share_Settings(const std::string& server, Share_Settings& settings, std::string& refusal);

} // namespace QEL::FrontEnd::Platform
