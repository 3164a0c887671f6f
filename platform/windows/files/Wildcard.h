#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// True when the name matches the pattern, letter case apart: `?` is exactly one character, `*` any
/// run of them. The system's own search is looser: there `.*` also matches a name without a dot,
/// `?` also nothing before a dot, and a file's short name counts as well.
bool Matches_Wildcard(const std::string& name, const std::string& pattern);

} // namespace QEL::FrontEnd::Platform
