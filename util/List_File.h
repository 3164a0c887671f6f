#pragma once

#include <ios>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// Functions for the list of cached files, besides the standard's streams.

/// Makes an empty file that only its user may read. An existing file and its rights do not change. A failure
/// shows when the file is opened.
void Make_Private_File(const std::string& path);

/// Waits while another program has a file in exclusive use, as virus scanners and backups do for a moment.
/// @param mode the mode in which opening failed: std::ios::in or std::ios::out.
/// @return true when the caller should try to open it again.
bool Outlast_Exclusive_Use(const std::string& path, std::ios::openmode mode);

} // namespace QEL::FrontEnd::Util::FileSystem
