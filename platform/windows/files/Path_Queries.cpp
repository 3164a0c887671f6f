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

std::uint32_t Get_File_Attributes(const std::string& path) {
    std::uint32_t attributes = Invalid_Attributes;
    if (!Util::Holds_Line_Break_Or_Nul(path)) {
        Platform::Ask_Server_Of(path, [&]() -> Platform::Share_Outcome {
            Platform::Target target;
            const DWORD error = Platform::Target_Of(path, target);
            attributes = error == ERROR_SUCCESS ? target.attributes : Invalid_Attributes;
            return {error};
        });
    }
    return attributes;
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
