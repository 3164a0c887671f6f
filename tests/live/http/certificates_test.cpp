// What both clients make of servers whose certificates, or whose TLS, are wrong in every way.

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Certificates.h"
#include "tests/support/Own_Network.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/Cert_Error_Handling.h"
#include "util/HttpClient.h"

#include <gmock/gmock.h>

#include <openssl/pem.h>
#include <sys/mount.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Platform;
using namespace QEL::FrontEnd::Util::HttpWinInet;

/// The servers, started once for all tests. The modes of the second client are a test of the whole cache.
class Certificate : public testing::TestWithParam<Tls_Case> {
protected:
    static void SetUpTestSuite() { s_sites = std::make_unique<Tls_Sites>(); }
    static void TearDownTestSuite() { s_sites.reset(); }

    void Configure(std::uint32_t mode, const std::vector<std::string>& white_list = {}) {
        configuration.Set_Number("CertErrorHandlingMode", mode);
        configuration.Set_List("CertErrorWhiteList", white_list);
    }

    /// One request through the second client.
    static unsigned long Send(const std::string& url) {
        HttpClient client;
        return client.SendWinInetRequest(Http_Get, url.c_str(), client.GetHWnd(), 20000);
    }

    static inline std::unique_ptr<Tls_Sites> s_sites;
    User_Configuration configuration;
    const std::string url = s_sites->Url(GetParam().name);
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

TEST_P(Certificate, IsCheckedUnlessTheUrlIsListedToTheLetterAndTheModeIsThatOfTheList) {
    const std::vector<std::string> nearly = {url + "/", url.substr(0, url.size() - 1), "HTTPS" + url.substr(5),
                                             url.substr(0, url.rfind('/')) + "/File.xml"};
    for (const auto& [mode, white_list] :
         {std::pair{std::uint32_t{Default}, std::vector{url}}, {7, std::vector{url}}, {WhiteListMode, nearly}}) {
        Configure(mode, white_list);
        EXPECT_EQ(Send(url), GetParam().error == 0 ? 200 : GetParam().error) << mode;
    }
}

TEST_P(Certificate, IsCheckedForWhatAWhiteListedUrlRedirectsToUnlessAllErrorsAreIgnored) {
    const auto redirecting = s_sites->Url_Redirected("SelfSigned", GetParam().name);
    Configure(WhiteListMode, {redirecting, url});
    EXPECT_EQ(Send(redirecting), GetParam().error == 0 ? 200 : GetParam().error);
    Configure(IgnoreAllErrorsMode);
    EXPECT_EQ(Send(redirecting), GetParam().speaks_old_tls ? GetParam().error : 200);
}

INSTANTIATE_TEST_SUITE_P(Table, Certificate, testing::ValuesIn(Tls_Cases()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

/// Two authorities, each with a server: one in a file, one in a directory.
class Authorities : public testing::Test {
protected:
    Authorities() {
        const auto name = [](const std::filesystem::path& file) { // as 'openssl rehash' names it
            const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(std::fopen(file.c_str(), "r"), &std::fclose);
            const std::unique_ptr<X509, void (*)(X509*)> read(PEM_read_X509(opened.get(), nullptr, nullptr, nullptr),
                                                              &X509_free);
            std::array<char, 16> hash{};
            std::snprintf(hash.data(), hash.size(), "%08lx.0", X509_subject_name_hash(read.get()));
            return std::string(hash.data());
        };
        std::filesystem::create_directory(m_Hashed);
        std::filesystem::copy(m_Of_Directory.File(), m_Hashed / name(m_Of_Directory.File()));
        std::filesystem::copy(m_Of_Directory.File(), m_Hashed / "ca-certificates.crt");
    }

    static void Serve(Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    }

    /// Which servers are trusted: of the file's authority, of the directory's.
    std::pair<bool, bool> Trusted(const char* file, const char* directory) const {
        const Environment_Variable file_variable("SSL_CERT_FILE", file);
        const Environment_Variable directory_variable("SSL_CERT_DIR", directory);
        return {Get(m_Server_Of_File.Url()).status == 200, Get(m_Server_Of_Directory.Url()).status == 200};
    }

    const Scratch_Directory m_Directory;
    const std::filesystem::path m_Hashed = m_Directory.Path() / "hashed";
    const Certificate_Authority m_Of_File{m_Directory.Path(), "of-file"};
    const Certificate_Authority m_Of_Directory{m_Directory.Path(), "of-directory"};
    const Web_Server m_Server_Of_File{&Serve, m_Of_File.Issue("server-1", {})};
    const Web_Server m_Server_Of_Directory{&Serve, m_Of_Directory.Issue("server-2", {})};
};

TEST_F(Authorities, AreThoseOfBothVariables) {
    const auto file = m_Of_File.File().string();
    const auto directories = "/nonexistent:" + m_Hashed.string();
    for (const char* const no_value : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(Trusted(file.c_str(), no_value), std::pair(true, false));
        EXPECT_EQ(Trusted(no_value, directories.c_str()), std::pair(false, true));
    }
    EXPECT_EQ(Trusted(file.c_str(), directories.c_str()), std::pair(true, true));
    EXPECT_EQ(Trusted(nullptr, nullptr), std::pair(false, false));
}

TEST_F(Authorities, AreTheSystemsOnlyWhereNoVariableIsSet) {
    Child_Process child([this] { // for which the directory is the system's
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            ::mount(m_Hashed.c_str(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr) != 0) {
            return Own_Network::Not_Allowed;
        }
        const auto file = m_Of_File.File().string();
        const bool are_systems =
            Trusted(nullptr, nullptr) == std::pair(false, true) && Trusted("", "") == std::pair(false, true);
        const bool are_own = Trusted(file.c_str(), nullptr) == std::pair(true, false);
        return (are_systems ? 0 : 1) + (are_own ? 0 : 2);
    });
    EXPECT_DONE_OR_SKIP(child.Wait());
}

TEST_F(Authorities, OfAVariableThatNamesNoneAreNone) {
    const auto nothing = m_Directory.Path() / "nothing";
    std::filesystem::create_directory(nothing);
    std::ofstream(nothing / "0a1b2c3d.0") << "no certificate";
    std::ofstream(m_Directory.Path() / "empty.pem");
    std::ofstream(m_Directory.Path() / "damaged.pem")
        << std::ifstream(m_Of_File.File()).rdbuf() << "-----BEGIN CERTIFICATE-----\ncut";
    const auto file = m_Of_File.File().string();
    for (const auto& [named_file, directory, fault] :
         std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"/nonexistent/a.pem", "", "SSL_CERT_FILE names /nonexistent/a.pem, which cannot be read: No such file"},
             {m_Directory.Path() / "empty.pem", "", "empty.pem, which holds no certificate"},
             {m_Directory.Path() / "damaged.pem", "", "damaged.pem, which cannot be read to its end"},
             {m_Hashed, "", "SSL_CERT_FILE names " + m_Hashed.string() + ", which holds no certificate"},
             {"/nonexistent/a.pem", m_Hashed, "SSL_CERT_FILE names /nonexistent/a.pem"},
             {"", "/nonexistent", "SSL_CERT_DIR names /nonexistent, which cannot be read or holds no certificate"},
             {"", nothing, "SSL_CERT_DIR names " + nothing.string()},
             {file, nothing, "SSL_CERT_DIR names " + nothing.string()}}) {
        const Environment_Variable file_variable("SSL_CERT_FILE", named_file.c_str());
        const Environment_Variable directory_variable("SSL_CERT_DIR", directory.c_str());
        const auto outcome = Get(m_Server_Of_File.Url());
        EXPECT_EQ(outcome.Error(), Error_Internet_Invalid_Authority) << fault;
        EXPECT_THAT(outcome.description, testing::HasSubstr(fault));
    }
}

} // namespace
