#include "platform/posix/files/Directory_Search.h"

#include "platform/posix/files/Files.h"
#include "platform/posix/files/Wildcard.h"
#include "platform/posix/system/Win32_Error.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace QEL::FrontEnd::Platform {

Directory_Search::Directory_Search(std::string_view pattern) {
    const auto name_begin = pattern.find_last_of('/') + 1;
    m_Name_Pattern = pattern.substr(name_begin);
    const std::string directory = name_begin == 0 ? "." : std::string(pattern.substr(0, name_begin));
    m_Directory.reset(::opendir(directory.c_str()));
    if (!m_Directory) {
        Set_Last_Error(errno == ENOENT ? Error_Path_Not_Found : Win32_Error_From_Errno(errno));
    }
}

bool Directory_Search::Next(std::string& file_name) {
    if (!m_Directory) {
        return false;
    }
    while (const dirent* entry = ::readdir(m_Directory.get())) {
        if (Matches_Wildcard(entry->d_name, m_Name_Pattern) && Is_File(*entry)) {
            file_name = entry->d_name;
            return true;
        }
    }
    return false;
}

bool Directory_Search::Is_File(const dirent& entry) const {
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type == DT_REG || entry.d_type == DT_LNK;
    }
    struct stat status {};
    return ::fstatat(::dirfd(m_Directory.get()), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode));
}

} // namespace QEL::FrontEnd::Platform
