#include "platform/common/Http_Transfer.h"

#include <algorithm>
#include <utility>

#include "platform/common/WinInet_Error.h"
#include "util/Error_Meaning.h"
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

/// One exchange, unless it is known that it would cost time in vain.
std::optional<Http_Failure> Exchange(const Http_Client& client, const Http_Request& request, const Http_Url& url,
                                     Certificate_Check check, Http_Response& response) {
    auto& dead_servers = Dead_Servers::Instance();
    const Server server{url.Origin(), client.proxy(url), client.name};
    const std::string method = request.method == Http_Method::Head ? "HEAD" : "GET";
    if (auto known = dead_servers.Recall(server, method)) {
        return Http_Failure{known->error, std::move(known->description), {}};
    }
    const auto began = dead_servers.Now();
    auto failure = client.exchange(request, url, check, response);
    if (!failure) {
        dead_servers.Note(server, method, Attempt::Responded, {}, began);
    } else if (!Util::Is_Certificate_Error(failure->error)) {
        dead_servers.Note(server, method, failure->attempt, {failure->error, failure->description}, began);
    }
    return failure;
}

} // namespace

std::optional<Http_Failure> Transfer(const Http_Request& request, Http_Response& response, const Http_Client& client) {
    auto url = request.url;
    for (int redirects = 0;; ++redirects) {
        response = Http_Response();
        if (auto failure = Exchange(client, request, url, Check_For(request.trust, redirects > 0), response)) {
            if (const auto end = Util::End_Of_Cause(failure->description); redirects > 0) {
                response.final_url = url.text;
                failure->description.insert(std::min(end, failure->description.size()),
                                            failure->description.starts_with("The proxy ")
                                                ? "; the request was redirected through it"
                                                : "; the request was redirected there");
            }
            return failure;
        }
        auto target = Redirect_Target(url, response);
        if (!target) {
            const bool leads_elsewhere = Util::Is_Redirect(response.status) && !response.redirect_url.empty();
            response.final_url = leads_elsewhere ? response.redirect_url : url.text;
            return std::nullopt;
        }
        if (redirects == Most_Redirects) {
            response = Http_Response();
            response.final_url = target->text;
            return Http_Failure{Error_Http_Redirect_Failed, "The server " + request.url.Server() +
                                                                " redirects the request more than ten times. Check the "
                                                                "URL and the server's redirects."};
        }
        url = *std::move(target);
    }
}

} // namespace QEL::FrontEnd::Platform
