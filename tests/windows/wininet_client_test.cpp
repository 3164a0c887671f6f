#include "platform/common/Http_Transfer.h"
#include "tests/support/Overridden_Root.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/windows/Scripted_Call.h"
#include "util/HttpClient.h"

#include <wincrypt.h>
#include <wininet.h>

#include <gmock/gmock.h>

SCRIPTED(CertVerifyCertificateChainPolicy)
SCRIPTED(HttpSendRequestA)
SCRIPTED(InternetCombineUrlA)
SCRIPTED(InternetSetOptionA)

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;
using QEL::FrontEnd::Util::HttpWinInet::Http_Get;
using QEL::FrontEnd::Util::HttpWinInet::Http_Head;
using QEL::FrontEnd::Util::HttpWinInet::HttpClient;
namespace Platform = QEL::FrontEnd::Platform;
using namespace testing;

/// WinInet behind the second client, against real servers.
class Wininet_Client : public testing::Test {
protected:
    /// A user of this process alone, who trusts the test authority. A process looks up once whom its user trusts.
    static inline std::optional<Overridden_Root> s_user;

    static void SetUpTestSuite() {
        s_user.emplace(HKEY_CURRENT_USER, "User");
        const std::string authority = Content_Of(std::getenv("QEL_TEST_CA"));
        const HCERTSTORE store = CertOpenSystemStoreA(0, "ROOT");
        ASSERT_TRUE(
            CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(authority.data()),
                                             static_cast<DWORD>(authority.size()), CERT_STORE_ADD_NEW, nullptr));
        CertCloseStore(store, 0); // writes what was added
    }
    static void TearDownTestSuite() { s_user.reset(); }

    ~Wininet_Client() override {
        End_Scripts();
        s_user->Remove("CertErrorHandlingMode");
        s_user->Remove("CertErrorWhiteList");
    }

    static std::string Url(const std::string& path) { return std::getenv("QEL_TEST_HTTP") + path; }
    static std::string Https_Url(const char* server, const std::string& path) {
        return std::getenv((std::string("QEL_TEST_HTTPS_") + server).c_str()) + path;
    }

    unsigned long Send(const std::string& url, int http_type = Http_Get) {
        return client.SendWinInetRequest(http_type, url.c_str(), client.GetHWnd(), 5000);
    }

    static void Trust_Everything() { s_user->Write_Number("CertErrorHandlingMode", 2); }
    static void Trust_Only(const std::vector<std::string>& urls) {
        s_user->Write_Number("CertErrorHandlingMode", 1);
        s_user->Write_List("CertErrorWhiteList", urls);
    }

    HttpClient client;
};

TEST_F(Wininet_Client, HasStatusHeadersAndBytes) {
    EXPECT_EQ(Send(Url("/landscape")), 200U);
    EXPECT_EQ(client.GetResponseHeader("last-modified"), "Wed, 21 Oct 2015 07:28:00 GMT");
    EXPECT_EQ(client.GetResponseHeader("Content-Type"), "text/xml; charset=utf-8");
    EXPECT_EQ(client.GetResponseHeader("X-Absent"), "");
    EXPECT_EQ(client.GetResponseBody(), "first line\nsecond line\n\0behind a NUL\xff\xfe"sv);
    EXPECT_EQ(Send(Url("/long-header")), 200U);
    EXPECT_THAT(std::string(client.GetResponseHeader("Last-Modified")), AllOf(SizeIs(1003), EndsWith("long end")));
}

TEST_F(Wininet_Client, HasTheStatusOrTheErrorNumberOfEveryResponse) {
    using Row = std::pair<std::string, unsigned long>;
    for (const auto& [url, result] : {Row{Url("/status/404"), 404},
                                      {Url("/status/304"), 304},
                                      {Url("/short"), 12030},
                                      {Url("/garbage"), 12152},
                                      {Url("/redirects/11"), 12156},
                                      {Url("/redirect-to/302?ftp://127.0.0.1/x"), 302},
                                      {Url("/redirect-to/302?file:///c:/windows/win.ini"), 302},
                                      {Url("/redirect-to/302?"), 302},
                                      {Url("/redirect-to/301?" + Url("/landscape")), 200},
                                      {Url("/redirect-to/303?" + Url("/landscape")), 200},
                                      {Url("/redirect-to/307?" + Url("/landscape")), 200},
                                      {Url("/redirect-to/308?" + Url("/landscape")), 200},
                                      {"http://127.0.0.1:1/", 12029},
                                      {"http://no-such-host.invalid/", 12007},
                                      {"ftp://127.0.0.1/", 12005},
                                      {"http://127.0.0.1/a\r\nb", 12005}}) {
        EXPECT_EQ(Send(url), result) << url;
    }
    EXPECT_EQ(Send(Url("/redirects/10")), 200U);
    EXPECT_EQ(client.GetResponseBody(), "arrived");
    EXPECT_EQ(Send(Url("/chunked")), 200U);
    EXPECT_EQ(client.GetResponseBody(), "hello world");
    EXPECT_EQ(Send(Url("/control-characters")), 200U);
    EXPECT_EQ(client.GetResponseHeader("Last-Modified"), "a  b");
    EXPECT_EQ(Send(Url("/method"), Http_Head), 200U);
    EXPECT_EQ(client.GetResponseHeader("X-Method"), "HEAD");
    EXPECT_EQ(client.GetResponseBody(), "");
}

TEST_F(Wininet_Client, FollowsNoRedirectThatIsTooLong) {
    s_InternetCombineUrlA.script = [](const char* base, const char*, char* url, DWORD* length, DWORD) {
        *length = static_cast<DWORD>(std::string_view(base).copy(url, *length)); // as the system may do
        return TRUE;
    };
    for (const std::string& target : {std::string("/") + std::string(2083, 'x'), "/" + std::string(2000, 'x')}) {
        EXPECT_EQ(Send(Url("/redirect-to/302?" + target)), 302U) << target.size();
    }
}

TEST_F(Wininet_Client, SendsOnceMoreWithoutACertificateOfTheClient) {
    for (const int refusals : {1, 2}) {
        int sent = 0;
        s_HttpSendRequestA.script = [&](HINTERNET request, auto... rest) {
            SetLastError(ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED);
            return ++sent <= refusals ? FALSE : s_HttpSendRequestA.Real(request, rest...);
        };
        EXPECT_EQ(Send(Url("/landscape")), refusals == 1 ? 200U : 12044U);
        EXPECT_EQ(sent, 2);
    }
}

/// What an exchange fails with; none within half a minute is a failure, too.
Platform::Http_Failure Failure_Of(const std::string& url, std::chrono::milliseconds receive_timeout = 30s) {
    Platform::Http_Request request;
    request.url = Platform::Http_Url::Parse(url).value();
    request.timeouts.connect = 5s;
    request.timeouts.receive = receive_timeout;
    Platform::Http_Response response;
    const DWORD begin = GetTickCount();
    const auto failure = Platform::Transfer(request, response);
    Platform::Dead_Servers::Instance().m_Servers.clear(); // for the tests that follow
    EXPECT_TRUE(failure) << url;
    EXPECT_LT(GetTickCount() - begin, 30000U);
    return failure.value_or(Platform::Http_Failure{});
}

TEST_F(Wininet_Client, SaysHowFarItCameInVain) {
    using enum Platform::Attempt;
    const std::string http = Url("");
    EXPECT_EQ(Failure_Of("http://127.0.0.1:1/").attempt, Server_Unreached);
    EXPECT_EQ(Failure_Of("http://no-such-host.invalid/").attempt, Server_Unreached);
    EXPECT_EQ(Failure_Of("https" + http.substr(4) + "/landscape").attempt, Server_Unreached) << "no TLS there";
    EXPECT_EQ(Failure_Of(http + "/garbage").attempt, Failed_Otherwise);
    const auto silent = Failure_Of(http + "/silent", 300ms);
    EXPECT_EQ(silent.attempt, silent.error == 12002 ? Silent : Failed_Otherwise) << "Wine has another number for it";
    // The head of the response has to come within the time.
    EXPECT_EQ(Failure_Of(http + "/silent-body", 4s).attempt, Responded);
}

TEST_F(Wininet_Client, AsksPastAllCaches) {
    EXPECT_EQ(Send(Url("/count")), 200U);
    const std::string first(client.GetResponseBody());
    EXPECT_EQ(Send(Url("/count")), 200U);
    EXPECT_NE(client.GetResponseBody(), first);
    EXPECT_EQ(Send(Url("/request-headers")), 200U);
    EXPECT_THAT(std::string(client.GetResponseBody()), HasSubstr("Pragma: no-cache"));
}

TEST_F(Wininet_Client, LeavesNothingInTheCacheOfTheUser) {
    const std::string url = Url("/landscape");
    EXPECT_EQ(Send(url), 200U);
    DWORD size = 0;
    EXPECT_FALSE(GetUrlCacheEntryInfoA(url.c_str(), nullptr, &size));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(Wininet_Client, KeepsNoCookies) {
    std::string server = Url("");
    server.replace(server.find("127.0.0.1"), 9, "localhost");
    EXPECT_EQ(Send(server + "/count"), 200U);
    EXPECT_EQ(client.GetResponseHeader("Set-Cookie"), "visited=yes; Path=/");
    EXPECT_EQ(Send(server + "/request-headers"), 200U);
    EXPECT_THAT(std::string(client.GetResponseBody()), Not(HasSubstr("Cookie")));
}

TEST_F(Wininet_Client, NeverFollowsARedirectFromHttpsToHttp) {
    Trust_Everything();
    EXPECT_EQ(Send(Https_Url("UNKNOWN_CA", "/redirect-to/302?" + Url("/landscape"))), 302U);
    EXPECT_EQ(Send(Url("/redirect-to/302?" + Https_Url("UNKNOWN_CA", "/landscape"))), 200U);
}

TEST_F(Wininet_Client, TrustsNoFaultyCertificateUnlessEverythingIsTrusted) {
    EXPECT_EQ(Send(Https_Url("TRUSTED", "/landscape")), 200U);
    for (const auto& [server, error] : std::initializer_list<std::pair<const char*, unsigned long>>{
             {"UNKNOWN_CA", 12045}, {"WRONG_NAME", 12038}, {"EXPIRED", 12037}, {"WRONG_USAGE", 12169}}) {
        const std::string url = Https_Url(server, "/landscape");
        EXPECT_EQ(Send(url), error);
        Trust_Everything();
        EXPECT_EQ(Send(url), 200U) << server;
        s_user->Write_Number("CertErrorHandlingMode", 0);
        EXPECT_EQ(Send(url), error) << "no longer trusted";
    }
}

TEST_F(Wininet_Client, HasTheNumberOfAnUnknownFaultOfTheCertificate) {
    s_CertVerifyCertificateChainPolicy.script = [](auto, auto, auto, CERT_CHAIN_POLICY_STATUS* status) {
        status->dwError = static_cast<DWORD>(CERT_E_INVALID_POLICY);
        return TRUE;
    };
    EXPECT_EQ(Send(Https_Url("TRUSTED", "/landscape")), static_cast<DWORD>(CERT_E_INVALID_POLICY));
}

TEST_F(Wininet_Client, TrustsWeakSignaturesWithEverythingWhereTheSystemKnowsThem) {
    Trust_Everything();
    for (const bool is_known : {true, false}) {
        bool is_set = false;
        s_InternetSetOptionA.script = [&](HINTERNET request, DWORD option, void* value, DWORD size) {
            const bool is_weak = option == INTERNET_OPTION_SECURITY_FLAGS &&
                                 (*static_cast<DWORD*>(value) & SECURITY_FLAG_IGNORE_WEAK_SIGNATURE) != 0;
            is_set = is_set || is_weak;
            return is_weak && !is_known ? FALSE : s_InternetSetOptionA.Real(request, option, value, size);
        };
        EXPECT_EQ(Send(Https_Url("UNKNOWN_CA", "/landscape")), 200U);
        EXPECT_TRUE(is_set);
    }
}

TEST_F(Wininet_Client, TrustsTheListedUrlAloneAndNotWhatItRedirectsTo) {
    const std::string listed = Https_Url("UNKNOWN_CA", "/landscape");
    const std::string redirecting = Https_Url("UNKNOWN_CA", "/redirect-to/302?" + listed);
    Trust_Only({Https_Url("EXPIRED", "/landscape"), listed, redirecting});
    EXPECT_EQ(Send(listed), 200U);
    EXPECT_EQ(Send(listed + "/"), 12045U);
    EXPECT_EQ(Send(redirecting), 12045U);
}

} // namespace
