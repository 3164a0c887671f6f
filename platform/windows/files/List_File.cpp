#include "util/List_File.h"

#include "platform/windows/handles/Unique_Handle.h"

namespace QEL::FrontEnd::Util::FileSystem {

void Make_Private_File(const std::string&) {
    // Files take the rights of their directory: those of the user's own, as a rule, let in nobody else.
}

bool Is_In_Exclusive_Use(const std::string& path) {
    const Platform::Object_Handle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                   nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return !file.Is_Open() && GetLastError() == ERROR_SHARING_VIOLATION;
}

} // namespace QEL::FrontEnd::Util::FileSystem
