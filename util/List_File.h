#pragma once

#include <ios>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// What the list of the cached files needs besides the standard's streams.

/// Makes an empty file that its user alone may read. An existing file stays as it is, with its rights. A failure
/// shows when the file is opened.
void Make_Private_File(const std::string& path);

/// Waits while another program keeps a file to itself, as virus scanners and backups do for a moment.
/// @param mode what it could not be opened for: std::ios::in or std::ios::out.
/// @return true when it is worth while to open it again.
bool Outlast_Exclusive_Use(const std::string& path, std::ios::openmode mode);

} // namespace QEL::FrontEnd::Util::FileSystem
