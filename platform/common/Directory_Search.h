#pragma once

#include <memory>
#include <string>

namespace QEL::FrontEnd::Platform {

/// A search for the files of one directory whose names match a pattern exactly. On Linux symbolic
/// links count as files, whatever they lead to; pipes and devices do not.
class Directory_Search {
public:
    /// @param pattern a directory without wildcards, a separator, and a name with wildcards; without a
    ///        separator the current directory is searched.
    /// @return null when the directory cannot be read.
    static std::unique_ptr<Directory_Search> Begin(const std::string& pattern);

    virtual ~Directory_Search() = default;

    /// Sets `file_name` to the next match. False, with `file_name` left alone, when there are no more.
    virtual bool Next(std::string& file_name) = 0;
};

} // namespace QEL::FrontEnd::Platform
