#include "util/System_Mutex.h"

#include "platform/posix/tracing/Robust_Mutex.h"

#include <mutex>
#include <string>

#include <unistd.h>

namespace QEL::FrontEnd::Util::Tracing {

std::shared_ptr<System_Mutex> System_Mutex::Open_Trace_Lock() {
    static auto& s_guard = *new std::mutex;
    static auto& s_trace_lock = *new std::shared_ptr<System_Mutex>; // threads may trace to the end
    const std::lock_guard lock(s_guard);
    if (!s_trace_lock) {
        // The size of a word is part of the name, because it is part of a mutex.
        s_trace_lock = Platform::Open_Robust_Mutex("/qel-trace-lock-" + std::to_string(::geteuid()) + "-" +
                                                   std::to_string(8 * sizeof(void*)));
    }
    return s_trace_lock;
}

} // namespace QEL::FrontEnd::Util::Tracing
