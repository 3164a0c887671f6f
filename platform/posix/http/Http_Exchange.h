#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/common/Http_Request.h"
#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Body_Buffer.h"
#include "platform/posix/http/Connection_Pool.h"

namespace QEL::FrontEnd::Platform {

/// Bytes a second that a body must have arrived with on average, once the receive time-out has passed: a
/// server that sends a byte now and then cannot hold the caller.
inline constexpr std::int64_t Slowest_Body_Rate = 1024;

/// Headers of all kinds that a response may have, interim responses and trailers included.
inline constexpr std::size_t Largest_Headers = 256 * 1024;

/// One request to one server and its response, redirects not followed.
///
/// It goes from step to step, in one direction but for a connection that libcurl replaces by another. Each step
/// has the time at which it began and a time-out.
class Http_Exchange {
public:
    Http_Exchange(Connection& connection, const Http_Request& request, const Http_Url& url, Certificate_Check check,
                  Http_Response& response);

    /// Sends the request and reads the whole response; nothing on success.
    std::optional<Http_Failure> Run();

private:
    using Clock = std::chrono::steady_clock;

    /// What the exchange waits for.
    enum class Step { Name, Connection, Handshake, Request, Headers, Body };

    void Enter(Step step, Clock::time_point began = Clock::now());
    /// Enters the steps whose beginning libcurl does not report.
    void Enter_Unreported_Step();
    /// When the step has taken too long.
    Clock::time_point Limit() const;
    /// Whether the server's system has acknowledged all that was sent.
    bool Is_Request_Acknowledged() const;

    void Set_Options();
    CURLcode Perform();

    bool On_Header_Line(std::string_view line);
    bool On_Headers_End(long status);
    bool On_Body(std::string_view bytes);
    /// A callback of C code, which an exception must not cross.
    template <bool (Http_Exchange::*Handler)(std::string_view)>
    static std::size_t On_Data(char* data, std::size_t, std::size_t size, void* exchange);
    /// Notes why the response is refused; false, for the caller to return.
    bool Refuse(std::string_view reason, std::uint32_t error = Error_Http_Invalid_Server_Response);

    template <typename Number>
    Number Info(CURLINFO info) const;

    // exchange_failures.cpp
    Http_Failure Fail(std::uint32_t error, std::string_view text, std::string_view detail = {}) const;
    Http_Failure Failure(CURLcode result) const;
    /// What a failure at this step says of the server.
    Attempt Failed_Attempt(std::uint32_t error) const;
    Http_Failure Timeout_Failure() const;

    Connection& m_Connection;
    const Http_Request& m_Request;
    const Http_Url& m_Url;
    const Certificate_Check m_Check;
    Http_Response& m_Response;
    const std::shared_ptr<Body_Buffer> m_Body = std::make_shared<Body_Buffer>();

    Step m_Step = Step::Name;
    Clock::time_point m_Step_Began;
    Clock::time_point m_Last_Packet; ///< of the body; before that, when the step began

    bool m_Ends_With_Connection = false; ///< nothing in the response says where the file ends
    std::size_t m_Header_Bytes = 0;
    std::optional<Http_Failure> m_Failure; ///< what was found out here, not by libcurl
    std::array<char, CURL_ERROR_SIZE> m_Curl_Message{};
};

template <typename Number>
Number Http_Exchange::Info(CURLINFO info) const {
    Number number{};
    curl_easy_getinfo(m_Connection.Easy(), info, &number);
    return number;
}

} // namespace QEL::FrontEnd::Platform
