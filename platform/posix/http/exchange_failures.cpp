#include "platform/posix/http/exchange_failures.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <span>
#include <string>
#include <system_error>

#include <openssl/x509_vfy.h>

#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Proxy.h"
#include "util/Ascii.h"
#include "util/Error_Meaning.h"
#include "util/Http_Status.h"

namespace QEL::FrontEnd::Platform {

namespace {

/// Which results, of libcurl or of OpenSSL's check of a certificate, are which error.
struct Failure_Kind {
    std::initializer_list<long> results;
    WinInet_Error error;
    const char* detail = "";
};

// The last of each table is for all other results.
constexpr Failure_Kind curl_failures[] = {
    {{CURLE_URL_MALFORMAT}, Error_Internet_Invalid_URL},
    {{CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_RESOLVE_PROXY}, Error_Internet_Name_Not_Resolved},
    {{CURLE_COULDNT_CONNECT, CURLE_PROXY}, Error_Internet_Cannot_Connect},
    {{CURLE_SSL_CACERT_BADFILE},
     Error_Internet_Security_Channel,
     ": this machine's list of authorities cannot be read (SSL_CERT_FILE, or the package ca-certificates)"},
    {{CURLE_SSL_CONNECT_ERROR, CURLE_SSL_CIPHER, CURLE_SSL_ENGINE_INITFAILED, CURLE_SSL_SHUTDOWN_FAILED,
      CURLE_USE_SSL_FAILED},
     Error_Internet_Security_Channel},
    {{CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_GOT_NOTHING}, Error_Internet_Connection_Aborted},
    {{CURLE_PARTIAL_FILE}, Error_Internet_Connection_Aborted, ": it sent less than its Content-Length"},
    // The first is a callback's that had no memory.
    {{CURLE_WRITE_ERROR, CURLE_OUT_OF_MEMORY}, Error_Out_Of_Memory},
    // The last is of libcurl's own functions, for a header that is not valid.
    {{CURLE_UNSUPPORTED_PROTOCOL, CURLE_WEIRD_SERVER_REPLY, CURLE_BAD_CONTENT_ENCODING, CURLE_BAD_FUNCTION_ARGUMENT},
     Error_Http_Invalid_Server_Response},
    {{}, Error_Internet_Internal_Error},
};

constexpr Failure_Kind certificate_failures[] = {
    // The chain is valid, so it was the name. The second is what libcurl leaves when it has rejected the name itself.
    {{X509_V_OK, X509_V_ERR_UNSPECIFIED, X509_V_ERR_HOSTNAME_MISMATCH, X509_V_ERR_IP_ADDRESS_MISMATCH},
     Error_Internet_Cert_Name_Invalid},
    {{X509_V_ERR_CERT_NOT_YET_VALID, X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, X509_V_ERR_CERT_HAS_EXPIRED,
      X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD},
     Error_Internet_Cert_Date_Invalid},
    {{X509_V_ERR_CERT_REVOKED}, Error_Internet_Cert_Revoked},
    {{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY,
      X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN,
      X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, X509_V_ERR_INVALID_CA, X509_V_ERR_CERT_UNTRUSTED,
      X509_V_ERR_CERT_REJECTED},
     Error_Internet_Invalid_Authority},
    {{}, Error_Internet_Invalid_Certificate},
};

const Failure_Kind& Find(std::span<const Failure_Kind> kinds, long result) {
    return *std::find_if(kinds.begin(), kinds.end() - 1, [result](const Failure_Kind& kind) {
        return std::find(kind.results.begin(), kind.results.end(), result) != kind.results.end();
    });
}

/// What a step that took too long had not done.
const char* Timeout_Detail(Exchange_Step step) {
    constexpr const char* of_steps[] = {
        ": its name was not resolved",
        ": it did not accept a connection",
        ": the TLS handshake was not finished",
        ": it did not take the request",
        "",
        ": it sent its response too slowly",
    };
    return of_steps[static_cast<std::size_t>(step)];
}

std::string Proxy_Name(std::string_view proxy) {
    return "proxy " + Host_And_Port(proxy);
}

/// In the texts, where either may have failed.
std::string Proxy_Or_Server(std::string_view proxy, const Http_Url& url) {
    const std::string server = "server " + url.Server();
    return proxy.empty() ? server : Proxy_Name(proxy) + ", or the " + server + " behind it,";
}

/// Who failed, in the texts. Up to the connection that is the proxy, where there is one; a connection that ends or
/// stays silent later leaves open which of the two it was.
std::string Subject(const Http_Url& url, const Connection& connection, CURLcode result, Exchange_Step step) {
    const auto proxy = Proxy_For(url);
    const bool is_proxys = connection.Tls().is_in_proxys_handshake || result == CURLE_COULDNT_RESOLVE_PROXY ||
                           result == CURLE_COULDNT_CONNECT || result == CURLE_PROXY ||
                           (result == CURLE_OPERATION_TIMEDOUT && step <= Exchange_Step::Connection);
    const bool may_be_proxys = result == CURLE_OPERATION_TIMEDOUT || result == CURLE_GOT_NOTHING ||
                               result == CURLE_RECV_ERROR || result == CURLE_SEND_ERROR ||
                               result == CURLE_PARTIAL_FILE || result == CURLE_SSL_CONNECT_ERROR;
    if (is_proxys && !proxy.empty()) {
        return Proxy_Name(proxy);
    }
    return Proxy_Or_Server(may_be_proxys ? proxy : "", url);
}

} // namespace

bool Is_With_Proxy(std::string_view proxy, const Connection& connection) {
    return Util::Equals_Ignoring_Case(proxy.substr(0, 6), "https:") &&
           connection.Info<long>(CURLINFO_HTTP_CONNECTCODE) / 100 != 2;
}

Http_Failure Exchange_Failure(const Http_Url& url, std::uint32_t error, std::string_view detail) {
    const auto proxy = url.Is_Https() || error != Error_Http_Invalid_Server_Response ? "" : Proxy_For(url);
    return {error, Util::Sentences_On_Error(error, Proxy_Or_Server(proxy, url), detail)};
}

Http_Failure Exchange_Failure(const Http_Url& url, const Connection& connection, Exchange_Step step, CURLcode result,
                              std::string_view message) {
    const auto proxy_status = connection.Info<long>(CURLINFO_HTTP_CONNECTCODE);
    const bool is_revoked = connection.Tls().is_certificate_revoked;
    if (is_revoked || result == CURLE_PEER_FAILED_VERIFICATION) {
        const auto proxy = Proxy_For(url);
        const bool is_proxys = Is_With_Proxy(proxy, connection);
        const auto result_of_check = is_proxys ? CURLINFO_PROXY_SSL_VERIFYRESULT : CURLINFO_SSL_VERIFYRESULT;
        const long fault = is_revoked ? X509_V_ERR_CERT_REVOKED : connection.Info<long>(result_of_check);
        const bool is_openssls = fault != X509_V_OK && fault != X509_V_ERR_UNSPECIFIED;
        const auto error = Find(certificate_failures, fault).error;
        return {error, Util::Sentences_On_Error(
                           error, is_proxys ? Proxy_Name(proxy) : "server " + url.Server(),
                           is_openssls ? std::string(" (") + X509_verify_cert_error_string(fault) + ")" : "")};
    }
    if (result == CURLE_OPERATION_TIMEDOUT) {
        return {Error_Internet_Timeout,
                Util::Sentences_On_Error(Error_Internet_Timeout, Subject(url, connection, result, step),
                                         Timeout_Detail(step))};
    }
    if (result == CURLE_RECV_ERROR && proxy_status == Util::Proxy_Login_Required) {
        return {Error_Internet_Cannot_Connect, Util::Sentences_On_Status(proxy_status, Proxy_Name(Proxy_For(url))),
                Attempt::Failed_Otherwise, proxy_status};
    }
    if (result == CURLE_RECV_ERROR && proxy_status >= 300) {
        constexpr long network_login = 511;
        const auto remedy = proxy_status < 500 ? "let the proxy allow this server"
                            : proxy_status == network_login
                                ? Util::Remedy_For_Status(network_login)
                                : Util::Meaning_Of_Error(Error_Internet_Cannot_Connect).remedy;
        return {Error_Internet_Cannot_Connect,
                Util::Sentences("the server " + url.Server() + " cannot be connected to: its " +
                                    Proxy_Name(Proxy_For(url)) + " refuses with status " + std::to_string(proxy_status),
                                remedy)};
    }
    // libcurl has no codes of its own for a header line that is longer than it takes, and for chunks that are wrong.
    if (result == CURLE_OUT_OF_MEMORY && (step == Exchange_Step::Request || step == Exchange_Step::Headers)) {
        return Exchange_Failure(url, Error_Http_Invalid_Server_Response, ": it has a header that is too long");
    }
    if (result == CURLE_RECV_ERROR && message.find("hunk") != std::string_view::npos) {
        result = CURLE_WEIRD_SERVER_REPLY;
    }
    const auto& failure = Find(curl_failures, result);
    if (message.starts_with("Unsupported proxy")) { // it may show the password
        return No_Proxy(url, failure.error);
    }
    std::string detail = failure.detail;
    std::uint32_t error = failure.error;
    // The system mostly has a cause for these.
    if (result == CURLE_COULDNT_CONNECT || result == CURLE_RECV_ERROR || result == CURLE_SEND_ERROR) {
        const auto cause = static_cast<int>(connection.Info<long>(CURLINFO_OS_ERRNO));
        error = cause == ETIMEDOUT ? Error_Internet_Timeout : error;
        detail = cause != 0 ? ": " + std::generic_category().message(cause) : detail;
    } else if (error == Error_Internet_Internal_Error) {
        detail = std::string(": ") + curl_easy_strerror(result);
    }
    if (error == Error_Http_Invalid_Server_Response) {
        return Exchange_Failure(url, error, detail);
    }
    return {error, Util::Sentences_On_Error(error, Subject(url, connection, result, step), detail)};
}

Http_Failure No_Authority(const Http_Url& url, const std::string& fault) {
    return {Error_Internet_Invalid_Authority,
            "No certificate of the server " + url.Server() + " is trusted: " + fault +
                ". Correct the variable, or unset it to trust the authorities of this machine."};
}

Http_Failure No_Proxy(const Http_Url& url, std::uint32_t error) {
    return {error, "The variable " + Proxy_Variable(url) +
                       " names no valid proxy. Write http://server:port, and in a user or password a blank as %20, '#' "
                       "as %23, '/' as %2F, '?' as %3F, '@' as %40."};
}

Attempt Failed_Attempt(const Connection& connection, Exchange_Step step, std::uint32_t error, bool has_proxy) {
    switch (step) {
    case Exchange_Step::Body:
        return Attempt::Responded;
    case Exchange_Step::Request:
    case Exchange_Step::Headers:
        return error == Error_Internet_Timeout ? Attempt::Silent : Attempt::Failed_Otherwise;
    default:
        if (connection.Info<long>(CURLINFO_HTTP_CONNECTCODE) >= 300) {
            return Attempt::Failed_Otherwise; // the proxy has responded, and may say something else next time
        }
        const bool is_connected =
            connection.Info<long>(CURLINFO_PRIMARY_PORT) != 0 && !connection.Tls().is_in_proxys_handshake;
        return is_connected || !has_proxy ? Attempt::Server_Unreached : Attempt::Proxy_Unreached;
    }
}

} // namespace QEL::FrontEnd::Platform
