#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/http/Body_Buffer.h"
#include "platform/posix/http/Connection_Pool.h"
#include "platform/posix/http/Http_Failure.h"
#include "platform/posix/http/Http_Url.h"
#include "platform/posix/http/Ocsp_Stapling.h"
#include "platform/posix/http/Response_Headers.h"

namespace QEL::FrontEnd::Platform {

enum class Http_Method { Get, Head };

/// How long each step of a request may take; 0 is no limit.
struct Http_Timeouts {
    std::chrono::milliseconds resolve{60000}; ///< looking up the server's name
    std::chrono::milliseconds connect{60000}; ///< the connection, over all addresses of the name
    std::chrono::milliseconds send{30000};    ///< until the server's system has acknowledged the request
    /// Each of: the TLS handshake; from the request to the end of the answer's headers; from one
    /// packet of the body to the next. A body must in addition arrive with Slowest_Body_Rate on
    /// average, so that a server that sends a byte now and then cannot hold the caller.
    std::chrono::milliseconds receive{30000};
};

/// Bytes a second that a body must have arrived with on average, once the receive time-out has passed.
inline constexpr std::int64_t Slowest_Body_Rate = 1024;

/// Headers of all kinds that an answer may have, interim answers and trailers included.
inline constexpr std::size_t Largest_Headers = 256 * 1024;

struct Http_Response {
    long status = 0;
    Response_Headers headers;
    Body_Buffer body;
    std::string redirect_url; ///< where the answer sends the client to; empty when nowhere
};

/// One request to one server and its answer, redirects not followed.
class Http_Exchange {
public:
    Http_Exchange(Connection& connection, Http_Method method, const Http_Url& url, const Http_Timeouts& timeouts,
                  Certificate_Check check, Http_Response& answer);

    /// Sends the request and reads the whole answer; nothing on success.
    std::optional<Http_Failure> Run();

private:
    using Clock = std::chrono::steady_clock;

    /// What the exchange waits for, in the order of time.
    enum class Step { Name, Connection, Handshake, Request, Headers, Body };

    struct Limit {
        Clock::time_point time = Clock::time_point::max();
        Step step = Step::Name;
    };

    void Set_Options();
    CURLcode Perform();
    /// Completes the answer, or tells why there is none.
    std::optional<Http_Failure> Conclude(CURLcode result);
    Limit Next_Limit();
    /// Whether the server's system has acknowledged all that was sent.
    bool Is_Request_Taken() const;
    std::int64_t Microseconds(CURLINFO info) const;

    /// The server is connected and the TLS handshake begins.
    void On_Handshake(SSL_CTX* context);
    /// The request is about to be sent on an open connection.
    void On_Connected();
    bool On_Header_Line(std::string_view line);
    bool On_Headers_End(long status);
    bool On_Body(std::string_view bytes);

    /// Notes why the answer is refused; false, for the caller to return.
    bool Refuse(std::uint32_t error, const char* reason);

    Http_Failure Failure(CURLcode result);
    /// The proxy's answer to the request for a tunnel; 0 when there was none.
    long Proxy_Status() const;
    Http_Failure Timeout_Failure(Step step) const;
    Http_Failure Certificate_Failure() const;
    Http_Failure Revoked_Failure() const;
    Http_Failure Bad_Response_Failure() const;
    Http_Failure Cut_Body_Failure() const;
    Http_Failure Connection_Failure(std::uint32_t error, const char* what) const;
    /// A failure that the system has a cause for.
    Http_Failure System_Failure(std::uint32_t error, const char* what) const;

    static CURLcode Handshake_Callback(CURL*, void* context, void* exchange);
    static int Connected_Callback(void* exchange, char*, char*, int, int);
    static std::size_t Header_Callback(char* data, std::size_t, std::size_t size, void* exchange);
    static std::size_t Body_Callback(char* data, std::size_t, std::size_t size, void* exchange);

    Connection& m_Connection;
    const Http_Method m_Method;
    const Http_Url& m_Url;
    const Http_Timeouts& m_Timeouts;
    const Certificate_Check m_Check;
    Http_Response& m_Answer;

    Clock::time_point m_Started;
    Clock::time_point m_Handshake_Started;
    Clock::time_point m_Request_Started;
    Clock::time_point m_Request_Taken;
    Clock::time_point m_Headers_End;
    Clock::time_point m_Last_Body_Packet;
    bool m_Is_In_Handshake = false;
    bool m_Is_Connected = false;
    bool m_Is_Request_Taken = false;
    bool m_Has_Headers = false;
    bool m_Ends_With_Connection = false; ///< nothing in the answer tells where the file ends

    std::size_t m_Header_Bytes = 0;
    std::optional<Step> m_Timed_Out_Step;
    std::optional<Http_Failure> m_Refusal;
    std::array<char, CURL_ERROR_SIZE> m_Curl_Message{};
};

} // namespace QEL::FrontEnd::Platform
