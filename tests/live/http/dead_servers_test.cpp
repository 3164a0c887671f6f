#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/mount.h>
#include <sys/socket.h>

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

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using namespace QEL::FrontEnd::Platform;
using namespace testing;

constexpr const char* Good_Response = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";

/// Each of the steps before the connection ends after as little as is remembered.
constexpr Timeouts Short_Connect{.resolve = 1100, .connect = 1100, .receive = 1100};

bool Was_Sent(const Http_Result& outcome) {
    return outcome.description.find("The server was last tried at") == std::string::npos;
}

void Respond(Server_Connection& client) {
    client.Read_Request();
    client.Send(Good_Response);
}

/// Responds to all methods but one, for which it falls silent.
Web_Server::Behaviour Silent_For(const char* method) {
    return [method](Server_Connection& client) {
        client.Is_Asked_For(method) ? client.Wait_For_Client_To_Go() : Respond(client);
    };
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

    const User_Configuration m_Configuration;
};

const Web_Server::Behaviour Silence = [](Server_Connection& client) { client.Wait_For_Client_To_Go(); };

/// The servers of a test.
struct Places {
    const Full_Port full;
    const Web_Server silent{Silence};
    const Web_Server stalling{[](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\nabc");
        client.Wait_For_Client_To_Go();
    }};
    const std::string closed = ":" + std::to_string(Free_Port()) + "/";
};

enum class Remembered { Not, For_The_Method, For_All_Methods };

struct Attempt_Case {
    const char* name;
    std::string (*url)(const Places&);
    std::uint32_t error; ///< of the first request
    const char* text;    ///< for the user
    Remembered remembered;
    Timeouts timeouts = Short_Connect;
};

const Attempt_Case Attempt_Cases[] = {
    {"ThatIsNotAccepted", [](const Places& at) { return at.full.Url("http"); }, Error_Internet_Timeout,
     "did not respond in time: it did not accept a connection", Remembered::For_All_Methods},
    {"ThatIsNotAcceptedForTls", [](const Places& at) { return at.full.Url("https"); }, Error_Internet_Timeout,
     "did not respond in time: it did not accept a connection", Remembered::For_All_Methods},
    {"WhoseNameNobodyResolves", [](const Places&) { return std::string("http://hanging.invalid/"); },
     Error_Internet_Timeout, "The server hanging.invalid (port 80) did not respond in time: its name was not resolved",
     Remembered::For_All_Methods},
    {"WhoseHandshakeIsNotFinished", [](const Places& at) { return "https" + at.silent.Url().substr(4); },
     Error_Internet_Timeout, "did not respond in time: the TLS handshake was not finished",
     Remembered::For_All_Methods},
    {"ThatIsRefusedAfterALongTime",
     [](const Places& at) { return "http://slow.test" + at.closed; },
     Error_Internet_Cannot_Connect,
     "cannot be connected to: Connection refused",
     Remembered::For_All_Methods,
     {}},
    {"ThatIsSilent", [](const Places& at) { return at.silent.Url(); }, Error_Internet_Timeout,
     "did not respond in time", Remembered::For_The_Method, Short_Receive},
    {"ThatIsRefusedAtOnce", [](const Places& at) { return "http://good.test" + at.closed; },
     Error_Internet_Cannot_Connect, "cannot be connected to: Connection refused", Remembered::Not},
    {"WithoutAName", [](const Places&) { return std::string("http://nowhere.invalid:8080/"); },
     Error_Internet_Name_Not_Resolved, "The name of the server nowhere.invalid (port 8080) cannot be resolved",
     Remembered::Not},
    {"WhoseBodyStalls",
     [](const Places& at) { return at.stalling.Url(); },
     Error_Internet_Timeout,
     "did not respond in time",
     Remembered::Not,
     {.receive = 2000}},
};

class Attempt_In_Vain : public Dead_Server, public WithParamInterface<Attempt_Case> {};

TEST_P(Attempt_In_Vain, IsRememberedOrNot) {
    const Places places;
    const auto url = GetParam().url(places);
    const int before = Local_Names::look_ups;
    const auto first = Get(url, GetParam().timeouts);
    EXPECT_TRUE(Was_Sent(first));
    EXPECT_EQ(first.Error(), GetParam().error);
    EXPECT_THAT(first.description, HasSubstr(GetParam().text));
    EXPECT_LT(first.elapsed, 8s);
    const auto next = Get(url, GetParam().timeouts);
    EXPECT_EQ(Was_Sent(next), GetParam().remembered == Remembered::Not);
    EXPECT_EQ(next.result, first.result);
    EXPECT_THAT(next.description, StartsWith(first.description));
    if (GetParam().remembered != Remembered::Not) {
        EXPECT_EQ(Was_Sent(Head(url, GetParam().timeouts)), GetParam().remembered == Remembered::For_The_Method);
        EXPECT_FALSE(Was_Sent(Get(url)));
        EXPECT_EQ(Local_Names::look_ups, before + (GetParam().remembered == Remembered::For_The_Method ? 2 : 1));
    }
}

INSTANTIATE_TEST_SUITE_P(Table, Attempt_In_Vain, ValuesIn(Attempt_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Dead_Server, IsNotOneWhoseCertificateIsNotValidHoweverLongThatTook) {
    const Tls_Sites sites;
    auto url = sites.Url("SelfSigned");
    url.replace(url.find("good.test"), std::string("good.test").size(), "slow.test");
    EXPECT_EQ(Get(url, {}).Error(), Error_Internet_Invalid_Authority);
    EXPECT_TRUE(Was_Sent(Get(url, {})));
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

TEST_F(Dead_Server, IsTheSameForBothClients) {
    const Full_Port port;
    QEL::FrontEnd::Util::HttpWinInet::HttpClient second;
    const int before = Local_Names::look_ups;
    Get(port.Url("http"));
    EXPECT_EQ(second.SendWinInetRequest(1, port.Url("http").c_str(), nullptr, 20000), Error_Internet_Timeout);
    EXPECT_EQ(Local_Names::look_ups, before + 1);
}

TEST_F(Dead_Server, IsNotTheOneThatRedirectsThere) {
    const Full_Port dead;
    Web_Server redirecting("HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " + dead.Url("http") + "\r\n\r\n",
                           "good.test");
    EXPECT_TRUE(Was_Sent(Get(redirecting.Url())));
    EXPECT_FALSE(Was_Sent(Get(redirecting.Url()))) << "the next server is remembered under its own name";
    redirecting.Respond_With(Good_Response);
    EXPECT_EQ(Get(redirecting.Url(), {}).body, "abc");
}

TEST_F(Dead_Server, LivesAgainWithAResponse) {
    std::atomic<bool> has_recovered = false;
    const Web_Server server([&has_recovered](Server_Connection& client) {
        has_recovered ? Respond(client) : client.Wait_For_Client_To_Go();
    });
    Get(server.Url(), Short_Receive);
    has_recovered = true;
    EXPECT_FALSE(Was_Sent(Get(server.Url())));
    EXPECT_EQ(Request("GET", server.Url(), {}).body, "abc") << "asked anyway";
    EXPECT_EQ(Get(server.Url(), {}).body, "abc");
}

TEST_F(Dead_Server, HasAKeyOfClientOriginAndProxy) {
    auto now = std::chrono::steady_clock::now();
    const auto clock = std::exchange(Dead_Servers::Instance().m_Clock, [&now] { return now; });
    std::string proxy;
    int sent = 0;
    const auto exchange = [&](const auto&, const auto&, auto, auto&) {
        ++sent;
        now += 1ms;
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
    Dead_Servers::Instance().m_Clock = clock;
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
    EXPECT_EQ(Get(server.Url(), {}).body, "abc");
}

TEST_F(Dead_Server, BehindAProxyOfAnyKindDoesNotStandForTheProxy) {
    const Scratch_Directory directory;
    const Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    const Web_Server socks(Silence);
    const Web_Server http(Silent_For("CONNECT"));
    const Web_Server https(Silence, authority.Issue("proxy", {}));
    for (const auto& proxy : {"socks5h" + socks.Url("").substr(4), http.Url(""), https.Url("")}) {
        const Environment_Variable http_proxy("http_proxy", proxy.c_str());
        const Environment_Variable https_proxy("https_proxy", proxy.c_str());
        EXPECT_TRUE(Was_Sent(Get("https://behind.invalid/"))) << proxy;
        EXPECT_FALSE(Was_Sent(Get("https://behind.invalid/"))) << proxy;
        EXPECT_TRUE(Was_Sent(Get("https://other.invalid/"))) << proxy;
    }
    const Environment_Variable http_proxy("http_proxy", http.Url("").c_str());
    EXPECT_EQ(Get("http://behind.invalid/", {}).body, "abc");
}

TEST_F(Dead_Server, MayBeAnHttpsProxyThatDoesNotFinishTheHandshake) {
    const Web_Server proxy(Silence);
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
