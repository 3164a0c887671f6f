#include "util/Path_Queries.h"

#include "platform/common/Separators.h"
#include "platform/common/Share_Access.h"
#include "platform/windows/Windows_Headers.h"
#include "platform/windows/files/Target.h"
#include "util/Control_Characters.h"
#include "util/Path_Separator.h"

#include <shlwapi.h>

#include <array>
#include <string_view>

namespace QEL::FrontEnd::Util::FileSystem {

static_assert(Attribute_Read_Only == FILE_ATTRIBUTE_READONLY);
static_assert(Invalid_Attributes == INVALID_FILE_ATTRIBUTES);

bool Path_Exists(const std::string& path) {
    return !Util::Holds_Line_Break_Or_Nul(path) &&
           Platform::Ask_Server_Of(path, [&]() -> Platform::Share_Outcome {
               return {PathFileExistsA(path.c_str()) != 0 ? ERROR_SUCCESS : GetLastError()};
           }) == ERROR_SUCCESS;
}

namespace {

std::optional<Platform::Target> Find_Target(const std::string& path) {
    Platform::Target target;
    DWORD error = ERROR_INVALID_NAME;
    if (!Util::Holds_Line_Break_Or_Nul(path)) {
        error = Platform::Ask_Server_Of(
            path, [&]() -> Platform::Share_Outcome { return {Platform::Target_Of(path, target)}; });
    }
    return error == ERROR_SUCCESS ? std::optional(target) : std::nullopt;
}

} // namespace

std::uint32_t Get_File_Attributes(const std::string& path) {
    const auto target = Find_Target(path);
    return target ? target->attributes : Invalid_Attributes;
}

std::optional<std::uint64_t> File_Length(const std::string& path) {
    const auto target = Find_Target(path);
    return target ? std::optional(target->length.QuadPart) : std::nullopt;
}

std::uint32_t Refusal_Of_Copy(const std::string&, std::uint64_t) {
    return 0; // the system says so when it writes
}

Occupant Occupant_Of(const std::string& path) {
    // NUL and C:\folder\COM1.xml name devices: their full paths are \\.\NUL and \\.\COM1.
    std::array<char, MAX_PATH> full_path{};
    const DWORD length = GetFullPathNameA(path.c_str(), MAX_PATH, full_path.data(), nullptr);
    if (length < MAX_PATH && std::string_view(full_path.data()).starts_with("\\\\.\\")) {
        return Occupant::Other;
    }
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ? Occupant::Other : Occupant::Nothing;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 ? Occupant::File : Occupant::Other;
}

char Path_Separator(const std::string& /*directory*/) {
    return '\\';
}

} // namespace QEL::FrontEnd::Util::FileSystem

std::string QEL::FrontEnd::Platform::With_Separators_Alone(std::string_view path) {
    std::string alone(path);
    for (std::size_t i = 0; i + 1 < alone.size(); ++i) {
        if (IsDBCSLeadByte(static_cast<BYTE>(alone[i])) != 0) {
            alone[++i] = 'x';
        }
    }
    return alone;
}
