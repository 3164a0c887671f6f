#pragma once

#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// A path of the same length in which each backslash separates: in code pages of two bytes, the second byte of a letter
/// may look like one.
std::string With_Separators_Alone(std::string_view path);

} // namespace QEL::FrontEnd::Platform
