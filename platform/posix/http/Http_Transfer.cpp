#include "platform/posix/http/Http_Transfer.h"

#include <utility>

#include "platform/posix/http/WinInet_Error.h"
#include "platform/posix/system/Sigpipe_Guard.h"

namespace QEL::FrontEnd::Platform {

namespace {

bool Is_Redirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Where to go on; nothing when the answer is the last one.
std::optional<Http_Url> Redirect_Target(const Http_Url& from, const Http_Response& answer) {
    if (!Is_Redirect(answer.status)) {
        return std::nullopt;
    }
    auto target = Http_Url::Parse(answer.redirect_url);
    if (target && from.Is_Https() && !target->Is_Https()) {
        return std::nullopt;
    }
    return target;
}

Certificate_Check Check_For(Certificate_Trust trust, bool is_redirected) {
    if (trust == Certificate_Trust::Ignore_All) {
        return Certificate_Check::Ignore;
    }
    return trust == Certificate_Trust::Ignore_For_Url && !is_redirected ? Certificate_Check::Ignore
                                                                        : Certificate_Check::Verify;
}

} // namespace

Http_Failure Invalid_Url_Failure() {
    return {Error_Internet_Invalid_URL,
            "The URL is not valid. Check its spelling: it begins with http:// or https:// and the name of a server."};
}

std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& answer) {
    const Sigpipe_Guard guard;
    const auto pool = Connection_Pool::Instance();
    auto url = request.url;
    for (int redirects = 0;; ++redirects) {
        const auto origin = url.Origin();
        const auto check = Check_For(request.trust, redirects > 0);
        auto connection = pool->Take(origin, check);
        if (connection == nullptr) {
            return Http_Failure{Error_Out_Of_Memory, "There is not enough memory for a connection."};
        }
        answer = Http_Response();
        if (auto failure = Http_Exchange(*connection, request.method, url, request.timeouts, check, answer).Run()) {
            return failure;
        }
        pool->Put_Back(std::move(connection), origin, check);

        auto target = Redirect_Target(url, answer);
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
