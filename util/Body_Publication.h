#pragma once

#include <functional>
#include <string>

namespace QEL::FrontEnd::Util {

/// Gives a received body the path, at which no file exists yet, without writing its bytes again. A failure is
/// not reported, and leaves no file.
using Body_Publication = std::function<void(const std::string& path)>;

} // namespace QEL::FrontEnd::Util
