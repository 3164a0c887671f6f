#include "util/List_File.h"

#include "platform/posix/system/File_Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace QEL::FrontEnd::Util::FileSystem {

void Make_Private_File(const std::string& path) {
    // Not by umask(), which belongs to the whole process.
    const Platform::File_Descriptor made(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
}

bool Outlast_Exclusive_Use(const std::string&, std::ios::openmode) {
    return false; // no such thing here
}

} // namespace QEL::FrontEnd::Util::FileSystem
