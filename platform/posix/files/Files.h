#pragma once

#include "platform/posix/system/File_Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace QEL::FrontEnd::Platform {

// Questions about files, local or on a share. Each answers with a Win32 error code, 0 on success,
// which is the calling thread's last error as well after a failure. A path that holds CR, LF or NUL
// is refused with Error_Invalid_Name.

enum class Path_Kind { File, Directory, Other };

/// What is known of a file or directory without opening it. Symbolic links are followed.
struct Path_Info {
    Path_Kind kind = Path_Kind::Other;
    std::int64_t modification_time = 0; ///< 100 ns intervals since 1601-01-01 UTC
    std::uint32_t attributes = 0;       ///< Win32 file attributes
};

std::uint32_t Get_Path_Info(const std::string& path, Path_Info& info);

/// True when `info` could be read and tells of a `kind`.
bool Is_Kind(const std::string& path, Path_Kind kind);

/// Reads the first `count` bytes of a file, or all when it has fewer.
std::uint32_t Read_Head(const std::string& path, std::size_t count, std::string& head);

// Helpers for local files.

/// True for a text that must not reach the line-oriented metadata file as a path.
bool Holds_Line_Break_Or_Nul(std::string_view path);

/// Opens a local regular file for reading. Anything else is refused with Error_Access_Denied, and
/// at once: opening a pipe does not wait for its writer.
std::uint32_t Open_For_Reading(const std::string& path, File_Descriptor& file, struct stat& status);

/// Reads from the descriptor's position on: `count` bytes, or what there is to the end of the file.
std::uint32_t Read_Some(int file, std::size_t count, std::string& bytes);

/// The Win32 code for a failed operation on a local path: what its errno value says, where a missing
/// file differs from a missing directory.
std::uint32_t Local_Error(int errno_value, const std::string& path);

/// Makes `error` the thread's last error, when it is one, and returns it.
std::uint32_t Note_Error(std::uint32_t error);

/// Seconds and nanoseconds since 1970 as 100 ns intervals since 1601.
std::int64_t File_Time(const struct timespec& time);

} // namespace QEL::FrontEnd::Platform
