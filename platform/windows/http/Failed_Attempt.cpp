#include "platform/windows/http/Failed_Attempt.h"

#include "platform/windows/Windows_Headers.h"

#include <wininet.h>

#include <algorithm>

namespace QEL::FrontEnd::Platform {

namespace {

/// Whether the connection did not stand yet: no time-out of a later step has passed, or a longer one of an earlier
/// step. Where both are as long, the server counts as silent, which says less.
bool Was_Unconnected(std::chrono::steady_clock::duration taken, const Http_Timeouts& timeouts) {
    constexpr std::chrono::milliseconds inexactness{500}; // of the system's timers
    const auto passed = [&](auto timeout) { return taken + inexactness >= timeout ? timeout : timeout.zero(); };
    const auto later = std::max(passed(timeouts.send), passed(timeouts.receive));
    return later == later.zero() || std::max(passed(timeouts.resolve), passed(timeouts.connect)) > later;
}

} // namespace

Attempt Failed_Attempt(std::uint32_t result, std::chrono::steady_clock::duration taken, const Http_Request& request,
                       bool has_proxy) {
    if (HRESULT_FACILITY(result) != FACILITY_WIN32) {
        return Attempt::Failed_Otherwise;
    }
    switch (HRESULT_CODE(result)) {
    case ERROR_INTERNET_TIMEOUT:
        if (!Was_Unconnected(taken, request.timeouts)) {
            return Attempt::Silent;
        }
        [[fallthrough]];
    case ERROR_INTERNET_CANNOT_CONNECT:
        // For https a proxy makes the connection to the server: it may well be that one that failed.
        return has_proxy && !request.url.Is_Https() ? Attempt::Proxy_Unreached : Attempt::Server_Unreached;
    case ERROR_INTERNET_NAME_NOT_RESOLVED:
        return has_proxy ? Attempt::Proxy_Unreached : Attempt::Server_Unreached;
    case ERROR_INTERNET_SECURITY_CHANNEL_ERROR:
        return Attempt::Server_Unreached;
    default:
        return Attempt::Failed_Otherwise;
    }
}

} // namespace QEL::FrontEnd::Platform
