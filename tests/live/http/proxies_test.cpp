#include <gmock/gmock.h>

#include <memory>
#include <string>

#include <curl/curl.h>

#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Proxy.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"

// Proxies come from the environment: http_proxy, https_proxy, no_proxy.

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using namespace testing;

class Proxy : public testing::Test {
protected:
    Web_Server m_Proxy{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc", "good.test"};
    const std::string m_Url = m_Proxy.Url("");
    const Environment_Variable m_Http_Proxy{"http_proxy", m_Url.c_str()};
    const Environment_Variable m_Https_Proxy{"https_proxy", m_Url.c_str()};
};

TEST_F(Proxy, IsAskedForTheWholeUrl) {
    EXPECT_EQ(Get("http://behind.invalid/file.xml").body, "abc");
    EXPECT_THAT(m_Proxy.Request(), StartsWith("GET http://behind.invalid/file.xml HTTP/1.1\r\n"));
}

TEST_F(Proxy, IsNotAskedForHostsInNoProxy) {
    const Environment_Variable no_proxy("no_proxy", "behind.invalid");

    EXPECT_EQ(Get("http://behind.invalid/file.xml").Error(), Error_Internet_Name_Not_Resolved);
    EXPECT_EQ(m_Proxy.Request(), "");
}

struct Exemption {
    const char* no_proxy;
    const char* host;
};

class Exempted : public Proxy, public testing::WithParamInterface<Exemption> {
protected:
    /// Whether libcurl, left to itself, gets the URL from the proxy.
    static bool Libcurl_Gets(const std::string& url) {
        const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> request(curl_easy_init(), &curl_easy_cleanup);
        curl_easy_setopt(request.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(request.get(), CURLOPT_NOBODY, 1L);
        return curl_easy_perform(request.get()) == CURLE_OK;
    }
};

TEST_P(Exempted, HostIsTheSameForLibcurlAndForUs) {
    const Environment_Variable no_proxy("no_proxy", GetParam().no_proxy);
    const auto url = std::string("http://") + GetParam().host + ":1/file.xml"; // nobody listens there

    const bool goes_through_proxy = Libcurl_Gets(url);

    EXPECT_EQ(Get(url).body == "abc", goes_through_proxy);
    EXPECT_EQ(Proxy_For(Http_Url::Parse(url).value()), goes_through_proxy ? m_Url : "")
        << GetParam().host << " and " << GetParam().no_proxy;
}

INSTANTIATE_TEST_SUITE_P(
    , Exempted,
    testing::Values(Exemption{"", "a.test"}, Exemption{"*", "a.test"}, Exemption{"*,b.test", "a.test"},
                    Exemption{"a.test", "a.test"}, Exemption{"A.Test", "a.test"}, Exemption{"a.test", "b.a.test"},
                    Exemption{"a.test", "ba.test"}, Exemption{".a.test", "a.test"}, Exemption{".a.test", "b.a.test"},
                    Exemption{"a.test.", "a.test"}, Exemption{"a.test", "a.test."},
                    Exemption{"b.test, a.test", "a.test"}, Exemption{"b.test a.test", "a.test"},
                    Exemption{" ,,a.test", "a.test"}, Exemption{".", "a.test"}, Exemption{"127.0.0.9", "127.0.0.9"},
                    Exemption{"127.0.0.9", "127.0.0.8"}, Exemption{"127.0.0.0/8", "127.9.0.1"},
                    Exemption{"127.0.0.0/9", "127.200.0.1"}, Exemption{"127.128.0.0/9", "127.200.0.1"},
                    Exemption{"127.0.0.9/33", "127.0.0.9"}, Exemption{"127.0.0.9/0", "127.0.0.9"},
                    Exemption{"127.0.0.8/0", "127.0.0.9"}, Exemption{"127.0.0.8/-1", "127.0.0.9"},
                    Exemption{"127.0.0.9/x", "127.0.0.9"}, Exemption{"0.0.9", "127.0.0.9"}, Exemption{"::1", "[::1]"},
                    Exemption{"[::1]", "[::1]"}, Exemption{"::2", "[::1]"}, Exemption{"::1", "[0:0::1]"},
                    Exemption{"fd00::/8", "[fd12::1]"}));

TEST_F(Proxy, IsTheOneOfTheScheme) {
    const Environment_Variable all("all_proxy", "http://all.test:1");
    const auto proxy = [](const char* url) { return Proxy_For(Http_Url::Parse(url).value()); };
    EXPECT_EQ(proxy("http://a.test/"), m_Url);
    const Environment_Variable no_http("http_proxy", nullptr);
    const Environment_Variable upper_http("HTTP_PROXY", "http://upper.test:1");
    EXPECT_EQ(proxy("http://a.test/"), "http://all.test:1");
    const Environment_Variable empty_https("https_proxy", "");
    EXPECT_EQ(proxy("https://a.test/"), "http://all.test:1");
    const Environment_Variable upper_https("HTTPS_PROXY", "http://upper.test:1");
    EXPECT_EQ(proxy("https://a.test/"), "http://upper.test:1");
}

TEST_F(Proxy, ThatRefusesATunnelIsReported) {
    m_Proxy.Respond_With("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");

    const auto outcome = Get("https://behind.invalid/file.xml");

    EXPECT_THAT(m_Proxy.Request(), StartsWith("CONNECT behind.invalid:443 HTTP/1.1\r\n"));
    EXPECT_EQ(outcome.Error(), Error_Internet_Cannot_Connect);
    EXPECT_THAT(outcome.description, HasSubstr("proxy"));
}

TEST_F(Proxy, ThatDoesNotExistIsReported) {
    const Environment_Variable proxy("http_proxy", "http://nowhere.invalid:3128");

    const auto outcome = Get("http://good.test/file.xml");

    EXPECT_EQ(outcome.Error(), Error_Internet_Name_Not_Resolved);
    EXPECT_THAT(outcome.description, HasSubstr("proxy"));
}

} // namespace

} // namespace QEL::Tests
