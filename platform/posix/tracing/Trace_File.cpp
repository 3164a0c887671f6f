#include "util/Trace_File.h"

#include "platform/posix/system/File_Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

constexpr mode_t For_The_User_Alone = S_IRUSR | S_IWUSR;

/// Asked of the open descriptor: what stands at the path may change at any time.
bool Is_Plain_File_Of_This_User(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           status.st_nlink == 1;
}

} // namespace

std::FILE* Open_Trace_File(const std::string& path) {
    Platform::File_Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, For_The_User_Alone));
    if (!file || !Is_Plain_File_Of_This_User(file.Get()) || ::fchmod(file.Get(), For_The_User_Alone) != 0 ||
        ::ftruncate(file.Get(), 0) != 0) {
        return nullptr;
    }
    std::FILE* const stream = ::fdopen(file.Get(), "w");
    if (stream != nullptr) {
        file.Release();
    }
    return stream;
}

} // namespace QEL::FrontEnd::Util::Tracing
