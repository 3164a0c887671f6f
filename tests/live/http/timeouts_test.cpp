#include <gmock/gmock.h>

#include <string>

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
    EXPECT_GE(outcome.elapsed, least) << text;
    EXPECT_LT(outcome.elapsed, 8s) << text;
}

TEST(Resolve_Timeout, EndsALookUpThatHangs) {
    Timeouts timeouts;
    timeouts.resolve = 200;

    const auto outcome = Get("http://hanging.invalid/", timeouts);

    Expect_Timeout(outcome, "The server hanging.invalid (port 80) did not respond in time: its name was not resolved",
                   200ms);
}

TEST(Resolve_Timeout, IsNotWaitedForWhenTheNameDoesNotExist) {
    const auto outcome = Get("http://nowhere.invalid:8080/");

    EXPECT_EQ(outcome.Error(), Error_Internet_Name_Not_Resolved);
    EXPECT_THAT(outcome.description,
                HasSubstr("The name of the server nowhere.invalid (port 8080) cannot be resolved"));
}

TEST(Connect_Timeout, EndsAConnectionThatNobodyAccepts) {
    const Full_Port port;
    Timeouts timeouts;
    timeouts.connect = 200;
    for (const auto* scheme : {"http", "https"}) {
        const auto outcome = Get(port.Url(scheme), timeouts);

        Expect_Timeout(outcome, "did not respond in time: it did not accept a connection", 200ms);
    }
}

TEST(Connect_Timeout, IsNotWaitedForWhenTheServerRefuses) {
    const auto port = std::to_string(Free_Port());
    for (const auto* scheme : {"http", "https"}) {
        const auto outcome = Get(std::string(scheme) + "://good.test:" + port + "/");

        EXPECT_EQ(outcome.Error(), Error_Internet_Cannot_Connect) << scheme;
        EXPECT_THAT(outcome.description,
                    HasSubstr("good.test (port " + port + ") cannot be connected to: Connection refused"));
    }
}

TEST(Send_Timeout, EndsARequestThatTheServerDoesNotTake) {
    const Web_Server server([](Server_Connection& client) { client.Pause(10s); }, Web_Server::Smallest_Receive_Buffer);
    Timeouts timeouts;
    timeouts.send = 400;

    const auto outcome = Get(server.Url("/" + std::string(60000, 'x')), timeouts);

    Expect_Timeout(outcome, "did not respond in time: it did not take the request", 400ms);
}

TEST(Receive_Timeout, EndsAHandshakeAndAResponseThatDoNotCome) {
    const Web_Server server([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    Timeouts timeouts;
    timeouts.receive = 200;

    const auto response = Get(server.Url(), timeouts);
    const auto handshake = Get("https" + server.Url().substr(4), timeouts);

    Expect_Timeout(response, "did not respond in time", 200ms);
    Expect_Timeout(handshake, "did not respond in time: the TLS handshake was not finished", 200ms);
}

TEST(Receive_Timeout, BeginsWhenTheRequestHasBeenTaken) {
    const Web_Server server(
        [](Server_Connection& client) {
            client.Pause(300ms);
            client.Read_Request();
            client.Wait_For_Client_To_Go();
        },
        Web_Server::Smallest_Receive_Buffer);

    const auto outcome = Get(server.Url("/" + std::string(60000, 'x')), Short_Receive);

    Expect_Timeout(outcome, "did not respond in time", 600ms);
}

TEST(Receive_Timeout, LetsASlowBodyPassThatKeepsComing) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n");
        for (int packet = 0; packet < 5; ++packet) {
            client.Pause(250ms);
            client.Send(std::string(1000, 'x'));
        }
    });

    const auto outcome = Get(server.Url(), {.receive = 1000});

    EXPECT_EQ(outcome.body, std::string(5000, 'x'));
    EXPECT_GT(outcome.elapsed, 1000ms);
}

TEST(Receive_Timeout, EndsABodyThatComesTooSlowlyOnAverage) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n");
        client.Send_Without_End("0123456789", 100ms); // a tenth of the slowest rate
    });

    const auto outcome = Get(server.Url(), Short_Receive);

    Expect_Timeout(outcome, "too slowly", 300ms);
}

TEST(Timeouts, OfZeroOrMinusOneAreNone) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Pause(50ms);
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n");
        client.Pause(50ms);
        client.Send("abc");
    });

    EXPECT_EQ(Get(server.Url(), {0, 0, 0, 0}).body, "abc");
    EXPECT_EQ(Get(server.Url(), {-1, -1, -1, -1}).body, "abc");
}

TEST(Timeouts, ThatAreNegativeAreRefused) {
    const auto outcome = Get("http://good.test/", {.receive = -2});

    EXPECT_EQ(static_cast<std::uint32_t>(outcome.result), 0x80070057U);
}

} // namespace

} // namespace QEL::Tests
