#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace QEL::FrontEnd::Platform::Agent_Protocol {

/// What the library and its share agent send each other over a SOCK_SEQPACKET socket, which is the
/// agent's standard input. One record is one packet.
///
///     library                        agent
///     Settings, once          ->
///     Request                 ->
///                             <-     Response, in_progress set: data has arrived (reads only)
///                             <-     Response
///     Request ...
///
/// The library hangs up to end the agent.

/// At which the agent's program is open when it is run; the agent closes it.
inline constexpr int Program_Descriptor = 3;

/// Changes with the records below: after an upgrade a running library may meet the agent of another one.
inline constexpr std::uint32_t Version = 4;

/// The SMB client library takes names and passwords of up to 255 bytes.
inline constexpr std::size_t Max_Name = 256;
inline constexpr std::size_t Max_Url = 32768;
inline constexpr std::size_t Max_Text = 512;

struct Settings {
    std::uint32_t version = Version;
    std::uint32_t port = 0;
    bool is_signing_required = false; ///< without a user; with one it always is
    char user[Max_Name] = "";
    char workgroup[Max_Name] = "";
    char password[Max_Name] = "";
};

enum class Operation : std::uint32_t {
    Stat, ///< time, attributes and length
    Read, ///< writes the content to the descriptor that travels with the request
};

struct Request {
    Operation operation = Operation::Stat;
    std::uint32_t timeout_ms = 0; ///< for a stat in all, for a read without progress
    std::uint64_t byte_limit = 0; ///< a read ends after so many bytes
    std::uint64_t largest = std::numeric_limits<std::uint64_t>::max(); ///< a file with more bytes is refused
    char url[Max_Url] = "";                                            ///< only the used part travels
};

struct Response {
    bool in_progress = false;
    bool is_agent_good = false;         ///< it may be given further requests
    std::uint32_t error = 0;            ///< Win32 code, 0 on success
    std::uint32_t attributes = 0;       ///< Win32 file attributes
    std::int64_t modification_time = 0; ///< 100 ns intervals since 1601-01-01 UTC
    std::uint64_t length = 0;           ///< bytes
    char text[Max_Text] = "";           ///< why the agent cannot work on this machine; mostly empty
};

} // namespace QEL::FrontEnd::Platform::Agent_Protocol
