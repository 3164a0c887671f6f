#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include <sys/mount.h>

#include "platform/common/Dead_Servers.h"
#include "platform/common/Http_Transfer.h"
#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Local_Names.h"
#include "tests/support/Own_Network.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Socket.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/HttpClient.h"

// Which attempts leave a server in the memory of dead ones. A request that is not sent says so in its description.

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using namespace testing;

constexpr const char* Retry_After = "LandscapeServerRetryAfter";
constexpr const char* Good_Response = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";

/// Each of the steps before the connection ends after as little as is remembered.
constexpr Timeouts Short_Connect{.resolve = 1100, .connect = 1100, .receive = 1100};

bool Was_Sent(const Http_Result& outcome) {
    return outcome.description.find("The server was last tried at") == std::string::npos;
}

class Dead_Server : public testing::Test {
protected:
    Dead_Server() { Dead_Servers::Instance().m_Servers.clear(); }
    ~Dead_Server() override { Dead_Servers::Instance().m_Servers.clear(); }

    static Http_Result Get(const std::string& url, const Timeouts& timeouts = Short_Connect) {
        return Request_If_Alive("GET", url, timeouts);
    }
    static Http_Result Head(const std::string& url, const Timeouts& timeouts = Short_Connect) {
        return Request_If_Alive("HEAD", url, timeouts);
    }

    /// The first request times out, further ones of all methods are not sent.
    static void Expect_One_Attempt(const std::string& url) {
        const auto first = Get(url);
        EXPECT_TRUE(Was_Sent(first)) << url;
        for (const auto& next : {Get(url), Head(url), Get(url)}) {
            EXPECT_FALSE(Was_Sent(next)) << url;
            EXPECT_EQ(next.result, first.result) << url;
            EXPECT_THAT(next.description, testing::StartsWith(first.description)) << url;
        }
    }

    /// Repeats a request until it is sent: nothing but the end of the period lets it.
    static Http_Result When_Sent(const std::function<Http_Result()>& request) {
        for (;;) {
            auto outcome = request();
            if (Was_Sent(outcome)) {
                return outcome;
            }
            std::this_thread::sleep_for(50ms);
        }
    }

    User_Configuration m_Configuration;
};

TEST_F(Dead_Server, IsOneThatDoesNotAccept) {
    const Full_Port port;
    Expect_One_Attempt(port.Url("http"));
    Expect_One_Attempt(port.Url("https"));
}

TEST_F(Dead_Server, IsOneWhoseNameNobodyResolves) {
    const int before = Local_Names::look_ups;
    Expect_One_Attempt("http://hanging.invalid/");
    EXPECT_EQ(Local_Names::look_ups, before + 1);
}

TEST_F(Dead_Server, IsOneWhoseNameServerNeverResponds) {
    const Scratch_Directory directory;
    directory.Write("resolv.conf", "nameserver 127.0.0.1\noptions timeout:2 attempts:1\n");
    const int result = Own_Network::Run([&](const Own_Network&) {
        const Socket name_server(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(53);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(name_server.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::mount((directory / "resolv.conf").c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) != 0) {
            return Own_Network::Not_Allowed;
        }
        Dead_Servers::Instance().m_Network_Seen = {}; // the network is another one than before
        const auto first = Get("http://server.example/", {});
        const bool is_asked = ::recv(name_server.Get(), &address, sizeof address, MSG_DONTWAIT) > 0;
        return (Was_Sent(first) && first.Error() == Error_Internet_Name_Not_Resolved ? 0 : 1) + (is_asked ? 0 : 2) +
               (Was_Sent(Head("http://server.example/", {})) ? 4 : 0);
    });
    EXPECT_DONE_OR_SKIP(result);
}

TEST_F(Dead_Server, IsOneThatDoesNotFinishTheHandshake) {
    const Web_Server server([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    Expect_One_Attempt("https" + server.Url().substr(4));
    EXPECT_EQ(server.Connections(), 1);
}

TEST_F(Dead_Server, IsASilentOneForTheSameMethod) {
    const Web_Server server([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    for (const auto* method : {"GET", "HEAD"}) {
        const auto first = Request_If_Alive(method, server.Url(), Short_Receive);
        const auto next = Request_If_Alive(method, server.Url(), Short_Receive);
        EXPECT_TRUE(Was_Sent(first)) << method;
        EXPECT_FALSE(Was_Sent(next)) << method;
        EXPECT_EQ(next.result, first.result) << method;
    }
    EXPECT_EQ(server.Connections(), 2);
}

TEST_F(Dead_Server, ServesWhereItHangsForHeadOnly) {
    const Web_Server server([](Server_Connection& client) {
        if (client.Is_Asked_For("HEAD")) {
            client.Wait_For_Client_To_Go();
        }
        client.Read_Request();
        client.Send(Good_Response);
    });
    EXPECT_TRUE(Was_Sent(Head(server.Url(), Short_Receive)));
    EXPECT_EQ(Get(server.Url()).body, "abc");
    EXPECT_FALSE(Was_Sent(Head(server.Url(), Short_Receive))) << "its response to GET says nothing of HEAD";
    EXPECT_EQ(Get(server.Url()).body, "abc");
}

TEST_F(Dead_Server, IsTheSameForBothClients) {
    const Full_Port port;
    FrontEnd::Util::HttpWinInet::HttpClient second;
    const int before = Local_Names::look_ups;
    Get(port.Url("http"));
    EXPECT_EQ(second.SendWinInetRequest(1, port.Url("http").c_str(), nullptr, 20000), Error_Internet_Timeout);
    EXPECT_EQ(Local_Names::look_ups, before + 1);
}

TEST_F(Dead_Server, IsNotOneThatRefusesAtOnce) {
    const auto url = "http://good.test:" + std::to_string(Free_Port()) + "/";
    EXPECT_TRUE(Was_Sent(Get(url)));
    EXPECT_TRUE(Was_Sent(Get(url)));
}

TEST_F(Dead_Server, IsNotOneWithoutAName) {
    EXPECT_TRUE(Was_Sent(Get("http://nowhere.invalid/")));
    EXPECT_TRUE(Was_Sent(Get("http://nowhere.invalid/")));
}

TEST_F(Dead_Server, IsNotOneWhoseCertificateIsNotValidHoweverLongThatTook) {
    const Tls_Sites sites;
    auto url = sites.Url(Tls_State::Self_Signed);
    url.replace(url.find("good.test"), std::string("good.test").size(), "slow.test");
    EXPECT_EQ(Get(url, {}).Error(), Error_Internet_Invalid_Authority);
    EXPECT_TRUE(Was_Sent(Get(url, {})));
}

TEST_F(Dead_Server, IsOneThatRefusesAfterALongTime) {
    const auto url = "http://slow.test:" + std::to_string(Free_Port()) + "/";
    EXPECT_EQ(Get(url, {}).Error(), Error_Internet_Cannot_Connect);
    EXPECT_FALSE(Was_Sent(Head(url, {})));
}

TEST_F(Dead_Server, IsNotOneWhoseBodyStalls) {
    const Web_Server server([](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\nabc");
        client.Wait_For_Client_To_Go();
    });
    EXPECT_EQ(Get(server.Url(), Short_Receive).Error(), Error_Internet_Timeout);
    EXPECT_TRUE(Was_Sent(Get(server.Url(), Short_Receive)));
}

TEST_F(Dead_Server, IsNotTheOneThatRedirectsThere) {
    const Full_Port dead;
    Web_Server redirecting("HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " + dead.Url("http") + "\r\n\r\n",
                           "good.test");
    EXPECT_TRUE(Was_Sent(Get(redirecting.Url())));
    EXPECT_FALSE(Was_Sent(Get(redirecting.Url()))) << "the next server is remembered under its own name";
    redirecting.Respond_With(Good_Response);
    EXPECT_EQ(Get(redirecting.Url()).body, "abc");
}

/// A server that says nothing before it has recovered.
auto Silent_Until(const std::atomic<bool>& has_recovered) {
    return [&has_recovered](Server_Connection& client) {
        if (!has_recovered) {
            client.Wait_For_Client_To_Go();
        }
        client.Read_Request();
        client.Send(Good_Response);
    };
}

TEST_F(Dead_Server, IsNotAskedBeforeThePeriodEndsThoughItHasRecovered) {
    m_Configuration.Set_Number(Retry_After, 1);
    std::atomic<bool> has_recovered = false;
    const Web_Server server(Silent_Until(has_recovered));
    Get(server.Url(), Short_Receive);
    has_recovered = true;
    EXPECT_FALSE(Was_Sent(Get(server.Url())));
    EXPECT_EQ(server.Connections(), 1);
    EXPECT_EQ(When_Sent([&] { return Get(server.Url()); }).body, "abc");
    EXPECT_EQ(Get(server.Url()).body, "abc");
}

TEST_F(Dead_Server, LivesAgainWithAResponse) {
    std::atomic<bool> has_recovered = false;
    const Web_Server server(Silent_Until(has_recovered));
    Get(server.Url(), Short_Receive);
    has_recovered = true;
    EXPECT_FALSE(Was_Sent(Get(server.Url())));
    EXPECT_EQ(Request("GET", server.Url(), {}).body, "abc") << "asked anyway";
    EXPECT_EQ(Get(server.Url()).body, "abc");
}

TEST_F(Dead_Server, IsAskedEachTimeWhereTheMemoryIsSwitchedOff) {
    m_Configuration.Set_Number(Retry_After, 0);
    const Web_Server server([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    Get(server.Url(), Short_Receive);
    EXPECT_TRUE(Was_Sent(Get(server.Url(), Short_Receive)));
    EXPECT_EQ(server.Connections(), 2);
}

TEST_F(Dead_Server, HasAKeyOfClientOriginAndProxy) {
    std::string proxy;
    int sent = 0;
    const auto exchange = [&](const auto&, const auto&, auto, auto&) {
        ++sent;
        return Http_Failure{Error_Internet_Timeout, {}, Attempt::Silent};
    };
    const auto is_sent = [&](const char* url, const char* client = "one ") {
        const int before = sent;
        Http_Response response;
        Transfer({Http_Method::Get, Http_Url::Parse(url).value(), {}, {}}, response,
                 {client, exchange, [&](const auto&) { return proxy; }});
        return sent > before;
    };
    EXPECT_TRUE(is_sent("http://[2001:db8::1]/file"));
    EXPECT_FALSE(is_sent("http://user@[2001:DB8:0::1]:80/other"));
    EXPECT_TRUE(is_sent("http://[2001:db8::2]/file"));
    EXPECT_TRUE(is_sent("http://[2001:db8::1]:81/file"));
    EXPECT_TRUE(is_sent("https://[2001:db8::1]/file"));
    EXPECT_TRUE(is_sent("http://[2001:db8::1]/file", "two "));
    for (const auto* other : {"socks5://proxy:1080", "socks5h://proxy:1080", "socks5://proxy:1081"}) {
        proxy = other;
        EXPECT_TRUE(is_sent("http://[2001:db8::1]/file")) << other;
        EXPECT_FALSE(is_sent("http://[2001:db8::1]/file")) << other;
    }
}

TEST_F(Dead_Server, IsAskedAgainWhenTheMachineGetsAnAddressOrLosesOne) {
    const int result = Own_Network::Run([](const Own_Network& network) {
        const Web_Server server([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
        const auto is_sent = [&] { return Was_Sent(Get(server.Url(), Short_Receive)); };
        // The network is another one than before, and nothing is remembered.
        Dead_Servers::Instance().m_Network_Seen = {};
        if (!network.Add_Address("10.4.5.6") || !is_sent() || is_sent()) {
            return 1;
        }
        if (!network.Add_Address("10.1.2.3") || !is_sent() || is_sent()) {
            return 2;
        }
        return network.Remove_Address() && is_sent() && !is_sent() ? 0 : 3;
    });
    EXPECT_DONE_OR_SKIP(result);
}

class Dead_Proxy : public Dead_Server, public testing::WithParamInterface<const char*> {
protected:
    const Full_Port m_Port;
    const Environment_Variable m_Http_Proxy{"http_proxy", m_Port.Url(GetParam()).c_str()};
    const Environment_Variable m_Https_Proxy{"https_proxy", m_Port.Url(GetParam()).c_str()};
};

INSTANTIATE_TEST_SUITE_P(, Dead_Proxy, testing::Values("http", "https", "socks5", "socks5h", "socks4a"));

TEST_P(Dead_Proxy, IsAskedForNoServerAgain) {
    EXPECT_TRUE(Was_Sent(Get("http://behind.invalid/")));
    EXPECT_FALSE(Was_Sent(Get("http://behind.invalid/")));
    EXPECT_THAT(Get("http://other.invalid:8080/").description,
                AllOf(StartsWith("The proxy good.test:" + std::to_string(m_Port.Port()) + " did not respond in time"),
                      HasSubstr(". The server was last tried at "), Not(HasSubstr("behind.invalid"))));
    EXPECT_FALSE(Was_Sent(Get("https://other.invalid/")));
}

TEST_P(Dead_Proxy, StandsForNoServerThatIsReachedWithoutIt) {
    const Web_Server server(Good_Response, "good.test");
    const Environment_Variable exempt("no_proxy", "good.test");
    Get("http://behind.invalid/");
    EXPECT_EQ(Get(server.Url()).body, "abc");
}

TEST_F(Dead_Server, BehindASocksProxyDoesNotStandForTheProxy) {
    const Web_Server proxy([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    const Environment_Variable http_proxy("http_proxy", proxy.Url("").replace(0, 4, "socks5h").c_str());
    EXPECT_TRUE(Was_Sent(Get("http://behind.invalid/")));
    EXPECT_FALSE(Was_Sent(Get("http://behind.invalid/")));
    EXPECT_TRUE(Was_Sent(Get("http://other.invalid/")));
}

TEST_F(Dead_Server, BehindAProxyDoesNotStandForTheProxy) {
    const Web_Server proxy([](Server_Connection& client) {
        if (client.Is_Asked_For("CONNECT")) {
            client.Wait_For_Client_To_Go();
        }
        client.Read_Request();
        client.Send(Good_Response);
    });
    const Environment_Variable http_proxy("http_proxy", proxy.Url("").c_str());
    const Environment_Variable https_proxy("https_proxy", proxy.Url("").c_str());
    EXPECT_TRUE(Was_Sent(Get("https://behind.invalid/")));
    EXPECT_FALSE(Was_Sent(Get("https://behind.invalid/")));
    EXPECT_EQ(Get("http://behind.invalid/").body, "abc");
    EXPECT_TRUE(Was_Sent(Get("https://other.invalid/")));
}

TEST_F(Dead_Server, MayBeAnHttpsProxyThatDoesNotFinishTheHandshake) {
    const Web_Server proxy([](Server_Connection& client) { client.Wait_For_Client_To_Go(); });
    const auto proxy_url = "https" + proxy.Url("").substr(4);
    const Environment_Variable http_proxy("http_proxy", proxy_url.c_str());
    const Environment_Variable https_proxy("https_proxy", proxy_url.c_str());
    EXPECT_THAT(Get("https://behind.invalid/").description,
                StartsWith("The proxy " + proxy_url.substr(std::string("https://").size()) +
                           " did not respond in time: the TLS handshake was not finished"));
    EXPECT_FALSE(Was_Sent(Get("https://other.invalid/")));
    EXPECT_FALSE(Was_Sent(Head("http://other.invalid/")));
    EXPECT_EQ(proxy.Connections(), 1);
}

TEST_F(Dead_Server, BehindAnHttpsProxyDoesNotStandForTheProxy) {
    const Scratch_Directory directory;
    Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    const Web_Server proxy([](Server_Connection& client) { client.Wait_For_Client_To_Go(); },
                           authority.Issue("proxy", {}));
    const Environment_Variable https_proxy("https_proxy", proxy.Url("").c_str());
    EXPECT_TRUE(Was_Sent(Get("https://behind.invalid/")));
    EXPECT_FALSE(Was_Sent(Get("https://behind.invalid/")));
    EXPECT_TRUE(Was_Sent(Get("https://other.invalid/")));
}

TEST_F(Dead_Server, IsNotOneThatTheProxyRefusesHoweverLongThatTook) {
    for (const bool is_whole : {true, false}) {
        const Web_Server proxy([&](Server_Connection& client) {
            client.Read_Request();
            client.Pause(is_whole ? 1100ms : 0ms);
            client.Send("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n");
            client.Send(is_whole ? "\r\n" : "");
            client.Wait_For_Client_To_Go();
        });
        const Environment_Variable https_proxy("https_proxy", proxy.Url("").c_str());
        const auto timeouts = is_whole ? Timeouts() : Short_Connect;
        EXPECT_TRUE(Was_Sent(Get("https://behind.invalid/", timeouts))) << is_whole;
        EXPECT_TRUE(Was_Sent(Get("https://behind.invalid/", timeouts))) << is_whole;
    }
}

} // namespace

} // namespace QEL::Tests
