#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Certificates.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"

namespace QEL::Tests {

namespace {

/// How a server ends a response over TLS. Whoever is on the way can close the connection, so that alone does not make a
/// body whole.
struct Ending_Of_Tls {
    const char* name;
    const char* response;
    bool says_end; ///< by close_notify
    std::uint32_t error;
    long status;
    const char* body;
    bool through_proxy = false; ///< which ends its own TLS connection in good order
    const char* method = "GET";
};

constexpr auto Aborted = FrontEnd::Platform::Error_Internet_Connection_Aborted;
const char* const Cut = "HTTP/1.1 200 OK\r\n\r\n<landscape";
const char* const Unmeasured = "HTTP/1.1 200 OK\r\n\r\n<landscape/>";

const Ending_Of_Tls Endings[] = {
    {"WithoutLengthByTheServersWord", Unmeasured, true, 0, 200, "<landscape/>"},
    {"WithoutLengthByTheConnection", Cut, false, Aborted, 0, ""},
    {"WithoutLengthByTheServersWordBehindAProxy", Unmeasured, true, 0, 200, "<landscape/>", true},
    {"WithoutLengthByTheProxysWord", Cut, false, Aborted, 0, "", true},
    {"OfAHead", "HTTP/1.1 200 OK\r\n\r\n", false, 0, 200, "", false, "HEAD"},
    {"OfATextAboutAnError", "HTTP/1.1 404 Not Found\r\n\r\nno such", false, 0, 404, ""},
    {"ByItsContentLength", "HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n<landscape/>", false, 0, 200, "<landscape/>"},
    {"ByItsLastChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nc\r\n<landscape/>\r\n0\r\n\r\n", false, 0,
     200, "<landscape/>"},
};

class Tls_Ending : public testing::TestWithParam<Ending_Of_Tls> {};

TEST_P(Tls_Ending, MakesABodyWholeOrNot) {
    const Scratch_Directory directory;
    const Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    const auto certificate = authority.Issue("server", {});
    const Web_Server server(
        [](Server_Connection& client) {
            client.Read_Request();
            client.Send(GetParam().response);
            if (GetParam().says_end) {
                client.Close_Tls();
            }
        },
        certificate);
    const Web_Server proxy(
        [&](Server_Connection& client) {
            client.Read_Request();
            client.Send("HTTP/1.1 200 Connection established\r\n\r\n");
            client.Relay_To(server.Port());
            client.Close_Tls();
        },
        certificate);
    const Environment_Variable https_proxy("https_proxy", GetParam().through_proxy ? proxy.Url("").c_str() : nullptr);

    const auto outcome = Request(GetParam().method, server.Url());

    EXPECT_EQ(outcome.Error(), GetParam().error) << outcome.description;
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.body, GetParam().body);
    EXPECT_EQ(outcome.description.find("or it was cut on the way") != std::string::npos, GetParam().error != 0);
}

INSTANTIATE_TEST_SUITE_P(Table, Tls_Ending, testing::ValuesIn(Endings),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace

} // namespace QEL::Tests
