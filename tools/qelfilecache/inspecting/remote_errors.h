#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Tool {

/// What a WinInet error number says, as one sentence without its end; of one that is not in the
/// list, a sentence that says so.
std::string Web_Error_Text(std::uint32_t number);

/// The cause alone, in a few words: "the server cannot be connected to".
std::string Web_Error_Cause(std::uint32_t number);

/// True for a number that does not tell whether the certificate is the cause.
bool May_Be_The_Certificate(std::uint32_t number);

/// What a system error says of a file on a share.
std::string Share_Error_Text(std::uint32_t number);

/// The cause alone, in a few words.
std::string Share_Error_Cause(std::uint32_t number);

/// True when a status tells of HEAD requests only: a download may succeed all the same.
bool Refuses_Head_Alone(long status);

/// What an HTTP status says, such as "the server has no such file".
std::string Status_Text(long status);

} // namespace QEL::FrontEnd::Tool
