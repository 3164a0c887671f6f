#include "util/List_File.h"

#include "platform/windows/files/Scanner_Wait.h"
#include "platform/windows/handles/Unique_Handle.h"

namespace QEL::FrontEnd::Util::FileSystem {

void Make_Private_File(const std::string&) {
    // Files take the rights of their directory: those of the user's own, as a rule, let in nobody else.
}

bool Outlast_Exclusive_Use(const std::string& path, std::ios::openmode mode) {
    const DWORD access = mode == std::ios::in ? GENERIC_READ : GENERIC_WRITE;
    return Platform::Outlast_Scanners(path, [&] {
        return Platform::Object_Handle(CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
            .Is_Open();
    });
}

} // namespace QEL::FrontEnd::Util::FileSystem
