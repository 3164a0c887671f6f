#include <gmock/gmock.h>

#include <string>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Certificates.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"

// How a server ends a response over TLS. Whoever is on the way can close the connection, so that alone does not
// make a body whole.

namespace QEL::Tests {

namespace {

class Tls_Endings : public testing::Test {
protected:
    /// What comes of a server that sends the text and ends the connection, with or without close_notify.
    /// @param through_proxy through an HTTPS proxy, which ends its own TLS connection in good order.
    Http_Result Download(const std::string& response, bool says_end, bool through_proxy = false) const {
        const Web_Server server(
            [&](Server_Connection& client) {
                client.Read_Request();
                client.Send(response);
                if (says_end) {
                    client.Close_Tls();
                }
            },
            m_Certificate);
        const Web_Server proxy(
            [&](Server_Connection& client) {
                client.Read_Request();
                client.Send("HTTP/1.1 200 Connection established\r\n\r\n");
                client.Relay_To(server.Port());
                client.Close_Tls();
            },
            m_Certificate);
        const Environment_Variable https_proxy("https_proxy", through_proxy ? proxy.Url("").c_str() : nullptr);
        return Get(server.Url());
    }

private:
    Scratch_Directory m_Directory;
    Certificate_Authority m_Authority{m_Directory.Path(), "authority"};
    Server_Certificate m_Certificate = m_Authority.Issue("server", {});
    Environment_Variable m_Trusted{"SSL_CERT_FILE", m_Authority.File().c_str()};
};

TEST_F(Tls_Endings, ABodyWithoutLengthIsWholeWhenTheServerSaysItsEnd) {
    const auto outcome = Download("HTTP/1.1 200 OK\r\n\r\n<landscape/>", true);
    EXPECT_EQ(outcome.Error(), 0U) << outcome.description;
    EXPECT_EQ(outcome.status, 200);
    EXPECT_EQ(outcome.body, "<landscape/>");
}

TEST_F(Tls_Endings, ABodyWithoutLengthThatAClosedConnectionCutsIsRefused) {
    const auto outcome = Download("HTTP/1.1 200 OK\r\n\r\n<landscape", false);
    EXPECT_EQ(outcome.Error(), FrontEnd::Platform::Error_Internet_Connection_Aborted);
    EXPECT_THAT(outcome.description, testing::HasSubstr("or it was cut on the way"));
    EXPECT_EQ(outcome.body, "");
}

TEST_F(Tls_Endings, OfAProxyIsNotThatOfTheServer) {
    EXPECT_EQ(Download("HTTP/1.1 200 OK\r\n\r\n<landscape/>", true, true).body, "<landscape/>");
    EXPECT_EQ(Download("HTTP/1.1 200 OK\r\n\r\n<landscape", false, true).Error(),
              FrontEnd::Platform::Error_Internet_Connection_Aborted);
}

TEST_F(Tls_Endings, ACutTextAboutAnErrorLeavesItsStatus) {
    const auto outcome = Download("HTTP/1.1 404 Not Found\r\n\r\nno such", false);
    EXPECT_EQ(outcome.Error(), 0U) << outcome.description;
    EXPECT_EQ(outcome.status, 404);
}

TEST_F(Tls_Endings, ABodyOfItsContentLengthIsWholeByItself) {
    const auto outcome = Download("HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n<landscape/>", false);
    EXPECT_EQ(outcome.Error(), 0U) << outcome.description;
    EXPECT_EQ(outcome.body, "<landscape/>");
}

TEST_F(Tls_Endings, ABodyWithItsLastChunkIsWholeByItself) {
    const auto outcome =
        Download("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nc\r\n<landscape/>\r\n0\r\n\r\n", false);
    EXPECT_EQ(outcome.Error(), 0U) << outcome.description;
    EXPECT_EQ(outcome.body, "<landscape/>");
}

} // namespace

} // namespace QEL::Tests
