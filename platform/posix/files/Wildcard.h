#pragma once

#include <string_view>

namespace QEL::FrontEnd::Platform {

/// True when the name matches the pattern: `?` is exactly one character, `*` any run of them, and
/// everything else itself, letter case included.
bool Matches_Wildcard(std::string_view name, std::string_view pattern);

} // namespace QEL::FrontEnd::Platform
