#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

inline constexpr std::uint32_t Attribute_Read_Only = 0x00000001;
inline constexpr std::uint32_t Invalid_Attributes = 0xFFFFFFFF;

/// True when a file or directory exists at the path, local or on a share.
bool Path_Exists(const std::string& path);

/// The Win32 file attributes of a path, local or on a share; Invalid_Attributes (all bits set) when
/// they cannot be read.
std::uint32_t Get_File_Attributes(const std::string& path);

/// The bytes of a file, local or on a share; none when they cannot be read.
std::optional<std::uint64_t> File_Length(const std::string& path);

/// The number of the error with which a copy of so many bytes is refused before it is begun: 112 where the file system
/// of the directory, or of the one that it will be made in, has too little room, 223 where the configuration allows
/// less. 0: it is not, or not known before.
std::uint32_t Refusal_Of_Copy(const std::string& directory, std::uint64_t bytes);

/// What a local path names.
enum class Occupant {
    Nothing,
    File,
    Other ///< a directory; a pipe or a device, which may block for ever; or something that cannot be examined
};

Occupant Occupant_Of(const std::string& path);

} // namespace QEL::FrontEnd::Util::FileSystem
