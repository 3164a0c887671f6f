#include "filecache/CFileCache.h"
#include "tests/support/Normalised_Trace.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

// Every certificate under every mode, through the cache: a first download and the check of a copy.

using namespace QEL::Tests;
using QEL::FrontEnd::FileCache::CFileCache;
using namespace testing;

namespace {

/// How the administrator has set up certificate errors.
enum class Setting { Default, Listed, Not_Listed, Ignore_All, Unknown_Mode };

void PrintTo(Setting setting, std::ostream* out) {
    static constexpr const char* names[] = {"Default", "Listed", "Not_Listed", "Ignore_All", "Unknown_Mode"};
    *out << names[static_cast<int>(setting)];
}

struct Server_Certificate_Case {
    const char* name;
    Tls_State state;
    unsigned int error;  ///< WinInet number when certificates are checked; 0: it is valid
    bool can_be_ignored; ///< a client that ignores certificate errors is served
    const char* cause;   ///< what the host gets to know
};

void PrintTo(const Server_Certificate_Case& certificate, std::ostream* out) {
    *out << certificate.name;
}

const Server_Certificate_Case Certificates[] = {
    {"Good", Tls_State::Good, 0, true, ""},
    {"SelfSigned", Tls_State::Self_Signed, 12045, true, "does not trust"},
    {"WrongName", Tls_State::Wrong_Name, 12038, true, "another name than good.test"},
    {"Expired", Tls_State::Expired, 12037, true, "has expired"},
    {"NotYetValid", Tls_State::Not_Yet_Valid, 12037, true, "not yet valid"},
    {"UnknownAuthority", Tls_State::Unknown_Authority, 12045, true, "does not trust"},
    {"ChainIncomplete", Tls_State::Chain_Incomplete, 12045, true, "does not send its whole"},
    {"Revoked", Tls_State::Revoked, 12170, true, "has been revoked"},
    {"OldTlsVersion", Tls_State::Old_Tls_Version, 12157, false, "TLS 1.2 or newer"},
};

const Setting Settings[] = {Setting::Default, Setting::Listed, Setting::Not_Listed, Setting::Ignore_All,
                            Setting::Unknown_Mode};

class Certificate_Modes : public testing::TestWithParam<std::tuple<Server_Certificate_Case, Setting>> {
protected:
    static void SetUpTestSuite() { s_sites = std::make_unique<Tls_Sites>(); }
    static void TearDownTestSuite() { s_sites.reset(); }

    Certificate_Modes() : m_Trace_Directory("QEL_TRACE_DIR", m_Home.Path().c_str()) {
        std::filesystem::create_directory(Cache_Directory());
        switch (The_Setting()) {
        case Setting::Default:
            break;
        case Setting::Listed:
            m_Configuration.Set_Number("CertErrorHandlingMode", 1);
            m_Configuration.Set_List("CertErrorWhiteList", {"https://good.test/", Url()});
            break;
        case Setting::Not_Listed: // but for a slash, a letter's case, a character
            m_Configuration.Set_Number("CertErrorHandlingMode", 1);
            m_Configuration.Set_List("CertErrorWhiteList",
                                     {Url() + "/", "HTTPS" + Url().substr(5), Url().substr(0, Url().size() - 1)});
            break;
        case Setting::Ignore_All:
            m_Configuration.Set_Number("CertErrorHandlingMode", 2);
            break;
        case Setting::Unknown_Mode:
            m_Configuration.Set_Number("CertErrorHandlingMode", 7);
            m_Configuration.Set_List("CertErrorWhiteList", {Url()});
            break;
        }
        EXPECT_TRUE(cache.Set_Cache_Directory(Cache_Directory()));
    }

    ~Certificate_Modes() override { QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    static const Server_Certificate_Case& The_Certificate() { return std::get<0>(GetParam()); }
    static Setting The_Setting() { return std::get<1>(GetParam()); }
    static std::string Url() { return s_sites->Url(The_Certificate().state); }

    static bool Is_Valid() { return The_Certificate().error == 0; }
    /// The second client is served although the certificate is not valid.
    static bool Is_Ignored() {
        return !Is_Valid() && The_Certificate().can_be_ignored &&
               (The_Setting() == Setting::Listed || The_Setting() == Setting::Ignore_All);
    }

    std::string Cache_Directory() const { return (m_Home.Path() / "cache").string(); }

    std::string Get() {
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
        std::string path = cache.Get_Cached_File_and_Status(Url(), 213, download_error, &http_error, nullptr);
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        return path;
    }

    /// The errors that the last request traced, in order: method and text, without line ends.
    std::string Traced_Errors() const {
        Normalised_Trace trace;
        trace.Replace(Url(), "URL");
        std::string errors;
        for (const auto& entry : std::filesystem::directory_iterator(m_Home.Path())) {
            if (entry.path().extension() == ".trc") {
                errors = trace.Read(entry.path());
            }
        }
        errors.erase(0, errors.find("\n\n") == std::string::npos ? errors.size() : errors.find("\n\n") + 2);
        for (const std::string common : {"TID: #, QEL::FrontEnd::FileCache::CFileCache::", "[@]/#", "***ERROR***: "}) {
            for (auto at = errors.find(common); at != std::string::npos; at = errors.find(common)) {
                errors.erase(at, common.size());
            }
        }
        return errors;
    }

    /// What the operation `method` traces of the request that failed, up to the second attempt.
    std::string First_Attempt(const std::string& method) const {
        const std::string line_end = method == "Is_Inet_URL_Expired" ? "\n" : ""; // one message has none
        return method +
               ": COM exception: \n =======================================\nFile: URL\nDescription: " + m_Description +
               "\n \nWin32 error code: " + std::to_string(The_Certificate().error) + line_end;
    }

    /// What the second attempt traces.
    static std::string Second_Attempt(int failure_code, bool download_error_before, int code_before) {
        const std::string process = "Process_Inet_URL_By_WinInet: ";
        const std::string failed = "Download_Inet_URL_By_WinInet: HTTP request failed with status " +
                                   std::to_string(The_Certificate().error) +
                                   ". On HTTP error we cannot download the file.\n";
        const bool served = Is_Ignored();
        std::string errors;
        bool error_flag = !served;
        int code = served ? 0 : failure_code;
        switch (The_Setting()) {
        case Setting::Default:
            errors = process + "CertErrorHandlingMode: 'Default'.\n" + failed;
            break;
        case Setting::Listed:
            errors = process + "CertErrorHandlingMode: 'WhiteListMode'.\n" + process +
                     "URL was found in while list. Downloading with ignoring certificate errors. URL: 'URL'\n" +
                     (served ? "" : failed);
            break;
        case Setting::Not_Listed:
            errors = process + "CertErrorHandlingMode: 'WhiteListMode'.\n" + process +
                     "URL not found in while-list. URL: URL\n";
            error_flag = download_error_before;
            code = code_before;
            break;
        case Setting::Ignore_All:
            errors = process + "CertErrorHandlingMode: 'IgnoreAllErrorsMode'.\n" + process +
                     "Downloading with ignoring all certificate errors. URL: 'URL'\n" + (served ? "" : failed);
            break;
        case Setting::Unknown_Mode:
            error_flag = download_error_before;
            code = code_before;
            break;
        }
        return errors + process + "Download_Inet_URL_By_WinInet: ok: " + std::to_string(served) +
               ", download_error: " + std::to_string(error_flag) + ", m_errHTTPFileDownLoad: " + std::to_string(code) +
               ".\n";
    }

    /// The text for the host says why, where the mode leaves it in place.
    void Expect_Error_Text() {
        const std::string text = cache.Get_Additional_Error_Info();
        const bool is_reported = The_Setting() == Setting::Default || The_Setting() == Setting::Not_Listed;
        if (Is_Valid() || !is_reported) {
            EXPECT_EQ(text, "");
            return;
        }
        EXPECT_THAT(text, HasSubstr("=======================================\nFile: " + Url() + "\nDescription: "));
        EXPECT_THAT(text, HasSubstr(The_Certificate().cause));
    }

    /// Takes the error's words from the trace: they are the platform's own, and pinned elsewhere.
    void Learn_Description(const std::string& errors) {
        const std::string before = "Description: ";
        const auto begin = errors.find(before);
        if (begin != std::string::npos) {
            m_Description = errors.substr(begin + before.size(), errors.find('\n', begin) - begin - before.size());
            EXPECT_THAT(m_Description, HasSubstr(The_Certificate().cause));
        }
    }

    static std::string Content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static std::unique_ptr<Tls_Sites> s_sites;

    bool download_error = false;
    int http_error = -4711;

private:
    Scratch_Directory m_Home;
    User_Configuration m_Configuration;
    Environment_Variable m_Trace_Directory;
    std::string m_Description;

protected:
    CFileCache cache{QEL::FrontEnd::OSWRAPI::IOSWrapper::Create()};
};

std::unique_ptr<Tls_Sites> Certificate_Modes::s_sites;

TEST_P(Certificate_Modes, FirstDownload) {
    const std::string path = Get();
    const std::string errors = Traced_Errors();

    if (Is_Valid() || Is_Ignored()) {
        EXPECT_EQ(Content(path), "<landscape/>");
        EXPECT_FALSE(download_error);
        EXPECT_EQ(http_error, 0);
        EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
    } else {
        EXPECT_EQ(path, "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(http_error, 2);
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    }
    EXPECT_EQ(cache.m_Cert_Error_Detected, !Is_Valid());
    Expect_Error_Text();

    if (Is_Valid()) {
        EXPECT_EQ(errors, "");
    } else {
        Learn_Description(errors);
        EXPECT_EQ(errors, First_Attempt("Download_Inet_URL") + Second_Attempt(2, false, 2));
    }
}

TEST_P(Certificate_Modes, CheckOfAnUnchangedCopy) {
    // The stamp that the server gives, learnt where nothing is in the way.
    bool ignored = false;
    CFileCache other = cache;
    other.Get_Cached_File_and_Status(s_sites->Url(Tls_State::Good), 213, ignored, nullptr, nullptr);
    const std::string stamp = other.m_Cache_Entries.at(s_sites->Url(Tls_State::Good)).last_modified;
    const std::string copy = Cache_Directory() + "/12345678-1234-1234-1234-123456789012.xml";
    std::ofstream(copy) << "copy";
    cache.m_Obsolete_Files_Cleaned = true; // the copy has an entry only from here on
    cache.m_Cache_Entries[Url()] = {copy, stamp, 1};

    const std::string path = Get();
    const std::string errors = Traced_Errors();

    EXPECT_EQ(path, copy);
    EXPECT_EQ(Content(path), "copy");
    const bool checked = Is_Valid() || Is_Ignored();
    EXPECT_EQ(download_error, !checked);
    EXPECT_EQ(http_error, checked ? 0 : 2);
    EXPECT_EQ(cache.m_Cache_Entries.at(Url()).last_checked_remotely != 1, checked) << "its age starts anew";
    Expect_Error_Text();

    if (Is_Valid()) {
        EXPECT_EQ(errors, "");
        return;
    }
    Learn_Description(errors);
    const std::string check = First_Attempt("Is_Inet_URL_Expired") + Second_Attempt(2, false, 1);
    // What cannot be checked is fetched; whether the check left its flag decides what the second line says.
    const bool flag_after_check = The_Setting() != Setting::Not_Listed && The_Setting() != Setting::Unknown_Mode;
    const std::string download = First_Attempt("Download_Inet_URL") + Second_Attempt(2, flag_after_check, 2);
    EXPECT_EQ(errors, Is_Ignored() ? check : check + download);
}

std::string Test_Name(const testing::TestParamInfo<Certificate_Modes::ParamType>& info) {
    std::ostringstream name;
    name << std::get<0>(info.param).name;
    PrintTo(std::get<1>(info.param), &name);
    std::string text = name.str();
    std::erase(text, '_');
    return text;
}

INSTANTIATE_TEST_SUITE_P(All, Certificate_Modes,
                         testing::Combine(testing::ValuesIn(Certificates), testing::ValuesIn(Settings)), Test_Name);

class Certificate_Redirects : public Certificate_Modes {};

TEST_P(Certificate_Redirects, OnlyTheListedUrlItselfIsTrusted) {
    // From a server whose certificate is not valid, under a listed URL, to the server of this case.
    const std::string url = s_sites->Url_Redirected(Tls_State::Self_Signed, The_Certificate().state);
    User_Configuration configuration;
    configuration.Set_Number("CertErrorHandlingMode", 1);
    configuration.Set_List("CertErrorWhiteList", {url});

    const std::string path = cache.Get_Cached_File_and_Status(url, 213, download_error, &http_error, nullptr);
    EXPECT_EQ(path.empty(), !Is_Valid());
    EXPECT_EQ(download_error, !Is_Valid());
    EXPECT_EQ(http_error, Is_Valid() ? 0 : 2);
}

INSTANTIATE_TEST_SUITE_P(All, Certificate_Redirects,
                         testing::Combine(testing::ValuesIn(Certificates), testing::Values(Setting::Default)),
                         Test_Name);

class Second_Client : public Certificate_Modes {};

TEST_P(Second_Client, WritesABodyWithNulsInFull) {
    const std::string body = std::string("a\0b\0\0", 5) + std::string(70000, '\0') + "end";
    s_sites->Server().Write("nuls.txt", body);
    const std::string path = cache.Get_Cached_File(s_sites->Url(The_Certificate().state, "/nuls.txt"));
    EXPECT_THAT(path, testing::EndsWith(".txt"));
    EXPECT_TRUE(Content(path) == body);
}

TEST_P(Second_Client, CarriesTheWholeLifeOfAnEntry) {
    const std::string url = s_sites->Url(The_Certificate().state, "/life.xml");
    s_sites->Server().Write("life.xml", "<first/>");
    const std::string first = cache.Get_Cached_File(url);
    EXPECT_EQ(Content(first), "<first/>");

    EXPECT_EQ(cache.Get_Cached_File(url), first) << "unchanged";

    s_sites->Server().Write("life.xml", "<second/>");
    const auto file = s_sites->Server().Files() / "life.xml";
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) + std::chrono::seconds(5));
    const std::string second = cache.Get_Cached_File_and_Status(url, 213, download_error, &http_error, nullptr);
    EXPECT_EQ(Content(second), "<second/>");
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);

    std::filesystem::remove(file);
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, 213, download_error, &http_error, nullptr), second);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
}

INSTANTIATE_TEST_SUITE_P(All, Second_Client,
                         testing::Combine(testing::Values(Certificates[1], Certificates[3]),
                                          testing::Values(Setting::Ignore_All)),
                         Test_Name);

} // namespace
