#include "platform/posix/system/Win32_Error.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "util/Error_Meaning.h"

namespace QEL::FrontEnd::Platform {

Win32_Error Win32_Error_From_Errno(int errno_value) {
    constexpr std::pair<int, Win32_Error> errors[] = {
        {0, Error_Success},
        {ENOENT, Error_File_Not_Found},
        {ENOTDIR, Error_Path_Not_Found},
        {EACCES, Error_Access_Denied},
        {EPERM, Error_Access_Denied},
        {EISDIR, Error_Access_Denied},
        {EMFILE, Error_Too_Many_Open_Files},
        {ENFILE, Error_Too_Many_Open_Files},
        {ENOMEM, Error_Not_Enough_Memory},
        {EROFS, Error_Write_Protect},
        {EBUSY, Error_Sharing_Violation},
        {ETXTBSY, Error_Sharing_Violation},
        {EEXIST, Error_File_Exists},
        {ENOSPC, Error_Disk_Full},
        {EDQUOT, Error_Disk_Full},
        {EINVAL, Error_Invalid_Parameter},
        {ENAMETOOLONG, Error_Filename_Too_Long},
        {EFBIG, Error_File_Too_Large},
        {EIO, Error_IO_Device},
        {ELOOP, Error_Can_Not_Resolve_Name},
        {ENOTSUP, Error_Not_Supported},
        {ETIMEDOUT, Error_Semaphore_Timeout},
    };
    const auto* const found = std::ranges::find(errors, errno_value, &std::pair<int, Win32_Error>::first);
    return found != std::end(errors) ? found->second : Error_General_Failure;
}

std::string Win32_Error_Text(std::uint32_t error) {
    const auto cause = Util::Meaning_Of_Error(error).cause;
    return std::string(cause.empty() ? "system error" : cause) + " (" + std::to_string(error) + ")";
}

} // namespace QEL::FrontEnd::Platform
