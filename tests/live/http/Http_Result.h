#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Dead_Servers.h"
#include "util/IRequest_Object.h"

namespace QEL::Tests {

/// Time-outs of a request, in milliseconds; long enough for a busy machine.
struct Timeouts {
    int resolve = 20000;
    int connect = 20000;
    int send = 20000;
    int receive = 20000;
};

/// For a server that hangs, so that it does not hold the tests.
inline constexpr Timeouts Short_Receive{.receive = 300};

/// What a request object made of a request.
struct Http_Result {
    FrontEnd::FileCache::HResult result = 0; ///< the first failure, else 0
    std::string description;                 ///< of the failure
    long status = 0;
    std::string last_modified;
    std::string content_type;
    std::string body;
    std::chrono::milliseconds elapsed{};

    /// The WinInet error number of the failure; 0 when there was none.
    std::uint32_t Error() const { return result == 0 ? 0 : static_cast<std::uint32_t>(result) & 0xFFFF; }
};

/// Runs one request through a new request object, unless its server is remembered as a dead one.
inline Http_Result Request_If_Alive(const char* method, const std::string& url, const Timeouts& timeouts = {}) {
    using namespace FrontEnd::FileCache;
    Http_Result outcome;
    const auto start = std::chrono::steady_clock::now();
    const auto object = Create_Request_Object().object;
    Response_Body body;
    for (const auto& step : std::initializer_list<std::function<HResult()>>{
             [&] { return object->Set_Timeouts(timeouts.resolve, timeouts.connect, timeouts.send, timeouts.receive); },
             [&] { return object->Open(method, url); }, [&] { return object->Send(); },
             [&] { return object->Get_Status(outcome.status); },
             [&] { return object->Get_Response_Header("Last-Modified", outcome.last_modified); },
             [&] { return object->Get_Response_Header("Content-Type", outcome.content_type); },
             [&] { return object->Get_Response_Body(body); }}) {
        outcome.result = step();
        if (Failed(outcome.result)) {
            outcome.description = object->Error_Description(Request_Interface::XMLHTTPRequest);
            break;
        }
    }
    if (!Failed(outcome.result)) {
        outcome.body.assign(body.data, static_cast<std::size_t>(body.upper_bound - body.lower_bound + 1));
    }
    outcome.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    return outcome;
}

/// The same, whatever earlier tests have left in memory under the port of this one's server.
inline Http_Result Request(const char* method, const std::string& url, const Timeouts& timeouts = {}) {
    const FrontEnd::Util::Asking_Anyway asking;
    return Request_If_Alive(method, url, timeouts);
}

inline Http_Result Get(const std::string& url, const Timeouts& timeouts = {}) {
    return Request("GET", url, timeouts);
}

inline Http_Result Head(const std::string& url, const Timeouts& timeouts = {}) {
    return Request("HEAD", url, timeouts);
}

} // namespace QEL::Tests
