#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Socket.h"
#include "tests/support/Web_Server.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using namespace testing;

void Expect_Timeout(const Http_Result& outcome, const char* text, std::chrono::milliseconds least) {
    EXPECT_EQ(outcome.Error(), Error_Internet_Timeout);
    EXPECT_THAT(outcome.description, HasSubstr(text));
    EXPECT_GE(outcome.elapsed, least);
    EXPECT_LT(outcome.elapsed, 8s);
}

/// A server that takes too long, and the time-out that ends it.
struct Slow_Server {
    const char* name;
    const char* scheme;
    Web_Server::Behaviour behaviour;
    Timeouts timeouts;
    const char* text; ///< for the user
    std::chrono::milliseconds least;
    std::string path = "/file.xml";
};

const Web_Server::Behaviour Silence = [](Server_Connection& client) { client.Wait_For_Client_To_Go(); };
const std::string Long_Path = "/" + std::string(60000, 'x'); // the system does not take it for a server that does not

const Slow_Server Slow_Servers[] = {
    {"TakesNoRequest",
     "http",
     [](Server_Connection& client) { client.Pause(10s); },
     {.send = 400},
     "did not respond in time: it did not take the request",
     400ms,
     Long_Path},
    {"SendsNoResponse", "http", Silence, {.receive = 200}, "did not respond in time", 200ms},
    {"FinishesNoHandshake",
     "https",
     Silence,
     {.receive = 200},
     "did not respond in time: the TLS handshake was not finished",
     200ms},
    {"TakesTheRequestLate", "http",
     [](Server_Connection& client) {
         client.Pause(300ms);
         client.Read_Request();
         client.Wait_For_Client_To_Go();
     },
     Short_Receive, "did not respond in time", 600ms, Long_Path},
    {"SendsTooSlowlyOnAverage",
     "http",
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
    Expect_Timeout(Get(GetParam().scheme + server.Url(GetParam().path).substr(4), GetParam().timeouts), GetParam().text,
                   GetParam().least);
}

INSTANTIATE_TEST_SUITE_P(Table, Timeout, ValuesIn(Slow_Servers),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Resolve_Timeout, EndsALookUpThatHangs) {
    Expect_Timeout(Get("http://hanging.invalid/", {.resolve = 200}),
                   "The server hanging.invalid (port 80) did not respond in time: its name was not resolved", 200ms);
}

TEST(Resolve_Timeout, IsNotWaitedForWhenTheNameDoesNotExist) {
    const auto outcome = Get("http://nowhere.invalid:8080/");
    EXPECT_EQ(outcome.Error(), Error_Internet_Name_Not_Resolved);
    EXPECT_THAT(outcome.description,
                HasSubstr("The name of the server nowhere.invalid (port 8080) cannot be resolved"));
}

TEST(Connect_Timeout, EndsAConnectionThatNobodyAcceptsAndIsNotWaitedForWhenTheServerRefuses) {
    const Full_Port full;
    const auto closed = std::to_string(Free_Port());
    for (const std::string scheme : {"http", "https"}) {
        Expect_Timeout(Get(full.Url(scheme), {.connect = 200}),
                       "did not respond in time: it did not accept a connection", 200ms);
        const auto outcome = Get(scheme + "://good.test:" + closed + "/");
        EXPECT_EQ(outcome.Error(), Error_Internet_Cannot_Connect) << scheme;
        EXPECT_THAT(outcome.description,
                    HasSubstr("good.test (port " + closed + ") cannot be connected to: Connection refused"));
    }
}

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

} // namespace QEL::Tests
