#include "tests/unit/support/Expected_Steps.h"
#include "tests/unit/support/Http_Fixture.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using testing::Contains;
using testing::ElementsAre;
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
    bool Attempt(int http_type) { return cache.Download_Inet_URL_By_WinInet(http_type, url, download_error, entry); }

    Records Sent(const std::string& type, long status) const {
        return Call(s_attempt, "url='" + url + "'") +
               Data(s_attempt, "Opening and sending HTTP request with URL '" + url + "'.\n") +
               Data(s_attempt, "HTTP type: '" + type + "'.\n") + Data(s_attempt, "Timeout is: '5000'.\n") +
               Data(s_attempt, "HTTP status = " + std::to_string(status) + ".\n");
    }

    Records Stamped() const { return Data(s_attempt, "Last-Modified header: '" + second_stamp + "'.\n"); }
};

TEST_F(Wininet_Attempt, GetWritesTheBodyAndFillsTheEntry) {
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(entry.cached_file, Copy_Path());
    EXPECT_EQ(entry.last_modified, second_stamp);
    EXPECT_EQ(entry.last_checked_remotely, os->current_time);
    EXPECT_EQ(Content(Copy_Path()), second_body);
}

TEST_F(Wininet_Attempt, GetTracesEachStepInOrder) {
    Attempt(Get);
    EXPECT_EQ(
        All(),
        Sent("GET", 200) + Status_Test(200, true) + Stamped() + Data(s_attempt, "Content-Type header: 'text/xml'.\n") +
            Named_From_Contents("text/xml", g_services.client.body.data(), second_body.size(), In_Cache(uuid), ".xml") +
            Data(s_attempt, "cache_entry.cached_file = '" + Copy_Path() + "', Writing contents to the file...\n") +
            Data(s_attempt, "Closed file '" + Copy_Path() + "'.\n"));
}

TEST_F(Wininet_Attempt, GetAsksTheClientInThisOrder) {
    Attempt(Get);
    EXPECT_THAT(g_services.client_calls,
                ElementsAre("HttpClient", "SendWinInetRequest(1, " + url + ", own window, 5000)",
                            "GetResponseHeader(Last-Modified)", "GetResponseHeader(Content-Type)", "GetResponseBody",
                            "~HttpClient"));
}

TEST_F(Wininet_Attempt, HeadFillsTheStampAndTheTimeOnly) {
    entry = {};
    EXPECT_TRUE(Attempt(Head));
    EXPECT_EQ(entry.cached_file, "");
    EXPECT_EQ(entry.last_modified, second_stamp);
    EXPECT_EQ(entry.last_checked_remotely, os->current_time);
    EXPECT_THAT(Files_In_Cache(), IsEmpty());
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
    EXPECT_EQ(All(), Sent("HEAD", 200) + Status_Test(200, true) + Stamped());
    EXPECT_THAT(g_services.client_calls,
                ElementsAre("HttpClient", "SendWinInetRequest(2, " + url + ", own window, 5000)",
                            "GetResponseHeader(Last-Modified)", "~HttpClient"));
}

TEST_F(Wininet_Attempt, HeadKeepsTheCopyOfTheEntry) {
    EXPECT_TRUE(Attempt(Head));
    EXPECT_EQ(entry.cached_file, "untouched file");
}

TEST_F(Wininet_Attempt, AnyOtherTypeIsShownAsGetAndWritesNothing) {
    EXPECT_TRUE(Attempt(3));
    EXPECT_EQ(All(), Sent("GET", 200) + Status_Test(200, true) + Stamped());
    EXPECT_THAT(g_services.client_calls, Contains("SendWinInetRequest(3, " + url + ", own window, 5000)"));
    EXPECT_EQ(entry.cached_file, "untouched file");
    EXPECT_THAT(Files_In_Cache(), IsEmpty());
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

TEST_F(Wininet_Attempt, RecordsNothingInTheMap) {
    Attempt(Get);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
}

TEST_F(Wininet_Attempt, StoresAnEmptyStampWhenTheServerSendsNone) {
    g_services.client.headers.clear();
    g_services.type_for_data = "text/plain";
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(entry.last_modified, "");
    EXPECT_EQ(entry.cached_file, Copy_Path(".txt"));
    EXPECT_THAT(All(), Contains(Data(s_attempt, "Last-Modified header: ''.\n").front()));
    EXPECT_THAT(All(), Contains(Data(s_attempt, "Content-Type header: ''.\n").front()));
}

TEST_F(Wininet_Attempt, WritesNulBytes) {
    g_services.client.body = std::string("\0a\0b\0", 5);
    Attempt(Get);
    EXPECT_EQ(Content(Copy_Path()), g_services.client.body);
}

TEST_F(Wininet_Attempt, WritesATextFileOfThePlatform) {
    g_services.client.body = "first\nsecond\n";
    Attempt(Get);
    EXPECT_EQ(Content(Copy_Path()), Text_File({"first", "second"}));
}

TEST_F(Wininet_Attempt, GivesAnEmptyBodyAnEmptyFile) {
    g_services.client.body.clear();
    EXPECT_TRUE(Attempt(Get));
    EXPECT_TRUE(std::filesystem::exists(Copy_Path()));
    EXPECT_EQ(Content(Copy_Path()), "");
}

TEST_F(Wininet_Attempt, IgnoresThatTheFileCannotBeWritten) {
    g_services.uuids = {"missing_folder/" + uuid};
    EXPECT_TRUE(Attempt(Get));
    EXPECT_THAT(entry.cached_file, testing::EndsWith("missing_folder/" + uuid + ".xml"));
}

TEST_F(Wininet_Attempt, ShowsTheTimeoutAsItStands) {
    cache.m_Connect_Timeout = 0;
    Attempt(Head);
    EXPECT_THAT(All(), Contains(Data(s_attempt, "Timeout is: '0'.\n").front()));
    EXPECT_THAT(g_services.client_calls, Contains("SendWinInetRequest(2, " + url + ", own window, 0)"));
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

TEST_F(Wininet_Attempt, FailsWhenTheCopyCannotBeNamed) {
    g_services.uuid_throws = true;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_FALSE(Attempt(Get));
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(Of({s_attempt, "HTTP_Status_OK"}),
                  Sent("GET", 200) + Status_Test(200, true) + Stamped() +
                      Data(s_attempt, "Content-Type header: 'text/xml'.\n") +
                      Error(s_attempt, "Downloading from URL '" + url + "' failed.\n") + Return(s_attempt, "false"));
        EXPECT_EQ(g_services.client_calls.back(), "~HttpClient");
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
    }
}

TEST_F(Wininet_Attempt, FailsWhenTheClientRaisesAnException) {
    g_services.client.during_send = [] { throw std::runtime_error("no memory left"); };
    for (const int type : {Get, Head}) {
        Forget();
        download_error = false;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_FALSE(Attempt(type));
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, type == Head ? 1 : 2);
        EXPECT_EQ(Above_Additional_Data(), Error(s_attempt, "Downloading from URL '" + url + "' failed.\n"));
        EXPECT_EQ(g_services.client_calls.back(), "~HttpClient");
        Expect_Entry_Untouched();
    }
}

class Wininet_Bad_Status : public Wininet_Attempt, public testing::WithParamInterface<unsigned long> {};

TEST_P(Wininet_Bad_Status, FailsAndLeavesTheEntryAlone) {
    g_services.client.status = GetParam();
    const std::string text = std::to_string(GetParam());
    for (const int type : {Get, Head}) {
        for (const bool before : {false, true}) {
            Forget();
            download_error = before;
            cache.m_errHTTPFileDownLoad = 0;
            cache.m_Additional_Error_Info = "before";
            EXPECT_FALSE(Attempt(type));
            EXPECT_TRUE(download_error);
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, type == Head ? 1 : 2);
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            Expect_Entry_Untouched();
            EXPECT_THAT(Files_In_Cache(), IsEmpty());
            EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
            const auto status = static_cast<long>(GetParam());
            EXPECT_EQ(All(), Sent(type == Head ? "HEAD" : "GET", status) + Status_Test(status, false) +
                                 Error(s_attempt, "HTTP request failed with status " + text +
                                                      ". On HTTP error we cannot download the file.\n") +
                                 Return(s_attempt, "false"));
            EXPECT_THAT(g_services.client_calls,
                        ElementsAre("HttpClient",
                                    "SendWinInetRequest(" + std::to_string(type) + ", " + url + ", own window, 5000)",
                                    "~HttpClient"));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Statuses, Wininet_Bad_Status, testing::Values(0, 199, 300, 304, 404, 500, 12007, 12045));

class Wininet_Good_Status : public Wininet_Attempt, public testing::WithParamInterface<unsigned long> {};

TEST_P(Wininet_Good_Status, Succeeds) {
    g_services.client.status = GetParam();
    EXPECT_TRUE(Attempt(Get));
    EXPECT_EQ(entry.cached_file, Copy_Path());
}

INSTANTIATE_TEST_SUITE_P(Statuses, Wininet_Good_Status, testing::Values(200, 204, 299));

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

    /// What the mode itself traced, without the attempt.
    Records Traced_By_The_Mode() const { return Of({s_process}); }
};

TEST_P(Wininet_Mode, Success) {
    for (const int type : {Get, Head}) {
        for (const bool before : {false, true}) {
            for (const int code : {0, 1, 2}) {
                Forget();
                g_services.uuids = {uuid};
                download_error = before;
                cache.m_errHTTPFileDownLoad = code;
                cache.m_Additional_Error_Info = "before";
                EXPECT_EQ(Process(type), GetParam().attempted);
                EXPECT_EQ(download_error, GetParam().attempted ? false : before);
                EXPECT_EQ(cache.m_errHTTPFileDownLoad,
                          GetParam().code_after_success < 0 ? code : GetParam().code_after_success);
                EXPECT_EQ(cache.m_Additional_Error_Info, GetParam().success_empties_text ? "" : "before");
                EXPECT_EQ(Traced_By_The_Mode(), GetParam().decision + Summed_Up(GetParam().attempted));
            }
        }
    }
}

TEST_P(Wininet_Mode, Failure) {
    g_services.client.status = 12045;
    for (const int type : {Get, Head}) {
        for (const bool before : {false, true}) {
            for (const int code : {0, 1, 2}) {
                Forget();
                download_error = before;
                cache.m_errHTTPFileDownLoad = code;
                cache.m_Additional_Error_Info = "before";
                EXPECT_FALSE(Process(type));
                EXPECT_EQ(download_error, GetParam().attempted ? true : before);
                EXPECT_EQ(cache.m_errHTTPFileDownLoad, GetParam().attempted ? 2 : code);
                EXPECT_EQ(cache.m_Additional_Error_Info, GetParam().failure_empties_text ? "" : "before");
                EXPECT_EQ(Traced_By_The_Mode(), GetParam().decision + Summed_Up(false));
                Expect_Entry_Untouched();
            }
        }
    }
}

TEST_P(Wininet_Mode, TakesOneAttemptOfTheGivenTypeOrNone) {
    for (const int type : {Get, Head}) {
        Forget();
        Process(type);
        const std::string sent = "SendWinInetRequest(" + std::to_string(type) + ", " + url + ", own window, 5000)";
        EXPECT_EQ(std::count(g_services.client_calls.begin(), g_services.client_calls.end(), sent),
                  GetParam().attempted ? 1 : 0);
        EXPECT_EQ(g_services.client_calls.empty(), !GetParam().attempted);
    }
}

TEST_P(Wininet_Mode, TracesTheAttemptBetweenTheDecisionAndTheSum) {
    Process(Head);
    Records attempt;
    if (GetParam().attempted) {
        attempt = Of({s_attempt, "HTTP_Status_OK"});
        EXPECT_FALSE(attempt.empty());
    }
    EXPECT_EQ(All(), GetParam().decision + attempt + Summed_Up(GetParam().attempted));
}

TEST_P(Wininet_Mode, ReadsTheParametersAfreshOnEachCall) {
    cache.m_Cert_Error_Handling_Mode = static_cast<CertErrorHandlingMode>(5);
    cache.m_Cert_Error_Parameters = {"stale"};
    Process(Head);
    EXPECT_EQ(g_services.cert_parameters_read, 1);
    EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(GetParam().mode));
    EXPECT_EQ(cache.m_Cert_Error_Parameters, g_services.white_list);
    Process(Head);
    EXPECT_EQ(g_services.cert_parameters_read, 2);
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

TEST_F(Wininet_White_List, MatchesTheWholeUrlOnly) {
    EXPECT_TRUE(Listed({url}));
    EXPECT_FALSE(Listed({}));
    EXPECT_FALSE(Listed({""}));
    EXPECT_FALSE(Listed({url + "/"}));
    EXPECT_FALSE(Listed({"https://server/landscape.xm"}));
    EXPECT_FALSE(Listed({"https://server/"}));
    EXPECT_FALSE(Listed({"server"}));
    EXPECT_FALSE(Listed({"https://server/*"}));
    EXPECT_FALSE(Listed({"https://Server/landscape.xml"}));
    EXPECT_FALSE(Listed({"HTTPS://SERVER/LANDSCAPE.XML"}));
    EXPECT_FALSE(Listed({"https://server:443/landscape.xml"}));
    EXPECT_FALSE(Listed({" " + url}));
    EXPECT_FALSE(Listed({url + " "}));
    EXPECT_FALSE(Listed({url + '\0'}));
}

TEST_F(Wininet_White_List, MatchesAnyOfItsElements) {
    EXPECT_TRUE(Listed({url, "https://server/other.xml"}));
    EXPECT_TRUE(Listed({"https://server/other.xml", url}));
    EXPECT_TRUE(Listed({"", url, url}));
    EXPECT_FALSE(Listed({"https://server/", "landscape.xml"}));
}

TEST_F(Wininet_White_List, AUrlListedTwiceIsFetchedOnce) {
    Listed({url, url});
    EXPECT_EQ(std::count(g_services.client_calls.begin(), g_services.client_calls.end(), "HttpClient"), 1);
}

} // namespace
