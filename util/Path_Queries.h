#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

inline constexpr std::uint32_t Attribute_Read_Only = 0x00000001;
inline constexpr std::uint32_t Invalid_Attributes = 0xFFFFFFFF;

/// True when a file or directory exists at the path, local or on a share.
bool Path_Exists(const std::string& path);

/// The Win32 file attributes of a path, local or on a share; Invalid_Attributes (all bits set) when
/// they cannot be read.
std::uint32_t Get_File_Attributes(const std::string& path);

/// What a local path names.
enum class Occupant {
    Nothing,
    File,
    Other ///< a directory; a pipe or a device, which may block for ever; or something that cannot be examined
};

Occupant Occupant_Of(const std::string& path);

} // namespace QEL::FrontEnd::Util::FileSystem
