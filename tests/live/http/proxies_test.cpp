#include <gmock/gmock.h>

#include <string>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"

// Proxies come from the environment: http_proxy, https_proxy, no_proxy.

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using testing::HasSubstr;
using testing::StartsWith;

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
