#pragma once

#include "util/Last_Error.h"

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

/// The Win32 error codes that the services answer with. The cache reports errors in these numbers
/// on every platform.
enum Win32_Error : std::uint32_t {
    Error_Success = 0,
    Error_File_Not_Found = 2,
    Error_Path_Not_Found = 3,
    Error_Too_Many_Open_Files = 4,
    Error_Access_Denied = 5,
    Error_Invalid_Handle = 6,
    Error_Not_Enough_Memory = 8,
    Error_Write_Protect = 19,
    Error_General_Failure = 31,
    Error_Sharing_Violation = 32,
    Error_Not_Supported = 50,
    Error_Network_Path_Not_Found = 53,
    Error_Unexpected_Network_Error = 59,
    Error_Network_Name_Deleted = 64,
    Error_Network_Access_Denied = 65,
    Error_Bad_Network_Name = 67,
    Error_File_Exists = 80,
    Error_Invalid_Parameter = 87,
    Error_Disk_Full = 112,
    Error_Semaphore_Timeout = 121,
    Error_Invalid_Name = 123,
    Error_Module_Not_Found = 126,
    Error_Filename_Too_Long = 206,
    Error_File_Too_Large = 223,
    Error_Not_Owner = 288,
    Error_IO_Device = 1117,
    Error_Possible_Deadlock = 1131,
    Error_Logon_Failure = 1326,
    Error_Bad_Configuration = 1610,
    Error_Can_Not_Resolve_Name = 1921,
};

/// The Win32 code that says what an errno value of a file operation says. ENOENT is
/// Error_File_Not_Found; whether the directory is missing only the caller knows.
Win32_Error Win32_Error_From_Errno(int errno_value);

/// A short text for a Win32 code, for messages: "the file cannot be found (2)".
std::string Win32_Error_Text(std::uint32_t error);

/// Makes `error` the thread's last error, when it is one, and returns it.
inline std::uint32_t Note_Error(std::uint32_t error) {
    if (error != Error_Success) {
        Util::Set_Last_Error(error);
    }
    return error;
}

} // namespace QEL::FrontEnd::Platform
