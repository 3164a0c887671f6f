#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

/// Copies a file, local or on a share, to a local target with its read-only attribute. The target
/// appears with its whole content or not at all, also when the process is killed half way: the bytes
/// first go to a file beside it, named like the target with a further extension ".part", which then
/// takes the target's name.
///
/// A local source's rights are kept but for execution, and what came from a share only its owner
/// may read: what was private does not become public in the cache.
///
/// @return a Win32 error code, 0 on success; after a failure the thread's last error as well.
std::uint32_t Copy_File_Atomically(const std::string& source, const std::string& target, bool fail_if_exists);

} // namespace QEL::FrontEnd::Platform
