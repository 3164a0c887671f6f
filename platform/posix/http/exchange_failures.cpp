#include "platform/posix/http/Http_Exchange.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include "platform/posix/http/WinInet_Error.h"

// Which error number and which text a failed exchange ends with.

namespace QEL::FrontEnd::Platform {

namespace {

// OpenSSL's results of a certificate check, which libcurl hands on as numbers.
enum Certificate_Result : long {
    Certificate_Ok = 0,
    Not_Checked = 1,
    No_Issuer = 2,
    Not_Yet_Valid = 9,
    Expired = 10,
    Bad_Not_Before = 13,
    Bad_Not_After = 14,
    Self_Signed = 18,
    Self_Signed_In_Chain = 19,
    No_Issuer_Locally = 20,
    Leaf_Not_Verified = 21,
    Revoked = 23,
    Invalid_Authority = 24,
    Not_Trusted = 27,
    Rejected = 28,
    Name_Mismatch = 62,
    Address_Mismatch = 64,
};

/// libcurl has no code of its own for chunks that are wrong; its message tells.
bool Is_About_Chunks(std::string_view message) {
    return message.find("hunk") != std::string_view::npos;
}

} // namespace

Http_Failure Http_Exchange::Failure(CURLcode result) {
    const auto server = m_Url.Server();
    if (m_Connection.Is_Certificate_Revoked()) {
        return Revoked_Failure();
    }
    switch (result) {
    case CURLE_URL_MALFORMAT:
        return {Error_Internet_Invalid_URL, "The URL is not valid. Check its spelling."};
    case CURLE_COULDNT_RESOLVE_HOST:
        return {Error_Internet_Name_Not_Resolved, "The name of the server " + m_Url.Host() +
                                                      " cannot be resolved. Check the server's name in the URL and "
                                                      "the network settings of this machine."};
    case CURLE_COULDNT_RESOLVE_PROXY:
        return {Error_Internet_Name_Not_Resolved,
                "The name of the proxy server for " + server + " cannot be resolved. Check the proxy settings."};
    case CURLE_COULDNT_CONNECT:
        return System_Failure(Error_Internet_Cannot_Connect, "cannot be connected to");
    case CURLE_PROXY:
        return Connection_Failure(Error_Internet_Cannot_Connect, "cannot be reached through the proxy");
    case CURLE_OPERATION_TIMEDOUT:
        return Timeout_Failure(Next_Limit().step);
    case CURLE_PEER_FAILED_VERIFICATION:
        return Certificate_Failure();
    case CURLE_SSL_CACERT_BADFILE:
        return {Error_Internet_Security_Channel, "The certificate of the server " + server +
                                                     " cannot be checked: the list of authorities of this machine "
                                                     "cannot be read. Check SSL_CERT_FILE and the ca-certificates "
                                                     "package."};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_USE_SSL_FAILED:
        return {Error_Internet_Security_Channel, "No secure connection to the server " + server +
                                                     " came about: the TLS handshake failed. Check that the server "
                                                     "offers TLS 1.2 or newer on this port."};
    case CURLE_RECV_ERROR:
        if (Proxy_Status() >= 300) {
            return {Error_Internet_Cannot_Connect, "The proxy does not let requests through to the server " + server +
                                                       ": it answers with status " + std::to_string(Proxy_Status()) +
                                                       ". Check the proxy settings."};
        }
        if (Is_About_Chunks(m_Curl_Message.data())) {
            return Bad_Response_Failure();
        }
        [[fallthrough]];
    case CURLE_SEND_ERROR:
        return System_Failure(Error_Internet_Connection_Aborted, "ended the connection without a whole answer");
    case CURLE_GOT_NOTHING:
        return Connection_Failure(Error_Internet_Connection_Aborted, "ended the connection without a whole answer");
    case CURLE_PARTIAL_FILE:
        return Connection_Failure(Error_Internet_Connection_Aborted, "sent less than it had promised");
    case CURLE_WRITE_ERROR: // a callback ran out of memory; what it refuses has been told already
    case CURLE_OUT_OF_MEMORY:
        if (result == CURLE_OUT_OF_MEMORY && m_Is_Connected && !m_Has_Headers) {
            // A header line that is longer than libcurl takes has no code of its own.
            return {Error_Http_Invalid_Server_Response, "The server " + server +
                                                            " sent a header that is too long. Check that the URL "
                                                            "names a file on a web server."};
        }
        return {Error_Out_Of_Memory, "There is not enough memory for the request to " + server + "."};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_BAD_FUNCTION_ARGUMENT: // of libcurl's own functions: a header that is none
        return Bad_Response_Failure();
    default:
        return {Error_Internet_Internal_Error,
                "The request to the server " + server + " failed: " + curl_easy_strerror(result) + "."};
    }
}

long Http_Exchange::Proxy_Status() const {
    long status = 0;
    curl_easy_getinfo(m_Connection.Easy(), CURLINFO_HTTP_CONNECTCODE, &status);
    return status;
}

Http_Failure Http_Exchange::Bad_Response_Failure() const {
    return {Error_Http_Invalid_Server_Response, "The answer of the server " + m_Url.Server() +
                                                    " is not valid HTTP. Check that the URL names a file on a web "
                                                    "server, and the port."};
}

Http_Failure Http_Exchange::Cut_Body_Failure() const {
    return {Error_Internet_Connection_Aborted,
            "The server " + m_Url.Server() +
                " ended the connection without a word, so its answer may have been cut on the way. Try again, and "
                "have the server send a Content-Length."};
}

Http_Failure Http_Exchange::Revoked_Failure() const {
    return {Error_Internet_Cert_Revoked, "The certificate of the server " + m_Url.Server() +
                                             " has been revoked by its authority. Do not trust this server until it "
                                             "has a new one."};
}

Http_Failure Http_Exchange::Connection_Failure(std::uint32_t error, const char* what) const {
    return {error, "The server " + m_Url.Server() + " " + what +
                       ". Check that the server runs and that no firewall or proxy is in the way."};
}

Http_Failure Http_Exchange::System_Failure(std::uint32_t error, const char* what) const {
    long system_error = 0;
    curl_easy_getinfo(m_Connection.Easy(), CURLINFO_OS_ERRNO, &system_error);
    if (system_error == 0) {
        return Connection_Failure(error, what);
    }
    const auto cause = std::generic_category().message(static_cast<int>(system_error));
    return Connection_Failure(system_error == ETIMEDOUT ? std::uint32_t{Error_Internet_Timeout} : error,
                              (what + (": " + cause)).c_str());
}

Http_Failure Http_Exchange::Timeout_Failure(Step step) const {
    const auto server = m_Url.Server();
    switch (step) {
    case Step::Name:
        return {Error_Internet_Timeout, "The name of the server " + m_Url.Host() +
                                            " was not resolved in time. Check the network settings of this machine."};
    case Step::Connection:
        return {Error_Internet_Timeout, "The server " + server +
                                            " did not accept a connection in time. Check that the server runs and "
                                            "that no firewall is in the way."};
    case Step::Handshake:
        return {Error_Internet_Timeout, "The server " + server +
                                            " did not finish the TLS handshake in time. Check that the server "
                                            "offers TLS on this port."};
    case Step::Request:
        return {Error_Internet_Timeout,
                "The server " + server + " did not take the request in time. Check the network and try again."};
    case Step::Headers:
        return {Error_Internet_Timeout,
                "The server " + server + " did not answer in time. Check the server's load and try again."};
    case Step::Body:
        break;
    }
    return {Error_Internet_Timeout,
            "The server " + server + " sent its answer too slowly. Check the network and try again."};
}

Http_Failure Http_Exchange::Certificate_Failure() const {
    long result = Certificate_Ok;
    curl_easy_getinfo(m_Connection.Easy(), CURLINFO_SSL_VERIFYRESULT, &result);
    const auto certificate = "The certificate of the server " + m_Url.Server();
    switch (result) {
    case Certificate_Ok: // the chain holds, so it was the name
    case Not_Checked:    // what libcurl leaves there when it has rejected the name itself
    case Name_Mismatch:
    case Address_Mismatch:
        return {Error_Internet_Cert_Name_Invalid, certificate + " was issued for another name than " + m_Url.Host() +
                                                      ". Check the server's name in the URL."};
    case Not_Yet_Valid:
    case Bad_Not_Before:
        return {Error_Internet_Cert_Date_Invalid,
                certificate + " is not yet valid. Check the date of this machine, then the server's certificate."};
    case Expired:
    case Bad_Not_After:
        return {Error_Internet_Cert_Date_Invalid, certificate + " has expired. Check the date of this machine, then "
                                                                "have the server's certificate renewed."};
    case Revoked:
        return Revoked_Failure();
    case No_Issuer:
    case No_Issuer_Locally:
    case Self_Signed:
    case Self_Signed_In_Chain:
    case Leaf_Not_Verified:
    case Invalid_Authority:
    case Not_Trusted:
    case Rejected:
        return {Error_Internet_Invalid_Authority,
                certificate + " comes from an authority that this machine does not trust, or the server does not "
                              "send its whole chain. Install the authority's certificate, or have the chain mended."};
    default:
        return {Error_Internet_Invalid_Certificate,
                certificate + " is not valid (" + std::to_string(result) + "). Have it replaced."};
    }
}

} // namespace QEL::FrontEnd::Platform
