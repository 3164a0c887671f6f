#pragma once

#include "util/Process.h"

#include <atomic>
#include <string>

namespace QEL::FrontEnd::Platform {

/// Copies a file to a local target with its read-only attribute. The target appears with its whole
/// content or not at all, also when the process is killed half way: the bytes first go to a file
/// beside it, which then takes the target's name. On Linux they reach the disk before.
///
/// On Linux a local source's rights are kept but for execution, and what came from a share only its
/// owner may read: what was private does not become public in the cache.
///
/// @return false on failure, with the thread's last error set to a Win32 code.
bool Copy_File_Atomically(const std::string& source, const std::string& target, bool fail_if_exists);

/// A name is taken only where another machine copies to the same target, or a process of the same id
/// was killed while it did. So often another one is tried.
inline constexpr int Partial_Name_Attempts = 100;

/// A name for the unfinished copy. It begins with the target's, so that what a killed process leaves
/// behind goes with the sweep of the cached files.
inline std::string Next_Partial_Name(const std::string& target) {
    static std::atomic<unsigned> s_count = 0;
    return target + "." + std::to_string(Util::Process_Id()) + "-" + std::to_string(s_count++) + ".part";
}

} // namespace QEL::FrontEnd::Platform
