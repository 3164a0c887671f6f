#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <dirent.h>

namespace QEL::FrontEnd::Platform {

/// A search for the files of one directory whose names match a pattern exactly. Symbolic links
/// count as files, whatever they lead to; directories, pipes and devices do not.
class Directory_Search {
public:
    /// @param pattern a directory without wildcards, a slash, and a name with wildcards; without a
    ///        slash the current directory is searched. A directory that cannot be read holds no match.
    explicit Directory_Search(std::string_view pattern);

    /// Sets `file_name` to the next match. False, with `file_name` left alone, when there are no more.
    bool Next(std::string& file_name);

private:
    struct Close_Directory {
        void operator()(DIR* directory) const { ::closedir(directory); }
    };

    bool Is_File(const dirent& entry) const;

    std::string m_Name_Pattern;
    std::unique_ptr<DIR, Close_Directory> m_Directory;
};

} // namespace QEL::FrontEnd::Platform
