#include "platform/common/Directory_Search.h"

#include "platform/common/Wildcard.h"
#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Control_Characters.h"

#include <cerrno>
#include <functional>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace QEL::FrontEnd::Platform {

namespace {

struct Close_Directory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

using Directory = std::unique_ptr<DIR, Close_Directory>;

class Posix_Search : public Directory_Search {
public:
    Posix_Search(Directory directory, std::string name_pattern)
        : m_Directory(std::move(directory)), m_Name_Pattern(std::move(name_pattern)) {}

    bool Next(std::string& file_name) override {
        while (const dirent* entry = ::readdir(m_Directory.get())) {
            const std::string_view name = entry->d_name;
            if (Matches_Wildcard(name, std::string_view(m_Name_Pattern), std::equal_to<>()) && Is_File(*entry)) {
                file_name = name;
                return true;
            }
        }
        return false;
    }

private:
    bool Is_File(const dirent& entry) const {
        if (entry.d_type != DT_UNKNOWN) {
            return entry.d_type == DT_REG || entry.d_type == DT_LNK;
        }
        struct stat status {};
        return ::fstatat(::dirfd(m_Directory.get()), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
               (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode));
    }

    const Directory m_Directory;
    const std::string m_Name_Pattern;
};

} // namespace

std::unique_ptr<Directory_Search> Directory_Search::Begin(const std::string& pattern) {
    if (Note_Error(Refusal_As_Local(pattern)) != Error_Success) {
        return nullptr;
    }
    const auto name_begin = pattern.find_last_of('/') + 1;
    Directory directory(::opendir(name_begin == 0 ? "." : pattern.substr(0, name_begin).c_str()));
    if (!directory) {
        Util::Set_Last_Error(errno == ENOENT ? Error_Path_Not_Found : Win32_Error_From_Errno(errno));
        return nullptr;
    }
    return std::make_unique<Posix_Search>(std::move(directory), pattern.substr(name_begin));
}

} // namespace QEL::FrontEnd::Platform
