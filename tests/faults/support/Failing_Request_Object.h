#pragma once

#include "util/IRequest_Object.h"

#include <cstddef>

namespace QEL::Tests {

/// The platform's request object, of which one call is not made and returns a result of the
/// test's. Linking Failing_Request_Object.cpp puts it around every request object of the program.
struct Failing_Request_Object {
    /// Lets call number `call`, counted from now and from 1 over all request objects, return a
    /// result. The creation of an object is a call.
    static void Fail(std::size_t call, FrontEnd::FileCache::HResult result);

    /// Whether the call took place; from now on none fails.
    static bool Has_Failed();

    /// Objects that have been created and not released.
    static int Alive();
};

} // namespace QEL::Tests
