#include <algorithm>
#include <array>
#include <chrono>
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
#include "platform/posix/http/Body_File.h"
#include "platform/posix/http/Proxy.h"
#include "platform/posix/http/Response_Head.h"
#include "platform/posix/http/Tls_Events.h"
#include "platform/posix/http/exchange_failures.h"
#include "platform/posix/system/Write_Signal_Guard.h"
#include "util/Ascii.h"
#include "util/IRequest_Object.h"

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
            return No_Authority(m_Url, fault);
        }
        if (!m_Proxy.empty() && Host_And_Port(m_Proxy).empty()) {
            return No_Proxy(m_Url, Error_Internet_Name_Not_Resolved);
        }
        Set_Options();
        auto result = Perform();
        // libcurl takes a connection that ends within the headers for the end of a response.
        result = result == CURLE_OK && m_Step != Step::Body ? CURLE_GOT_NOTHING : result;
        if (result == CURLE_SSL_CACERT_BADFILE && !m_Authorities.file.empty()) {
            m_Failure =
                No_Authority(m_Url, "SSL_CERT_FILE names " + m_Authorities.file + ", which cannot be read to its end");
        } else if (!m_Failure && result != CURLE_OK) {
            m_Failure = Exchange_Failure(m_Url, m_Connection, m_Step, result, m_Curl_Message.data());
        } else if (!m_Failure && May_Be_Cut_Off()) {
            m_Failure = Exchange_Failure(m_Url, Error_Internet_Connection_Aborted,
                                         ", or it was cut on the way: neither a Content-Length nor close_notify says "
                                         "where it ends");
        } else if (const auto fault = m_Failure ? std::nullopt : m_Body->Finish()) {
            Refuse(fault->detail, fault->error);
        }
        if (m_Failure) {
            m_Failure->attempt = Failed_Attempt(m_Connection, m_Step, m_Failure->error, !m_Proxy.empty());
        } else {
            m_Response.status = m_Connection.Info<long>(CURLINFO_RESPONSE_CODE);
            m_Response.body = m_Body->Bytes();
            m_Response.body_owner = m_Body;
            m_Response.publish_body = [body = m_Body](const std::string& path) { body->Publish(path); };
            const auto* const redirect_url = m_Connection.Info<const char*>(CURLINFO_REDIRECT_URL);
            m_Response.redirect_url = redirect_url != nullptr ? redirect_url : "";
        }
        return m_Failure;
    }

private:
    /// Whether nothing says that all of the file has arrived: neither the headers nor the end of the connection.
    bool May_Be_Cut_Off() const {
        const auto status = m_Connection.Info<long>(CURLINFO_RESPONSE_CODE);
        const bool has_file = m_Request.method == Http_Method::Get && status < 300 && status != 204;
        return has_file && m_Url.Is_Https() && !Says_Where_Body_Ends(m_Response.headers) &&
               !m_Connection.Tls().is_closed;
    }

    void Set_Options() {
        const auto set = [easy = m_Connection.Easy()](CURLoption option, auto value) {
            curl_easy_setopt(easy, option, value);
        };
        set(CURLOPT_ERRORBUFFER, m_Curl_Message.data());
        set(CURLOPT_URL, m_Url.text.c_str());
        set(m_Request.method == Http_Method::Head ? CURLOPT_NOBODY : CURLOPT_HTTPGET, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, long{Longest_Wait.count()});
        set(CURLOPT_PROXY, m_Proxy.c_str());
        if (const auto* const wanted = FileCache::New_Connections::Current()) {
            set(CURLOPT_FRESH_CONNECT, 1L);
            set(CURLOPT_FORBID_REUSE, 1L);
            if (const auto server = Http_Url::Parse(wanted->Url()); server && !wanted->Address().empty()) {
                const bool is_ipv6 = wanted->Address().find(':') != std::string::npos;
                const auto address = is_ipv6 ? '[' + wanted->Address() + ']' : wanted->Address();
                m_Connect_To.reset(curl_slist_append(nullptr, (server->host + "::" + address + ':').c_str()));
                set(CURLOPT_CONNECT_TO, m_Connect_To.get());
            }
        }
        const bool verifies = m_Check == Certificate_Check::Verify;
        set(CURLOPT_SSL_VERIFYPEER, verifies ? 1L : 0L);
        set(CURLOPT_SSL_VERIFYHOST, verifies ? 2L : 0L);
        if (!m_Authorities.Are_The_Systems()) { // which are libcurl's own. Null: none
            const auto named = [](const std::string& value) { return value.empty() ? nullptr : value.c_str(); };
            set(CURLOPT_CAINFO, named(m_Authorities.file));
            set(CURLOPT_CAPATH, named(m_Authorities.directories));
            set(CURLOPT_PROXY_CAINFO, named(m_Authorities.file));
            set(CURLOPT_PROXY_CAPATH, named(m_Authorities.directories));
        }

        for (const auto option :
             {CURLOPT_SSL_CTX_DATA, CURLOPT_PREREQDATA, CURLOPT_SOCKOPTDATA, CURLOPT_HEADERDATA, CURLOPT_WRITEDATA}) {
            set(option, this);
        }
        set(
            CURLOPT_SSL_CTX_FUNCTION, +[](CURL*, void* context, void* exchange) {
                static_cast<Http_Exchange*>(exchange)->On_Handshake(static_cast<SSL_CTX*>(context));
                return CURLE_OK;
            });
        set(CURLOPT_PREREQFUNCTION, &On_Step<Step::Request, char*, char*, int, int>);
        set(CURLOPT_SOCKOPTFUNCTION, &On_Step<Step::Connection, curl_socket_t, curlsocktype>);
        set(CURLOPT_HEADERFUNCTION, &On_Data<&Http_Exchange::On_Header_Line>);
        set(CURLOPT_WRITEFUNCTION, &On_Data<&Http_Exchange::On_Body>);
    }

    CURLcode Perform() {
        auto* const multi = m_Connection.Multi();
        Enter(Step::Name);
        curl_multi_add_handle(multi, m_Connection.Easy()); // where that fails, nothing runs
        bool is_in_time = true;
        int running = 0;
        while (is_in_time && curl_multi_perform(multi, &running) == CURLM_OK && running > 0) {
            is_in_time = Wait();
        }
        const auto* const message = curl_multi_info_read(multi, &running);
        const auto without_message = is_in_time ? CURLE_OUT_OF_MEMORY : CURLE_OPERATION_TIMEDOUT;
        const auto result = message != nullptr ? message->data.result : without_message;
        curl_multi_remove_handle(multi, m_Connection.Easy());
        return result;
    }

    /// Waits until there may be something to do; false when the step has taken too long.
    bool Wait() {
        // Nothing reports when the request has been acknowledged.
        if (m_Step == Step::Request && Is_Request_Acknowledged()) {
            Enter(Step::Headers);
        }
        const auto wait = std::min(Time_Left(), milliseconds(m_Step == Step::Request ? 50 : 60000));
        if (wait <= milliseconds::zero()) {
            return false;
        }
        curl_multi_poll(m_Connection.Multi(), nullptr, 0, static_cast<int>(wait.count()), nullptr);
        return true;
    }

    void Enter(Step step) {
        m_Step = step;
        m_Step_Began = m_Last_Packet = Clock::now();
    }

    milliseconds Time_Left() const {
        const auto& timeouts = m_Request.timeouts;
        const milliseconds of_steps[] = {timeouts.resolve, timeouts.connect, timeouts.receive,
                                         timeouts.send,    timeouts.receive, timeouts.receive};
        const auto timeout = of_steps[static_cast<std::size_t>(m_Step)];
        if (timeout <= milliseconds::zero() || timeout > Longest_Wait) {
            return Longest_Wait;
        }
        const milliseconds at_slowest_rate(static_cast<std::int64_t>(m_Body_Bytes) * 1000 / Slowest_Body_Rate);
        const auto began = std::min(m_Last_Packet, m_Step_Began + at_slowest_rate);
        return std::chrono::ceil<milliseconds>(began + timeout - Clock::now());
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
        m_Connection.Tls() = {}; // libcurl may just have read a close_notify of the connection that this one replaces
        // An HTTPS proxy has a TLS connection of its own. Its end says nothing of the server's.
        if (Is_With_Proxy(m_Proxy, m_Connection)) {
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
            return Refuse(": it has more headers than a response may have");
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
            return Refuse(": it " + std::string(fault));
        }
        if (status >= 200) {
            Enter(Step::Body);
        } else {
            m_Response.headers = {};
        }
        return true;
    }

    bool On_Body(std::string_view bytes) {
        m_Last_Packet = Clock::now();
        m_Body_Bytes += bytes.size();
        if (m_Connection.Info<long>(CURLINFO_RESPONSE_CODE) / 100 != 2) {
            return true; // of a redirect or an error: nobody reads it
        }
        const auto content_length = m_Connection.Info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T); // -1: unknown
        const auto fault = m_Body->Append(bytes, static_cast<std::uint64_t>(std::max<curl_off_t>(content_length, 0)));
        return !fault || Refuse(fault->detail, fault->error);
    }

    /// Notes why the response is refused; false, for the caller to return.
    bool Refuse(std::string_view detail, std::uint32_t error = Error_Http_Invalid_Server_Response) {
        m_Failure = Exchange_Failure(m_Url, error, detail);
        return false;
    }

    /// A callback that reports the beginning of a step. For each address that is tried, a connection begins.
    template <Step Begun, typename... Others>
    static int On_Step(void* exchange, Others...) {
        auto& self = *static_cast<Http_Exchange*>(exchange);
        if (self.m_Step != Begun) {
            self.Enter(Begun);
        }
        return 0; // go on
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
    const std::shared_ptr<Body_File> m_Body = std::make_shared<Body_File>(m_Request.copy_directory);

    Step m_Step = Step::Name;
    Clock::time_point m_Step_Began;
    Clock::time_point m_Last_Packet; ///< of the body; before that, when the step began

    std::size_t m_Header_Bytes = 0;
    std::uint64_t m_Body_Bytes = 0;
    std::optional<Http_Failure> m_Failure;
    std::array<char, CURL_ERROR_SIZE> m_Curl_Message{};

    struct List_Deleter {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    std::unique_ptr<curl_slist, List_Deleter> m_Connect_To; ///< the address that is meant, if only one is
};

std::optional<Http_Failure> Exchange(const Http_Request& request, const Http_Url& url, Certificate_Check check,
                                     Http_Response& response) {
    const Write_Signal_Guard guard;
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
