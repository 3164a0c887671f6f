#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

enum class Path_Kind { File, Directory, Other };

/// What is known of a file or directory, local or on a share, without opening it. Symbolic links are
/// followed.
struct Path_Info {
    Path_Kind kind = Path_Kind::Other;
    std::int64_t modification_time = 0; ///< 100 ns intervals since 1601-01-01 UTC
    std::uint32_t attributes = 0;       ///< Win32 file attributes
    std::uint64_t length = 0;           ///< bytes
};

/// @return a Win32 error code, 0 on success; after a failure the thread's last error as well. A path
///         that holds CR, LF or NUL is refused with Error_Invalid_Name.
std::uint32_t Get_Path_Info(const std::string& path, Path_Info& info);

} // namespace QEL::FrontEnd::Platform
