#include "platform/common/Http_Transfer.h"

#include <utility>

#include "platform/common/WinInet_Error.h"
#include "util/Http_Status.h"

namespace QEL::FrontEnd::Platform {

namespace {

/// Where to go on; nothing when the response is the last one.
std::optional<Http_Url> Redirect_Target(const Http_Url& from, const Http_Response& response) {
    if (!Util::Is_Redirect(response.status)) {
        return std::nullopt;
    }
    auto target = Http_Url::Parse(response.redirect_url);
    return target && from.Is_Https() && !target->Is_Https() ? std::nullopt : target;
}

Certificate_Check Check_For(Certificate_Trust trust, bool is_redirected) {
    const bool ignores =
        trust == Certificate_Trust::Ignore_All || (trust == Certificate_Trust::Ignore_For_Url && !is_redirected);
    return ignores ? Certificate_Check::Ignore : Certificate_Check::Verify;
}

} // namespace

std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response) {
    return Transfer(request, response, &Exchange);
}

std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response,
                                     const std::function<Http_Exchange_Function>& exchange) {
    auto url = request.url;
    for (int redirects = 0;; ++redirects) {
        response = Http_Response();
        if (auto failure = exchange(request, url, Check_For(request.trust, redirects > 0), response)) {
            return failure;
        }
        auto target = Redirect_Target(url, response);
        if (!target) {
            return std::nullopt;
        }
        if (redirects == Most_Redirects) {
            return Http_Failure{Error_Http_Redirect_Failed, "The server " + request.url.Server() +
                                                                " redirects the request without end. Check the URL "
                                                                "and the server's redirects."};
        }
        url = *std::move(target);
    }
}

} // namespace QEL::FrontEnd::Platform
