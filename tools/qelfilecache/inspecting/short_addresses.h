#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// Each address in at most so many columns, and no two that differ alike: where losing their middle would
/// make them so, they lose their common beginning instead, and stay complete when even that does not help.
std::vector<std::string> Shorten_Distinctly(const std::vector<std::string>& addresses, std::size_t columns);

} // namespace QEL::FrontEnd::Tool
