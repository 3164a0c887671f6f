#include "platform/common/OS_Wrapper.h"

#include "platform/common/Share_Access.h"
#include "platform/windows/Windows_Headers.h"
#include "platform/windows/files/Scanner_Wait.h"
#include "platform/windows/files/Target.h"
#include "platform/windows/handles/Last_Error_Keeper.h"
#include "util/Control_Characters.h"
#include "util/Path_Queries.h"

#include <optional>

namespace QEL::FrontEnd::OSWRAPI {

namespace {

std::uint64_t Hundred_Nanoseconds(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

/// The attributes of what exists at a path; none when nothing does.
std::optional<DWORD> Attributes(const std::string& path) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        SetLastError(ERROR_INVALID_NAME);
        return std::nullopt;
    }
    const DWORD attributes = Util::FileSystem::Get_File_Attributes(path);
    return attributes == INVALID_FILE_ATTRIBUTES ? std::nullopt : std::optional(attributes);
}

} // namespace

int OS_Wrapper::Stat_File(const std::string& path, std::int64_t& modification_time) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        SetLastError(ERROR_INVALID_NAME);
        return ERROR_INVALID_NAME;
    }
    Platform::Target target;
    const std::uint32_t error =
        Platform::Ask_Server_Of(path, [&]() -> Platform::Share_Outcome { return {Platform::Target_Of(path, target)}; });
    if (error != ERROR_SUCCESS) {
        return static_cast<int>(error);
    }
    modification_time = static_cast<std::int64_t>(Hundred_Nanoseconds(target.write_time));
    return ERROR_SUCCESS;
}

std::uint64_t OS_Wrapper::Get_Current_Time() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return Hundred_Nanoseconds(now);
}

bool OS_Wrapper::File_Exists(const std::string& path) {
    const auto attributes = Attributes(path);
    // The names of devices have attributes in every directory.
    return attributes && Util::FileSystem::Occupant_Of(path) == Util::FileSystem::Occupant::File;
}

bool OS_Wrapper::Directory_Exists(const std::string& path) {
    const auto attributes = Attributes(path);
    return attributes && (*attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool OS_Wrapper::Delete_File(const std::string& path) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    // Of a link, its own: what it leads to is not deleted.
    DWORD attributes = INVALID_FILE_ATTRIBUTES;
    Platform::Ask_Server_Of(path, [&]() -> Platform::Share_Outcome {
        attributes = GetFileAttributesA(path.c_str());
        return {attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : ERROR_SUCCESS};
    });
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) { // or no attributes, which are all bits
        return false;
    }
    const auto is_deleted = [&path] { return DeleteFileA(path.c_str()) != 0; };
    if (Platform::Outlast_Scanners(path, is_deleted)) {
        return true;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) == 0 || GetLastError() == ERROR_SHARING_VIOLATION) {
        return false;
    }

    SetFileAttributesA(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    if (Platform::Outlast_Scanners(path, is_deleted)) {
        return true;
    }
    const Platform::Last_Error_Keeper reason_of_failure;
    SetFileAttributesA(path.c_str(), attributes);
    return false;
}

unsigned int OS_Wrapper::Get_Drive_Type(const char* root) {
    // Without the separator the system would take "C:" for the current directory of that drive.
    std::string root_directory = root;
    if (root_directory.ends_with(':')) {
        root_directory += '\\';
    }
    return GetDriveTypeA(root_directory.c_str());
}

} // namespace QEL::FrontEnd::OSWRAPI
