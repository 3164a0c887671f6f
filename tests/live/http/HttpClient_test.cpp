#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/HttpClient.h"
#include "util/Last_Error.h"

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using namespace FrontEnd::Util::HttpWinInet;

class Second_Client : public testing::Test {
protected:
    unsigned long Send(int http_type, const std::string& url) {
        return m_Client.SendWinInetRequest(http_type, url.c_str(), m_Client.GetHWnd(), 20000);
    }
    const User_Configuration m_Configuration;
    Web_Server m_Server{Web_Server::Empty_Response, "good.test"};
    HttpClient m_Client;
};

TEST_F(Second_Client, ReadsStatusHeadersAndEveryByteOfTheBody) {
    const std::string body("a\0b\r\n\0", 6);
    for (const int http_type : {Http_Get, Http_Head}) {
        m_Server.Respond_With("HTTP/1.1 200 OK\r\nlast-modified: Monday\r\nContent-Length: 6\r\n\r\n" +
                              (http_type == Http_Get ? body : ""));
        EXPECT_EQ(Send(http_type, m_Server.Url()), 200U);
        EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "Monday");
        EXPECT_EQ(m_Client.GetResponseHeader("Content-Type"), "");
        EXPECT_EQ(m_Client.GetResponseBody(), http_type == Http_Get ? body : "");
        EXPECT_THAT(m_Server.Request(), testing::StartsWith(http_type == Http_Get ? "GET /file.xml HTTP/1.1\r\n"
                                                                                  : "HEAD /file.xml HTTP/1.1\r\n"));
    }
    m_Server.Respond_With("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(Send(Http_Get, m_Server.Url()), 404U);
}

TEST_F(Second_Client, RefusesWhatIsNotAnHttpUrlAndForgetsTheResponseBefore) {
    EXPECT_EQ(m_Client.GetHWnd(), nullptr);
    m_Server.Respond_With("HTTP/1.1 200 OK\r\nLast-Modified: Monday\r\nContent-Length: 3\r\n\r\nabc");
    Send(Http_Get, m_Server.Url());
    for (const auto* url : {"", "file:///etc/passwd", "http://good.test/a\r\nb"}) {
        EXPECT_EQ(Send(Http_Get, url), Error_Internet_Invalid_URL) << url;
        EXPECT_EQ(FrontEnd::Util::Get_Last_Error(), Error_Internet_Invalid_URL);
        EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "");
        EXPECT_EQ(m_Client.GetResponseBody(), "");
    }
}

} // namespace

} // namespace QEL::Tests
