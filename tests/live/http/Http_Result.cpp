#include "tests/live/http/Http_Result.h"

#include "util/Dead_Servers.h"

namespace QEL::Tests {

using FrontEnd::FileCache::Failed;
using FrontEnd::FileCache::Request_Interface;

Http_Result Request(const char* method, const std::string& url, const Timeouts& timeouts) {
    const FrontEnd::Util::Asking_Anyway asking;
    return Request_If_Alive(method, url, timeouts);
}

Http_Result Request_If_Alive(const char* method, const std::string& url, const Timeouts& timeouts) {
    Http_Result outcome;
    const auto start = std::chrono::steady_clock::now();
    const auto object = FrontEnd::FileCache::Create_Request_Object().object;
    const auto failed = [&](FrontEnd::FileCache::HResult result) {
        outcome.result = result;
        outcome.elapsed =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
        if (!Failed(result)) {
            return false;
        }
        outcome.description = object->Error_Description(Request_Interface::XMLHTTPRequest);
        return true;
    };
    if (failed(object->Set_Timeouts(timeouts.resolve, timeouts.connect, timeouts.send, timeouts.receive)) ||
        failed(object->Open(method, url)) || failed(object->Send()) || failed(object->Get_Status(outcome.status)) ||
        failed(object->Get_Response_Header("Last-Modified", outcome.last_modified)) ||
        failed(object->Get_Response_Header("Content-Type", outcome.content_type))) {
        return outcome;
    }
    FrontEnd::FileCache::Response_Body body;
    if (!failed(object->Get_Response_Body(body))) {
        outcome.body.assign(body.data, static_cast<std::size_t>(body.upper_bound - body.lower_bound + 1));
    }
    return outcome;
}

} // namespace QEL::Tests
