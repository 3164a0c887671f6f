#pragma once

#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// The extension of a path, without its dot, letter case kept; empty when the last component has
/// none. Both slashes separate components. What the file system would drop or take for something
/// else does not belong to it: blanks and dots at the end, and a stream name behind a colon.
std::string File_Extension(const std::string& path);

} // namespace QEL::FrontEnd::Util::FileSystem
