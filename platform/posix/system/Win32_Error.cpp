#include "platform/posix/system/Win32_Error.h"

#include <cerrno>

#include "util/Error_Meaning.h"

namespace QEL::FrontEnd::Platform {

Win32_Error Win32_Error_From_Errno(int errno_value) {
    switch (errno_value) {
    case 0:
        return Error_Success;
    case ENOENT:
        return Error_File_Not_Found;
    case ENOTDIR:
        return Error_Path_Not_Found;
    case EACCES:
    case EPERM:
    case EISDIR:
        return Error_Access_Denied;
    case EMFILE:
    case ENFILE:
        return Error_Too_Many_Open_Files;
    case ENOMEM:
        return Error_Not_Enough_Memory;
    case EROFS:
        return Error_Write_Protect;
    case EBUSY:
    case ETXTBSY:
        return Error_Sharing_Violation;
    case EEXIST:
        return Error_File_Exists;
    case ENOSPC:
    case EDQUOT:
        return Error_Disk_Full;
    case EINVAL:
        return Error_Invalid_Parameter;
    case ENAMETOOLONG:
        return Error_Filename_Too_Long;
    case EFBIG:
        return Error_File_Too_Large;
    case EIO:
        return Error_IO_Device;
    case ELOOP:
        return Error_Can_Not_Resolve_Name;
    case ENOTSUP:
        return Error_Not_Supported;
    case ETIMEDOUT:
        return Error_Semaphore_Timeout;
    default:
        return Error_General_Failure;
    }
}

std::string Win32_Error_Text(std::uint32_t error) {
    const auto cause = Util::Meaning_Of_Error(error).cause;
    return std::string(cause.empty() ? "system error" : cause) + " (" + std::to_string(error) + ")";
}

} // namespace QEL::FrontEnd::Platform
