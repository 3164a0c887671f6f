#pragma once

#include "util/System_Mutex.h"

#include <memory>
#include <string>

namespace QEL::FrontEnd::Platform {

/// Opens, and when it is not there creates, the mutex that this user's processes share under a name:
/// a robust mutex in POSIX shared memory, so the death of its holder is noticed. An object of that
/// name that belongs to somebody else, or that others may open, is refused.
///
/// Safe against processes that open it at the same time and against ones that are killed while they
/// do. What the mutex needs of the process's memory is never given back, so a process opens a name
/// once.
///
/// @param name begins with a slash and holds no other.
/// @return null when the system refuses it.
std::shared_ptr<Util::Tracing::System_Mutex> Open_Robust_Mutex(const std::string& name);

} // namespace QEL::FrontEnd::Platform
