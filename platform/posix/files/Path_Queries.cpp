#include "util/Path_Queries.h"

#include "platform/posix/files/Files.h"
#include "platform/posix/system/Win32_Error.h"

namespace QEL::FrontEnd::Util::FileSystem {

bool Path_Exists(const std::string& path) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success;
}

std::uint32_t Get_File_Attributes(const std::string& path) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success ? info.attributes : Invalid_Attributes;
}

bool Is_Not_A_File(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

} // namespace QEL::FrontEnd::Util::FileSystem
