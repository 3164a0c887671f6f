#include "util/File_Head.h"

#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Util::FileSystem {

using namespace Platform;

namespace {

std::uint32_t Read_Head(const std::string& path, std::size_t count, std::string& head) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        return Error_Invalid_Name;
    }
    if (Is_Share_Path(path)) {
        return Read_Share_File_Head(path, count, head);
    }
    File_Descriptor file;
    struct stat status {};
    const auto error = Open_For_Reading(path, file, status);
    return error == Error_Success ? Read_Some(file.Get(), count, head) : error;
}

} // namespace

std::string Read_File_Head(const std::string& path, std::size_t count) {
    std::string head;
    if (const auto error = Note_Error(Read_Head(path, count, head)); error != Error_Success) {
        throw Unreadable_File(path + ": " + Win32_Error_Text(error), error);
    }
    return head;
}

} // namespace QEL::FrontEnd::Util::FileSystem
