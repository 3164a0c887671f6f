#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// Copies a file with its attributes. The target appears with its whole content or not at all, also
/// when the process is killed half way: the bytes first go to a file beside it, named like the
/// target with a further extension ".part", which then takes the target's name.
/// @return false on failure, with the thread's last error set.
bool Copy_File_Atomically(const std::string& source, const std::string& target, bool fail_if_exists);

} // namespace QEL::FrontEnd::Platform
