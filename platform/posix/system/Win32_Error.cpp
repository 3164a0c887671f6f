#include "platform/posix/system/Win32_Error.h"

#include <cerrno>

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
    const auto text = [error]() -> const char* {
        switch (error) {
        case Error_Success:
            return "success";
        case Error_File_Not_Found:
            return "file not found";
        case Error_Path_Not_Found:
            return "path not found";
        case Error_Too_Many_Open_Files:
            return "too many open files";
        case Error_Access_Denied:
            return "access denied";
        case Error_Invalid_Handle:
            return "invalid handle";
        case Error_Not_Enough_Memory:
            return "not enough memory";
        case Error_Write_Protect:
            return "file system is read-only";
        case Error_Sharing_Violation:
            return "file is in use";
        case Error_Not_Supported:
            return "not supported";
        case Error_Network_Path_Not_Found:
            return "network path not found";
        case Error_Unexpected_Network_Error:
            return "unexpected network error";
        case Error_Network_Name_Deleted:
            return "connection to the server lost";
        case Error_Network_Access_Denied:
            return "network access denied";
        case Error_Bad_Network_Name:
            return "share not found";
        case Error_File_Exists:
            return "file exists";
        case Error_Invalid_Parameter:
            return "invalid parameter";
        case Error_Disk_Full:
            return "disk full";
        case Error_Semaphore_Timeout:
            return "timed out";
        case Error_Invalid_Name:
            return "invalid name";
        case Error_Module_Not_Found:
            return "library not found";
        case Error_Filename_Too_Long:
            return "name too long";
        case Error_File_Too_Large:
            return "file too large";
        case Error_Not_Owner:
            return "not the owner";
        case Error_IO_Device:
            return "input/output error";
        case Error_Possible_Deadlock:
            return "the calling thread holds the lock already";
        case Error_Logon_Failure:
            return "logon failed";
        case Error_Bad_Configuration:
            return "wrong configuration";
        case Error_Can_Not_Resolve_Name:
            return "too many symbolic links";
        default:
            return "system error";
        }
    }();
    return std::string(text) + " (" + std::to_string(error) + ")";
}

} // namespace QEL::FrontEnd::Platform
