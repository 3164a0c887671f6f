// What both clients make of servers whose certificates, or whose TLS, are wrong in every way.

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/HttpClient.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using namespace FrontEnd::Util::HttpWinInet;

/// The servers, started once for all tests of a suite.
class Certificate_Test : public testing::Test {
protected:
    static void SetUpTestSuite() { s_sites = std::make_unique<Tls_Sites>(); }
    static void TearDownTestSuite() { s_sites.reset(); }

    void Configure(std::uint32_t mode, const std::vector<std::string>& white_list = {}) {
        configuration.Set_Number("CertErrorHandlingMode", mode);
        configuration.Set_List("CertErrorWhiteList", white_list);
    }

    /// One request through the second client.
    static unsigned long Send(const std::string& url, int http_type = Http_Get) {
        HttpClient client;
        return client.SendWinInetRequest(http_type, url.c_str(), client.GetHWnd(), 20000);
    }

    static inline std::unique_ptr<Tls_Sites> s_sites;
    User_Configuration configuration;
};

class Certificate : public Certificate_Test, public testing::WithParamInterface<Tls_Case> {
protected:
    /// What the second client returns for GET and HEAD.
    void Expect_Of_The_Second_Client(bool ignores_errors) {
        const bool is_served = GetParam().error == 0 || (ignores_errors && GetParam().can_be_ignored);
        for (const auto http_type : {Http_Get, Http_Head}) {
            EXPECT_EQ(Send(url, http_type), is_served ? 200 : GetParam().error) << http_type;
        }
    }

    const std::string url = s_sites->Url(GetParam().state);
};

TEST_P(Certificate, IsCheckedByTheFirstClientInEveryMode) {
    for (const std::uint32_t mode : {Default, IgnoreAllErrorsMode}) {
        Configure(mode);
        Send(url); // which may ignore the error
        for (const auto* method : {"GET", "HEAD"}) {
            const auto outcome = Request(method, url);
            EXPECT_EQ(outcome.Error(), GetParam().error) << method << ": " << outcome.description;
            EXPECT_EQ(outcome.status, GetParam().error == 0 ? 200 : 0) << method;
            EXPECT_THAT(outcome.description, testing::HasSubstr(GetParam().cause)) << method;
        }
    }
}

TEST_P(Certificate, IsCheckedByTheSecondClientUnlessTheModeIgnoresErrors) {
    Configure(Default, {url});
    Expect_Of_The_Second_Client(false);
    Configure(IgnoreAllErrorsMode);
    Expect_Of_The_Second_Client(true);
    Configure(WhiteListMode, {"https://good.test/", url});
    Expect_Of_The_Second_Client(true);
    Configure(WhiteListMode, {url + "/", url.substr(0, url.size() - 1), "HTTPS" + url.substr(5),
                              url.substr(0, url.rfind('/')) + "/File.xml"});
    Expect_Of_The_Second_Client(false);
    Configure(7, {url});
    Expect_Of_The_Second_Client(false);
}

TEST_P(Certificate, IsCheckedForWhatAWhiteListedUrlRedirectsTo) {
    const auto redirecting = s_sites->Url_Redirected(Tls_State::Self_Signed, GetParam().state);
    Configure(WhiteListMode, {redirecting, url});
    EXPECT_EQ(Send(redirecting), GetParam().error == 0 ? 200 : GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Table, Certificate, testing::ValuesIn(Tls_Cases()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST_F(Certificate_Test, IgnoringAllErrorsIncludesRedirects) {
    Configure(IgnoreAllErrorsMode);
    EXPECT_EQ(Send(s_sites->Url_Redirected(Tls_State::Self_Signed, Tls_State::Expired)), 200U);
}

TEST_F(Certificate_Test, AuthoritiesThatCannotBeReadEndTheRequest) {
    const Environment_Variable authorities("SSL_CERT_FILE", "/nonexistent/authorities.pem");
    const auto outcome = Get(s_sites->Url(Tls_State::Good));
    EXPECT_EQ(outcome.Error(), Error_Internet_Security_Channel);
    EXPECT_THAT(outcome.description, testing::HasSubstr("SSL_CERT_FILE"));
}

} // namespace

} // namespace QEL::Tests
