#include "util/Path_Queries.h"

#include "platform/common/Separators.h"
#include "platform/posix/files/Path_Info.h"
#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Copy_Limits.h"
#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Ascii.h"
#include "util/Control_Characters.h"
#include "util/Path_Separator.h"

#include <cerrno>

#include <fcntl.h>

namespace QEL::FrontEnd {

namespace Platform {

namespace {

constexpr mode_t Write_Rights = S_IWUSR | S_IWGRP | S_IWOTH;

Path_Kind Kind_Of(mode_t mode) {
    if (S_ISREG(mode)) {
        return Path_Kind::File;
    }
    return S_ISDIR(mode) ? Path_Kind::Directory : Path_Kind::Other;
}

std::uint32_t Local_Path_Info(const std::string& path, Path_Info& info) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return Local_Error(errno, path);
    }
    info = {Kind_Of(status.st_mode), File_Time(status.st_mtim),
            Attributes_Of(S_ISDIR(status.st_mode), (status.st_mode & Write_Rights) == 0),
            static_cast<std::uint64_t>(status.st_size)};
    return Error_Success;
}

std::uint32_t Share_Path_Info(const std::string& path, Path_Info& info) {
    Share_File_Info share_info;
    if (const auto error = Stat_Share_Path(path, share_info); error != Error_Success) {
        return error;
    }
    const bool is_directory = (share_info.attributes & Attribute_Directory) != 0;
    info = {is_directory ? Path_Kind::Directory : Path_Kind::File, share_info.modification_time, share_info.attributes,
            share_info.length};
    return Error_Success;
}

} // namespace

std::uint32_t Get_Path_Info(const std::string& path, Path_Info& info) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        return Note_Error(Error_Invalid_Name);
    }
    return Note_Error(Is_Share_Path(path) ? Share_Path_Info(path, info) : Local_Path_Info(path, info));
}

} // namespace Platform

namespace Util::FileSystem {

bool Path_Exists(const std::string& path) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success;
}

std::uint32_t Get_File_Attributes(const std::string& path) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success ? info.attributes : Invalid_Attributes;
}

std::optional<std::uint64_t> File_Length(const std::string& path) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success ? std::optional(info.length) : std::nullopt;
}

std::uint32_t Refusal_Of_Copy(const std::string& directory, std::uint64_t bytes) {
    Platform::File_Descriptor place;
    for (auto end = directory.size(); !place && end != 0 && end != std::string::npos;
         end = directory.rfind('/', end - 1)) {
        place = Platform::File_Descriptor(::open(directory.substr(0, end).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    return Platform::Refusal_Of_Length(bytes, Platform::Largest_Copy(), place.Get());
}

Occupant Occupant_Of(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? Occupant::Nothing : Occupant::Other;
    }
    return S_ISREG(status.st_mode) ? Occupant::File : Occupant::Other;
}

char Path_Separator(const std::string& directory) {
    const bool is_of_windows = directory.starts_with('\\') ||
                               (directory.size() > 1 && directory[1] == ':' && Util::Is_Ascii_Letter(directory[0]));
    return is_of_windows ? '\\' : '/';
}

} // namespace Util::FileSystem

} // namespace QEL::FrontEnd

std::string QEL::FrontEnd::Platform::With_Separators_Alone(std::string_view path) {
    return std::string(path); // bytes of letters are above all others, as those of UTF-8
}
