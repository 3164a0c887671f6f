#pragma once

#include <cstdint>
#include <string_view>

namespace QEL::FrontEnd::Util {

/// What an error number of a file, a share or an HTTP request says.
struct Error_Meaning {
    std::uint32_t number;
    std::string_view cause;  ///< such as "the server cannot be connected to"
    std::string_view remedy; ///< what to do, such as "check its port"; may be empty
};

/// The meaning of a Win32 or WinInet error number; cause and remedy are empty when it is unknown.
Error_Meaning Meaning_Of_Error(std::uint32_t number);

/// True for the numbers that say what is wrong with a server's certificate.
bool Is_Certificate_Error(std::uint32_t number);

} // namespace QEL::FrontEnd::Util
