#include "platform/posix/files/Posix_OS_Wrapper.h"

#include "platform/posix/configuration/Configuration.h"
#include "platform/posix/files/Atomic_Copy.h"
#include "platform/posix/files/Directory_Search.h"
#include "platform/posix/files/Files.h"
#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Win32_Error.h"

#include <cerrno>
#include <ctime>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::OSWRAPI {

namespace {

using Platform::Configuration_Scope;
using Platform::Directory_Search;
using Platform::Path_Kind;

std::optional<Configuration_Scope> Scope_Of_Root(int root) {
    switch (root) {
    case 0:
        return Configuration_Scope::User;
    case 1:
        return Configuration_Scope::Machine;
    case 2:
        return Configuration_Scope::User_Then_Machine;
    default:
        return std::nullopt;
    }
}

/// Deletes a file or a symbolic link of the local file system. A metadata file may name anything, so
/// devices and pipes are kept from deletion as directories are.
std::uint32_t Delete_Local_File(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return Platform::Local_Error(errno, path);
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        return Platform::Error_Access_Denied;
    }
    return ::unlink(path.c_str()) == 0 ? std::uint32_t{Platform::Error_Success} : Platform::Local_Error(errno, path);
}

} // namespace

std::shared_ptr<IOSWrapper> IOSWrapper::Create() {
    return std::make_shared<Posix_OS_Wrapper>();
}

int Posix_OS_Wrapper::Stat_File(const std::string& path, std::int64_t& modification_time) {
    Platform::Path_Info info;
    if (const auto error = Platform::Get_Path_Info(path, info); error != Platform::Error_Success) {
        return static_cast<int>(error);
    }
    if (info.kind != Path_Kind::File) {
        return static_cast<int>(Platform::Note_Error(Platform::Error_Access_Denied));
    }
    modification_time = info.modification_time;
    return Platform::Error_Success;
}

std::uint64_t Posix_OS_Wrapper::Get_Current_Time() {
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>(Platform::File_Time(now));
}

bool Posix_OS_Wrapper::File_Exists(const std::string& path) {
    return Platform::Is_Kind(path, Path_Kind::File);
}

bool Posix_OS_Wrapper::Delete_File(const std::string& path) {
    if (Platform::Holds_Line_Break_Or_Nul(path)) {
        Platform::Set_Last_Error(Platform::Error_Invalid_Name);
        return false;
    }
    if (Platform::Is_Share_Path(path)) {
        Platform::Set_Last_Error(Platform::Error_Not_Supported);
        return false;
    }
    return Platform::Note_Error(Delete_Local_File(path)) == Platform::Error_Success;
}

bool Posix_OS_Wrapper::Directory_Exists(const std::string& path) {
    return Platform::Is_Kind(path, Path_Kind::Directory);
}

Find_Handle Posix_OS_Wrapper::FindFirstFile(const char* pattern, Find_Data& found) {
    if (Platform::Holds_Line_Break_Or_Nul(pattern)) {
        Platform::Set_Last_Error(Platform::Error_Invalid_Name);
        return Invalid_Find_Handle;
    }
    if (Platform::Is_Share_Path(pattern)) {
        Platform::Set_Last_Error(Platform::Error_Not_Supported);
        return Invalid_Find_Handle;
    }
    auto search = std::make_unique<Directory_Search>(pattern);
    if (!search->Next(found.file_name)) {
        return Invalid_Find_Handle;
    }
    return search.release();
}

int Posix_OS_Wrapper::FindNextFile(Find_Handle search, Find_Data& found) {
    return search != Invalid_Find_Handle && static_cast<Directory_Search*>(search)->Next(found.file_name) ? 1 : 0;
}

void Posix_OS_Wrapper::FindClose(Find_Handle search) {
    if (search != Invalid_Find_Handle) {
        const std::unique_ptr<Directory_Search> ended(static_cast<Directory_Search*>(search));
    }
}

int Posix_OS_Wrapper::Get_Drive_Number(const char* path) {
    const char letter = path[0];
    if (letter == '\0' || path[1] != ':') {
        return -1;
    }
    if (letter >= 'A' && letter <= 'Z') {
        return letter - 'A';
    }
    return letter >= 'a' && letter <= 'z' ? letter - 'a' : -1;
}

unsigned int Posix_OS_Wrapper::Get_Drive_Type(const char*) {
    // There are no drives here, so no letter is the root of one.
    constexpr unsigned int no_such_root = 1;
    return no_such_root;
}

int Posix_OS_Wrapper::Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) {
    return Platform::Copy_File_Atomically(existing_path, new_path, fail_if_exists != 0) == Platform::Error_Success ? 1
                                                                                                                   : 0;
}

std::uint32_t Posix_OS_Wrapper::Read_Registry_Int(int root, const std::string& key, const std::string& value) {
    const auto scope = Scope_Of_Root(root);
    if (!scope) {
        return 0;
    }
    const auto number = Platform::Configuration::System().Read_Integer(*scope, key.c_str(), value.c_str());
    constexpr std::int64_t greatest = 0xFFFFFFFF;
    return number && *number >= 0 && *number <= greatest ? static_cast<std::uint32_t>(*number) : 0;
}

} // namespace QEL::FrontEnd::OSWRAPI
