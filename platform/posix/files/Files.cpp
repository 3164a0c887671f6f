#include "platform/posix/files/Files.h"

#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Path_Queries.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::uint32_t Attribute_Directory = 0x00000010;
constexpr std::uint32_t Attribute_Normal = 0x00000080;

constexpr mode_t Any_Write_Right = S_IWUSR | S_IWGRP | S_IWOTH;

Path_Kind Kind_Of(mode_t mode) {
    if (S_ISREG(mode)) {
        return Path_Kind::File;
    }
    return S_ISDIR(mode) ? Path_Kind::Directory : Path_Kind::Other;
}

std::uint32_t Attributes_Of(mode_t mode) {
    using FrontEnd::Util::FileSystem::Attribute_Read_Only;
    const std::uint32_t attributes =
        (S_ISDIR(mode) ? Attribute_Directory : 0) | ((mode & Any_Write_Right) == 0 ? Attribute_Read_Only : 0);
    return attributes == 0 ? Attribute_Normal : attributes;
}

std::uint32_t Local_Path_Info(const std::string& path, Path_Info& info) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return Local_Error(errno, path);
    }
    info = {Kind_Of(status.st_mode), File_Time(status.st_mtim), Attributes_Of(status.st_mode)};
    return Error_Success;
}

std::uint32_t Share_Path_Info(const std::string& path, Path_Info& info) {
    Share_File_Info share_info;
    if (const auto error = Stat_Share_Path(path, share_info); error != Error_Success) {
        return error;
    }
    const bool is_directory = (share_info.attributes & Attribute_Directory) != 0;
    info = {is_directory ? Path_Kind::Directory : Path_Kind::File, share_info.modification_time, share_info.attributes};
    return Error_Success;
}

std::uint32_t Read_Local_Head(const std::string& path, std::size_t count, std::string& head) {
    File_Descriptor file;
    struct stat status {};
    if (const auto error = Open_For_Reading(path, file, status); error != Error_Success) {
        return error;
    }

    return Read_Some(file.Get(), count, head);
}

} // namespace

std::uint32_t Get_Path_Info(const std::string& path, Path_Info& info) {
    if (Holds_Line_Break_Or_Nul(path)) {
        return Note_Error(Error_Invalid_Name);
    }
    return Note_Error(Is_Share_Path(path) ? Share_Path_Info(path, info) : Local_Path_Info(path, info));
}

bool Is_Kind(const std::string& path, Path_Kind kind) {
    Path_Info info;
    return Get_Path_Info(path, info) == Error_Success && info.kind == kind;
}

std::uint32_t Read_Head(const std::string& path, std::size_t count, std::string& head) {
    if (Holds_Line_Break_Or_Nul(path)) {
        return Note_Error(Error_Invalid_Name);
    }
    return Note_Error(Is_Share_Path(path) ? Read_Share_File_Head(path, count, head)
                                          : Read_Local_Head(path, count, head));
}

bool Holds_Line_Break_Or_Nul(std::string_view path) {
    return std::any_of(path.begin(), path.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

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
        const ssize_t length = ::read(file, block.data(), std::min(block.size(), count - read_bytes.size()));
        if (length < 0 && errno == EINTR) {
            continue;
        }
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

std::uint32_t Note_Error(std::uint32_t error) {
    if (error != Error_Success) {
        Set_Last_Error(error);
    }
    return error;
}

std::int64_t File_Time(const struct timespec& time) {
    constexpr std::int64_t seconds_from_1601_to_1970 = 11644473600;
    return (time.tv_sec + seconds_from_1601_to_1970) * 10000000 + time.tv_nsec / 100;
}

} // namespace QEL::FrontEnd::Platform
