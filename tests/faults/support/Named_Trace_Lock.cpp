// The trace lock of the tests alone: all other processes of the user share the product's, and these
// tests kill whoever holds it. The variable QEL_TEST_LOCK names it.

#include "platform/posix/tracing/Robust_Mutex.h"
#include "util/System_Mutex.h"

#include <cstdlib>

namespace QEL::FrontEnd::Util::Tracing {

// The linker gives every call of System_Mutex::Open_Trace_Lock() to this one (option --wrap).
std::shared_ptr<System_Mutex>
Open_Named_Trace_Lock() __asm__("__wrap__ZN3QEL8FrontEnd4Util7Tracing12System_Mutex15Open_Trace_LockEv");

std::shared_ptr<System_Mutex> Open_Named_Trace_Lock() {
    static const auto s_lock = Platform::Open_Robust_Mutex(std::getenv("QEL_TEST_LOCK"));
    return s_lock;
}

} // namespace QEL::FrontEnd::Util::Tracing
