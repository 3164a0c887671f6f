#pragma once

#include "platform/posix/system/File_Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/stat.h>

namespace QEL::FrontEnd::Platform {

// Local files, with errors, times and attributes as Windows has them.

/// Opens a regular file for reading. Anything else is refused with Error_Access_Denied, and at once:
/// opening a pipe does not wait for its writer.
std::uint32_t Open_For_Reading(const std::string& path, File_Descriptor& file, struct stat& status);

/// Reads from the descriptor's position on: `count` bytes, or what there is to the end of the file.
std::uint32_t Read_Some(int file, std::size_t count, std::string& bytes);

/// The Win32 code for a failed operation on a path: what its errno value says, where a missing file
/// differs from a missing directory.
std::uint32_t Local_Error(int errno_value, const std::string& path);

inline constexpr std::uint32_t Attribute_Directory = 0x10;

/// Win32 file attributes.
constexpr std::uint32_t Attributes_Of(bool is_directory, bool is_read_only) {
    constexpr std::uint32_t read_only = 0x01;
    constexpr std::uint32_t normal = 0x80;
    const std::uint32_t attributes = (is_directory ? Attribute_Directory : 0) | (is_read_only ? read_only : 0);
    return attributes == 0 ? normal : attributes;
}

/// Seconds and nanoseconds since 1970 as 100 ns intervals since 1601.
constexpr std::int64_t File_Time(const struct timespec& time) {
    constexpr std::int64_t seconds_from_1601_to_1970 = 11644473600;
    return (time.tv_sec + seconds_from_1601_to_1970) * 10000000 + time.tv_nsec / 100;
}

} // namespace QEL::FrontEnd::Platform
