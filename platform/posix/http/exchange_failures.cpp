#include "platform/posix/http/Http_Exchange.h"

#include <cerrno>
#include <system_error>

#include <openssl/x509_vfy.h>

#include "platform/common/WinInet_Error.h"

// Which error number and which text a failed exchange ends with. In the texts {server} and {host} stand for the
// server, {detail} for what only the failure at hand knows.

namespace QEL::FrontEnd::Platform {

namespace {

struct Failure_Text {
    long result; ///< of libcurl, or of OpenSSL's check of a certificate
    WinInet_Error error;
    const char* text;
};

constexpr const char* tls_failed = "No secure connection to the server {server} came about: the TLS handshake failed. "
                                   "Check that the server offers TLS 1.2 or newer on this port.";
constexpr const char* cut_off = "The server {server} ended the connection without a whole answer{detail}. Check that "
                                "the server runs and that no firewall or proxy is in the way.";
constexpr const char* no_memory = "There is not enough memory for the request to {server}.";
constexpr const char* bad_response = "The answer of the server {server} is not valid HTTP. Check that the URL names a "
                                     "file on a web server, and the port.";
constexpr const char* revoked = "The certificate of the server {server} has been revoked by its authority. Do not "
                                "trust this server until it has a new one.";

constexpr Failure_Text curl_failures[] = {
    {CURLE_URL_MALFORMAT, Error_Internet_Invalid_URL, "The URL is not valid. Check its spelling."},
    {CURLE_COULDNT_RESOLVE_HOST, Error_Internet_Name_Not_Resolved,
     "The name of the server {host} cannot be resolved. Check the server's name in the URL and the network settings of "
     "this machine."},
    {CURLE_COULDNT_RESOLVE_PROXY, Error_Internet_Name_Not_Resolved,
     "The name of the proxy server for {server} cannot be resolved. Check the proxy settings."},
    {CURLE_COULDNT_CONNECT, Error_Internet_Cannot_Connect,
     "The server {server} cannot be connected to{detail}. Check that the server runs and that no firewall or proxy is "
     "in the way."},
    {CURLE_PROXY, Error_Internet_Cannot_Connect,
     "The server {server} cannot be reached through the proxy. Check that the server runs and that no firewall or "
     "proxy is in the way."},
    {CURLE_SSL_CACERT_BADFILE, Error_Internet_Security_Channel,
     "The certificate of the server {server} cannot be checked: the list of authorities of this machine cannot be "
     "read. Check SSL_CERT_FILE and the ca-certificates package."},
    {CURLE_SSL_CONNECT_ERROR, Error_Internet_Security_Channel, tls_failed},
    {CURLE_SSL_CIPHER, Error_Internet_Security_Channel, tls_failed},
    {CURLE_SSL_ENGINE_INITFAILED, Error_Internet_Security_Channel, tls_failed},
    {CURLE_SSL_SHUTDOWN_FAILED, Error_Internet_Security_Channel, tls_failed},
    {CURLE_USE_SSL_FAILED, Error_Internet_Security_Channel, tls_failed},
    {CURLE_RECV_ERROR, Error_Internet_Connection_Aborted, cut_off},
    {CURLE_SEND_ERROR, Error_Internet_Connection_Aborted, cut_off},
    {CURLE_GOT_NOTHING, Error_Internet_Connection_Aborted, cut_off},
    {CURLE_PARTIAL_FILE, Error_Internet_Connection_Aborted,
     "The server {server} sent less than it had promised. Check that the server runs and that no firewall or proxy is "
     "in the way."},
    {CURLE_WRITE_ERROR, Error_Out_Of_Memory, no_memory}, // of a callback; what it refuses has been reported already
    {CURLE_OUT_OF_MEMORY, Error_Out_Of_Memory, no_memory},
    {CURLE_UNSUPPORTED_PROTOCOL, Error_Http_Invalid_Server_Response, bad_response},
    {CURLE_WEIRD_SERVER_REPLY, Error_Http_Invalid_Server_Response, bad_response},
    {CURLE_BAD_CONTENT_ENCODING, Error_Http_Invalid_Server_Response, bad_response},
    {CURLE_BAD_FUNCTION_ARGUMENT, Error_Http_Invalid_Server_Response, bad_response}, // a header that is not valid
};
constexpr Failure_Text other_curl_failure = {0, Error_Internet_Internal_Error,
                                             "The request to the server {server} failed: {detail}."};

constexpr const char* wrong_name = "The certificate of the server {server} was issued for another name than {host}. "
                                   "Check the server's name in the URL.";
constexpr const char* not_yet_valid = "The certificate of the server {server} is not yet valid. Check the date of this "
                                      "machine, then the server's certificate.";
constexpr const char* expired = "The certificate of the server {server} has expired. Check the date of this machine, "
                                "then have the server's certificate renewed.";
constexpr const char* unknown_authority =
    "The certificate of the server {server} comes from an authority that this machine does not trust, or the server "
    "does not send its whole chain. Install the authority's certificate, or have the chain fixed.";

constexpr Failure_Text certificate_failures[] = {
    {X509_V_OK, Error_Internet_Cert_Name_Invalid, wrong_name}, // the chain is valid, so it was the name
    // What libcurl leaves there when it has rejected the name itself.
    {X509_V_ERR_UNSPECIFIED, Error_Internet_Cert_Name_Invalid, wrong_name},
    {X509_V_ERR_HOSTNAME_MISMATCH, Error_Internet_Cert_Name_Invalid, wrong_name},
    {X509_V_ERR_IP_ADDRESS_MISMATCH, Error_Internet_Cert_Name_Invalid, wrong_name},
    {X509_V_ERR_CERT_NOT_YET_VALID, Error_Internet_Cert_Date_Invalid, not_yet_valid},
    {X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, Error_Internet_Cert_Date_Invalid, not_yet_valid},
    {X509_V_ERR_CERT_HAS_EXPIRED, Error_Internet_Cert_Date_Invalid, expired},
    {X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD, Error_Internet_Cert_Date_Invalid, expired},
    {X509_V_ERR_CERT_REVOKED, Error_Internet_Cert_Revoked, revoked},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_INVALID_CA, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_CERT_UNTRUSTED, Error_Internet_Invalid_Authority, unknown_authority},
    {X509_V_ERR_CERT_REJECTED, Error_Internet_Invalid_Authority, unknown_authority},
};
constexpr Failure_Text other_certificate_failure = {
    0, Error_Internet_Invalid_Certificate,
    "The certificate of the server {server} is not valid ({detail}). Have it replaced."};

template <std::size_t Size>
const Failure_Text& Find(const Failure_Text (&texts)[Size], long result, const Failure_Text& other) {
    for (const auto& text : texts) {
        if (text.result == result) {
            return text;
        }
    }
    return other;
}

} // namespace

Http_Failure Http_Exchange::Fail(std::uint32_t error, std::string_view text, std::string_view detail) const {
    Http_Failure failure{error, {}};
    for (auto brace = text.find('{'); brace != std::string_view::npos; brace = text.find('{')) {
        failure.description += text.substr(0, brace);
        text.remove_prefix(brace);
        failure.description += text.starts_with("{server}") ? m_Url.Server()
                               : text.starts_with("{host}") ? m_Url.host
                                                            : std::string(detail);
        text.remove_prefix(text.find('}') + 1);
    }
    failure.description += text;
    return failure;
}

Http_Failure Http_Exchange::Failure(CURLcode result) const {
    if (m_Connection.Tls().is_certificate_revoked) {
        return Fail(Error_Internet_Cert_Revoked, revoked);
    }
    if (result == CURLE_OPERATION_TIMEDOUT) {
        return Timeout_Failure();
    }
    if (result == CURLE_PEER_FAILED_VERIFICATION) {
        return Certificate_Failure();
    }
    if (const auto proxy_status = Info<long>(CURLINFO_HTTP_CONNECTCODE);
        result == CURLE_RECV_ERROR && proxy_status >= 300) {
        return Fail(Error_Internet_Cannot_Connect,
                    "The proxy does not let requests through to the server {server}: it answers with status {detail}. "
                    "Check the proxy settings.",
                    std::to_string(proxy_status));
    }
    // libcurl has no codes of its own for chunks that are wrong and for a header line that is longer than it takes.
    if (result == CURLE_RECV_ERROR && std::string_view(m_Curl_Message.data()).find("hunk") != std::string_view::npos) {
        return Fail(Error_Http_Invalid_Server_Response, bad_response);
    }
    if (result == CURLE_OUT_OF_MEMORY && (m_Step == Step::Request || m_Step == Step::Headers)) {
        return Fail(Error_Http_Invalid_Server_Response,
                    "The server {server} sent a header that is too long. Check that the URL names a file on a web "
                    "server.");
    }
    const auto& failure = Find(curl_failures, result, other_curl_failure);
    if (result == CURLE_COULDNT_CONNECT || result == CURLE_RECV_ERROR || result == CURLE_SEND_ERROR) {
        // The system has a cause for these.
        if (const auto cause = static_cast<int>(Info<long>(CURLINFO_OS_ERRNO)); cause != 0) {
            return Fail(cause == ETIMEDOUT ? Error_Internet_Timeout : failure.error, failure.text,
                        ": " + std::generic_category().message(cause));
        }
    }
    return Fail(failure.error, failure.text, &failure == &other_curl_failure ? curl_easy_strerror(result) : "");
}

Http_Failure Http_Exchange::Cut_Body_Failure() const {
    return Fail(Error_Internet_Connection_Aborted,
                "The server {server} ended the connection without a word, so its answer may have been cut on the way. "
                "Try again, and have the server send a Content-Length.");
}

Http_Failure Http_Exchange::Timeout_Failure() const {
    constexpr const char* of_steps[] = {
        "The name of the server {host} was not resolved in time. Check the network settings of this machine.",
        "The server {server} did not accept a connection in time. Check that the server runs and that no firewall is "
        "in the way.",
        "The server {server} did not finish the TLS handshake in time. Check that the server offers TLS on this port.",
        "The server {server} did not take the request in time. Check the network and try again.",
        "The server {server} did not answer in time. Check the server's load and try again.",
        "The server {server} sent its answer too slowly. Check the network and try again.",
    };
    return Fail(Error_Internet_Timeout, of_steps[static_cast<std::size_t>(m_Step)]);
}

Http_Failure Http_Exchange::Certificate_Failure() const {
    const auto result = Info<long>(CURLINFO_SSL_VERIFYRESULT);
    const auto& failure = Find(certificate_failures, result, other_certificate_failure);
    return Fail(failure.error, failure.text, std::to_string(result));
}

} // namespace QEL::FrontEnd::Platform
