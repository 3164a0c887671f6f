#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Tool {

/// What a WinInet error number says, as one sentence without its end; of one that is not in the
/// list, a sentence that says so.
std::string Web_Error_Text(std::uint32_t number);

/// True for the numbers that a server's certificate gives cause for.
bool Is_Certificate_Error(std::uint32_t number);

/// The same for a system error of a file on a share.
std::string Share_Error_Text(std::uint32_t number);

/// What an HTTP status says, such as "the server has no such file".
std::string Status_Text(long status);

} // namespace QEL::FrontEnd::Tool
