#include "util/Http_Status.h"

namespace QEL::FrontEnd::Util {

std::string_view Meaning_Of_Status(long status) {
    switch (status) {
    case 304:
        return "not modified, a response that only a browser can use";
    case 400:
        return "bad request";
    case 401:
        return "a login is required, and the cache has none";
    case 403:
        return "forbidden";
    case 404:
        return "not found";
    case 405:
    case 501:
        return "the server does not support this kind of request";
    case 407:
        return "the proxy requires a login, and the cache has none";
    case 410:
        return "the file is gone";
    case 429:
        return "too many requests";
    case 502:
        return "bad gateway";
    case 503:
        return "the service is not available";
    case 504:
        return "the gateway got no response in time";
    default:
        break;
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
