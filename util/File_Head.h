#pragma once

#include <cstddef>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// Reads the first `count` bytes of a file, local or on a share, or all when it has fewer.
/// @throws std::runtime_error with the path and the system's reason when it cannot be read.
std::string Read_File_Head(const std::string& path, std::size_t count);

} // namespace QEL::FrontEnd::Util::FileSystem
