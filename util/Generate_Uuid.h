#pragma once

#include <string>

namespace QEL::FrontEnd::Util {

/// A new UUID: 36 characters in the groups 8-4-4-4-12, lower case, without braces.
/// @throws std::runtime_error when the system provides none.
std::string Generate_Uuid();

} // namespace QEL::FrontEnd::Util
