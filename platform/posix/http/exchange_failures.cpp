#include "platform/posix/http/exchange_failures.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <span>
#include <system_error>

#include <openssl/x509_vfy.h>

#include "platform/common/WinInet_Error.h"

namespace QEL::FrontEnd::Platform {

namespace {

struct Failure_Text {
    std::initializer_list<long> results; ///< of libcurl, or of OpenSSL's check of a certificate
    WinInet_Error error;
    const char* text;
};

#define CHECK_NETWORK "Check that the server runs and that no firewall or proxy is in the way."

// The last of each table is for all other results.
constexpr Failure_Text curl_failures[] = {
    {{CURLE_URL_MALFORMAT}, Error_Internet_Invalid_URL, "The URL is not valid. Check its spelling."},
    {{CURLE_COULDNT_RESOLVE_HOST},
     Error_Internet_Name_Not_Resolved,
     "The name of the server {host} cannot be resolved. Check the server's name in the URL and the network settings of "
     "this machine."},
    {{CURLE_COULDNT_RESOLVE_PROXY},
     Error_Internet_Name_Not_Resolved,
     "The name of the proxy server for {server} cannot be resolved. Check the proxy settings."},
    {{CURLE_COULDNT_CONNECT},
     Error_Internet_Cannot_Connect,
     "The server {server} cannot be connected to{detail}. " CHECK_NETWORK},
    {{CURLE_PROXY},
     Error_Internet_Cannot_Connect,
     "The server {server} cannot be reached through the proxy. " CHECK_NETWORK},
    {{CURLE_SSL_CACERT_BADFILE},
     Error_Internet_Security_Channel,
     "The certificate of the server {server} cannot be checked: the list of authorities of this machine cannot be "
     "read. Check SSL_CERT_FILE and the ca-certificates package."},
    {{CURLE_SSL_CONNECT_ERROR, CURLE_SSL_CIPHER, CURLE_SSL_ENGINE_INITFAILED, CURLE_SSL_SHUTDOWN_FAILED,
      CURLE_USE_SSL_FAILED},
     Error_Internet_Security_Channel,
     "No secure connection to the server {server} came about: the TLS handshake failed. Check that the server offers "
     "TLS 1.2 or newer on this port."},
    {{CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_GOT_NOTHING},
     Error_Internet_Connection_Aborted,
     "The server {server} ended the connection without a whole response{detail}. " CHECK_NETWORK},
    {{CURLE_PARTIAL_FILE},
     Error_Internet_Connection_Aborted,
     "The server {server} sent less than it had promised. " CHECK_NETWORK},
    // The first is a callback's, which has reported already what it refuses.
    {{CURLE_WRITE_ERROR, CURLE_OUT_OF_MEMORY},
     Error_Out_Of_Memory,
     "There is not enough memory for the request to {server}."},
    // The last is of libcurl's own functions, for a header that is not valid.
    {{CURLE_UNSUPPORTED_PROTOCOL, CURLE_WEIRD_SERVER_REPLY, CURLE_BAD_CONTENT_ENCODING, CURLE_BAD_FUNCTION_ARGUMENT},
     Error_Http_Invalid_Server_Response,
     "The response of the server {server} is not valid HTTP. Check that the URL names a file on a web server, and the "
     "port."},
    {{}, Error_Internet_Internal_Error, "The request to the server {server} failed{detail}."},
};

constexpr Failure_Text certificate_failures[] = {
    // The chain is valid, so it was the name. The second is what libcurl leaves when it has rejected the name itself.
    {{X509_V_OK, X509_V_ERR_UNSPECIFIED, X509_V_ERR_HOSTNAME_MISMATCH, X509_V_ERR_IP_ADDRESS_MISMATCH},
     Error_Internet_Cert_Name_Invalid,
     "The certificate of the server {server} was issued for another name than {host}. Check the server's name in the "
     "URL."},
    {{X509_V_ERR_CERT_NOT_YET_VALID, X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD},
     Error_Internet_Cert_Date_Invalid,
     "The certificate of the server {server} is not yet valid. Check the date of this machine, then the server's "
     "certificate."},
    {{X509_V_ERR_CERT_HAS_EXPIRED, X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD},
     Error_Internet_Cert_Date_Invalid,
     "The certificate of the server {server} has expired. Check the date of this machine, then have the server's "
     "certificate renewed."},
    {{X509_V_ERR_CERT_REVOKED},
     Error_Internet_Cert_Revoked,
     "The certificate of the server {server} has been revoked by its authority. Do not trust this server until it has "
     "a new one."},
    {{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY,
      X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN,
      X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, X509_V_ERR_INVALID_CA, X509_V_ERR_CERT_UNTRUSTED,
      X509_V_ERR_CERT_REJECTED},
     Error_Internet_Invalid_Authority,
     "The certificate of the server {server} comes from an authority that this machine does not trust, or the server "
     "does not send its whole chain. Install the authority's certificate, or have the chain fixed."},
    {{},
     Error_Internet_Invalid_Certificate,
     "The certificate of the server {server} is not valid{detail}. Have it replaced."},
};

const Failure_Text& Find(std::span<const Failure_Text> texts, long result) {
    return *std::find_if(texts.begin(), texts.end() - 1, [result](const Failure_Text& text) {
        return std::find(text.results.begin(), text.results.end(), result) != text.results.end();
    });
}

Http_Failure Timeout(const Http_Url& url, Exchange_Step step) {
    constexpr const char* of_steps[] = {
        "The name of the server {host} was not resolved in time. Check the network settings of this machine.",
        ("The server {server} did not accept a connection in time. Check that the server runs and that no firewall is "
         "in the way."),
        "The server {server} did not finish the TLS handshake in time. Check that the server offers TLS on this port.",
        "The server {server} did not take the request in time. Check the network and try again.",
        "The server {server} did not respond in time. Check the server's load and try again.",
        "The server {server} sent its response too slowly. Check the network and try again.",
    };
    return Exchange_Failure(url, Error_Internet_Timeout, of_steps[static_cast<std::size_t>(step)]);
}

} // namespace

Http_Failure Exchange_Failure(const Http_Url& url, std::uint32_t error, std::string_view text,
                              std::string_view detail) {
    Http_Failure failure{error, {}};
    for (auto brace = text.find('{'); brace != std::string_view::npos; brace = text.find('{')) {
        failure.description += text.substr(0, brace);
        text.remove_prefix(brace);
        failure.description += text.starts_with("{server}") ? url.Server()
                               : text.starts_with("{host}") ? url.host
                                                            : std::string(detail);
        text.remove_prefix(text.find('}') + 1);
    }
    failure.description += text;
    return failure;
}

Http_Failure Exchange_Failure(const Http_Url& url, const Connection& connection, Exchange_Step step, CURLcode result,
                              std::string_view message) {
    const auto proxy_status = connection.Info<long>(CURLINFO_HTTP_CONNECTCODE);
    const bool is_revoked = connection.Tls().is_certificate_revoked;
    if (is_revoked || result == CURLE_PEER_FAILED_VERIFICATION) {
        const long fault = is_revoked ? X509_V_ERR_CERT_REVOKED : connection.Info<long>(CURLINFO_SSL_VERIFYRESULT);
        const auto& failure = Find(certificate_failures, fault);
        return Exchange_Failure(url, failure.error, failure.text, " (" + std::to_string(fault) + ")");
    }
    if (result == CURLE_OPERATION_TIMEDOUT) {
        return Timeout(url, step);
    }
    if (result == CURLE_RECV_ERROR && proxy_status >= 300) {
        return Exchange_Failure(url, Error_Internet_Cannot_Connect,
                                "The proxy does not let requests through to the server {server}: its status is "
                                "{detail}. Check the proxy settings.",
                                std::to_string(proxy_status));
    }
    // libcurl has no codes of its own for a header line that is longer than it takes, and for chunks that are wrong.
    if (result == CURLE_OUT_OF_MEMORY && (step == Exchange_Step::Request || step == Exchange_Step::Headers)) {
        return Exchange_Failure(url, Error_Http_Invalid_Server_Response,
                                "The server {server} sent a header that is too long. Check that the URL names a file "
                                "on a web server.");
    }
    if (result == CURLE_RECV_ERROR && message.find("hunk") != std::string_view::npos) {
        result = CURLE_WEIRD_SERVER_REPLY;
    }
    const auto& failure = Find(curl_failures, result);
    // The system mostly has a cause for these.
    if (result == CURLE_COULDNT_CONNECT || result == CURLE_RECV_ERROR || result == CURLE_SEND_ERROR) {
        const auto cause = static_cast<int>(connection.Info<long>(CURLINFO_OS_ERRNO));
        return Exchange_Failure(url, cause == ETIMEDOUT ? Error_Internet_Timeout : failure.error, failure.text,
                                cause != 0 ? ": " + std::generic_category().message(cause) : "");
    }
    return Exchange_Failure(url, failure.error, failure.text, std::string(": ") + curl_easy_strerror(result));
}

} // namespace QEL::FrontEnd::Platform
