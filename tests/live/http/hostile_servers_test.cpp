// Servers that break the protocol, the connection or the caller's patience. Whatever they do, the request ends within
// its time-outs, with the right error, and without taking much memory.

#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Certificates.h"
#include "tests/support/Hostile_Servers.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/HttpClient.h"

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using namespace testing;
using namespace QEL::FrontEnd::Platform;

/// A line of the kernel's account of the process, in KB; -1 when there is none.
long Memory_In_KB(const std::string& line_name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(line_name + ":")) {
            return std::stol(line.substr(line_name.size() + 1));
        }
    }
    return -1;
}

/// A client that meets the end of a connection late finds it reset.
std::string Reset_Or_Closed(const std::string& description) {
    return std::regex_replace(description, std::regex(": Connection reset by peer"), "");
}

/// A scheme, a method, a server.
class Hostile_Http_Server : public TestWithParam<std::tuple<std::string, std::string, Hostile_Server>> {};

TEST_P(Hostile_Http_Server, EndsTheRequestAsDocumented) {
    const auto& [scheme, method, expected] = GetParam();
    const bool is_head = method == "HEAD";
    const bool is_spared = is_head && expected.failure.spares_head;
    const std::uint32_t error = is_spared ? 0 : expected.failure.error;
    const Web_Server server(expected.behaviour);
    const auto url = scheme + server.Url().substr(4);
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
    const long memory = Memory_In_KB("VmRSS");
    ASSERT_GT(memory, 0);

    const bool is_timed_out = error == QEL::FrontEnd::Platform::Error_Internet_Timeout;
    const auto outcome = Request(method.c_str(), url, is_timed_out ? Short_Receive : Timeouts());

    EXPECT_EQ(outcome.Error(), error) << outcome.description;
    EXPECT_EQ(outcome.status, is_spared ? 200 : expected.status);
    EXPECT_EQ(outcome.body, is_head ? "" : expected.body);
    EXPECT_EQ(outcome.last_modified, expected.last_modified);
    if (error == 0) {
        EXPECT_EQ(outcome.description, "");
    } else {
        EXPECT_THAT(outcome.description, HasSubstr("good.test (port " + std::to_string(server.Port()) + ")"));
    }
    EXPECT_EQ(outcome.description.find('\n'), std::string::npos);
    if (!is_head && !is_timed_out) {
        const QEL::FrontEnd::Util::Asking_Anyway asking; // the port may be that of an earlier server
        QEL::FrontEnd::Util::HttpWinInet::HttpClient second;
        EXPECT_EQ(second.SendWinInetRequest(QEL::FrontEnd::Util::HttpWinInet::Http_Get, url.c_str(), nullptr, 0),
                  outcome.status + error);
        EXPECT_EQ(second.GetError(), error);
        EXPECT_EQ(Reset_Or_Closed(second.GetErrorDescription()), Reset_Or_Closed(outcome.description));
        EXPECT_EQ(second.GetResponseBody(), outcome.body);
        EXPECT_EQ(second.GetResponseHeader("Last-Modified"), outcome.last_modified);
    }
    EXPECT_LT(outcome.elapsed, 8s);
    EXPECT_LT(Memory_In_KB("VmHWM") - memory, 64 * 1024) << "the system's authorities included";
}

std::string Name(const TestParamInfo<Hostile_Http_Server::ParamType>& test) {
    return std::get<2>(test.param).name + std::get<1>(test.param);
}

INSTANTIATE_TEST_SUITE_P(Plain, Hostile_Http_Server,
                         Combine(Values("http"), Values("GET", "HEAD"), ValuesIn(Hostile_Http_Servers)), Name);
INSTANTIATE_TEST_SUITE_P(Tls, Hostile_Http_Server,
                         Combine(Values("https"), Values("GET", "HEAD"), ValuesIn(Hostile_Tls_Servers)), Name);

/// How a server ends a response over TLS. Whoever is on the way can close the connection, so that alone does not make a
/// body whole.
struct Ending_Of_Tls {
    const char* name;
    const char* response;
    bool says_end; ///< by close_notify
    std::uint32_t error;
    long status;
    const char* body;
    bool through_proxy = false; ///< which ends its own TLS connection in good order
    const char* method = "GET";
};

constexpr auto Aborted = QEL::FrontEnd::Platform::Error_Internet_Connection_Aborted;
const char* const Cut = "HTTP/1.1 200 OK\r\n\r\n<landscape";
const char* const Unmeasured = "HTTP/1.1 200 OK\r\n\r\n<landscape/>";

const Ending_Of_Tls Endings[] = {
    {"WithoutLengthByTheServersWord", Unmeasured, true, 0, 200, "<landscape/>"},
    {"WithoutLengthByTheConnection", Cut, false, Aborted, 0, ""},
    {"WithoutLengthByTheServersWordBehindAProxy", Unmeasured, true, 0, 200, "<landscape/>", true},
    {"WithoutLengthByTheProxysWord", Cut, false, Aborted, 0, "", true},
    {"OfAHead", "HTTP/1.1 200 OK\r\n\r\n", false, 0, 200, "", false, "HEAD"},
    {"OfATextAboutAnError", "HTTP/1.1 404 Not Found\r\n\r\nno such", false, 0, 404, ""},
    {"ByItsContentLength", "HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n<landscape/>", false, 0, 200, "<landscape/>"},
    {"ByItsLastChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nc\r\n<landscape/>\r\n0\r\n\r\n", false, 0,
     200, "<landscape/>"},
};

class Tls_Ending : public testing::TestWithParam<Ending_Of_Tls> {};

TEST_P(Tls_Ending, MakesABodyWholeOrNot) {
    const Scratch_Directory directory;
    const Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    const auto certificate = authority.Issue("server", {});
    const Web_Server server(
        [](Server_Connection& client) {
            client.Read_Request();
            client.Send(GetParam().response);
            if (GetParam().says_end) {
                client.Close_Tls();
            }
        },
        certificate);
    const Web_Server proxy(
        [&](Server_Connection& client) {
            client.Read_Request();
            client.Send("HTTP/1.1 200 Connection established\r\n\r\n");
            client.Relay_To(server.Port());
            client.Close_Tls();
        },
        certificate);
    const Environment_Variable https_proxy("https_proxy", GetParam().through_proxy ? proxy.Url("").c_str() : nullptr);

    const auto outcome = Request(GetParam().method, server.Url());

    EXPECT_EQ(outcome.Error(), GetParam().error) << outcome.description;
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.body, GetParam().body);
    EXPECT_EQ(outcome.description.find("or it was cut on the way") != std::string::npos, GetParam().error != 0);
}

INSTANTIATE_TEST_SUITE_P(Table, Tls_Ending, testing::ValuesIn(Endings),
                         [](const auto& test) { return std::string(test.param.name); });

/// A server that takes too long, and the time-out that ends it. What ends before is among the attempts in vain.
struct Slow_Server {
    const char* name;
    Web_Server::Behaviour behaviour;
    Timeouts timeouts;
    const char* text; ///< for the user
    std::chrono::milliseconds least;
    std::string path = "/file.xml";
};

const std::string Long_Path = "/" + std::string(60000, 'x'); // the system does not take it for a server that does not

const Slow_Server Slow_Servers[] = {
    {"TakesNoRequest",
     [](Server_Connection& client) { client.Pause(10s); },
     {.send = 400},
     "did not respond in time: it did not take the request",
     400ms,
     Long_Path},
    {"TakesTheRequestLate",
     [](Server_Connection& client) {
         client.Pause(300ms);
         client.Read_Request();
         client.Wait_For_Client_To_Go();
     },
     Short_Receive, "did not respond in time", 600ms, Long_Path},
    {"SendsTooSlowlyOnAverage",
     [](Server_Connection& client) {
         client.Read_Request();
         client.Send("HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n\r\n");
         client.Send_Without_End("0123456789", 100ms); // a tenth of the slowest rate
     },
     {.receive = 2000},
     "too slowly",
     2s},
};

class Timeout : public TestWithParam<Slow_Server> {};

TEST_P(Timeout, EndsTheRequest) {
    const Web_Server server(GetParam().behaviour, Web_Server::Smallest_Receive_Buffer);
    const auto outcome = Get(server.Url(GetParam().path), GetParam().timeouts);
    EXPECT_EQ(outcome.Error(), Error_Internet_Timeout);
    EXPECT_THAT(outcome.description, HasSubstr(GetParam().text));
    EXPECT_GE(outcome.elapsed, GetParam().least);
    EXPECT_LT(outcome.elapsed, 8s);
}

INSTANTIATE_TEST_SUITE_P(Table, Timeout, ValuesIn(Slow_Servers),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Receive_Timeout, LetsASlowBodyPassThatKeepsComing) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n");
        for (int packet = 0; packet < 5; ++packet) {
            client.Pause(700ms);
            client.Send(std::string(1000, 'x'));
        }
    });
    const auto outcome = Get(server.Url(), {.receive = 3000});
    EXPECT_EQ(outcome.body, std::string(5000, 'x'));
    EXPECT_GT(outcome.elapsed, 3s);
}

TEST(Timeouts, OfZeroOrMinusOneAreNoneAndOthersBelowAreRefused) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Pause(50ms);
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n");
        client.Pause(50ms);
        client.Send("abc");
    });
    EXPECT_EQ(Get(server.Url(), {0, 0, 0, 0}).body, "abc");
    EXPECT_EQ(Get(server.Url(), {-1, -1, -1, -1}).body, "abc");
    EXPECT_EQ(static_cast<std::uint32_t>(Get(server.Url(), {.receive = -2}).result), 0x80070057U);
}

} // namespace
