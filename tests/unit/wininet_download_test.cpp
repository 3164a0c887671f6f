#include "tests/unit/support/Expected_Records.h"
#include "tests/unit/support/Http_Fixture.h"

#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using testing::Contains;
using testing::IsEmpty;

namespace {

constexpr int Get = 1;
constexpr int Head = 2;

const std::string s_attempt = "Download_Inet_URL_By_WinInet";
const std::string s_process = "Process_Inet_URL_By_WinInet";

class Wininet_Fixture : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        g_services.client.headers["Content-Type"] = "text/xml";
        cache.m_Connect_Timeout = 5000;
    }

    void TearDown() override {
        Http_Fixture::TearDown();
        EXPECT_THAT(g_services.request_calls, IsEmpty()) << "the first client was used";
    }

    void Expect_Entry_Untouched() const {
        EXPECT_EQ(entry.cached_file, "untouched file");
        EXPECT_EQ(entry.last_modified, "untouched stamp");
        EXPECT_EQ(entry.last_checked_remotely, 77U);
    }

    CacheEntry entry{"untouched file", "untouched stamp", 77};
    bool download_error = true;
};

// One attempt

class Wininet_Attempt : public Wininet_Fixture {
protected:
    void SetUp() override {
        Wininet_Fixture::SetUp();
        values["method"] = "GET";
        values["stamp"] = second_stamp;
        values["contents"] = Address_Text(g_services.client.body.data());
        values["size"] = std::to_string(second_body.size());
    }

    bool Attempt(int http_type) { return cache.Download_Inet_URL_By_WinInet(http_type, url, download_error, entry); }

    /// The same once more, with the flag as given before it.
    bool Attempt_After(int http_type, bool flag) {
        Forget();
        download_error = flag;
        cache.m_errHTTPFileDownLoad = 0;
        return Attempt(http_type);
    }

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
    }
    Records Abandoned() const {
        return Error(s_attempt, "Downloading from URL '" + url + "' failed.\n") + Return(s_attempt, "false");
    }

    static testing::Matcher<Records> Traces(const std::string& text) {
        return Contains(Data(s_attempt, text + "\n").front());
    }
};

TEST_F(Wininet_Attempt, GetWritesTheBodyAndFillsTheEntry) {
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(entry.cached_file, Copy_Path());
    EXPECT_EQ(entry.last_modified, second_stamp);
    EXPECT_EQ(entry.last_checked_remotely, os->current_time);
    EXPECT_EQ(Content(Copy_Path()), second_body);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty()) << "recording is up to the caller";
    EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
    EXPECT_EQ(g_services.client_calls,
              Calls(Get, {"GetResponseHeader(Last-Modified)", "GetResponseHeader(Content-Type)", "GetResponseBody"}));
    Expect_Records("second_client");
}

TEST_F(Wininet_Attempt, OfAnyOtherTypeFillsTheStampAndTheTimeOnly) {
    for (const int type : {Head, 3}) {
        Forget();
        values["method"] = type == Head ? "HEAD" : "GET";
        EXPECT_TRUE(Attempt(type));
        EXPECT_EQ(entry.cached_file, "untouched file");
        EXPECT_EQ(entry.last_modified, second_stamp);
        EXPECT_EQ(entry.last_checked_remotely, os->current_time);
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
        EXPECT_THAT(g_services.magic_calls, IsEmpty());
        Expect_Lines(Before("second_client", "Content-Type"), All());
        EXPECT_EQ(g_services.client_calls, Calls(type, {"GetResponseHeader(Last-Modified)"}));
    }
}

TEST_F(Wininet_Attempt, SuccessClearsTheErrorFlagAndLeavesTheMembersAlone) {
    for (const int type : {Get, Head}) {
        for (const bool before : {false, true}) {
            download_error = before;
            cache.m_errHTTPFileDownLoad = 3;
            cache.m_Additional_Error_Info = "before";
            cache.m_Cert_Error_Detected = true;
            EXPECT_TRUE(Attempt(type));
            EXPECT_FALSE(download_error);
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, 3);
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            EXPECT_TRUE(cache.m_Cert_Error_Detected);
        }
    }
    EXPECT_EQ(g_services.cert_parameters_read, 0);
}

TEST_F(Wininet_Attempt, StoresAnEmptyStampWhenTheServerSendsNone) {
    g_services.client.headers.clear();
    g_services.type_for_data = "text/plain";
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(entry.last_modified, "");
    EXPECT_EQ(entry.cached_file, Copy_Path(".txt"));
    EXPECT_THAT(All(), Traces("Last-Modified header: ''."));
    EXPECT_THAT(All(), Traces("Content-Type header: ''."));
}

TEST_F(Wininet_Attempt, WritesTheBodyAsATextFileOfThePlatform) {
    for (const std::string& sent : {std::string("\0a\0b\0", 5), std::string("first\nsecond\n"), std::string()}) {
        g_services.uuids = {uuid};
        g_services.client.body = sent;
        EXPECT_TRUE(Attempt(Get));
        EXPECT_TRUE(std::filesystem::exists(Copy_Path()));
        EXPECT_EQ(Content(Copy_Path()), sent.starts_with("first") ? Text_File({"first", "second"}) : sent);
    }
}

TEST_F(Wininet_Attempt, IgnoresThatTheFileCannotBeWritten) {
    g_services.uuids = {"missing_folder/" + uuid};
    EXPECT_TRUE(Attempt(Get));
    EXPECT_THAT(entry.cached_file, testing::EndsWith("missing_folder/" + uuid + ".xml"));
}

TEST_F(Wininet_Attempt, LeavesTheCopyToThePlatformWhereThatPublishesBodies) {
    std::string published;
    g_services.client.publication = [&published](const std::string& path) { published = path; };
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(published, Copy_Path());
    EXPECT_FALSE(std::filesystem::exists(Copy_Path()));
}

TEST_F(Wininet_Attempt, TakesTheTimeoutAsItStands) {
    cache.m_Connect_Timeout = 0;
    Attempt(Head);
    EXPECT_THAT(All(), Traces("Timeout is: '0'."));
    EXPECT_EQ(g_services.client_calls, Calls(Head, {"GetResponseHeader(Last-Modified)"}));
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

TEST_F(Wininet_Attempt, FailsWhenTheCopyCannotBeNamed) {
    g_services.uuid_throws = true;
    for (const bool before : {false, true}) {
        EXPECT_FALSE(Attempt_After(Get, before));
        Expect_Failure(Get);
        Expect_Lines(Before("second_client", "Generate_Cached_File_Name") + Abandoned(),
                     Of({s_attempt, "HTTP_Status_OK"}));
    }
}

TEST_F(Wininet_Attempt, FailsWhenTheClientRaisesAnException) {
    g_services.client.during_send = [] { throw std::runtime_error("no memory left"); };
    for (const int type : {Get, Head}) {
        EXPECT_FALSE(Attempt_After(type, false));
        Expect_Failure(type);
        EXPECT_EQ(Last(All(), Abandoned().size()), Abandoned());
        Expect_Entry_Untouched();
    }
}

TEST_F(Wininet_Attempt, FailsWithAnyStatusButSuccessAndLeavesTheEntryAlone) {
    for (const unsigned long status : {0, 199, 300, 304, 404, 500, 12007, 12045}) {
        g_services.client.status = status;
        values["status"] = std::to_string(status);
        values["ok"] = "false";
        for (const int type : {Get, Head}) {
            values["method"] = type == Head ? "HEAD" : "GET";
            for (const bool before : {false, true}) {
                cache.m_Additional_Error_Info = "before";
                EXPECT_FALSE(Attempt_After(type, before));
                Expect_Failure(type);
                EXPECT_EQ(cache.m_Additional_Error_Info, "before");
                Expect_Entry_Untouched();
                EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
                Expect_Lines(Before("second_client", "Last-Modified") +
                                 Error(s_attempt, "HTTP request failed with status " + values["status"] +
                                                      ". On HTTP error we cannot download the file.\n") +
                                 Return(s_attempt, "false"),
                             All());
                EXPECT_EQ(g_services.client_calls.size(), 3U);
            }
        }
    }
}

TEST_F(Wininet_Attempt, DoesNotAskTheClientForAUrlWithANul) {
    const std::string forged("http://server/a\0\nhttp://server/b", 31);
    for (const int type : {Get, Head}) {
        Forget();
        download_error = false;
        EXPECT_FALSE(cache.Download_Inet_URL_By_WinInet(type, forged, download_error, entry));
        Expect_Failure(type);
        Expect_Entry_Untouched();
        EXPECT_THAT(g_services.client_calls, testing::Not(Contains(testing::HasSubstr("Send"))));
        EXPECT_THAT(All(), Contains(Data(s_attempt, "HTTP status = 12005.\n").front()));
        EXPECT_THAT(All(), Contains(Error(s_attempt, "HTTP request failed with status 12005. On HTTP error we cannot "
                                                     "download the file.\n")
                                        .front()));
    }
}

// Which mode tries, and what it resets

struct Mode_Outcome {
    std::string name;
    int mode;
    bool listed;      ///< the URL stands on the white list
    Records decision; ///< before the attempt, or instead of one
    bool attempted;
    int code_after_success; ///< -1: as it was
    bool failure_empties_text;
    bool success_empties_text;
};

void PrintTo(const Mode_Outcome& outcome, std::ostream* out) {
    *out << outcome.name;
}

Records Mode_Shown(const std::string& mode) {
    return Error(s_process, "CertErrorHandlingMode: '" + mode + "'.\n");
}

const std::string s_url = "https://server/landscape.xml";

const std::vector<Mode_Outcome> s_outcomes = {
    {"Default", 0, false, Mode_Shown("Default"), true, -1, false, true},
    {"DefaultOfAListedUrl", 0, true, Mode_Shown("Default"), true, -1, false, true},
    {"WhiteListedUrl", 1, true,
     Mode_Shown("WhiteListMode") +
         Error(s_process,
               "URL was found in while list. Downloading with ignoring certificate errors. URL: '" + s_url + "'\n"),
     true, 0, true, true},
    {"UrlNotOnTheWhiteList", 1, false,
     Mode_Shown("WhiteListMode") + Error(s_process, "URL not found in while-list. URL: " + s_url + "\n"), false, -1,
     false, false},
    {"IgnoreAllErrors", 2, false,
     Mode_Shown("IgnoreAllErrorsMode") +
         Error(s_process, "Downloading with ignoring all certificate errors. URL: '" + s_url + "'\n"),
     true, 0, false, false},
    {"ModeSeven", 7, true, {}, false, -1, false, false},
    {"NegativeMode", -1, true, {}, false, -1, false, false},
};

class Wininet_Mode : public Wininet_Fixture, public testing::WithParamInterface<Mode_Outcome> {
protected:
    void SetUp() override {
        Wininet_Fixture::SetUp();
        ASSERT_EQ(url, s_url);
        g_services.cert_mode = GetParam().mode;
        g_services.white_list = {"https://server/other.xml"};
        if (GetParam().listed) {
            g_services.white_list.push_back(url);
        }
        cache.m_Additional_Error_Info = "before";
    }

    bool Process(int http_type) { return cache.Process_Inet_URL_By_WinInet(http_type, url, download_error, entry); }

    Records Summed_Up(bool ok) const {
        return Error(s_process, "Download_Inet_URL_By_WinInet: ok: " + std::to_string(ok ? 1 : 0) +
                                    ", download_error: " + std::to_string(download_error ? 1 : 0) +
                                    ", m_errHTTPFileDownLoad: " + std::to_string(cache.m_errHTTPFileDownLoad) + ".\n");
    }
};

TEST_P(Wininet_Mode, TakesOneAttemptOrNoneAndResetsWhatItIsSaidTo) {
    const Mode_Outcome& mode = GetParam();
    for (const bool succeeds : {false, true}) {
        g_services.client.status = succeeds ? 200 : 12045;
        for (const auto& [type, before, code] : {std::tuple{Get, false, 0},
                                                 {Get, true, 1},
                                                 {Get, false, 2},
                                                 {Head, true, 0},
                                                 {Head, false, 1},
                                                 {Head, true, 2}}) {
            Forget();
            g_services.uuids = {uuid};
            download_error = before;
            cache.m_errHTTPFileDownLoad = code;
            cache.m_Additional_Error_Info = "before";
            EXPECT_EQ(Process(type), succeeds && mode.attempted);
            EXPECT_EQ(download_error, mode.attempted ? !succeeds : before);
            const int code_after_success = mode.code_after_success < 0 ? code : mode.code_after_success;
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, !mode.attempted || succeeds ? code_after_success : 2);
            const bool is_empty = succeeds ? mode.success_empties_text : mode.failure_empties_text;
            EXPECT_EQ(cache.m_Additional_Error_Info, is_empty ? "" : "before");
            if (!succeeds) {
                Expect_Entry_Untouched();
            }
            const Records attempt = Of({s_attempt, "HTTP_Status_OK"});
            EXPECT_EQ(attempt.empty(), !mode.attempted);
            if (type == Head) { // nothing is named between
                EXPECT_EQ(All(), mode.decision + attempt + Summed_Up(succeeds && mode.attempted));
            }
            EXPECT_EQ(Of({s_process}), mode.decision + Summed_Up(succeeds && mode.attempted));
            const std::string sent = "SendWinInetRequest(" + std::to_string(type) + ", " + url + ", own window, 5000)";
            EXPECT_THAT(g_services.client_calls, Contains(sent).Times(mode.attempted ? 1 : 0));
            EXPECT_EQ(g_services.client_calls.empty(), !mode.attempted);
        }
    }
}

TEST_P(Wininet_Mode, ReadsTheParametersAfreshOnEachCall) {
    cache.m_Cert_Error_Handling_Mode = static_cast<CertErrorHandlingMode>(5);
    cache.m_Cert_Error_Parameters = {"stale"};
    for (const int reads : {1, 2}) {
        Process(Head);
        EXPECT_EQ(g_services.cert_parameters_read, reads);
        EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(GetParam().mode));
        EXPECT_EQ(cache.m_Cert_Error_Parameters, g_services.white_list);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, Wininet_Mode, testing::ValuesIn(s_outcomes),
                         [](const auto& parameter) { return parameter.param.name; });

// White list

class Wininet_White_List : public Wininet_Fixture {
protected:
    bool Listed(const std::vector<std::string>& white_list) {
        g_services.cert_mode = 1;
        g_services.white_list = white_list;
        return cache.Process_Inet_URL_By_WinInet(Head, url, download_error, entry);
    }
};

TEST_F(Wininet_White_List, MatchesTheWholeUrlOnlyWhateverElseItHolds) {
    const std::string other = "https://server/other.xml";
    for (const std::vector<std::string>& listing : {std::vector{url}, {url, other}, {other, url}, {"", url, url}}) {
        EXPECT_TRUE(Listed(listing)) << testing::PrintToString(listing);
    }
    EXPECT_FALSE(Listed({}));
    EXPECT_FALSE(Listed({"https://server/", "landscape.xml"}));
    for (const std::string& near_miss :
         {std::string(), url + "/", url + " ", " " + url, url + '\0', std::string("https://server/landscape.xm"),
          std::string("https://server/"), std::string("server"), std::string("https://server/*"),
          std::string("https://Server/landscape.xml"), std::string("HTTPS://SERVER/LANDSCAPE.XML"),
          std::string("https://server:443/landscape.xml")}) {
        EXPECT_FALSE(Listed({near_miss})) << near_miss;
    }
}

TEST_F(Wininet_White_List, AUrlListedTwiceIsFetchedOnce) {
    Listed({url, url});
    EXPECT_THAT(g_services.client_calls, Contains("HttpClient").Times(1));
}

} // namespace
