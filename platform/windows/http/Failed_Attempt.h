#pragma once

#include "platform/common/Http_Request.h"

#include <chrono>
#include <cstdint>

namespace QEL::FrontEnd::Platform {

/// What a failure of the request object says of the server. The object reports no steps, and one number for all
/// time-outs: which one it was follows from how long the attempt took.
/// @param result a failed HRESULT.
Attempt Failed_Attempt(std::uint32_t result, std::chrono::steady_clock::duration taken, const Http_Request& request,
                       bool has_proxy);

} // namespace QEL::FrontEnd::Platform
