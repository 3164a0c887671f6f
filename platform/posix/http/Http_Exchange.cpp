#include "platform/posix/http/Http_Exchange.h"

#include <algorithm>
#include <cstdlib>
#include <exception>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/select.h>

#include "platform/posix/http/Close_Notify.h"
#include "platform/posix/http/WinInet_Error.h"

namespace QEL::FrontEnd::Platform {

namespace {

using std::chrono::milliseconds;

// The library's own ceiling must lie above the limits that are watched here.
constexpr milliseconds Longest_Wait{24L * 24 * 60 * 60 * 1000};

using Time = std::chrono::steady_clock::time_point;

/// The time at which a step that began at `start` has taken too long.
Time End_Of(Time start, milliseconds timeout, milliseconds extra = {}) {
    return timeout <= milliseconds::zero() || timeout > Longest_Wait ? Time::max() : start + timeout + extra;
}

/// libcurl takes the number of milliseconds as a long; 0 would be its own default.
long Connect_Ceiling(const Http_Timeouts& timeouts) {
    const milliseconds steps[] = {timeouts.resolve, timeouts.connect, timeouts.receive};
    milliseconds sum{1000};
    for (const auto step : steps) {
        sum = step <= milliseconds::zero() ? Longest_Wait : std::min(Longest_Wait, sum + std::min(step, Longest_Wait));
    }
    return static_cast<long>(std::min(sum, Longest_Wait).count());
}

bool Is_Length(std::string_view text) {
    constexpr std::size_t most_digits = 18; // of a signed 64-bit number, whatever they are
    return !text.empty() && text.size() <= most_digits &&
           text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool Is_Interim(long status) {
    return status >= 100 && status < 200;
}

/// Whether the body of such an answer is the file. Of the others the status tells enough.
bool Is_Body_The_File(long status) {
    return status >= 200 && status < 300 && status != 204;
}

} // namespace

Http_Exchange::Http_Exchange(Connection& connection, Http_Method method, const Http_Url& url,
                             const Http_Timeouts& timeouts, Certificate_Check check, Http_Response& answer)
    : m_Connection(connection), m_Method(method), m_Url(url), m_Timeouts(timeouts), m_Check(check), m_Answer(answer) {}

std::optional<Http_Failure> Http_Exchange::Run() {
    if (!m_Connection.Begin_Exchange()) {
        return Http_Failure{Error_Out_Of_Memory, "There is not enough memory for a request."};
    }
    Set_Options();
    return Conclude(Perform());
}

std::optional<Http_Failure> Http_Exchange::Conclude(CURLcode result) {
    if (m_Refusal) {
        return m_Refusal;
    }
    if (m_Timed_Out_Step) {
        return Timeout_Failure(*m_Timed_Out_Step);
    }
    // libcurl takes a connection that ends within the headers for the end of an answer.
    if (result != CURLE_OK || !m_Has_Headers) {
        return Failure(result != CURLE_OK ? result : CURLE_GOT_NOTHING);
    }
    if (m_Url.Is_Https() && m_Ends_With_Connection && !m_Connection.Is_Tls_Closed()) {
        return Cut_Body_Failure();
    }
    auto* const easy = m_Connection.Easy();
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &m_Answer.status);
    const char* redirect_url = nullptr;
    curl_easy_getinfo(easy, CURLINFO_REDIRECT_URL, &redirect_url);
    if (redirect_url != nullptr) {
        m_Answer.redirect_url = redirect_url;
    }
    return std::nullopt;
}

void Http_Exchange::Set_Options() {
    auto* const easy = m_Connection.Easy();
    m_Connection.Is_Certificate_Revoked() = false;
    m_Connection.Is_Tls_Closed() = false;
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, m_Curl_Message.data());
    curl_easy_setopt(easy, CURLOPT_URL, m_Url.Text().c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "QELFileCache/1.0");
    curl_easy_setopt(easy, m_Method == Http_Method::Head ? CURLOPT_NOBODY : CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a name look-up that hangs is left behind, not waited for
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, Connect_Ceiling(m_Timeouts));
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

    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &Handshake_Callback);
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this);
    curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Connected_Callback);
    curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Header_Callback);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Body_Callback);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

CURLcode Http_Exchange::Perform() {
    auto* const multi = m_Connection.Multi();
    m_Started = Clock::now();
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
        if (running == 0) {
            int queued = 0;
            const auto* const message = curl_multi_info_read(multi, &queued);
            result = message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
            break;
        }
        const auto limit = Next_Limit();
        const auto now = Clock::now();
        if (now >= limit.time) {
            m_Timed_Out_Step = limit.step;
            break;
        }
        // Nothing tells when the request has been taken.
        const milliseconds longest = limit.step == Step::Request ? milliseconds(50) : milliseconds(60000);
        const auto wait = std::chrono::ceil<milliseconds>(std::min<Clock::duration>(limit.time - now, longest));
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
    }
    curl_multi_remove_handle(multi, m_Connection.Easy());
    return result;
}

Http_Exchange::Limit Http_Exchange::Next_Limit() {
    using std::chrono::microseconds;
    if (m_Has_Headers) {
        const milliseconds at_slowest_rate(static_cast<std::int64_t>(m_Answer.body.Size()) * 1000 / Slowest_Body_Rate);
        return {std::min(End_Of(m_Last_Body_Packet, m_Timeouts.receive),
                         End_Of(m_Headers_End, m_Timeouts.receive, at_slowest_rate)),
                Step::Body};
    }
    if (m_Is_Connected && !m_Is_Request_Taken && Is_Request_Taken()) {
        m_Request_Taken = Clock::now();
        m_Is_Request_Taken = true;
    }
    if (m_Is_Request_Taken) {
        return {End_Of(m_Request_Taken, m_Timeouts.receive), Step::Headers};
    }
    if (m_Is_Connected) {
        return {End_Of(m_Request_Started, m_Timeouts.send), Step::Request};
    }
    if (m_Is_In_Handshake) {
        return {End_Of(m_Handshake_Started, m_Timeouts.receive), Step::Handshake};
    }
    if (const microseconds resolved(Microseconds(CURLINFO_NAMELOOKUP_TIME_T)); resolved.count() > 0) {
        return {End_Of(m_Started + resolved, m_Timeouts.connect), Step::Connection};
    }
    return {End_Of(m_Started, m_Timeouts.resolve), Step::Name};
}

bool Http_Exchange::Is_Request_Taken() const {
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

std::int64_t Http_Exchange::Microseconds(CURLINFO info) const {
    curl_off_t time = 0;
    curl_easy_getinfo(m_Connection.Easy(), info, &time);
    return time;
}

void Http_Exchange::On_Handshake(SSL_CTX* context) {
    m_Handshake_Started = Clock::now();
    m_Is_In_Handshake = true;
    Watch_Close_Notify(context, m_Connection.Is_Tls_Closed());
    if (m_Check == Certificate_Check::Verify) {
        Refuse_Revoked_Certificates(context, m_Connection.Is_Certificate_Revoked());
    }
}

void Http_Exchange::On_Connected() {
    m_Request_Started = Clock::now();
    m_Is_Connected = true;
    m_Is_Request_Taken = false;
}

bool Http_Exchange::On_Header_Line(std::string_view line) {
    m_Header_Bytes += line.size();
    if (m_Header_Bytes > Largest_Headers) {
        return Refuse(Error_Http_Invalid_Server_Response, "sent more headers than an answer may have");
    }
    if (m_Has_Headers) {
        return true; // a trailer after the body
    }
    if (line != "\r\n" && line != "\n") {
        while (line.ends_with('\n') || line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        m_Answer.headers.Add_Line(line);
        return true;
    }
    long status = 0;
    curl_easy_getinfo(m_Connection.Easy(), CURLINFO_RESPONSE_CODE, &status);
    // libcurl lets numbers of any length pass in a status line of HTTP/2. The caller would take some of
    // them for error numbers.
    if (status < 100 || status > 999) {
        return Refuse(Error_Http_Invalid_Server_Response, "sent a status that is none");
    }
    if (status == 101) {
        return Refuse(Error_Http_Invalid_Server_Response, "switched to another protocol");
    }
    if (Is_Interim(status)) {
        m_Answer.headers.Clear();
        return true;
    }
    return On_Headers_End(status);
}

bool Http_Exchange::On_Headers_End(long status) {
    // Transfer codings may be used only when they were asked for. A compressed one could in
    // addition grow without bounds here.
    const auto codings = m_Answer.headers.Values("Transfer-Encoding");
    if (!std::all_of(codings.begin(), codings.end(), [](const auto& coding) {
            return Equal_Without_Case(coding, "chunked") || Equal_Without_Case(coding, "identity");
        })) {
        return Refuse(Error_Http_Invalid_Server_Response, "used a transfer coding that was not asked for");
    }
    // An answer with two lengths, or one that is no number, ends nobody knows where.
    const auto lengths = m_Answer.headers.Values("Content-Length");
    if (!std::all_of(lengths.begin(), lengths.end(),
                     [&](const auto& length) { return length == lengths.front() && Is_Length(length); })) {
        return Refuse(Error_Http_Invalid_Server_Response, "sent an answer of unclear length");
    }
    const bool is_chunked = std::any_of(codings.begin(), codings.end(),
                                        [](const auto& coding) { return Equal_Without_Case(coding, "chunked"); });
    m_Ends_With_Connection = m_Method == Http_Method::Get && Is_Body_The_File(status) && lengths.empty() && !is_chunked;
    m_Has_Headers = true;
    m_Headers_End = Clock::now();
    m_Last_Body_Packet = m_Headers_End;
    return true;
}

bool Http_Exchange::On_Body(std::string_view bytes) {
    m_Last_Body_Packet = Clock::now();
    if (m_Answer.body.Size() == 0) {
        curl_off_t promised = -1;
        curl_easy_getinfo(m_Connection.Easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &promised);
        if (promised > static_cast<curl_off_t>(Body_Buffer::Largest_Size)) {
            return Refuse(Error_Http_Invalid_Server_Response, "sent a body of more than 2 GB");
        }
        m_Answer.body.Reserve(static_cast<std::size_t>(std::max<curl_off_t>(promised, 0)));
    }
    if (bytes.size() > Body_Buffer::Largest_Size - m_Answer.body.Size()) {
        return Refuse(Error_Http_Invalid_Server_Response, "sent a body of more than 2 GB");
    }
    return m_Answer.body.Append(bytes) || Refuse(Error_Out_Of_Memory, "sent more than this machine has memory for");
}

bool Http_Exchange::Refuse(std::uint32_t error, const char* reason) {
    m_Refusal = Http_Failure{error, "The server " + m_Url.Server() + " " + reason +
                                        ". Check that the URL names a file on a web server."};
    return false;
}

CURLcode Http_Exchange::Handshake_Callback(CURL*, void* context, void* exchange) {
    static_cast<Http_Exchange*>(exchange)->On_Handshake(static_cast<SSL_CTX*>(context));
    return CURLE_OK;
}

int Http_Exchange::Connected_Callback(void* exchange, char*, char*, int, int) {
    static_cast<Http_Exchange*>(exchange)->On_Connected();
    return CURL_PREREQFUNC_OK;
}

// A callback is called by C code, which an exception must not cross.
std::size_t Http_Exchange::Header_Callback(char* data, std::size_t, std::size_t size, void* exchange) {
    try {
        return static_cast<Http_Exchange*>(exchange)->On_Header_Line({data, size}) ? size : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

std::size_t Http_Exchange::Body_Callback(char* data, std::size_t, std::size_t size, void* exchange) {
    try {
        return static_cast<Http_Exchange*>(exchange)->On_Body({data, size}) ? size : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

} // namespace QEL::FrontEnd::Platform
