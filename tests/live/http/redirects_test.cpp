#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/Web_Server.h"

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Platform;
using namespace testing;

/// What a server does that redirects every path but "/end".
/// @param location where a path is redirected to.
Web_Server::Behaviour Redirect(std::function<std::string(const std::string& path)> location,
                               std::string status = "302 Found") {
    return [=](Server_Connection& client) {
        for (auto request = client.Read_Request(); !request.empty(); request = client.Read_Request()) {
            const auto line = request.substr(0, request.find(" HTTP/"));
            const auto path = line.substr(line.find(' ') + 1);
            const auto body = std::string(line.starts_with("HEAD") ? "" : "abc");
            client.Send(path == "/end" ? "HTTP/1.1 200 OK\r\nLast-Modified: end\r\nContent-Length: 3\r\n\r\n" + body
                                       : "HTTP/1.1 " + status + "\r\nLocation: " + location(path) +
                                             "\r\nLast-Modified: redirect\r\nContent-Type: text/redirect\r\n" +
                                             "Content-Length: 3\r\n\r\n" + body);
        }
    };
}

std::string To_The_End(const std::string&) {
    return "/end";
}

class Redirect_Status : public testing::TestWithParam<const char*> {};

TEST_P(Redirect_Status, IsFollowedWithTheSameMethod) {
    const Web_Server server(Redirect(To_The_End, GetParam()));

    const auto got = Get(server.Url("/start"));
    const auto headed = Head(server.Url("/start"));

    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, "abc");
    EXPECT_EQ(got.last_modified, "end");
    EXPECT_EQ(got.content_type, "") << "the redirect's";
    EXPECT_EQ(headed.status, 200);
    EXPECT_THAT(server.Requests(), ElementsAre("GET /start", "GET /end", "HEAD /start", "HEAD /end"));
    EXPECT_EQ(server.Connections(), 1);
}

INSTANTIATE_TEST_SUITE_P(Table, Redirect_Status,
                         testing::Values("301 Moved", "302 Found", "303 See Other", "307 Temporary", "308 Permanent"),
                         [](const auto& param_info) { return "Status" + std::string(param_info.param).substr(0, 3); });

TEST(Redirects, AreFollowedTenTimes) {
    const Web_Server server(Redirect([](const std::string& path) {
        const auto number = std::stoi(path.substr(1));
        return number == 1 ? "/end" : "/" + std::to_string(number - 1);
    }));

    EXPECT_EQ(Get(server.Url("/10")).status, 200);
    const auto outcome = Get(server.Url("/11"));

    EXPECT_EQ(outcome.Error(), Error_Http_Redirect_Failed);
    EXPECT_THAT(outcome.description, testing::HasSubstr("redirects the request more than ten times. "));
    EXPECT_EQ(server.Requests().size(), 11U + 11U);
}

TEST(Redirects, AreRelativeToTheRedirectingUrlAndForgeNoRequest) {
    const Web_Server server(Redirect([&server](const std::string& path) -> std::string {
        if (path == "/a/b/start?x=1") {
            return "../c?y=2";
        }
        if (path == "/a/c?y=2") {
            return server.Url("/d#fragment").substr(5);
        }
        return path == "/d" ? "/a b\xE4\rX-Forged: c" : "end";
    }));

    EXPECT_EQ(Get(server.Url("/a/b/start?x=1")).status, 200);
    EXPECT_THAT(server.Requests(),
                ElementsAre("GET /a/b/start?x=1", "GET /a/c?y=2", "GET /d", "GET /a%20b%e4", "GET /end"));
}

TEST(Redirects, ToAnotherServerUseItsOwnConnection) {
    const Web_Server target(Redirect(To_The_End));
    const Web_Server server(Redirect([&](const std::string&) { return target.Url("/end"); }));

    EXPECT_EQ(Get(server.Url("/start")).status, 200);
    EXPECT_EQ(Get(server.Url("/start")).status, 200);

    EXPECT_EQ(server.Connections(), 1);
    EXPECT_EQ(target.Connections(), 1);
}

TEST(Redirects, ToAServerThatIsDownNameThatServer) {
    const auto port = std::to_string(Free_Port());
    const Web_Server server(Redirect([&](const std::string&) { return "http://gone.test:" + port + "/"; }));

    const auto outcome = Get(server.Url("/start"));

    EXPECT_EQ(outcome.Error(), Error_Internet_Cannot_Connect);
    EXPECT_THAT(outcome.description, testing::HasSubstr("gone.test (port " + port + ")"));
}

TEST(Redirects, FromHttpToHttpsAreFollowedAndTheOtherWayRoundAreTheResponse) {
    const Tls_Sites sites;
    const Web_Server to_https(Redirect([&](const std::string&) { return sites.Url("Good"); }));
    EXPECT_EQ(Get(to_https.Url("/start")).body, "<landscape/>");

    const Web_Server target(Redirect(To_The_End));
    const Nginx_Server to_http(
        std::vector{Nginx_Site{"location / { return 301 " + target.Url("/end") + "; }\n", sites.Server().Site().tls}});
    EXPECT_EQ(Get(to_http.Url("/start")).status, 301);
    EXPECT_THAT(target.Requests(), ElementsAre());
}

} // namespace
