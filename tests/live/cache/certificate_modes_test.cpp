// Every certificate under every mode, through the cache: a first download and the check of a copy. What a dead server
// costs: look-ups of its name are counted, of which every attempt makes one.

#include "platform/common/Dead_Servers.h"
#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/support/Cache_Host.h"
#include "tests/support/Local_Names.h"
#include "tests/support/Socket.h"
#include "tests/support/Tls_Sites.h"

using namespace QEL::Tests;

namespace {

using namespace testing;
using Urls = std::vector<std::string>;

/// How the administrator has set up certificate errors.
struct Setting {
    const char* name;
    std::uint32_t mode;
    Urls (*white_list)(const std::string& url);
    bool ignores; ///< certificate errors
    bool reports; ///< leaves the text for the host in place that says why the first client failed
};

void PrintTo(const Setting& setting, std::ostream* out) {
    *out << setting.name;
}

constexpr auto Without_List = +[](const std::string&) { return Urls(); };

const Setting Settings[] = {
    {"Default", 0, Without_List, false, true},
    {"Listed", 1,
     [](const std::string& url) {
         return Urls{"https://good.test/", url};
     },
     true, false},
    // But for a slash, letters' case, a character.
    {"NotListed", 1,
     [](const std::string& url) {
         return Urls{url + "/", "HTTPS" + url.substr(5), url.substr(0, url.rfind('/')) + "/File.xml",
                     url.substr(0, url.size() - 1)};
     },
     false, true},
    {"IgnoreAll", 2, Without_List, true, false},
    {"UnknownMode", 7, [](const std::string& url) { return Urls{url}; }, false, false},
};

class Certificate_Modes : public Cache_Host, public WithParamInterface<std::tuple<Tls_Case, Setting>> {
protected:
    static void SetUpTestSuite() { s_sites = std::make_unique<Tls_Sites>(); }
    static void TearDownTestSuite() { s_sites.reset(); }

    Certificate_Modes() {
        configuration.Set_Number("CertErrorHandlingMode", setting.mode);
        configuration.Set_List("CertErrorWhiteList", setting.white_list(url));
        Restart_Host();
    }

    void Expect_Result(const Served& served, const std::string& path) {
        EXPECT_EQ(served.path, path);
        EXPECT_EQ(served.download_error, !is_served);
        EXPECT_EQ(served.http_error, is_served ? 0 : 2);
        EXPECT_EQ(cache->m_Cert_Error_Detected, !is_valid);
        const std::string text = cache->Get_Additional_Error_Info();
        if (is_valid || !setting.reports) {
            EXPECT_EQ(text, "");
        } else {
            EXPECT_THAT(text, AllOf(HasSubstr("=======================================\nFile: " + url),
                                    HasSubstr(certificate.cause)));
        }
    }

    static inline std::unique_ptr<Tls_Sites> s_sites;

    const Tls_Case certificate = std::get<0>(GetParam());
    const Setting setting = std::get<1>(GetParam());
    const std::string url = s_sites->Url(certificate.name);
    const bool is_valid = certificate.error == 0;
    const bool is_served = is_valid || (setting.ignores && !certificate.speaks_old_tls);
};

TEST_P(Certificate_Modes, FirstDownload) {
    const Served served = Get(url);
    Expect_Result(served, is_served ? Copies().at(0) : "");
    EXPECT_EQ(Content_Of(served.path), is_served ? "<landscape/>" : "");
    EXPECT_EQ(cache->m_Cache_Entries.size(), is_served ? 1U : 0U);
}

TEST_P(Certificate_Modes, CheckOfAnUnchangedCopy) {
    const std::string good_url = s_sites->Url("Good");
    Get(good_url); // the stamp that the server gives, learnt where nothing is in the way
    const std::string stamp = cache->m_Cache_Entries.at(good_url).last_modified;
    const std::string copy = m_Home.Write("cache/12345678-1234-1234-1234-123456789012.xml", "copy");
    cache->m_Cache_Entries[url] = {copy, stamp, 1};

    Expect_Result(Get(url), copy);
    EXPECT_EQ(Content_Of(copy), "copy");
    EXPECT_EQ(cache->m_Cache_Entries.at(url).last_checked_remotely != 1, is_served) << "its age starts anew";
}

INSTANTIATE_TEST_SUITE_P(All, Certificate_Modes, Combine(ValuesIn(Tls_Cases()), ValuesIn(Settings)),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) + std::get<1>(test.param).name;
                         });

TEST_F(Web_Cache_Fixture, PaysOneTimeOutOfADeadServerForFiveThreadsAndFilesWithCopies) {
    QEL::FrontEnd::Platform::Dead_Servers::Instance().m_Servers.clear();
    configuration.Set_Number("LandscapeServerFileConnectTimeout", 1);
    const Full_Port port;
    std::vector<std::pair<std::string, std::string>> copies;
    for (const std::string number : {"1", "2", "3", "4", "5"}) {
        copies.emplace_back(port.Url("http") + number + ".xml",
                            In_Cache("12345678-1234-1234-1234-12345678901" + number + ".xml"));
        std::ofstream(copies.back().second) << "<a/>";
    }
    std::ofstream(Metadata_Path()) << List_Of(copies);
    Restart_Host();
    const int before = Local_Names::look_ups;
    In_Threads(5, [&](int number) {
        const auto& [url, copy] = copies[static_cast<std::size_t>(number)];
        const auto served = Get(url);
        EXPECT_EQ(served.path, copy);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    });
    EXPECT_EQ(Local_Names::look_ups, before + 1);
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                AllOf(HasSubstr("did not respond in time: it did not accept a connection"),
                      HasSubstr("The server was last tried at "), HasSubstr("LandscapeServerRetryAfter")));
}

} // namespace
