#include "util/Http_Status.h"

#include <utility>

namespace QEL::FrontEnd::Util {

std::string_view Meaning_Of_Status(long status) {
    constexpr std::pair<long, std::string_view> of_statuses[] = {
        {304, "not modified, a response that only a browser can use"},
        {400, "bad request"},
        {401, "a login is required, and the cache has none"},
        {403, "forbidden"},
        {404, "not found"},
        {405, "the server does not support this kind of request"},
        {407, "the proxy requires a login, and the cache has none"},
        {410, "the file is gone"},
        {429, "too many requests"},
        {501, "the server does not support this kind of request"},
        {502, "bad gateway"},
        {503, "the service is not available"},
        {504, "the gateway got no response in time"},
    };
    for (const auto& [number, meaning] : of_statuses) {
        if (number == status) {
            return meaning;
        }
    }
    if (status >= 200 && status <= 299) {
        return "success";
    }
    if (status >= 300 && status <= 399) {
        return "a redirect that is not followed";
    }
    return status >= 500 ? "internal error of the server" : "the server refuses the request";
}

} // namespace QEL::FrontEnd::Util
