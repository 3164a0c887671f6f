#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/posix/system/Win32_Error.h"
#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

/// Files on shares: what the file services need of a path `\\server\share\...`, and nothing more.
///
/// Every file operation asks Is_Share_Path first and either goes on with the local file system or
/// calls the functions below; so shares are known in this one place. They only read: the cache
/// writes, deletes and searches on local disks alone.
///
/// The functions may be called by several threads at once, return within their time-outs, and throw
/// nothing. Each answers with a Win32 error code (platform/posix/system/Win32_Error.h), 0 on
/// success, and leaves its out-parameters alone on failure. They do not touch the thread's last
/// error; their caller does. Paths come without CR, LF and NUL: the caller has refused those.

/// True for a path that begins with two backslashes.
inline bool Is_Share_Path(std::string_view path) {
    return path.starts_with("\\\\");
}

/// The Win32 code with which a path is refused that has to be local; 0 for a local one.
inline std::uint32_t Refusal_As_Local(std::string_view path) {
    return Util::Holds_Line_Break_Or_Nul(path) ? Error_Invalid_Name
           : Is_Share_Path(path)               ? Error_Not_Supported
                                               : Error_Success;
}

/// What a share reports of one of its files or directories.
struct Share_File_Info {
    std::int64_t modification_time = 0; ///< 100 ns intervals since 1601-01-01 UTC
    std::uint32_t attributes = 0;       ///< Win32 file attributes; 0x1 read-only, 0x10 directory
    std::uint64_t length = 0;           ///< bytes
};

/// Reads time, attributes and length of a file or directory.
std::uint32_t Stat_Share_Path(const std::string& path, Share_File_Info& info);

/// Writes the whole content of a file to the open local descriptor `target`, from its current
/// position on. A failure may leave part of the content in it: the caller discards the target then.
/// A failed write to `target` returns the code for its errno (Win32_Error_From_Errno), a file that is larger
/// than the free space there at once Error_Disk_Full.
/// @param info time and attributes of the very file that was copied.
std::uint32_t Copy_Share_File(const std::string& path, int target, Share_File_Info& info);

/// Reads the first `count` bytes of a file, or all when it has fewer.
std::uint32_t Read_Share_File_Head(const std::string& path, std::size_t count, std::string& head);

} // namespace QEL::FrontEnd::Platform
