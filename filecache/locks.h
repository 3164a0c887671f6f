#pragma once

#include <mutex>

namespace QEL::FrontEnd::FileCache {

// Never destroyed: threads may still request while the process ends.

/// Held by every public operation that does work, for its whole run. Not recursive: none of them
/// may call another.
extern std::mutex& s_api_mutex;

/// Guards the text for the host for as long as it takes to copy it. The host may ask for the text while
/// another thread's request, which holds the lock above, is changing it.
extern std::mutex& s_error_info_guard;

} // namespace QEL::FrontEnd::FileCache
