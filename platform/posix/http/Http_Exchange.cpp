#include "platform/posix/http/Http_Exchange.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/select.h>

#include "platform/common/Http_Transfer.h"
#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Close_Notify.h"
#include "platform/posix/http/Ocsp_Stapling.h"
#include "platform/posix/http/Proxy.h"
#include "platform/posix/system/Sigpipe_Guard.h"

namespace QEL::FrontEnd::Platform {

namespace {

using std::chrono::milliseconds;

// The library's own ceiling must lie above the limits that are watched here.
constexpr milliseconds Longest_Wait{24L * 24 * 60 * 60 * 1000};

/// libcurl takes the number of milliseconds as a long; 0 would be its own default.
long Connect_Ceiling(const Http_Timeouts& timeouts) {
    const milliseconds steps[] = {timeouts.resolve, timeouts.connect, timeouts.receive};
    milliseconds sum{1000};
    for (const auto step : steps) {
        sum = step <= milliseconds::zero() ? Longest_Wait : std::min(Longest_Wait, sum + std::min(step, Longest_Wait));
    }
    return static_cast<long>(std::min(sum, Longest_Wait).count());
}

/// Whether the body of such a response is the file. Of the others the status tells enough.
bool Is_Body_The_File(long status) {
    return status >= 200 && status < 300 && status != 204;
}

} // namespace

Http_Exchange::Http_Exchange(Connection& connection, const Http_Request& request, const Http_Url& url,
                             Certificate_Check check, Http_Response& response)
    : m_Connection(connection), m_Request(request), m_Url(url), m_Check(check), m_Response(response) {}

std::optional<Http_Failure> Http_Exchange::Run() {
    if (!m_Connection.Begin_Exchange()) {
        return Http_Failure{Error_Out_Of_Memory, "There is not enough memory for a request."};
    }
    Set_Options();
    const auto result = Perform();
    if (m_Failure) {
        return m_Failure;
    }
    // libcurl takes a connection that ends within the headers for the end of a response.
    if (result != CURLE_OK || m_Step != Step::Body) {
        return Failure(result != CURLE_OK ? result : CURLE_GOT_NOTHING);
    }
    if (m_Url.Is_Https() && m_Ends_With_Connection && !m_Connection.Tls().is_closed) {
        return Fail(Error_Internet_Connection_Aborted,
                    "The server {server} ended the connection without a word, so its answer may have been cut on the "
                    "way. Try again, and have the server send a Content-Length.");
    }
    m_Response.status = Info<long>(CURLINFO_RESPONSE_CODE);
    m_Response.body = {m_Body->Data(), m_Body->Size()};
    m_Response.body_owner = m_Body;
    if (const auto* const redirect_url = Info<const char*>(CURLINFO_REDIRECT_URL); redirect_url != nullptr) {
        m_Response.redirect_url = redirect_url;
    }
    return std::nullopt;
}

void Http_Exchange::Set_Options() {
    auto* const easy = m_Connection.Easy();
    m_Connection.Tls() = {};
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, m_Curl_Message.data());
    curl_easy_setopt(easy, CURLOPT_URL, m_Url.text.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "QELFileCache/1.0");
    curl_easy_setopt(easy, m_Request.method == Http_Method::Head ? CURLOPT_NOBODY : CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a name look-up that hangs is left behind, not waited for
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, Connect_Ceiling(m_Request.timeouts));
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, 256L * 1024);
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    const auto verify = m_Check == Certificate_Check::Verify;
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, verify ? 1L : 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, verify ? 2L : 0L);
    // The variables by which a machine tells OpenSSL's programs of its own authorities.
    if (const auto* const authorities = secure_getenv("SSL_CERT_FILE"); authorities != nullptr) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, authorities);
    }
    if (const auto* const authorities = secure_getenv("SSL_CERT_DIR"); authorities != nullptr) {
        curl_easy_setopt(easy, CURLOPT_CAPATH, authorities);
    }

    const auto on_handshake = [](CURL*, void* context, void* data) {
        auto& exchange = *static_cast<Http_Exchange*>(data);
        exchange.Enter(Step::Handshake);
        Watch_Close_Notify(static_cast<SSL_CTX*>(context), exchange.m_Connection.Tls().is_closed);
        if (exchange.m_Check == Certificate_Check::Verify) {
            Refuse_Revoked_Certificates(static_cast<SSL_CTX*>(context),
                                        exchange.m_Connection.Tls().is_certificate_revoked);
        }
        return CURLE_OK;
    };
    const auto on_connected = [](void* exchange, char*, char*, int, int) {
        static_cast<Http_Exchange*>(exchange)->Enter(Step::Request);
        return CURL_PREREQFUNC_OK;
    };
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, static_cast<CURLcode (*)(CURL*, void*, void*)>(on_handshake));
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this);
    curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, static_cast<int (*)(void*, char*, char*, int, int)>(on_connected));
    curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &On_Data<&Http_Exchange::On_Header_Line>);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &On_Data<&Http_Exchange::On_Body>);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

CURLcode Http_Exchange::Perform() {
    auto* const multi = m_Connection.Multi();
    Enter(Step::Name);
    if (curl_multi_add_handle(multi, m_Connection.Easy()) != CURLM_OK) {
        return CURLE_OUT_OF_MEMORY;
    }
    auto result = CURLE_OK;
    for (;;) {
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK) {
            result = CURLE_OUT_OF_MEMORY;
            break;
        }
        Enter_Unreported_Step();
        if (running == 0) {
            int queued = 0;
            const auto* const message = curl_multi_info_read(multi, &queued);
            result = message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
            break;
        }
        const auto limit = Limit();
        const auto now = Clock::now();
        if (now >= limit) {
            m_Failure = Timeout_Failure();
            break;
        }
        // Nothing reports when the request has been acknowledged.
        const milliseconds longest = m_Step == Step::Request ? milliseconds(50) : milliseconds(60000);
        const auto wait = std::chrono::ceil<milliseconds>(std::min<Clock::duration>(limit - now, longest));
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
    }
    curl_multi_remove_handle(multi, m_Connection.Easy());
    return result;
}

void Http_Exchange::Enter(Step step, Clock::time_point began) {
    m_Step = step;
    m_Step_Began = began;
    m_Last_Packet = began;
}

void Http_Exchange::Enter_Unreported_Step() {
    if (m_Step == Step::Name) {
        if (const std::chrono::microseconds resolved(Info<curl_off_t>(CURLINFO_NAMELOOKUP_TIME_T));
            resolved.count() > 0) {
            Enter(Step::Connection, m_Step_Began + resolved);
        }
    } else if (m_Step == Step::Request && Is_Request_Acknowledged()) {
        Enter(Step::Headers);
    }
}

Http_Exchange::Clock::time_point Http_Exchange::Limit() const {
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

bool Http_Exchange::Is_Request_Acknowledged() const {
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    int connection = -1; // the only descriptor of the sets, when it fits into one
    curl_multi_fdset(m_Connection.Multi(), &readable, &writable, &exceptional, &connection);
    int unacknowledged = 0;
    return connection < 0 || ioctl(connection, SIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0;
}

bool Http_Exchange::On_Header_Line(std::string_view line) {
    m_Header_Bytes += line.size();
    if (m_Header_Bytes > Largest_Headers) {
        return Refuse("sent more headers than a response may have");
    }
    if (m_Step == Step::Body) {
        return true; // a trailer after the body
    }
    if (line != "\r\n" && line != "\n") {
        while (line.ends_with('\n') || line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        m_Response.headers.Add_Line(line);
        return true;
    }
    const auto status = Info<long>(CURLINFO_RESPONSE_CODE);
    // libcurl lets numbers of any length pass in a status line of HTTP/2. The caller would take some of
    // them for error numbers.
    if (status < 100 || status > 999) {
        return Refuse("sent an invalid status");
    }
    if (status == 101) {
        return Refuse("switched to another protocol");
    }
    if (status < 200) {
        m_Response.headers = {};
        return true;
    }
    return On_Headers_End(status);
}

bool Http_Exchange::On_Headers_End(long status) {
    // Transfer codings may be used only when they were asked for. A compressed one could in
    // addition grow without bounds here.
    bool is_chunked = false;
    for (const auto& coding : m_Response.headers.Values("Transfer-Encoding")) {
        if (Equal_Without_Case(coding, "chunked")) {
            is_chunked = true;
        } else if (!Equal_Without_Case(coding, "identity")) {
            return Refuse("used a transfer coding that was not asked for");
        }
    }
    // A response with two lengths, or one that is not a number, ends nobody knows where.
    const auto lengths = m_Response.headers.Values("Content-Length");
    for (const auto& length : lengths) {
        if (length != lengths.front() || !Content_Length(length)) {
            return Refuse("sent a response of unclear length");
        }
    }
    m_Ends_With_Connection =
        m_Request.method == Http_Method::Get && Is_Body_The_File(status) && lengths.empty() && !is_chunked;
    Enter(Step::Body);
    return true;
}

bool Http_Exchange::On_Body(std::string_view bytes) {
    m_Last_Packet = Clock::now();
    const auto content_length = Info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T); // -1: unknown
    if (content_length > static_cast<curl_off_t>(Body_Buffer::Largest_Size) ||
        bytes.size() > Body_Buffer::Largest_Size - m_Body->Size()) {
        return Refuse("sent a body of more than 2 GB");
    }
    if (m_Body->Size() == 0) {
        m_Body->Reserve(static_cast<std::size_t>(std::max<curl_off_t>(content_length, 0)));
    }
    return m_Body->Append(bytes) || Refuse("sent more than this machine has memory for", Error_Out_Of_Memory);
}

bool Http_Exchange::Refuse(std::string_view reason, std::uint32_t error) {
    m_Failure = Fail(error, "The server {server} {detail}. Check that the URL names a file on a web server.", reason);
    return false;
}

template <bool (Http_Exchange::*Handler)(std::string_view)>
std::size_t Http_Exchange::On_Data(char* data, std::size_t, std::size_t size, void* exchange) {
    try {
        return (static_cast<Http_Exchange*>(exchange)->*Handler)({data, size}) ? size : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

namespace {

std::optional<Http_Failure> Exchange(const Http_Request& request, const Http_Url& url, Certificate_Check check,
                                     Http_Response& response) {
    const Sigpipe_Guard guard;
    const auto pool = Connection_Pool::Instance();
    const auto origin = url.Origin();
    auto connection = pool->Take(origin, check);
    if (connection == nullptr) {
        return Http_Failure{Error_Out_Of_Memory, "There is not enough memory for a connection."};
    }
    if (auto failure = Http_Exchange(*connection, request, url, check, response).Run()) {
        return failure;
    }
    pool->Put_Back(std::move(connection), origin, check);
    return std::nullopt;
}

} // namespace

const Http_Client& Platform_Client() {
    static const Http_Client s_client{{}, &Exchange, &Proxy_For};
    return s_client;
}

} // namespace QEL::FrontEnd::Platform
