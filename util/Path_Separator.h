#pragma once

#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// The character that joins a file name to `directory`: a backslash; on Linux a slash, unless the
/// directory begins with a drive letter or a backslash.
char Path_Separator(const std::string& directory);

/// Directory, separator, name.
// GCOVR_EXCL_BR_START: none but those of exceptions
inline std::string Join_Path(const std::string& directory, const std::string& name) {
    std::string path;
    path.reserve(directory.size() + 1 + name.size());
    path += directory;
    path += Path_Separator(directory);
    path += name;
    return path;
}
// GCOVR_EXCL_BR_STOP

} // namespace QEL::FrontEnd::Util::FileSystem
