#include "platform/posix/share/Share_Files.h"

#include "platform/posix/system/Win32_Error.h"

namespace QEL::FrontEnd::Platform {

std::uint32_t Stat_Share_Path(const std::string&, Share_File_Info&) {
    return Error_Network_Path_Not_Found;
}

std::uint32_t Copy_Share_File(const std::string&, int, Share_File_Info&) {
    return Error_Network_Path_Not_Found;
}

std::uint32_t Read_Share_File_Head(const std::string&, std::size_t, std::string&) {
    return Error_Network_Path_Not_Found;
}

} // namespace QEL::FrontEnd::Platform
