#include "tests/unit/support/Http_Fixture.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using namespace testing;

namespace {

constexpr int Get = 1;
constexpr int Head = 2;

class Wininet : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        g_services.client.headers["Content-Type"] = "text/xml";
        cache.m_Connect_Timeout = 5000;
        values["stamp"] = second_stamp;
        values["contents"] = Address_Text(g_services.client.body.data());
        values["size"] = std::to_string(second_body.size());
    }

    void TearDown() override {
        Http_Fixture::TearDown();
        EXPECT_THAT(g_services.request_calls, IsEmpty()) << "the first client was used";
    }

    bool Attempt(int http_type) { return cache.Download_Inet_URL_By_WinInet(http_type, url, download_error, entry); }

    /// The same once more, with the flag as given before it.
    bool Attempt_After(int http_type, bool flag) {
        Forget();
        values["verb"] = http_type == Head ? "HEAD" : "GET";
        g_services.uuids = {uuid};
        download_error = flag;
        cache.m_errHTTPFileDownLoad = before_the_attempt;
        return Attempt(http_type);
    }

    bool Process(int http_type) { return cache.Process_Inet_URL_By_WinInet(http_type, url, download_error, entry); }

    /// The calls of the client for an attempt, those for its response given.
    std::vector<std::string> Calls(int http_type, std::vector<std::string> calls) const {
        calls.insert(calls.begin(),
                     {"HttpClient", "SendWinInetRequest(" + std::to_string(http_type) + ", " + url + ", own window, " +
                                        std::to_string(cache.m_Connect_Timeout) + ")"});
        calls.emplace_back("~HttpClient");
        return calls;
    }
    void Expect_Failure(int http_type) const {
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, http_type == Head ? 1 : 2);
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
        EXPECT_EQ(g_services.client_calls.back(), "~HttpClient");
        EXPECT_EQ(entry.cached_file, "untouched file");
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
        EXPECT_EQ(entry.last_checked_remotely, 77U);
    }

    static constexpr int before_the_attempt = 3;
    CacheEntry entry{"untouched file", "untouched stamp", 77};
    bool download_error = true;
};

TEST_F(Wininet, FillsTheEntryAndWritesTheBodyOfAGetAlone) {
    for (const int type : {Head, 3, Get}) {
        for (const bool before : {false, true}) {
            entry = {"untouched file", "untouched stamp", 77};
            cache.m_Additional_Error_Info = "before";
            cache.m_Cert_Error_Detected = true;
            EXPECT_TRUE(Attempt_After(type, before));
            EXPECT_FALSE(download_error);
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, before_the_attempt);
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            EXPECT_TRUE(cache.m_Cert_Error_Detected);
            EXPECT_THAT(entry, FieldsAre(type == Get ? Copy_Path() : "untouched file", second_stamp, os->current_time));
            std::vector<std::string> calls = {"GetResponseHeader(Last-Modified)"};
            if (type == Get) {
                calls.insert(calls.end(), {"GetResponseHeader(Content-Type)", "GetResponseBody"});
            }
            EXPECT_EQ(g_services.client_calls, Calls(type, calls));
            Expect_Records(type == Get ? "= second_client" : "= second_client < Content-Type");
            EXPECT_EQ(Files_In_Cache().size(), type == Get ? 1U : 0U);
        }
    }
    EXPECT_EQ(Content(Copy_Path()), second_body);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty()) << "recording is up to the caller";
    EXPECT_EQ(g_services.cert_parameters_read, 0);
}

TEST_F(Wininet, LeavesTheCopyToThePlatformWhereThatPublishesBodies) {
    std::string published;
    g_services.client.publication = [&published](const std::string& path) { published = path; };
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(published, Copy_Path());
    EXPECT_FALSE(std::filesystem::exists(Copy_Path()));
}

TEST_F(Wininet, FailsWhenTheCopyCannotBeNamedOrTheClientRaisesAnException) {
    const std::string abandoned = "\nE Download_Inet_URL_By_WinInet: Downloading from URL '{url}' failed.\n"
                                  "D Download_Inet_URL_By_WinInet: return value:(false)";
    for (const bool before : {false, true}) {
        g_services.client.during_send = [] { throw std::runtime_error("no memory left"); };
        for (const int type : {Get, Head}) {
            EXPECT_FALSE(Attempt_After(type, before));
            Expect_Failure(type);
            Expect_Records("= second_client < HTTP status" + abandoned);
        }
        g_services.client.during_send = nullptr;
        g_services.uuid_throws = true;
        EXPECT_FALSE(Attempt_After(Get, before));
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        Expect_Records("= second_client < Generate_Cached_File_Name" + abandoned,
                       Of({"Download_Inet_URL_By_WinInet", "HTTP_Status_OK"}));
        entry = {"untouched file", "untouched stamp", 77};
    }
}

TEST_F(Wininet, FailsWithAnyStatusButSuccessAndLeavesTheEntryAlone) {
    for (const unsigned long status : {0, 199, 300, 304, 404, 500, 12007, 12045}) {
        g_services.client.status = status;
        values["status"] = std::to_string(status);
        values["ok"] = "false";
        for (const auto& [type, before] : {std::pair{Get, false}, {Get, true}, {Head, false}, {Head, true}}) {
            cache.m_Additional_Error_Info = "before";
            EXPECT_FALSE(Attempt_After(type, before));
            Expect_Failure(type);
            EXPECT_EQ(entry.last_modified, "untouched stamp");
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            Expect_Records("= second_client < Last-Modified\n"
                           "E Download_Inet_URL_By_WinInet: HTTP request failed with status {status}. On HTTP error we "
                           "cannot download the file.\nD Download_Inet_URL_By_WinInet: return value:(false)");
            EXPECT_EQ(g_services.client_calls.size(), 3U);
        }
    }
}

TEST_F(Wininet, DoesNotAskTheClientForAUrlWithANul) {
    const std::string forged("http://server/a\0\nhttp://server/b", 31);
    for (const int type : {Get, Head}) {
        Forget();
        download_error = false;
        EXPECT_FALSE(cache.Download_Inet_URL_By_WinInet(type, forged, download_error, entry));
        Expect_Failure(type);
        EXPECT_THAT(g_services.client_calls, Not(Contains(HasSubstr("Send"))));
        Expect_Record("D Download_Inet_URL_By_WinInet: HTTP status = 12005.\n"
                      "E Download_Inet_URL_By_WinInet: HTTP request failed with status 12005. On HTTP error we cannot "
                      "download the file.");
    }
}

struct Mode_Outcome {
    int mode;
    bool listed;          ///< the URL stands on the white list
    std::string decision; ///< the records before the attempt, or instead of one
    bool attempted;
    int code_after_success; ///< -1: as it was
    bool failure_empties_text;
    bool success_empties_text;
};

const std::string s_mode = "E Process_Inet_URL_By_WinInet: CertErrorHandlingMode: ";
const std::string s_process = "E Process_Inet_URL_By_WinInet: ";

const std::vector<Mode_Outcome> s_outcomes = {
    {0, false, s_mode + "'Default'.\n", true, -1, false, true},
    {0, true, s_mode + "'Default'.\n", true, -1, false, true},
    {1, true,
     s_mode + "'WhiteListMode'.\n" + s_process +
         "URL was found in while list. Downloading with ignoring certificate errors. URL: '{url}'\n",
     true, 0, true, true},
    {1, false, s_mode + "'WhiteListMode'.\n" + s_process + "URL not found in while-list. URL: {url}\n", false, -1,
     false, false},
    {2, false,
     s_mode + "'IgnoreAllErrorsMode'.\n" + s_process +
         "Downloading with ignoring all certificate errors. URL: '{url}'\n",
     true, 0, false, false},
    {7, true, "", false, -1, false, false},
    {-1, true, "", false, -1, false, false},
};

TEST_F(Wininet, ModeTakesOneAttemptOrNoneAndResetsWhatItIsSaidTo) {
    for (const Mode_Outcome& mode : s_outcomes) {
        SCOPED_TRACE("mode " + std::to_string(mode.mode) + (mode.listed ? ", listed" : ""));
        g_services.cert_mode = mode.mode;
        g_services.white_list = {"https://server/other.xml", mode.listed ? url : "https://server/another.xml"};
        cache.m_Cert_Error_Handling_Mode = static_cast<CertErrorHandlingMode>(5);
        cache.m_Cert_Error_Parameters = {"stale"};
        for (const auto& [type, before, code, succeeds] : {std::tuple{Get, false, 0, false},
                                                           {Get, true, 1, false},
                                                           {Get, false, 2, true},
                                                           {Get, true, 0, true},
                                                           {Head, true, 0, false},
                                                           {Head, false, 1, false},
                                                           {Head, true, 2, true},
                                                           {Head, false, 1, true}}) {
            Forget();
            g_services.client.status = succeeds ? 200 : 12045;
            g_services.uuids = {uuid};
            g_services.cert_parameters_read = 0;
            download_error = before;
            cache.m_errHTTPFileDownLoad = code;
            cache.m_Additional_Error_Info = "before";
            entry = {"untouched file", "untouched stamp", 77};
            const bool good = succeeds && mode.attempted;
            EXPECT_EQ(Process(type), good);
            EXPECT_EQ(g_services.cert_parameters_read, 1);
            EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(mode.mode));
            EXPECT_EQ(cache.m_Cert_Error_Parameters, g_services.white_list);
            EXPECT_EQ(download_error, mode.attempted ? !succeeds : before);
            const int code_after_success = mode.code_after_success < 0 ? code : mode.code_after_success;
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, !mode.attempted || succeeds ? code_after_success : 2);
            const bool is_empty = succeeds ? mode.success_empties_text : mode.failure_empties_text;
            EXPECT_EQ(cache.m_Additional_Error_Info, is_empty ? "" : "before");
            EXPECT_EQ(entry.last_modified, good ? second_stamp : "untouched stamp");
            values.insert_or_assign("ok", good ? "1" : "0");
            values.insert_or_assign("flag", download_error ? "1" : "0");
            values.insert_or_assign("code", std::to_string(cache.m_errHTTPFileDownLoad));
            // Of a GET the copy is named between.
            const std::string attempt = Joined(Shown(Of({"Download_Inet_URL_By_WinInet", "HTTP_Status_OK"})));
            Expect_Records(mode.decision + (type == Head ? attempt : "") + s_process +
                               "Download_Inet_URL_By_WinInet: ok: {ok}, download_error: {flag}, "
                               "m_errHTTPFileDownLoad: {code}.",
                           type == Head ? All() : Of({"Process_Inet_URL_By_WinInet"}));
            const std::string sent = "SendWinInetRequest(" + std::to_string(type) + ", " + url + ", own window, 5000)";
            EXPECT_THAT(g_services.client_calls, Contains(sent).Times(mode.attempted ? 1 : 0));
            EXPECT_EQ(g_services.client_calls.empty(), !mode.attempted);
        }
    }
}

TEST_F(Wininet, WhiteListMatchesTheWholeUrlOnlyAndFetchesItOnceWhateverElseItHolds) {
    const auto is_listed = [this](const std::vector<std::string>& white_list) {
        Forget();
        g_services.cert_mode = 1;
        g_services.white_list = white_list;
        return Process(Head);
    };
    const std::string other = "https://server/other.xml";
    for (const std::vector<std::string>& listing : {std::vector{url}, {url, other}, {other, url}, {"", url, url}}) {
        EXPECT_TRUE(is_listed(listing)) << testing::PrintToString(listing);
        EXPECT_THAT(g_services.client_calls, Contains("HttpClient").Times(1));
    }
    EXPECT_FALSE(is_listed({}));
    Expect_Record(s_process + "URL not found in while-list. URL: {url}");
    EXPECT_FALSE(is_listed({"https://server/", "landscape.xml"}));
    for (const std::string& near_miss : {std::string(), url + "/", " " + url, url + '\0', url.substr(0, url.size() - 1),
                                         std::string("https://server/*"), std::string("https://Server/landscape.xml"),
                                         std::string("https://server:443/landscape.xml")}) {
        EXPECT_FALSE(is_listed({near_miss})) << near_miss;
    }
}

} // namespace
