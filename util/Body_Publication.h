#pragma once

#include <functional>
#include <string>

namespace QEL::FrontEnd::Util {

/// Makes a received body the file of the given path, which does not exist yet. No byte is written again. A failure is
/// not reported, and leaves no such file.
using Body_Publication = std::function<void(const std::string& path)>;

} // namespace QEL::FrontEnd::Util
