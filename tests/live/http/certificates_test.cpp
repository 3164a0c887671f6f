#include <gmock/gmock.h>

#include <memory>
#include <ostream>
#include <string>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/HttpClient.h"

// What both clients make of servers whose certificates, or whose TLS, are wrong in every way.

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;
using namespace FrontEnd::Util::HttpWinInet;

struct Tls_Case {
    const char* name;
    Tls_State state;
    std::uint32_t error; ///< of a client that wants certificates to hold; 0: it is served
    bool can_be_ignored; ///< whether a client that ignores certificate errors is served
    const char* cause;   ///< what the text for the user says
};

void PrintTo(const Tls_Case& tls_case, std::ostream* out) {
    *out << tls_case.name;
}

const Tls_Case Cases[] = {
    {"Good", Tls_State::Good, 0, true, ""},
    {"GoodWithIntermediate", Tls_State::Good_With_Intermediate, 0, true, ""},
    {"StapledGood", Tls_State::Stapled_Good, 0, true, ""},
    {"StapledOutdated", Tls_State::Stapled_Outdated, 0, true, ""},
    {"StapledForged", Tls_State::Stapled_Forged, 0, true, ""},
    {"SelfSigned", Tls_State::Self_Signed, Error_Internet_Invalid_Authority, true, "does not trust"},
    {"WrongName", Tls_State::Wrong_Name, Error_Internet_Cert_Name_Invalid, true, "another name than good.test"},
    {"Expired", Tls_State::Expired, Error_Internet_Cert_Date_Invalid, true, "has expired"},
    {"NotYetValid", Tls_State::Not_Yet_Valid, Error_Internet_Cert_Date_Invalid, true, "not yet valid"},
    {"UnknownAuthority", Tls_State::Unknown_Authority, Error_Internet_Invalid_Authority, true, "does not trust"},
    {"ChainIncomplete", Tls_State::Chain_Incomplete, Error_Internet_Invalid_Authority, true, "does not send its whole"},
    {"Revoked", Tls_State::Revoked, Error_Internet_Cert_Revoked, true, "has been revoked"},
    // Of several errors the one of the authority counts first, then the date, then the name.
    {"ExpiredAndSelfSigned", Tls_State::Expired_And_Self_Signed, Error_Internet_Invalid_Authority, true,
     "does not trust"},
    {"ExpiredAndWrongName", Tls_State::Expired_And_Wrong_Name, Error_Internet_Cert_Date_Invalid, true, "has expired"},
    {"NotYetValidAndUnknownAuthority", Tls_State::Not_Yet_Valid_And_Unknown_Authority, Error_Internet_Invalid_Authority,
     true, "does not trust"},
    {"WrongNameAndSelfSigned", Tls_State::Wrong_Name_And_Self_Signed, Error_Internet_Invalid_Authority, true,
     "does not trust"},
    {"OldTlsVersion", Tls_State::Old_Tls_Version, Error_Internet_Security_Channel, false, "TLS 1.2 or newer"},
};

/// The servers, started once for all tests of this file.
class Certificate_Test : public testing::Test {
protected:
    static void SetUpTestSuite() { s_sites = std::make_unique<Tls_Sites>(); }
    static void TearDownTestSuite() { s_sites.reset(); }

    /// One request through the second client.
    static unsigned long Send(int http_type, const std::string& url) {
        HttpClient client;
        return client.SendWinInetRequest(http_type, url.c_str(), client.GetHWnd(), 20000);
    }

    static unsigned long Get_Status(const std::string& url) { return Send(Http_Get, url); }

    static std::unique_ptr<Tls_Sites> s_sites;
};

std::unique_ptr<Tls_Sites> Certificate_Test::s_sites;

class Certificate : public Certificate_Test, public testing::WithParamInterface<Tls_Case> {};

TEST_P(Certificate, IsCheckedByTheFirstClient) {
    const auto& expected = GetParam();
    for (const auto* method : {"GET", "HEAD"}) {
        const auto outcome = Request(method, s_sites->Url(expected.state));

        EXPECT_EQ(outcome.Error(), expected.error) << method << ": " << outcome.description;
        EXPECT_EQ(outcome.status, expected.error == 0 ? 200 : 0) << method;
        EXPECT_THAT(outcome.description, testing::HasSubstr(expected.cause)) << method;
    }
}

TEST_P(Certificate, IsNeverIgnoredByTheFirstClient) {
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", IgnoreAllErrorsMode);

    EXPECT_EQ(Get(s_sites->Url(GetParam().state)).Error(), GetParam().error);
}

TEST_P(Certificate, IsCheckedByTheSecondClientInDefaultMode) {
    const User_Configuration configuration;
    for (const auto http_type : {Http_Get, Http_Head}) {
        EXPECT_EQ(Send(http_type, s_sites->Url(GetParam().state)), GetParam().error == 0 ? 200 : GetParam().error);
    }
}

TEST_P(Certificate, IsIgnoredByTheSecondClientInIgnoreAllErrorsMode) {
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", IgnoreAllErrorsMode);
    for (const auto http_type : {Http_Get, Http_Head}) {
        EXPECT_EQ(Send(http_type, s_sites->Url(GetParam().state)), GetParam().can_be_ignored ? 200 : GetParam().error);
    }
}

TEST_P(Certificate, IsIgnoredForAUrlOnTheWhiteList) {
    const auto url = s_sites->Url(GetParam().state);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", WhiteListMode);
    configuration.Set_List("CertErrorWhiteList", {"https://good.test/", url});
    for (const auto http_type : {Http_Get, Http_Head}) {
        EXPECT_EQ(Send(http_type, url), GetParam().can_be_ignored ? 200 : GetParam().error);
    }
}

TEST_P(Certificate, IsCheckedForAUrlThatIsNotOnTheWhiteList) {
    const auto url = s_sites->Url(GetParam().state);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", WhiteListMode);
    configuration.Set_List("CertErrorWhiteList", {url + "/", url.substr(0, url.size() - 1), "HTTPS" + url.substr(5),
                                                  url.substr(0, url.rfind('/')) + "/File.xml"});
    EXPECT_EQ(Get_Status(url), GetParam().error == 0 ? 200 : GetParam().error);
}

TEST_P(Certificate, IsCheckedInAnUnknownMode) {
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", 7);
    configuration.Set_List("CertErrorWhiteList", {s_sites->Url(GetParam().state)});

    EXPECT_EQ(Get_Status(s_sites->Url(GetParam().state)), GetParam().error == 0 ? 200 : GetParam().error);
}

TEST_P(Certificate, IsCheckedAgainAfterARequestThatIgnoredIt) {
    const auto url = s_sites->Url(GetParam().state);
    {
        User_Configuration configuration;
        configuration.Set_Number("CertErrorHandlingMode", IgnoreAllErrorsMode);
        Get_Status(url);
    }
    EXPECT_EQ(Get(url).Error(), GetParam().error);
}

TEST_P(Certificate, IsCheckedForWhatAWhiteListedUrlRedirectsTo) {
    const auto url = s_sites->Url_Redirected(Tls_State::Self_Signed, GetParam().state);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", WhiteListMode);
    configuration.Set_List("CertErrorWhiteList", {url});

    EXPECT_EQ(Get_Status(url), GetParam().error == 0 ? 200 : GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Table, Certificate, testing::ValuesIn(Cases),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

using White_List = Certificate_Test;

TEST_F(White_List, DoesNotSpeakForAListedUrlThatIsRedirectedTo) {
    const auto target = s_sites->Url(Tls_State::Expired);
    const auto url = s_sites->Url_Redirected(Tls_State::Self_Signed, Tls_State::Expired);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", WhiteListMode);
    configuration.Set_List("CertErrorWhiteList", {url, target});

    EXPECT_EQ(Get_Status(url), Error_Internet_Cert_Date_Invalid);
}

TEST_F(White_List, DoesNotSpeakForTheSameServerOnceRedirected) {
    const auto url = s_sites->Url_Redirected(Tls_State::Self_Signed, Tls_State::Self_Signed);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", WhiteListMode);
    configuration.Set_List("CertErrorWhiteList", {url});

    EXPECT_EQ(Get_Status(url), Error_Internet_Invalid_Authority);
}

TEST_F(White_List, IsWithoutMeaningInDefaultMode) {
    const auto url = s_sites->Url(Tls_State::Self_Signed);
    User_Configuration configuration;
    configuration.Set_List("CertErrorWhiteList", {url});

    EXPECT_EQ(Get_Status(url), Error_Internet_Invalid_Authority);
}

using Ignore_All_Errors = Certificate_Test;

TEST_F(Ignore_All_Errors, HoldsForRedirects) {
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", IgnoreAllErrorsMode);

    EXPECT_EQ(Get_Status(s_sites->Url_Redirected(Tls_State::Self_Signed, Tls_State::Expired)), 200U);
}

using Authorities = Certificate_Test;

TEST_F(Authorities, ThatCannotBeReadEndTheRequest) {
    const Environment_Variable authorities("SSL_CERT_FILE", "/nonexistent/authorities.pem");

    const auto outcome = Get(s_sites->Url(Tls_State::Good));

    EXPECT_EQ(outcome.Error(), Error_Internet_Security_Channel);
    EXPECT_THAT(outcome.description, testing::HasSubstr("SSL_CERT_FILE"));
}

} // namespace

} // namespace QEL::Tests
