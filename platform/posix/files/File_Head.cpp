#include "util/File_Head.h"

#include "platform/posix/files/Files.h"
#include "platform/posix/system/Win32_Error.h"

#include <stdexcept>

namespace QEL::FrontEnd::Util::FileSystem {

std::string Read_File_Head(const std::string& path, std::size_t count) {
    std::string head;
    if (const auto error = Platform::Read_Head(path, count, head); error != Platform::Error_Success) {
        throw std::runtime_error(path + ": " + Platform::Win32_Error_Text(error));
    }
    return head;
}

} // namespace QEL::FrontEnd::Util::FileSystem
