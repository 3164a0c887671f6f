#pragma once

#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// The extension of a path, without its dot, letter case kept; empty when the last component has
/// none. Both slashes separate components. Blanks and dots at the end, and a stream name after a
/// colon, do not belong to it: the file system drops or reinterprets them.
std::string File_Extension(const std::string& path);

} // namespace QEL::FrontEnd::Util::FileSystem
