#pragma once

#include <cstdint>
#include <string_view>

namespace QEL::FrontEnd::Tool {

/// What an error number means.
struct Error_Meaning {
    std::uint32_t number;
    std::string_view cause;  ///< such as "the server cannot be connected to"
    std::string_view remedy; ///< what to do, such as "check its port"; may be empty
};

/// Of a request to a web server: a WinInet number, or one of the few others that its clients give. Null when it is not
/// known.
const Error_Meaning* Web_Error(std::uint32_t number);

/// Of a file on a share: an error number of the system. Null when it is not known.
const Error_Meaning* Share_Error(std::uint32_t number);

/// True for the numbers that a server's certificate gives cause for.
bool Is_Certificate_Error(std::uint32_t number);

} // namespace QEL::FrontEnd::Tool
