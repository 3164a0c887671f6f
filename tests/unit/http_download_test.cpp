#include "tests/unit/support/Expected_Steps.h"
#include "tests/unit/support/Http_Fixture.h"

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string s_download = "Download_Inet_URL";

class Http_Download : public Http_Fixture {
protected:
    std::string Download() { return cache.Download_Inet_URL(url, download_error); }

    /// What the trace shows before the request is sent, and of sending it.
    Records Sent() const {
        return Call(s_download, "url='" + url + "'") + Data(s_download, "Creatign HTTP request object.\n") +
               Data(s_download, "Opening HTTP GET request with URL '" + url + "'.\n") +
               Data(s_download, "Sending HTTP GET request with URL '" + url + "'.\n");
    }

    static Records Status(long status) { return Data(s_download, "HTTP status = " + std::to_string(status) + ".\n"); }

    /// What the trace shows up to the headers of an answer with status 200.
    Records Answered(const std::string& last_modified, const std::string& content_type) const {
        return Sent() + Status(200) + Status(200) + Status_Test(200, true) +
               Data(s_download, "Last-Modified header: '" + last_modified + "'.\n") +
               Data(s_download, "Content-Type header: '" + content_type + "'.\n");
    }

    Records Answered() const { return Answered(stamp, "text/xml"); }

    static Records Body_Of_Right_Type() { return Data(s_download, "Response body is of correct type - byte array.\n"); }

    static Records Com_Exception(const std::string& text, unsigned long code) {
        return Error(s_download, "COM exception: \n " + text + " \nWin32 error code: " + std::to_string(code));
    }

    Records Abandoned() const { return Error(s_download, "Downloading from URL '" + url + "' failed.\n"); }

    static Records Returned_Nothing() { return Return(s_download, "''"); }

    /// The records of the download itself, without those of what it calls.
    static Records Own_Records() { return Of({s_download}); }

    void Expect_Nothing_Kept() {
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
    }

    bool download_error = true;
};

// A download that succeeds

TEST_F(Http_Download, WritesTheBodyAndRecordsTheEntry) {
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body);
    ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
    const auto& entry = cache.m_Cache_Entries.at(url);
    EXPECT_EQ(entry.cached_file, Copy_Path());
    EXPECT_EQ(entry.last_modified, stamp);
    EXPECT_EQ(entry.last_checked_remotely, os->current_time);
    EXPECT_TRUE(std::filesystem::exists(Metadata_Path()));
    EXPECT_THAT(g_services.client_calls, IsEmpty());
}

TEST_F(Http_Download, TracesEachStepInOrder) {
    Download();
    const std::string entry_text = Entry_Text(Copy_Path(), stamp);
    EXPECT_EQ(All(), Answered() + Body_Of_Right_Type() + Data(s_download, "dims = 1\n") +
                         Data(s_download, "lbound = 0, ubound = 12\n") +
                         Named_From_Contents("text/xml", body.data(), 12, In_Cache(uuid), ".xml") +
                         Data(s_download,
                              "cache_entry.cached_file = '" + Copy_Path() + "', Writing contents to the file...\n") +
                         Data(s_download, "Closed file '" + Copy_Path() + "'.\n") +
                         First_Copy_Recorded(Metadata_Path(), url, entry_text) +
                         Return(s_download, "rtn = " + Copy_Path()));
}

TEST_F(Http_Download, CallsTheRequestObjectInThisOrder) {
    Download();
    EXPECT_THAT(g_services.request_calls,
                ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(GET, " + url + ")", "Send",
                            "Get_Status", "Get_Status", "Get_Status", "Get_Response_Header(Last-Modified)",
                            "Get_Response_Header(Content-Type)", "Get_Response_Body", "Release"));
}

TEST_F(Http_Download, ClearsTheErrorFlagAndKeepsTheCodeOfBefore) {
    for (const bool before : {false, true}) {
        for (const int code : {0, 1, 2, 3}) {
            download_error = before;
            cache.m_errHTTPFileDownLoad = code;
            EXPECT_NE(Download(), "");
            EXPECT_FALSE(download_error);
            EXPECT_EQ(cache.m_errHTTPFileDownLoad, code);
        }
    }
}

TEST_F(Http_Download, ForgetsTheTransportErrorOfAnEarlierRequest) {
    cache.m_Cert_Error_Detected = true;
    cache.m_Additional_Error_Info = "before";
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_EQ(g_services.cert_parameters_read, 0);
}

TEST_F(Http_Download, ReplacesTheOlderCopy) {
    const std::string old_copy = Cache_Copy(url, "old.xml", "older stamp", 1);
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, Copy_Path());
    const Records written =
        Copy_Replaced(Metadata_Path(), url, Entry_Text(Copy_Path(), stamp), old_copy, "older stamp") +
        Return(s_download, "rtn = " + Copy_Path());
    const Records all = All();
    ASSERT_GT(all.size(), written.size());
    EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(written.size()), all.end()), written);
}

TEST_F(Http_Download, StoresTheLastModifiedHeaderAsItStands) {
    Script().headers["Last-Modified"] = "  not a date, \"quoted\"  ";
    Download();
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, "  not a date, \"quoted\"  ");
}

TEST_F(Http_Download, StoresAnEmptyStampWhenTheServerSendsNone) {
    Script().headers.erase("Last-Modified");
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, "");
    EXPECT_THAT(All(), Contains(Data(s_download, "Last-Modified header: ''.\n").front()));
}

TEST_F(Http_Download, SniffsTheContentsWhenTheServerNamesNoType) {
    Script().headers.erase("Content-Type");
    g_services.type_for_data = "text/plain";
    EXPECT_EQ(Download(), Copy_Path(".txt"));
    EXPECT_THAT(g_services.magic_calls,
                ElementsAre("Get_Mime_Type_For_Data(<landscape/>)", "Get_Extension_From_Mime_Type(text/plain)"));
    EXPECT_THAT(All(), Contains(Data(s_download, "Content-Type header: ''.\n").front()));
}

TEST_F(Http_Download, GivesAnEmptyBodyAnEmptyFile) {
    body.clear();
    Script().headers.erase("Content-Type");
    g_services.type_for_data = "";
    EXPECT_EQ(Download(), Copy_Path(".cached"));
    EXPECT_TRUE(std::filesystem::exists(Copy_Path(".cached")));
    EXPECT_EQ(Content(Copy_Path(".cached")), "");
    EXPECT_FALSE(download_error);
    EXPECT_THAT(g_services.magic_calls, ElementsAre("Get_Mime_Type_For_Data()", "Get_Extension_From_Mime_Type()"));
    EXPECT_THAT(All(), Contains(Data(s_download, "lbound = 0, ubound = 0\n").front()));
}

TEST_F(Http_Download, WritesNulBytes) {
    body = std::string("a\0b\0\0c", 6);
    Download();
    EXPECT_EQ(Content(Copy_Path()), body);
}

TEST_F(Http_Download, WritesATextFileOfThePlatform) {
    body = "first\nsecond\n";
    Download();
    EXPECT_EQ(Content(Copy_Path()), Text_File({"first", "second"}));
}

TEST_F(Http_Download, TakesTheLengthFromBothBounds) {
    Script().change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.lower_bound = 5;
        claimed.upper_bound = 9;
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body.substr(0, 5));
    EXPECT_THAT(All(), Contains(Data(s_download, "lbound = 5, ubound = 10\n").front()));
}

TEST_F(Http_Download, TakesANegativeLowerBound) {
    Script().change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.lower_bound = -3;
        claimed.upper_bound = 3;
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body.substr(0, 7));
    EXPECT_THAT(All(), Contains(Data(s_download, "lbound = -3, ubound = 4\n").front()));
}

TEST_F(Http_Download, TakesTheGreatestUpperBound) {
    constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
    Script().change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.lower_bound = greatest - 2;
        claimed.upper_bound = greatest;
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body.substr(0, 3));
    EXPECT_THAT(All(), Contains(Data(s_download, "lbound = 2147483645, ubound = -2147483648\n").front()));
}

TEST_F(Http_Download, TakesCrossedBoundsForAnEmptyBody) {
    Script().change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.lower_bound = 4;
        claimed.upper_bound = -4;
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), "");
    EXPECT_THAT(All(), Contains(Data(s_download, "lbound = 4, ubound = -3\n").front()));
}

TEST_F(Http_Download, TreatsPositiveResultsAsSuccess) {
    constexpr HResult done_otherwise = 1;
    Request_Script& script = Script();
    script.set_timeouts = script.open = script.send = script.get_body = done_otherwise;
    script.get_status = {done_otherwise};
    script.get_header = {{"Last-Modified", done_otherwise}, {"Content-Type", done_otherwise}};
    script.change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.upper_bound = 11;
        claimed.lower_bound_result = claimed.upper_bound_result = claimed.access_result = done_otherwise;
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body);
}

TEST_F(Http_Download, IgnoresThatTheFileCannotBeWritten) {
    g_services.uuids = {"missing_folder/" + uuid};
    const std::string unwritable = Download();
    EXPECT_THAT(unwritable, testing::EndsWith("missing_folder/" + uuid + ".xml"));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, unwritable);
    EXPECT_THAT(All(), Contains(Data(s_download, "Closed file '" + unwritable + "'.\n").front()));
}

TEST_F(Http_Download, TruncatesAFileOfTheSameName) {
    Write_File(Copy_Path(), "something much longer than the body");
    Download();
    EXPECT_EQ(Content(Copy_Path()), body);
}

// Connect time-out

TEST_F(Http_Download, ReadsTheConnectTimeoutInSeconds) {
    g_services.connect_timeout_seconds = 5;
    Download();
    EXPECT_EQ(cache.m_Connect_Timeout, 5000);
    EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 5000, 30000, 30000)"));
    EXPECT_THAT(g_services.registry_calls,
                ElementsAre("Software\\QEL\\QELLogon\\Options, LandscapeServerFileConnectTimeout, 1"));
}

TEST_F(Http_Download, KeepsThePositiveConnectTimeoutItReadFirst) {
    g_services.connect_timeout_seconds = 1;
    Download();
    g_services.connect_timeout_seconds = 9;
    Forget();
    Download();
    EXPECT_EQ(cache.m_Connect_Timeout, 1000);
    EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 1000, 30000, 30000)"));
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

TEST_F(Http_Download, ConnectTimeoutIsAMinuteWithoutAPositiveValue) {
    for (const std::int32_t seconds : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        cache.m_Connect_Timeout = 0;
        g_services.connect_timeout_seconds = seconds;
        Forget();
        Download();
        EXPECT_EQ(cache.m_Connect_Timeout, 60000) << seconds;
        EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 60000, 30000, 30000)")) << seconds;
    }
    cache.m_Connect_Timeout = 0;
    g_services.connect_timeout_seconds.reset();
    Download();
    EXPECT_EQ(cache.m_Connect_Timeout, 60000);
}

TEST_F(Http_Download, KeepsTheMinuteOnceItWasTaken) {
    g_services.connect_timeout_seconds = 0;
    Download();
    g_services.connect_timeout_seconds = 9;
    Forget();
    Download();
    EXPECT_EQ(cache.m_Connect_Timeout, 60000);
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

// The request object cannot be had, or refuses the URL

TEST_F(Http_Download, FailsWithoutARequestObject) {
    Script().creation_fails = true;
    Script().creation_result = Access_Denied;
    Script().creation_last_error = 87;
    g_services.last_error = 99;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(All(),
                  Call(s_download, "url='" + url + "'") + Data(s_download, "Creatign HTTP request object.\n") +
                      Error(s_download, "Create instance failed for HTTP request object. HR=-2147024891, LE=87.\n") +
                      Abandoned() + Returned_Nothing());
        EXPECT_THAT(g_services.request_calls, ElementsAre("Create"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Nothing_Kept();
    }
    EXPECT_EQ(cache.m_Connect_Timeout, 0);
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
}

TEST_F(Http_Download, TriesTheSecondClientWithoutARequestObjectAfterAnEarlierTransportError) {
    Script().creation_fails = true;
    Script().creation_result = Unspecified;
    cache.m_Cert_Error_Detected = true;
    EXPECT_EQ(Download(), Copy_Path(".txt"));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(Own_Records(),
              Call(s_download, "url='" + url + "'") + Data(s_download, "Creatign HTTP request object.\n") +
                  Error(s_download, "Create instance failed for HTTP request object. HR=-2147467259, LE=0.\n") +
                  Abandoned() + Return(s_download, "rtn = " + Copy_Path(".txt")));
    EXPECT_THAT(g_services.client_calls, Contains("SendWinInetRequest(1, " + url + ", own window, 0)"));
}

TEST_F(Http_Download, FailsWhenTheUrlIsRefused) {
    Script().open = Access_Denied;
    g_services.last_error = 1234;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 1;
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(All(), Call(s_download, "url='" + url + "'") + Data(s_download, "Creatign HTTP request object.\n") +
                             Data(s_download, "Opening HTTP GET request with URL '" + url + "'.\n") +
                             Error(s_download, "GET HTTP request failed. HR=-2147024891, LE=1234.\n") + Abandoned() +
                             Returned_Nothing());
        EXPECT_THAT(g_services.request_calls, ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)",
                                                          "Open(GET, " + url + ")", "Release"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Nothing_Kept();
    }
}

TEST_F(Http_Download, ATransportErrorOfOpenIsNotNoticedAsOne) {
    Script().open = Certificate_Error;
    EXPECT_EQ(Download(), "");
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
    EXPECT_EQ(g_services.cert_parameters_read, 0);
}

TEST_F(Http_Download, TriesTheSecondClientWhenTheUrlIsRefusedAfterAnEarlierTransportError) {
    Script().open = Unspecified;
    cache.m_Cert_Error_Detected = true;
    g_services.client.status = 404;
    download_error = false;
    EXPECT_EQ(Download(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_THAT(g_services.client_calls, Contains("SendWinInetRequest(1, " + url + ", own window, 60000)"));
    Expect_Nothing_Kept();
}

// Statuses

class Http_Download_Status : public Http_Download, public testing::WithParamInterface<long> {};

class Http_Download_Good_Status : public Http_Download_Status {};

TEST_P(Http_Download_Good_Status, IsDownloaded) {
    Script().status = {GetParam()};
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(Content(Copy_Path()), body);
    EXPECT_FALSE(download_error);
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Download_Good_Status, testing::Values(200, 201, 204, 226, 299));

class Http_Download_Bad_Status : public Http_Download_Status {};

TEST_P(Http_Download_Bad_Status, EndsTheDownloadWithoutASecondAttempt) {
    Script().status = {GetParam()};
    const std::string text = std::to_string(GetParam());
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = true;
        cache.m_Additional_Error_Info = "before";
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(cache.m_Additional_Error_Info, "before");
        EXPECT_EQ(All(), Sent() + Status(GetParam()) + Status(GetParam()) + Status_Test(GetParam(), false) +
                             Error(s_download, "HTTP GET request failed with status " + text +
                                                   ". On HTTP error we cannot download the file.\n") +
                             Returned_Nothing());
        EXPECT_THAT(g_services.request_calls,
                    ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(GET, " + url + ")", "Send",
                                "Get_Status", "Get_Status", "Get_Status", "Release"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Nothing_Kept();
    }
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Download_Bad_Status,
                         testing::Values(0, -1, 1, 100, 199, 300, 301, 304, 404, 500, 12000, 12176));

class Http_Download_Error_Status : public Http_Download_Status {};

TEST_P(Http_Download_Error_Status, LeadsToTheSecondClient) {
    Script().status = {GetParam()};
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        g_services.uuids = {uuid};
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = false;
        EXPECT_EQ(Download(), Copy_Path(".txt"));
        EXPECT_FALSE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_TRUE(cache.m_Cert_Error_Detected);
    }
}

TEST_P(Http_Download_Error_Status, EndsTheDownloadWhenTheSecondClientFails) {
    Script().status = {GetParam()};
    Script().send = 7;
    g_services.last_error = 1234;
    g_services.client.status = 12045;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Additional_Error_Info = "before";
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(cache.m_Additional_Error_Info, "before");
        EXPECT_EQ(Own_Records(), Sent() + Status(GetParam()) +
                                     Error(s_download, "Sending of GET HTTP request failed. HR=7, LE=1234.\n") +
                                     Abandoned() + Returned_Nothing());
        EXPECT_THAT(g_services.request_calls,
                    ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(GET, " + url + ")", "Send",
                                "Get_Status", "Get_Status", "Release"));
        Expect_Nothing_Kept();
    }
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Download_Error_Status, testing::Values(12001, 12029, 12045, 12175));

TEST_F(Http_Download, TracesTheFirstStatusTestsTheRangeOfTheSecondAndDecidesByTheThird) {
    Script().status = {404, 500, 201};
    EXPECT_EQ(Download(), Copy_Path());
    const Records head = Sent() + Status(404) + Status(201) + Status_Test(201, true);
    const Records all = All();
    ASSERT_GT(all.size(), head.size());
    EXPECT_EQ(Records(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(head.size())), head);
}

TEST_F(Http_Download, NamesTheThirdStatusInTheError) {
    Script().status = {200, 200, 403};
    EXPECT_EQ(Download(), "");
    EXPECT_EQ(Own_Records(), Sent() + Status(200) + Status(403) +
                                 Error(s_download, "HTTP GET request failed with status 403. On HTTP error we cannot "
                                                   "download the file.\n") +
                                 Returned_Nothing());
}

TEST_F(Http_Download, TheSecondStatusAloneMayBeATransportError) {
    Script().status = {200, 12029, 200};
    EXPECT_EQ(Download(), Copy_Path(".txt"));
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    Script().status = {12029, 200, 200};
    g_services.uuids = {uuid};
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
}

// Calls of the request object that fail

struct Failing_Call {
    std::string name;
    void (*fail)(Scripted_Services::Request_Script& script, std::int32_t result);
    /// How many of the calls from "Set_Timeouts" on are made, the failing one included.
    std::size_t calls_made;
    std::string description_asked;
    /// How many of the records before the error are written, counted from the end of Answered().
    std::size_t records_missing;
};

void PrintTo(const Failing_Call& call, std::ostream* out) {
    *out << call.name;
}

// Answered() is: entry (4), creation, opening, sending, status, status, test of the status (8),
// Last-Modified, Content-Type.
const std::vector<Failing_Call> s_failing_calls = {
    {"TimeOuts", [](auto& script, auto result) { script.set_timeouts = result; }, 1, s_of_server_request, 14},
    {"Send", [](auto& script, auto result) { script.send = result; }, 3, s_of_request, 12},
    {"FirstStatus", [](auto& script, auto result) { script.get_status = {result}; }, 4, s_of_request, 12},
    {"SecondStatus",
     [](auto& script, auto result) {
         script.get_status = {0, result};
     },
     5, s_of_request, 11},
    {"ThirdStatus",
     [](auto& script, auto result) {
         script.get_status = {0, 0, result};
     },
     6, s_of_request, 11},
    {"LastModified", [](auto& script, auto result) { script.get_header["Last-Modified"] = result; }, 7, s_of_request,
     2},
    {"ContentType", [](auto& script, auto result) { script.get_header["Content-Type"] = result; }, 8, s_of_request, 1},
    {"Body", [](auto& script, auto result) { script.get_body = result; }, 9, s_of_request, 0},
};

class Http_Download_Failing_Call : public Http_Download,
                                   public testing::WithParamInterface<std::tuple<Failing_Call, Failure_Result>> {
protected:
    void SetUp() override {
        Http_Download::SetUp();
        failing.fail(Script(), Result_Of(result.bits));
    }

    std::vector<std::string> Calls_Made() const {
        std::vector<std::string> calls = {"Set_Timeouts(60000, 60000, 30000, 30000)",
                                          "Open(GET, " + url + ")",
                                          "Send",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Response_Header(Last-Modified)",
                                          "Get_Response_Header(Content-Type)",
                                          "Get_Response_Body"};
        calls.resize(failing.calls_made);
        calls.insert(calls.begin(), "Create");
        calls.push_back(failing.description_asked);
        calls.emplace_back("Release");
        return calls;
    }

    Records Before_The_Error() const {
        Records records = Answered();
        records.resize(records.size() - failing.records_missing);
        return records;
    }

    const Failing_Call failing = std::get<0>(GetParam());
    const Failure_Result result = std::get<1>(GetParam());
};

TEST_P(Http_Download_Failing_Call, FailsTheDownload) {
    g_services.client.status = 500;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = !result.transport_error;
        cache.m_Additional_Error_Info = "before";
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(cache.m_Cert_Error_Detected, result.transport_error);
        EXPECT_EQ(cache.m_Additional_Error_Info, result.transport_error ? Com_Error_Text() : "before");
        EXPECT_EQ(g_services.request_calls, Calls_Made());
        EXPECT_EQ(Of({s_download, "HTTP_Status_OK"}),
                  Before_The_Error() + Com_Exception(Com_Error_Text(), result.code) +
                      (result.transport_error ? Status_Test(500, false) : Records()) + Returned_Nothing());
        EXPECT_EQ(g_services.client_calls.empty(), !result.transport_error);
        Expect_Nothing_Kept();
    }
}

TEST_P(Http_Download_Failing_Call, IsMadeGoodByTheSecondClientAfterATransportErrorOnly) {
    cache.m_errHTTPFileDownLoad = 0;
    const std::string copy = Download();
    EXPECT_EQ(copy, result.transport_error ? Copy_Path(".txt") : "");
    EXPECT_EQ(download_error, !result.transport_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, result.transport_error ? 0 : 2);
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
}

INSTANTIATE_TEST_SUITE_P(Calls, Http_Download_Failing_Call,
                         testing::Combine(testing::ValuesIn(s_failing_calls), testing::ValuesIn(Failure_Results)),
                         [](const auto& parameters) {
                             return std::get<0>(parameters.param).name + "_" +
                                    testing::PrintToString(std::get<1>(parameters.param));
                         });

// Bodies

struct Odd_Body {
    std::string name;
    void (*change)(QEL::FrontEnd::FileCache::Response_Body& claimed);
    /// The records after the headers: how many of the three level 4 ones, and the error.
    std::size_t checks_passed;
    std::string error;
};

void PrintTo(const Odd_Body& odd, std::ostream* out) {
    *out << odd.name;
}

class Http_Download_Odd_Body : public Http_Download, public testing::WithParamInterface<Odd_Body> {};

TEST_P(Http_Download_Odd_Body, IsRefused) {
    Script().change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.upper_bound = 11;
        GetParam().change(claimed);
    };
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = true;
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        Records checks = Body_Of_Right_Type();
        QEL::FrontEnd::FileCache::Response_Body claimed;
        claimed.dimensions = 1;
        GetParam().change(claimed);
        checks = checks + Data(s_download, "dims = " + std::to_string(claimed.dimensions) + "\n") +
                 Data(s_download, "lbound = 0, ubound = 12\n");
        checks.resize(GetParam().checks_passed);
        EXPECT_EQ(All(), Answered() + checks + Error(s_download, GetParam().error) + Returned_Nothing());
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        EXPECT_THAT(g_services.magic_calls, IsEmpty());
        Expect_Nothing_Kept();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, Http_Download_Odd_Body,
    testing::Values(Odd_Body{"Empty", [](auto& claimed) { claimed.type = 0; }, 0,
                             "Wrong variant type 0, expecting byte array (8209).\n"},
                    Odd_Body{"Text", [](auto& claimed) { claimed.type = 8; }, 0,
                             "Wrong variant type 8, expecting byte array (8209).\n"},
                    Odd_Body{"ArrayOfOtherElements", [](auto& claimed) { claimed.type = 8204; }, 0,
                             "Wrong variant type 8204, expecting byte array (8209).\n"},
                    Odd_Body{"ByteArrayByReference", [](auto& claimed) { claimed.type = 8209 | 16384; }, 0,
                             "Wrong variant type 24593, expecting byte array (8209).\n"},
                    Odd_Body{"NoDimension", [](auto& claimed) { claimed.dimensions = 0; }, 2,
                             "Wrong dimensions - 0, expecting 1.\n"},
                    Odd_Body{"TwoDimensions", [](auto& claimed) { claimed.dimensions = 2; }, 2,
                             "Wrong dimensions - 2, expecting 1.\n"},
                    Odd_Body{"NoLowerBound", [](auto& claimed) { claimed.lower_bound_result = -2147352566; }, 2,
                             "Cannot get lbound or ubound, ec1 = -2147352566, ec2 = 0.\n"},
                    Odd_Body{"NoUpperBound", [](auto& claimed) { claimed.upper_bound_result = -1; }, 2,
                             "Cannot get lbound or ubound, ec1 = 0, ec2 = -1.\n"},
                    Odd_Body{"NoBounds",
                             [](auto& claimed) { claimed.lower_bound_result = claimed.upper_bound_result = -7; }, 2,
                             "Cannot get lbound or ubound, ec1 = -7, ec2 = -7.\n"},
                    Odd_Body{"NoAccess", [](auto& claimed) { claimed.access_result = -2147024809; }, 3,
                             "Cannot access safe array, ec3 = -2147024809.\n"}),
    [](const auto& parameter) { return parameter.param.name; });

TEST_F(Http_Download, ARefusedBodyLeavesTheOlderCopyAlone) {
    const std::string old_copy = Cache_Copy(url, "old.xml", "older stamp", 1);
    Script().change_body = [](Response_Body& claimed) { claimed.type = 8; };
    EXPECT_EQ(Download(), "");
    EXPECT_TRUE(std::filesystem::exists(old_copy));
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
}

// Naming that raises an exception

TEST_F(Http_Download, FailsWhenTheCopyCannotBeNamed) {
    g_services.uuid_throws = true;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(Of({s_download, "HTTP_Status_OK"}),
                  Answered() + Body_Of_Right_Type() + Data(s_download, "dims = 1\n") +
                      Data(s_download, "lbound = 0, ubound = 12\n") + Abandoned() + Returned_Nothing());
        EXPECT_EQ(g_services.request_calls.back(), "Release");
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Nothing_Kept();
    }
}

TEST_F(Http_Download, FailsWhenTheSecondClientsCopyCannotBeNamed) {
    Script().send = Certificate_Error;
    g_services.uuid_throws = true;
    download_error = false;
    EXPECT_EQ(Download(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(g_services.client_calls.back(), "~HttpClient");
    EXPECT_EQ(cache.m_Additional_Error_Info, Com_Error_Text());
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_THAT(Files_In_Cache(), IsEmpty());
}

// Second client

TEST_F(Http_Download, RecordsWhatTheSecondClientFetched) {
    Script().send = Certificate_Error;
    cache.m_errHTTPFileDownLoad = 1;
    EXPECT_EQ(Download(), Copy_Path(".txt"));
    EXPECT_EQ(Content(Copy_Path(".txt")), second_body);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
    ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
    const auto& entry = cache.m_Cache_Entries.at(url);
    EXPECT_EQ(entry.cached_file, Copy_Path(".txt"));
    EXPECT_EQ(entry.last_modified, second_stamp);
    EXPECT_EQ(entry.last_checked_remotely, os->current_time);
    EXPECT_EQ(Own_Records(),
              Sent() + Com_Exception(Com_Error_Text(), 12045) + Return(s_download, "rtn = " + Copy_Path(".txt")));
    EXPECT_EQ(g_services.cert_parameters_read, 2);
}

TEST_F(Http_Download, RecordsTheSecondClientsCopyBetweenItsRecordsAndTheReturn) {
    Script().status = {12029};
    Download();
    EXPECT_EQ(Of({s_download, "Process_Inet_URL_By_WinInet", "Persist_Downloaded_File_Metadata"}),
              Sent() + Status(12029) + Error(s_download, "Sending of GET HTTP request failed. HR=0, LE=0.\n") +
                  Abandoned() + Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.\n") +
                  Error("Process_Inet_URL_By_WinInet", "Download_Inet_URL_By_WinInet: ok: 1, download_error: 0, "
                                                       "m_errHTTPFileDownLoad: 2.\n") +
                  Call("Persist_Downloaded_File_Metadata",
                       "url='" + url + "', cache_entry=" + Entry_Text(Copy_Path(".txt"), second_stamp)) +
                  Return(s_download, "rtn = " + Copy_Path(".txt")));
    EXPECT_EQ(g_services.cert_parameters_read, 1);
}

struct Mode_Case {
    int mode;
    std::vector<std::string> white_list;
    bool attempted;
    bool text_for_host;              ///< the error's text is kept for the host before the second attempt
    bool text_stays_after_success;   ///< and still there when the second attempt succeeded
    bool text_stays_after_a_failure; ///< or failed
};

void PrintTo(const Mode_Case& mode, std::ostream* out) {
    *out << "mode " << mode.mode << ", " << mode.white_list.size() << " URLs listed";
}

class Http_Download_Mode : public Http_Download, public testing::WithParamInterface<Mode_Case> {
protected:
    void SetUp() override {
        Http_Download::SetUp();
        g_services.cert_mode = GetParam().mode;
        g_services.white_list = GetParam().white_list;
        cache.m_Additional_Error_Info = "before";
    }

    std::string Text_If(bool stays) const { return stays ? Com_Error_Text() : ""; }
};

TEST_P(Http_Download_Mode, DecidesAboutTheSecondAttemptThatSucceeds) {
    Script().send = Certificate_Error;
    EXPECT_EQ(Download(), GetParam().attempted ? Copy_Path(".txt") : "");
    EXPECT_EQ(download_error, !GetParam().attempted);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, GetParam().attempted ? 0 : 2);
    EXPECT_EQ(cache.m_Additional_Error_Info, Text_If(GetParam().text_stays_after_success));
    EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(GetParam().mode));
    EXPECT_EQ(cache.m_Cert_Error_Parameters, GetParam().white_list);
}

TEST_P(Http_Download_Mode, DecidesAboutTheSecondAttemptThatFails) {
    Script().send = Certificate_Error;
    g_services.client.status = 12045;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_EQ(Download(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(cache.m_Additional_Error_Info, Text_If(GetParam().text_stays_after_a_failure));
        EXPECT_EQ(g_services.client_calls.empty(), !GetParam().attempted);
    }
}

TEST_P(Http_Download_Mode, TakesItsTextFromTheErrorOnly) {
    Script().status = {12029};
    g_services.client.status = 12045;
    EXPECT_EQ(Download(), "");
    const bool emptied = GetParam().mode == 1 && GetParam().attempted;
    EXPECT_EQ(cache.m_Additional_Error_Info, emptied ? "" : "before");
}

INSTANTIATE_TEST_SUITE_P(Modes, Http_Download_Mode,
                         testing::Values(Mode_Case{0, {}, true, true, false, true},
                                         Mode_Case{1, {"https://server/landscape.xml"}, true, true, false, false},
                                         Mode_Case{1, {"https://server/landscape.xml/"}, false, true, true, true},
                                         Mode_Case{1, {}, false, true, true, true},
                                         Mode_Case{2, {}, true, false, false, false},
                                         Mode_Case{7, {"https://server/landscape.xml"}, false, false, false, false}));

TEST_F(Http_Download, ShowsTheFlagAndTheCodeOfTheFirstAttemptWhereNoSecondOneIsMade) {
    g_services.cert_mode = 7;
    download_error = false;
    Script().status = {12029};
    Download();
    EXPECT_EQ(Of({"Process_Inet_URL_By_WinInet"}),
              Error("Process_Inet_URL_By_WinInet",
                    "Download_Inet_URL_By_WinInet: ok: 0, download_error: 1, m_errHTTPFileDownLoad: 2.\n"));
    Forget();
    download_error = false;
    cache.m_errHTTPFileDownLoad = 0;
    Script().send = Certificate_Error; // the flag is left to the end of the download
    Download();
    EXPECT_EQ(Of({"Process_Inet_URL_By_WinInet"}),
              Error("Process_Inet_URL_By_WinInet",
                    "Download_Inet_URL_By_WinInet: ok: 0, download_error: 0, m_errHTTPFileDownLoad: 2.\n"));
    EXPECT_TRUE(download_error);
}

TEST_F(Http_Download, ReleasesTheRequestObjectsBodyWhenTheCopyIsRecorded) {
    Script().headers["Content-Type"] = "application/unknown";
    EXPECT_EQ(Download(), Copy_Path(".cached"));
    EXPECT_EQ(g_services.bodies_locked, 0);
    EXPECT_EQ(g_services.requests_alive, 0);
}

} // namespace
