#include "platform/windows/files/Win32_OS_Wrapper.h"

#include "platform/common/Control_Characters.h"
#include "platform/windows/Windows_Headers.h"
#include "platform/windows/configuration/Configuration.h"
#include "platform/windows/files/Atomic_Copy.h"
#include "platform/windows/files/Directory_Search.h"
#include "platform/windows/handles/Last_Error_Keeper.h"
#include "util/Path_Queries.h"

#include <optional>

namespace QEL::FrontEnd::OSWRAPI {

namespace {

using Platform::Configuration_Scope;
using Platform::Directory_Search;

std::uint64_t Hundred_Nanoseconds(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

/// The attributes of what exists at a path; none when nothing does.
std::optional<DWORD> Attributes(const std::string& path) {
    if (Platform::Holds_Line_Break_Or_Nul(path)) {
        return std::nullopt;
    }
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes == INVALID_FILE_ATTRIBUTES ? std::nullopt : std::optional(attributes);
}

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

} // namespace

std::shared_ptr<IOSWrapper> IOSWrapper::Create() {
    return std::make_shared<Win32_OS_Wrapper>();
}

int Win32_OS_Wrapper::Stat_File(const std::string& path, std::int64_t& modification_time) {
    if (Platform::Holds_Line_Break_Or_Nul(path)) {
        return ERROR_INVALID_NAME;
    }
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) == 0) {
        return static_cast<int>(GetLastError());
    }
    modification_time = static_cast<std::int64_t>(Hundred_Nanoseconds(data.ftLastWriteTime));
    return ERROR_SUCCESS;
}

std::uint64_t Win32_OS_Wrapper::Get_Current_Time() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return Hundred_Nanoseconds(now);
}

bool Win32_OS_Wrapper::File_Exists(const std::string& path) {
    const auto attributes = Attributes(path);
    // The names of devices have attributes in every directory.
    return attributes && (*attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 && !Util::FileSystem::Is_Not_A_File(path);
}

bool Win32_OS_Wrapper::Directory_Exists(const std::string& path) {
    const auto attributes = Attributes(path);
    return attributes && (*attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool Win32_OS_Wrapper::Delete_File(const std::string& path) {
    const auto attributes = Attributes(path);
    if (!attributes || (*attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return false;
    }
    if (DeleteFileA(path.c_str()) != 0) {
        return true;
    }
    if ((*attributes & FILE_ATTRIBUTE_READONLY) == 0) {
        return false;
    }

    SetFileAttributesA(path.c_str(), *attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    if (DeleteFileA(path.c_str()) != 0) {
        return true;
    }
    const Platform::Last_Error_Keeper reason_of_failure;
    SetFileAttributesA(path.c_str(), *attributes);
    return false;
}

Find_Handle Win32_OS_Wrapper::FindFirstFile(const char* pattern, Find_Data& found) {
    if (Platform::Holds_Line_Break_Or_Nul(pattern)) {
        return Invalid_Find_Handle;
    }
    auto search = std::make_unique<Directory_Search>(pattern);
    if (FindNextFile(search.get(), found) == 0) {
        return Invalid_Find_Handle;
    }
    return search.release();
}

int Win32_OS_Wrapper::FindNextFile(Find_Handle search, Find_Data& found) {
    if (search == Invalid_Find_Handle) {
        return 0;
    }
    const auto file_name = static_cast<Directory_Search*>(search)->Next();
    if (!file_name) {
        return 0;
    }
    found.file_name = *file_name;
    return 1;
}

void Win32_OS_Wrapper::FindClose(Find_Handle search) {
    if (search != Invalid_Find_Handle) {
        const std::unique_ptr<Directory_Search> ended(static_cast<Directory_Search*>(search));
    }
}

int Win32_OS_Wrapper::Get_Drive_Number(const char* path) {
    const char letter = path[0];
    if (letter == '\0' || path[1] != ':') {
        return -1;
    }
    if (letter >= 'A' && letter <= 'Z') {
        return letter - 'A';
    }
    return letter >= 'a' && letter <= 'z' ? letter - 'a' : -1;
}

unsigned int Win32_OS_Wrapper::Get_Drive_Type(const char* root) {
    // Without the separator the system would take "C:" for the current directory of that drive.
    std::string root_directory = root;
    if (root_directory.ends_with(':')) {
        root_directory += '\\';
    }
    return GetDriveTypeA(root_directory.c_str());
}

int Win32_OS_Wrapper::Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) {
    if (Platform::Holds_Line_Break_Or_Nul(existing_path) || Platform::Holds_Line_Break_Or_Nul(new_path)) {
        SetLastError(ERROR_INVALID_NAME);
        return 0;
    }
    return Platform::Copy_File_Atomically(existing_path, new_path, fail_if_exists != 0) ? 1 : 0;
}

std::uint32_t Win32_OS_Wrapper::Read_Registry_Int(int root, const std::string& key, const std::string& value) {
    const auto scope = Scope_Of_Root(root);
    return scope ? Platform::Read_Integer(*scope, key.c_str(), value.c_str()).value_or(0) : 0;
}

} // namespace QEL::FrontEnd::OSWRAPI
