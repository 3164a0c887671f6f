#pragma once

#include "platform/posix/system/Win32_Error.h"
#include "util/Configuration_Source.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <sys/statvfs.h>

namespace QEL::FrontEnd::Platform {

/// The bytes that a copy may have by the configuration.
inline std::uint64_t Largest_Copy() {
    const std::int32_t megabytes = Util::Largest_File_Megabytes().value_or(0);
    return megabytes > 0 ? static_cast<std::uint64_t>(megabytes) << 20 : std::numeric_limits<std::uint64_t>::max();
}

/// The bytes that may still be written to an open file before they take the last 5 % of its file system, 1 GB at most.
/// A file system without a size, such as that of files in memory, sets no limit.
inline std::uint64_t Room_For(int file) {
    struct statvfs system {};
    if (::fstatvfs(file, &system) != 0 || system.f_blocks == 0) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    const std::uint64_t kept = std::min<std::uint64_t>(system.f_blocks * system.f_frsize / 20, 1U << 30);
    const std::uint64_t free = system.f_bavail * system.f_frsize;
    return free - std::min(free, kept);
}

/// The error with which a file of so many bytes is refused before any of it is written; 0 for none.
/// @param place an open file or directory of its file system.
inline std::uint32_t Refusal_Of_Length(std::uint64_t bytes, std::uint64_t largest, int place) {
    return bytes > largest ? Error_File_Too_Large : bytes > Room_For(place) ? Error_Disk_Full : Error_Success;
}

/// The room of a file that is being written. The file system is asked for more of it at a time.
class Granted_Room {
public:
    /// Whether so many bytes more may be written to the file.
    bool Take(int file, std::uint64_t bytes) {
        if (bytes > m_Granted) {
            constexpr std::uint64_t portion = 64U << 20;
            const auto room = Room_For(file);
            if (bytes > room) {
                return false;
            }
            m_Granted = std::min(room, std::max(bytes, portion));
        }
        m_Granted -= bytes;
        return true;
    }

private:
    std::uint64_t m_Granted = 0;
};

} // namespace QEL::FrontEnd::Platform
