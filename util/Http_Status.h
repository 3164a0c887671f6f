#pragma once

#include <string_view>

namespace QEL::FrontEnd::Util {

/// What an HTTP status says, such as "not found". Of an unknown one, what its class says.
std::string_view Meaning_Of_Status(long status);

/// True when a status concerns HEAD requests only: a download may succeed all the same.
inline constexpr bool Refuses_Head_Alone(long status) {
    return status == 405 || status == 501;
}

/// True when a response with this status may redirect the client.
inline constexpr bool Is_Redirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace QEL::FrontEnd::Util
