#include "platform/common/OS_Wrapper.h"

#include "platform/posix/files/Path_Info.h"
#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Control_Characters.h"

#include <cerrno>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::OSWRAPI {

namespace {

using Platform::Path_Kind;

/// Deletes a file or a symbolic link of the local file system. A metadata file may name anything, so
/// devices and pipes are kept from deletion as directories are.
std::uint32_t Delete_Local_File(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return Platform::Local_Error(errno, path);
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        return Platform::Error_Access_Denied;
    }
    return ::unlink(path.c_str()) == 0 ? std::uint32_t{Platform::Error_Success} : Platform::Local_Error(errno, path);
}

/// True when something of this kind is at the path.
bool Is_Kind(const std::string& path, Path_Kind kind) {
    Platform::Path_Info info;
    return Platform::Get_Path_Info(path, info) == Platform::Error_Success && info.kind == kind;
}

} // namespace

int OS_Wrapper::Stat_File(const std::string& path, std::int64_t& modification_time) {
    Platform::Path_Info info;
    if (const auto error = Platform::Get_Path_Info(path, info); error != Platform::Error_Success) {
        return static_cast<int>(error);
    }
    if (info.kind != Path_Kind::File) {
        return static_cast<int>(Platform::Note_Error(Platform::Error_Access_Denied));
    }
    modification_time = info.modification_time;
    return Platform::Error_Success;
}

std::uint64_t OS_Wrapper::Get_Current_Time() {
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>(Platform::File_Time(now));
}

bool OS_Wrapper::File_Exists(const std::string& path) {
    return Is_Kind(path, Path_Kind::File);
}

bool OS_Wrapper::Delete_File(const std::string& path) {
    const auto refusal = Platform::Refusal_As_Local(path);
    return Platform::Note_Error(refusal != 0 ? refusal : Delete_Local_File(path)) == Platform::Error_Success;
}

bool OS_Wrapper::Directory_Exists(const std::string& path) {
    // Asked of the cache directory alone, and no file can be written on a share.
    if (Platform::Is_Share_Path(path)) {
        Util::Set_Last_Error(Platform::Error_Not_Supported);
        return false;
    }
    return Is_Kind(path, Path_Kind::Directory);
}

unsigned int OS_Wrapper::Get_Drive_Type(const char*) {
    // There are no drives here, so no letter is the root of one.
    constexpr unsigned int no_such_root = 1;
    return no_such_root;
}

} // namespace QEL::FrontEnd::OSWRAPI
