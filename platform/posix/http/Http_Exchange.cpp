#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/select.h>

#include "platform/common/Http_Transfer.h"
#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Authorities.h"
#include "platform/posix/http/Body_Buffer.h"
#include "platform/posix/http/Close_Notify.h"
#include "platform/posix/http/Ocsp_Stapling.h"
#include "platform/posix/http/Proxy.h"
#include "platform/posix/http/Response_Head.h"
#include "platform/posix/http/exchange_failures.h"
#include "platform/posix/system/Sigpipe_Guard.h"

namespace QEL::FrontEnd::Platform {

namespace {

using Clock = std::chrono::steady_clock;
using Step = Exchange_Step;
using std::chrono::milliseconds;

/// The library's own ceiling for a connection, above the limits that are watched here.
constexpr milliseconds Longest_Wait{24L * 24 * 60 * 60 * 1000};

/// Bytes a second that a body must have arrived with on average, once the receive time-out has passed: a
/// server that sends a byte now and then cannot hold the caller.
constexpr std::int64_t Slowest_Body_Rate = 1024;

/// Headers of all kinds that a response may have, interim responses and trailers included.
constexpr std::size_t Largest_Headers = 256 * 1024;

/// One request to one server and its response, redirects not followed.
///
/// It goes from step to step, in one direction but for a connection that libcurl replaces by another. Each step
/// has the time at which it began and a time-out.
class Http_Exchange {
public:
    Http_Exchange(Connection& connection, const Http_Request& request, const Http_Url& url, Certificate_Check check,
                  Http_Response& response)
        : m_Connection(connection), m_Request(request), m_Url(url), m_Check(check), m_Response(response) {}

    /// Sends the request and reads the whole response; nothing on success.
    std::optional<Http_Failure> Run() {
        const bool trust_matters = m_Url.Is_Https() && m_Check == Certificate_Check::Verify;
        if (const auto fault = trust_matters ? m_Authorities.Fault() : std::string(); !fault.empty()) {
            return No_Authority(fault);
        }
        Set_Options();
        auto result = Perform();
        // libcurl takes a connection that ends within the headers for the end of a response.
        result = result == CURLE_OK && m_Step != Step::Body ? CURLE_GOT_NOTHING : result;
        if (result == CURLE_SSL_CACERT_BADFILE && !m_Authorities.file.empty()) {
            m_Failure = No_Authority("SSL_CERT_FILE names " + m_Authorities.file + ", which cannot be read to its end");
        } else if (!m_Failure && result != CURLE_OK) {
            m_Failure = Exchange_Failure(m_Url, m_Connection, m_Step, result, m_Curl_Message.data());
        }
        if (!m_Failure && m_Url.Is_Https() && m_Ends_With_Connection && !m_Connection.Tls().is_closed) {
            m_Failure = Exchange_Failure(m_Url, Error_Internet_Connection_Aborted,
                                         ", or it was cut on the way: neither a Content-Length nor close_notify says "
                                         "where it ends");
        }
        if (m_Failure) {
            m_Failure->attempt = Failed_Attempt(m_Failure->error);
        } else {
            m_Response.status = m_Connection.Info<long>(CURLINFO_RESPONSE_CODE);
            m_Response.body = {m_Body->Data(), m_Body->Size()};
            m_Response.body_owner = m_Body;
            const auto* const redirect_url = m_Connection.Info<const char*>(CURLINFO_REDIRECT_URL);
            m_Response.redirect_url = redirect_url != nullptr ? redirect_url : "";
        }
        return m_Failure;
    }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        curl_easy_setopt(m_Connection.Easy(), option, value);
    }

    Http_Failure No_Authority(const std::string& fault) const {
        return {Error_Internet_Invalid_Authority, "No certificate of the server " + m_Url.Server() +
                                                      " is trusted: " + fault +
                                                      ". Correct the variable, or unset it to trust the "
                                                      "authorities of this machine."};
    }

    void Set_Options() {
        m_Connection.Tls() = {};
        Set(CURLOPT_ERRORBUFFER, m_Curl_Message.data());
        Set(CURLOPT_URL, m_Url.text.c_str());
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
        Set(CURLOPT_USERAGENT, "QELFileCache/1.0");
        Set(m_Request.method == Http_Method::Head ? CURLOPT_NOBODY : CURLOPT_HTTPGET, 1L);
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_QUICK_EXIT, 1L); // a name look-up that hangs is left behind, not waited for
        Set(CURLOPT_CONNECTTIMEOUT_MS, long{Longest_Wait.count()});
        Set(CURLOPT_BUFFERSIZE, 256L * 1024);
        Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

        Set(CURLOPT_PROXY, m_Proxy.c_str());
        Set(CURLOPT_NOPROXY, ""); // m_Proxy has heeded it
        const bool verifies = m_Check == Certificate_Check::Verify;
        Set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
        Set(CURLOPT_SSL_VERIFYPEER, verifies ? 1L : 0L);
        Set(CURLOPT_SSL_VERIFYHOST, verifies ? 2L : 0L);
        // Libcurl's own are the system's. Null: none.
        if (!m_Authorities.Are_The_Systems()) {
            const auto named = [](const std::string& value) { return value.empty() ? nullptr : value.c_str(); };
            Set(CURLOPT_CAINFO, named(m_Authorities.file));
            Set(CURLOPT_CAPATH, named(m_Authorities.directories));
            Set(CURLOPT_PROXY_CAINFO, named(m_Authorities.file));
            Set(CURLOPT_PROXY_CAPATH, named(m_Authorities.directories));
        }

        Set(CURLOPT_SSL_CTX_DATA, this);
        Set(
            CURLOPT_SSL_CTX_FUNCTION, +[](CURL*, void* context, void* exchange) {
                static_cast<Http_Exchange*>(exchange)->On_Handshake(static_cast<SSL_CTX*>(context));
                return CURLE_OK;
            });
        Set(CURLOPT_PREREQDATA, this);
        Set(
            CURLOPT_PREREQFUNCTION, +[](void* exchange, char*, char*, int, int) {
                static_cast<Http_Exchange*>(exchange)->Enter(Step::Request);
                return CURL_PREREQFUNC_OK;
            });
        Set(CURLOPT_HEADERDATA, this);
        Set(CURLOPT_HEADERFUNCTION, &On_Data<&Http_Exchange::On_Header_Line>);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_WRITEFUNCTION, &On_Data<&Http_Exchange::On_Body>);
    }

    CURLcode Perform() {
        Enter(Step::Name);
        if (curl_multi_add_handle(m_Connection.Multi(), m_Connection.Easy()) != CURLM_OK) {
            return CURLE_OUT_OF_MEMORY;
        }
        std::optional<CURLcode> result;
        while (!result) {
            result = Advance();
        }
        curl_multi_remove_handle(m_Connection.Multi(), m_Connection.Easy());
        return *result;
    }

    /// Does what can be done now and waits for more; the result when this was all.
    std::optional<CURLcode> Advance() {
        auto* const multi = m_Connection.Multi();
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK) {
            return CURLE_OUT_OF_MEMORY;
        }
        Enter_Unreported_Step();
        if (running == 0) {
            int queued = 0;
            const auto* const message = curl_multi_info_read(multi, &queued);
            return message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
        }
        const auto limit = Limit();
        const auto now = Clock::now();
        if (now >= limit) {
            return CURLE_OPERATION_TIMEDOUT;
        }
        // Nothing reports when the request has been acknowledged.
        const milliseconds longest(m_Step == Step::Request ? 50 : 60000);
        const auto wait = std::chrono::ceil<milliseconds>(std::min<Clock::duration>(limit - now, longest));
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
        return std::nullopt;
    }

    void Enter(Step step, Clock::time_point began = Clock::now()) {
        m_Step = step;
        m_Step_Began = began;
        m_Last_Packet = began;
    }

    /// Enters the steps whose beginning libcurl does not report.
    void Enter_Unreported_Step() {
        const std::chrono::microseconds resolved(m_Connection.Info<curl_off_t>(CURLINFO_NAMELOOKUP_TIME_T));
        if (m_Step == Step::Name && resolved.count() > 0) {
            Enter(Step::Connection, m_Step_Began + resolved);
        } else if (m_Step == Step::Request && Is_Request_Acknowledged()) {
            Enter(Step::Headers);
        }
    }

    /// When the step has taken too long.
    Clock::time_point Limit() const {
        const auto& timeouts = m_Request.timeouts;
        const milliseconds of_steps[] = {timeouts.resolve, timeouts.connect, timeouts.receive,
                                         timeouts.send,    timeouts.receive, timeouts.receive};
        const auto timeout = of_steps[static_cast<std::size_t>(m_Step)];
        if (timeout <= milliseconds::zero() || timeout > Longest_Wait) {
            return Clock::time_point::max();
        }
        const milliseconds at_slowest_rate(static_cast<std::int64_t>(m_Body->Size()) * 1000 / Slowest_Body_Rate);
        return std::min(m_Last_Packet, m_Step_Began + at_slowest_rate) + timeout;
    }

    /// Whether the server's system has acknowledged all that was sent.
    bool Is_Request_Acknowledged() const {
        fd_set sets[3] = {};
        int connection = -1; // the only descriptor of the sets, when it fits into one
        curl_multi_fdset(m_Connection.Multi(), &sets[0], &sets[1], &sets[2], &connection);
        int unacknowledged = 0;
        return connection < 0 || ioctl(connection, SIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0;
    }

    void On_Handshake(SSL_CTX* context) {
        Enter(Step::Handshake);
        // An HTTPS proxy has a TLS connection of its own. Its end says nothing of the server's.
        const bool is_proxys = Equal_Without_Case(m_Proxy.substr(0, 6), "https:") &&
                               m_Connection.Info<long>(CURLINFO_HTTP_CONNECTCODE) / 100 != 2;
        if (is_proxys) {
            Watch_Handshake(context, m_Connection.Tls().is_in_proxys_handshake);
        } else {
            Watch_Close_Notify(context, m_Connection.Tls().is_closed);
        }
        if (m_Check == Certificate_Check::Verify) {
            Refuse_Revoked_Certificates(context, m_Connection.Tls().is_certificate_revoked);
        }
    }

    bool On_Header_Line(std::string_view line) {
        m_Header_Bytes += line.size();
        if (m_Header_Bytes > Largest_Headers) {
            return Refuse("has more headers than a response may have");
        }
        if (m_Step == Step::Body) {
            return true; // a trailer after the body
        }
        if (line != "\r\n" && line != "\n") {
            m_Response.headers.Add_Line(line.substr(0, line.find_last_not_of("\r\n") + 1));
            return true;
        }
        const auto status = m_Connection.Info<long>(CURLINFO_RESPONSE_CODE);
        if (const char* const fault = Fault_Of_Head(status, m_Response.headers)) {
            return Refuse(fault);
        }
        if (status < 200) {
            m_Response.headers = {};
            return true;
        }
        // The body of such a response is the file. Of the others the status says enough.
        const bool has_file = m_Request.method == Http_Method::Get && status < 300 && status != 204;
        m_Ends_With_Connection = has_file && !Says_Where_Body_Ends(m_Response.headers);
        Enter(Step::Body);
        return true;
    }

    bool On_Body(std::string_view bytes) {
        m_Last_Packet = Clock::now();
        // -1: unknown
        const auto content_length = m_Connection.Info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
        if (content_length > static_cast<curl_off_t>(Body_Buffer::Largest_Size) ||
            bytes.size() > Body_Buffer::Largest_Size - m_Body->Size()) {
            return Refuse("has a body of more than 2 GB");
        }
        if (m_Body->Size() == 0) {
            m_Body->Reserve(static_cast<std::size_t>(std::max<curl_off_t>(content_length, 0)));
        }
        return m_Body->Append(bytes) || Refuse({}, Error_Out_Of_Memory);
    }

    /// What a failure at this step says of the server.
    Attempt Failed_Attempt(std::uint32_t error) const {
        switch (m_Step) {
        case Step::Body:
            return Attempt::Responded;
        case Step::Request:
        case Step::Headers:
            return error == Error_Internet_Timeout ? Attempt::Silent : Attempt::Failed_Otherwise;
        default:
            if (m_Connection.Info<long>(CURLINFO_HTTP_CONNECTCODE) >= 300) {
                return Attempt::Failed_Otherwise; // the proxy has responded, and may say something else next time
            }
            const bool is_connected =
                m_Connection.Info<long>(CURLINFO_PRIMARY_PORT) != 0 && !m_Connection.Tls().is_in_proxys_handshake;
            return is_connected || m_Proxy.empty() ? Attempt::Server_Unreached : Attempt::Proxy_Unreached;
        }
    }

    /// Notes why the response is refused; false, for the caller to return.
    bool Refuse(std::string_view reason, std::uint32_t error = Error_Http_Invalid_Server_Response) {
        m_Failure = Exchange_Failure(m_Url, error, reason.empty() ? "" : ": it " + std::string(reason));
        return false;
    }

    /// A callback of C code, which an exception must not cross.
    template <bool (Http_Exchange::*Handler)(std::string_view)>
    static std::size_t On_Data(char* data, std::size_t, std::size_t size, void* exchange) {
        try {
            return (static_cast<Http_Exchange*>(exchange)->*Handler)({data, size}) ? size : 0;
        } catch (const std::exception&) {
            return 0;
        }
    }

    Connection& m_Connection;
    const Http_Request& m_Request;
    const Http_Url& m_Url;
    const Certificate_Check m_Check;
    Http_Response& m_Response;
    const std::string m_Proxy = Proxy_For(m_Url);
    const Authorities m_Authorities = Authorities::Configured();
    const std::shared_ptr<Body_Buffer> m_Body = std::make_shared<Body_Buffer>();

    Step m_Step = Step::Name;
    Clock::time_point m_Step_Began;
    Clock::time_point m_Last_Packet; ///< of the body; before that, when the step began

    bool m_Ends_With_Connection = false; ///< nothing in the response says where the file ends
    std::size_t m_Header_Bytes = 0;
    std::optional<Http_Failure> m_Failure;
    std::array<char, CURL_ERROR_SIZE> m_Curl_Message{};
};

std::optional<Http_Failure> Exchange(const Http_Request& request, const Http_Url& url, Certificate_Check check,
                                     Http_Response& response) {
    const Sigpipe_Guard guard;
    const auto pool = Connection_Pool::Instance();
    const auto origin = url.Origin();
    auto connection = pool->Take(origin, check);
    if (connection == nullptr || !connection->Begin_Exchange()) {
        return Http_Failure{Error_Out_Of_Memory, "There is not enough memory for a connection."};
    }
    auto failure = Http_Exchange(*connection, request, url, check, response).Run();
    if (!failure) {
        pool->Put_Back(std::move(connection), origin, check);
    }
    return failure;
}

} // namespace

const Http_Client& Platform_Client() {
    static const auto& s_client = *new Http_Client{{}, &Exchange, &Proxy_For};
    return s_client;
}

} // namespace QEL::FrontEnd::Platform
