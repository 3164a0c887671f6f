#include <gmock/gmock.h>

#include <string>

#include "platform/common/WinInet_Error.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/HttpClient.h"
#include "util/Last_Error.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using namespace FrontEnd::Util::HttpWinInet;
using FrontEnd::Util::Get_Last_Error;

class Second_Client : public testing::Test {
protected:
    unsigned long Send(int http_type, const std::string& url, unsigned long timeout = 20000) {
        return m_Client.SendWinInetRequest(http_type, url.c_str(), m_Client.GetHWnd(), timeout);
    }

    const User_Configuration m_Configuration;
    Web_Server m_Server{Web_Server::Empty_Response, "good.test"};
    HttpClient m_Client;
};

TEST_F(Second_Client, ReadsStatusHeadersAndEveryByteOfTheBody) {
    const std::string body("a\0b\r\n\0", 6);
    m_Server.Respond_With("HTTP/1.1 200 OK\r\nlast-modified: Monday\r\nContent-Length: 6\r\n\r\n" + body);

    EXPECT_EQ(Send(Http_Get, m_Server.Url()), 200U);
    EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "Monday");
    EXPECT_EQ(m_Client.GetResponseHeader("Content-Type"), "");
    EXPECT_EQ(m_Client.GetResponseBody(), body);
    EXPECT_THAT(m_Server.Request(), testing::StartsWith("GET /file.xml HTTP/1.1\r\n"));
}

TEST_F(Second_Client, SendsHead) {
    m_Server.Respond_With("HTTP/1.1 200 OK\r\nLast-Modified: Monday\r\nContent-Length: 6\r\n\r\n");

    EXPECT_EQ(Send(Http_Head, m_Server.Url()), 200U);
    EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "Monday");
    EXPECT_EQ(m_Client.GetResponseBody(), "");
    EXPECT_THAT(m_Server.Request(), testing::StartsWith("HEAD /file.xml HTTP/1.1\r\n"));
}

TEST_F(Second_Client, ReturnsTheStatusOfAnError) {
    m_Server.Respond_With("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");

    EXPECT_EQ(Send(Http_Get, m_Server.Url()), 404U);
}

TEST_F(Second_Client, ReturnsTheErrorNumberWhenThereIsNoResponse) {
    m_Server.Respond_With("HTTP/1.1 200 OK\r\nLast-Modified: Monday\r\nContent-Length: 6\r\n\r\nabc");

    EXPECT_EQ(Send(Http_Get, m_Server.Url()), Error_Internet_Connection_Aborted);
    EXPECT_EQ(Get_Last_Error(), Error_Internet_Connection_Aborted);
    EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "");
    EXPECT_EQ(m_Client.GetResponseBody(), "");
    EXPECT_EQ(Send(Http_Get, "http://good.test:" + std::to_string(Free_Port())), Error_Internet_Cannot_Connect);
    EXPECT_EQ(Send(Http_Get, "http://nowhere.invalid/"), Error_Internet_Name_Not_Resolved);
}

TEST_F(Second_Client, RefusesWhatIsNotAnHttpUrl) {
    for (const auto* url : {"", "file:///etc/passwd", "http://good.test/a\r\nb"}) {
        EXPECT_EQ(Send(Http_Get, url), Error_Internet_Invalid_URL) << url;
    }
}

TEST_F(Second_Client, ForgetsTheResponseBefore) {
    m_Server.Respond_With("HTTP/1.1 200 OK\r\nLast-Modified: Monday\r\nContent-Length: 3\r\n\r\nabc");
    Send(Http_Get, m_Server.Url());

    EXPECT_EQ(Send(Http_Get, "no URL"), Error_Internet_Invalid_URL);
    EXPECT_EQ(m_Client.GetResponseHeader("Last-Modified"), "");
    EXPECT_EQ(m_Client.GetResponseBody(), "");
}

TEST_F(Second_Client, HasNoWindow) {
    EXPECT_EQ(m_Client.GetHWnd(), nullptr);
}

TEST(Second_Client_Without_Request, HasNoResponse) {
    const HttpClient client;

    EXPECT_EQ(client.GetResponseHeader("Last-Modified"), "");
    EXPECT_EQ(client.GetResponseBody(), "");
}

} // namespace

} // namespace QEL::Tests
