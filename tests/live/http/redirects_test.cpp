#include <gmock/gmock.h>

#include <mutex>
#include <string>
#include <vector>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Misbehaving_Server.h"
#include "tests/support/Tls_Sites.h"

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using namespace testing;

/// A server that redirects every path but "/end" and notes the request lines.
class Redirecting_Server {
public:
    /// @param location where a path is redirected to.
    explicit Redirecting_Server(std::function<std::string(const std::string& path)> location,
                                std::string status = "302 Found")
        : m_Location(std::move(location)), m_Status(std::move(status)),
          m_Server([this](Server_Connection& client) { Serve(client); }) {}

    std::string Url(const std::string& path) const { return m_Server.Url(path); }
    int Connections() const { return m_Server.Connections(); }

    std::vector<std::string> Requests() const {
        const std::lock_guard lock(m_Mutex);
        return m_Requests;
    }

private:
    void Serve(Server_Connection& client) {
        for (auto request = client.Read_Request(); !request.empty(); request = client.Read_Request()) {
            const auto line = request.substr(0, request.find(" HTTP/"));
            {
                const std::lock_guard lock(m_Mutex);
                m_Requests.push_back(line);
            }
            const auto path = line.substr(line.find(' ') + 1);
            const auto body = std::string(line.starts_with("HEAD") ? "" : "abc");
            client.Send(path == "/end" ? "HTTP/1.1 200 OK\r\nLast-Modified: end\r\nContent-Length: 3\r\n\r\n" + body
                                       : "HTTP/1.1 " + m_Status + "\r\nLocation: " + m_Location(path) +
                                             "\r\nLast-Modified: redirect\r\nContent-Type: text/redirect\r\n" +
                                             "Content-Length: 3\r\n\r\n" + body);
        }
    }

    const std::function<std::string(const std::string&)> m_Location;
    const std::string m_Status;
    mutable std::mutex m_Mutex;
    std::vector<std::string> m_Requests;
    Misbehaving_Server m_Server;
};

std::string To_The_End(const std::string&) {
    return "/end";
}

class Redirect_Status : public testing::TestWithParam<const char*> {};

TEST_P(Redirect_Status, IsFollowedWithTheSameMethod) {
    const Redirecting_Server server(To_The_End, GetParam());

    const auto got = Get(server.Url("/start"));
    const auto headed = Head(server.Url("/start"));

    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, "abc");
    EXPECT_EQ(headed.status, 200);
    EXPECT_THAT(server.Requests(), ElementsAre("GET /start", "GET /end", "HEAD /start", "HEAD /end"));
    EXPECT_EQ(server.Connections(), 1);
}

INSTANTIATE_TEST_SUITE_P(Table, Redirect_Status,
                         testing::Values("301 Moved", "302 Found", "303 See Other", "307 Temporary", "308 Permanent"),
                         [](const auto& param_info) { return "Status" + std::string(param_info.param).substr(0, 3); });

TEST(Redirects, LeaveTheHeadersOfTheLastResponseOnly) {
    const Redirecting_Server server(To_The_End);

    const auto outcome = Get(server.Url("/start"));

    EXPECT_EQ(outcome.last_modified, "end");
    EXPECT_EQ(outcome.content_type, "");
}

TEST(Redirects, AreFollowedTenTimes) {
    const Redirecting_Server server([](const std::string& path) {
        const auto number = std::stoi(path.substr(1));
        return number == 1 ? "/end" : "/" + std::to_string(number - 1);
    });

    EXPECT_EQ(Get(server.Url("/10")).status, 200);
    const auto outcome = Get(server.Url("/11"));

    EXPECT_EQ(outcome.Error(), Error_Http_Redirect_Failed);
    EXPECT_THAT(outcome.description, testing::HasSubstr("redirects the request without end"));
    EXPECT_EQ(server.Requests().size(), 11U + 11U);
}

TEST(Redirects, AreRelativeToTheRedirectingUrl) {
    const Redirecting_Server server([&server](const std::string& path) -> std::string {
        if (path == "/a/b/start?x=1") {
            return "../c?y=2";
        }
        return path == "/a/c?y=2" ? server.Url("/d#fragment").substr(5) : "end";
    });

    EXPECT_EQ(Get(server.Url("/a/b/start?x=1")).status, 200);
    EXPECT_THAT(server.Requests(), ElementsAre("GET /a/b/start?x=1", "GET /a/c?y=2", "GET /d", "GET /end"));
}

TEST(Redirects, CannotForgeARequest) {
    const Redirecting_Server server(
        [](const std::string& path) -> std::string { return path == "/start" ? "/a b\xE4\rX-Forged: c" : "/end"; });

    EXPECT_EQ(Get(server.Url("/start")).status, 200);
    EXPECT_THAT(server.Requests(), ElementsAre("GET /start", "GET /a%20b%e4", "GET /end"));
}

TEST(Redirects, ToAnotherServerUseItsOwnConnection) {
    const Redirecting_Server target(To_The_End);
    const Redirecting_Server server([&](const std::string&) { return target.Url("/end"); });

    EXPECT_EQ(Get(server.Url("/start")).status, 200);
    EXPECT_EQ(Get(server.Url("/start")).status, 200);

    EXPECT_EQ(server.Connections(), 1);
    EXPECT_EQ(target.Connections(), 1);
}

TEST(Redirects, ToAServerThatIsDownNameThatServer) {
    const auto port = std::to_string(Free_Port());
    const Redirecting_Server server([&](const std::string&) { return "http://gone.test:" + port + "/"; });

    const auto outcome = Get(server.Url("/start"));

    EXPECT_EQ(outcome.Error(), Error_Internet_Cannot_Connect);
    EXPECT_THAT(outcome.description, testing::HasSubstr("gone.test (port " + port + ")"));
}

TEST(Redirects, FromHttpToHttpsAreFollowed) {
    const Tls_Sites sites;
    const Redirecting_Server server([&](const std::string&) { return sites.Url(Tls_State::Good); });

    EXPECT_EQ(Get(server.Url("/start")).body, "<landscape/>");
}

TEST(Redirects, FromHttpsToHttpAreTheResponse) {
    const Tls_Sites sites; // for its authority
    const Redirecting_Server target(To_The_End);
    const Nginx_Server server(
        std::vector{Nginx_Site{"location / { return 301 " + target.Url("/end") + "; }\n", sites.Server().Site().tls}});

    EXPECT_EQ(Get(server.Url("/start")).status, 301);
    EXPECT_THAT(target.Requests(), ElementsAre());
}

} // namespace

} // namespace QEL::Tests
