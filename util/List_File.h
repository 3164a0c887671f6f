#pragma once

#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// What the list of the cached files needs besides the standard's streams.

/// Makes an empty file that its user alone may read. An existing file stays as it is, with its rights. A failure
/// shows when the file is opened.
void Make_Private_File(const std::string& path);

/// True while another program keeps a file to itself, as virus scanners and backups do for a moment.
bool Is_In_Exclusive_Use(const std::string& path);

} // namespace QEL::FrontEnd::Util::FileSystem
