#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Web_Server.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using namespace testing;

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

} // namespace QEL::Tests
