#include "platform/posix/system/Local_File.h"

#include "platform/posix/system/Win32_Error.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>

namespace QEL::FrontEnd::Platform {

std::uint32_t Open_For_Reading(const std::string& path, File_Descriptor& file, struct stat& status) {
    File_Descriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!opened) {
        return Local_Error(errno, path);
    }
    if (::fstat(opened.Get(), &status) != 0) {
        return Win32_Error_From_Errno(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return Error_Access_Denied;
    }
    file = std::move(opened);
    return Error_Success;
}

std::uint32_t Read_Some(int file, std::size_t count, std::string& bytes) {
    std::string read_bytes;
    std::array<char, 4096> block;
    while (read_bytes.size() < count) {
        const ssize_t length =
            TEMP_FAILURE_RETRY(::read(file, block.data(), std::min(block.size(), count - read_bytes.size())));
        if (length < 0) {
            return Win32_Error_From_Errno(errno);
        }
        if (length == 0) {
            break;
        }
        read_bytes.append(block.data(), static_cast<std::size_t>(length));
    }
    bytes = std::move(read_bytes);
    return Error_Success;
}

std::uint32_t Local_Error(int errno_value, const std::string& path) {
    if (errno_value != ENOENT) {
        return Win32_Error_From_Errno(errno_value);
    }
    const auto last_separator = path.find_last_of('/');
    const std::string directory = last_separator == std::string::npos ? "." : path.substr(0, last_separator + 1);
    struct stat status {};
    const bool has_directory = !path.empty() && ::stat(directory.c_str(), &status) == 0;
    return has_directory ? Error_File_Not_Found : Error_Path_Not_Found;
}

} // namespace QEL::FrontEnd::Platform
