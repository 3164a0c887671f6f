#include "tests/unit/support/Expected_Steps.h"
#include "tests/unit/support/Http_Fixture.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string s_check = "Is_Inet_URL_Expired";

/// A cache that holds one copy, last checked long ago, of the version that the server has.
class Http_Freshness : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        old_copy = Cache_Copy(url, "old.xml", stamp, checked_before);
    }

    bool Expired() { return cache.Is_Inet_URL_Expired(url, check_error); }

    Records Entered() const { return Call(s_check, "url='" + url + "'"); }

    Records Sent() const {
        return Entered() + Data(s_check, "Opening HTTP HEAD request with URL '" + url + "'.\n") +
               Data(s_check, "Sending HTTP HEAD request with URL '" + url + "'.\n");
    }

    static Records Status(long status) { return Data(s_check, "HTTP status = " + std::to_string(status) + ".\n"); }

    static Records Header(const std::string& value) {
        return Data(s_check, "Last-Modified header: '" + value + "'.\n");
    }

    Records Answered(const std::string& header) const {
        return Sent() + Status(200) + Status(200) + Status_Test(200, true) + Header(header);
    }

    static Records Com_Exception(const std::string& text, unsigned long code) {
        return Error(s_check, "COM exception: \n " + text + " \nWin32 error code: " + std::to_string(code) + "\n");
    }

    Records Abandoned() const {
        return Error(s_check, "HEAD request from URL '" + url + "' failed. try to download/read the file direct.\n") +
               Returned(true);
    }

    static Records Header_Empty() { return Warning(s_check, "Last-Modified header is empty.\n"); }
    static Records Returned(bool expired) { return Return(s_check, expired ? "true" : "false"); }

    Records Still_Fresh() const {
        return Data(s_check, "Modification time is the same. Still fresh URL '" + url + "'/'" + old_copy + "'\n") +
               Returned(false);
    }

    Records Needs_Updating(const std::string& header, const std::string& stored) const {
        return Data(s_check, "Cache entry needs updating for URL '" + url + "', last modified URL = '" + header +
                                 "', old cache entry: " + Entry_Text(old_copy, stored) + "\n") +
               Returned(true);
    }

    /// The records of the check itself, without those of what it calls.
    static Records Own_Records() { return Of({s_check}); }

    void Expect_Entry_Untouched(const std::string& last_modified) const {
        ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, last_modified);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, checked_before);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        EXPECT_EQ(Content(old_copy), "old");
    }

    void Expect_Entry_Untouched() const { Expect_Entry_Untouched(stamp); }

    static constexpr std::uint64_t checked_before = 1234;
    std::string old_copy;
    bool check_error = true;
};

// The same version

TEST_F(Http_Freshness, TheSameStampRenewsTheEntry) {
    for (const bool before : {false, true}) {
        check_error = before;
        cache.m_errHTTPFileDownLoad = 2;
        cache.m_Cache_Entries.at(url).last_checked_remotely = checked_before;
        std::filesystem::remove(Metadata_Path());
        EXPECT_FALSE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, os->current_time);
        EXPECT_EQ(Content(Metadata_Path()), Text_File({"QEL Logon Landscape Cache Metadata", "version", "2", "entries",
                                                       "1", stamp, std::to_string(os->current_time), old_copy, url}));
    }
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, stamp);
    EXPECT_EQ(Content(old_copy), "old");
}

TEST_F(Http_Freshness, TracesEachStepInOrder) {
    Expired();
    EXPECT_EQ(All(),
              Answered(stamp) + Metadata_Written(Metadata_Path(), url, Entry_Text(old_copy, stamp)) + Still_Fresh());
}

TEST_F(Http_Freshness, CallsTheRequestObjectInThisOrder) {
    Expired();
    EXPECT_THAT(g_services.request_calls,
                ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(HEAD, " + url + ")", "Send",
                            "Get_Status", "Get_Status", "Get_Status", "Get_Response_Header(Last-Modified)", "Release"));
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
}

TEST_F(Http_Freshness, ReadsTheConnectTimeoutInSecondsAndKeepsIt) {
    g_services.connect_timeout_seconds = 5;
    Expired();
    EXPECT_EQ(cache.m_Connect_Timeout, 5000);
    EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 5000, 30000, 30000)"));
    EXPECT_THAT(g_services.registry_calls,
                ElementsAre("Software\\QEL\\QELLogon\\Options, LandscapeServerFileConnectTimeout, 1"));
    g_services.connect_timeout_seconds = 9;
    Forget();
    Expired();
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
    EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 5000, 30000, 30000)"));
}

TEST_F(Http_Freshness, ForgetsTheTransportErrorOfAnEarlierRequest) {
    cache.m_Cert_Error_Detected = true;
    cache.m_Additional_Error_Info = "before";
    EXPECT_FALSE(Expired());
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    EXPECT_THAT(g_services.client_calls, IsEmpty());
}

TEST_F(Http_Freshness, TreatsPositiveResultsAsSuccess) {
    Request_Script& script = Script();
    script.set_timeouts = script.open = script.send = 1;
    script.get_status = {1};
    script.get_header = {{"Last-Modified", 1}};
    EXPECT_FALSE(Expired());
}

TEST_F(Http_Freshness, RenewsTheOneEntryOnly) {
    cache.m_Cache_Entries["https://server/other.xml"] = {"other.xml", stamp, 5};
    EXPECT_FALSE(Expired());
    EXPECT_EQ(cache.m_Cache_Entries.at("https://server/other.xml").last_checked_remotely, 5U);
}

// Another version, or none to compare

struct Stamps {
    std::string name;
    std::string stored;
    std::string sent;
};

void PrintTo(const Stamps& stamps, std::ostream* out) {
    *out << stamps.name;
}

class Http_Freshness_Difference : public Http_Freshness, public testing::WithParamInterface<Stamps> {};

TEST_P(Http_Freshness_Difference, IsExpired) {
    cache.m_Cache_Entries.at(url).last_modified = GetParam().stored;
    Script().headers["Last-Modified"] = GetParam().sent;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 2;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_EQ(All(), Answered(GetParam().sent) + Needs_Updating(GetParam().sent, GetParam().stored));
        Expect_Entry_Untouched(GetParam().stored);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Stamps, Http_Freshness_Difference,
    testing::Values(Stamps{"Later", "Tue, 01 Jan 2019 10:00:00 GMT", "Tue, 01 Jan 2019 10:00:01 GMT"},
                    Stamps{"Earlier", "Tue, 01 Jan 2019 10:00:00 GMT", "Mon, 31 Dec 2018 10:00:00 GMT"},
                    Stamps{"LetterCase", "Tue, 01 Jan 2019 10:00:00 GMT", "tue, 01 jan 2019 10:00:00 gmt"},
                    Stamps{"Spacing", "Tue, 01 Jan 2019 10:00:00 GMT", "Tue,  01 Jan 2019 10:00:00 GMT"},
                    Stamps{"BlankAtTheEnd", "Tue, 01 Jan 2019 10:00:00 GMT", "Tue, 01 Jan 2019 10:00:00 GMT "},
                    Stamps{"SameTimeInOtherWords", "Tue, 01 Jan 2019 10:00:00 GMT", "Tuesday, 01-Jan-19 10:00:00 GMT"},
                    Stamps{"NothingStored", "", "Tue, 01 Jan 2019 10:00:00 GMT"}),
    [](const auto& parameter) { return parameter.param.name; });

TEST_F(Http_Freshness, AnEmptyStampNeverMatches) {
    for (const std::string& stored : {std::string(), stamp}) {
        Forget();
        cache.m_Cache_Entries.at(url).last_modified = stored;
        Script().headers.erase("Last-Modified");
        check_error = true;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_EQ(All(), Answered("") + Header_Empty() + Returned(true));
        Expect_Entry_Untouched(stored);
    }
}

// Entries that are not what they should be

TEST_F(Http_Freshness, AUrlThatIsNotCachedIsExpired) {
    cache.m_Cache_Entries.clear();
    cache.m_Cache_Entries["https://SERVER/landscape.xml"] = {old_copy, stamp, 1};
    cache.m_Cert_Error_Detected = true;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 2;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_TRUE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(All(), Entered() + Bug() +
                             Error(s_check, "Unexpectedly checking if a non-existing URL is expired '" + url + "'.\n") +
                             Returned(true));
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_THAT(g_services.client_calls, IsEmpty());
    }
}

TEST_F(Http_Freshness, AnEntryThatWentDuringTheRequestIsExpired) {
    Script().during_send = [this] { cache.m_Cache_Entries.erase(url); };
    cache.m_errHTTPFileDownLoad = 2;
    EXPECT_TRUE(Expired());
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_EQ(All(), Answered(stamp) + Bug() +
                         Error(s_check, "Could not find cached entry for checked URL: '" + url + "'\n") +
                         Returned(true));
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(Http_Freshness, AnEntryWithoutACopyIsExpiredAndMayNotBeServed) {
    cache.m_Cache_Entries.at(url).cached_file.clear();
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 3);
        EXPECT_EQ(All(), Answered(stamp) + Bug() +
                             Error(s_check, "Cached file is unexpectedly unnamed: '" + url + "'\n") + Returned(true));
    }
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, checked_before);
    EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
}

// The request object cannot be had, or refuses the URL

TEST_F(Http_Freshness, CannotTellWithoutARequestObject) {
    Script().creation_fails = true;
    Script().creation_result = Access_Denied;
    Script().creation_last_error = 87;
    g_services.last_error = 99;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 1);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(All(),
                  Entered() +
                      Error(s_check, "Create instance failed for HTTP request object. HR=-2147024891, LE=87.\n") +
                      Abandoned());
        EXPECT_THAT(g_services.request_calls, ElementsAre("Create"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Entry_Untouched();
    }
    EXPECT_EQ(cache.m_Connect_Timeout, 0);
}

TEST_F(Http_Freshness, CannotTellWhenTheUrlIsRefused) {
    Script().open = Certificate_Error;
    g_services.last_error = 1234;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 1);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(All(), Entered() + Data(s_check, "Opening HTTP HEAD request with URL '" + url + "'.\n") +
                             Error(s_check, "HEAD HTTP request failed. HR=-2147012851, LE=1234.\n") + Abandoned());
        EXPECT_THAT(g_services.request_calls, ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)",
                                                          "Open(HEAD, " + url + ")", "Release"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Entry_Untouched();
    }
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
}

TEST_F(Http_Freshness, AsksTheSecondClientWithoutARequestObjectAfterAnEarlierTransportError) {
    Script().creation_fails = true;
    cache.m_Cert_Error_Detected = true;
    g_services.client.headers["Last-Modified"] = stamp;
    cache.m_Connect_Timeout = 0;
    EXPECT_FALSE(Expired());
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(Own_Records(), Entered() +
                                 Error(s_check, "Create instance failed for HTTP request object. HR=0, LE=0.\n") +
                                 Abandoned() + Header(stamp) + Still_Fresh());
    EXPECT_THAT(g_services.client_calls, Contains("SendWinInetRequest(2, " + url + ", own window, 0)"));
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, os->current_time);
}

TEST_F(Http_Freshness, AsksTheSecondClientWhenTheUrlIsRefusedAfterAnEarlierTransportError) {
    Script().open = Unspecified;
    cache.m_Cert_Error_Detected = true;
    g_services.client.status = 12045;
    EXPECT_TRUE(Expired());
    EXPECT_TRUE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(Own_Records(), Entered() + Data(s_check, "Opening HTTP HEAD request with URL '" + url + "'.\n") +
                                 Error(s_check, "HEAD HTTP request failed. HR=-2147467259, LE=0.\n") + Abandoned() +
                                 Header_Empty() + Returned(true));
    Expect_Entry_Untouched();
}

// Statuses

class Http_Freshness_Status : public Http_Freshness, public testing::WithParamInterface<long> {};

class Http_Freshness_Good_Status : public Http_Freshness_Status {};

TEST_P(Http_Freshness_Good_Status, IsAnAnswer) {
    Script().status = {GetParam()};
    EXPECT_FALSE(Expired());
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Freshness_Good_Status, testing::Values(200, 204, 299));

class Http_Freshness_Bad_Status : public Http_Freshness_Status {};

TEST_P(Http_Freshness_Bad_Status, LeavesTheAnswerToTheDownload) {
    Script().status = {GetParam()};
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = true;
        cache.m_Additional_Error_Info = "before";
        EXPECT_TRUE(Expired());
        EXPECT_TRUE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 1);
        EXPECT_FALSE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(cache.m_Additional_Error_Info, "before");
        EXPECT_EQ(All(), Sent() + Status(GetParam()) + Status(GetParam()) + Status_Test(GetParam(), false) +
                             Error(s_check, "HTTP HEAD request failed with status " + std::to_string(GetParam()) +
                                                ". try to download/read the file directly, therefore expired = "
                                                "true.\n") +
                             Returned(true));
        EXPECT_THAT(g_services.request_calls,
                    ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(HEAD, " + url + ")", "Send",
                                "Get_Status", "Get_Status", "Get_Status", "Release"));
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Entry_Untouched();
    }
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Freshness_Bad_Status,
                         testing::Values(0, -1, 199, 300, 304, 404, 405, 500, 12000, 12176));

class Http_Freshness_Error_Status : public Http_Freshness_Status {};

TEST_P(Http_Freshness_Error_Status, LeavesTheAnswerToTheSecondClient) {
    Script().status = {GetParam()};
    Script().send = 7;
    g_services.last_error = 1234;
    g_services.client.headers["Last-Modified"] = stamp;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 2;
        cache.m_Cert_Error_Detected = false;
        EXPECT_FALSE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_TRUE(cache.m_Cert_Error_Detected);
        EXPECT_EQ(Own_Records(), Sent() + Status(GetParam()) +
                                     Error(s_check, "Sending of HTTP HEAD request failed. HR=7, LE=1234.\n") +
                                     Abandoned() + Header(stamp) + Still_Fresh());
        EXPECT_THAT(g_services.request_calls,
                    ElementsAre("Create", "Set_Timeouts(60000, 60000, 30000, 30000)", "Open(HEAD, " + url + ")", "Send",
                                "Get_Status", "Get_Status", "Release"));
    }
}

TEST_P(Http_Freshness_Error_Status, IsExpiredWhenTheSecondClientFails) {
    Script().status = {GetParam()};
    g_services.client.status = 404;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_TRUE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_EQ(Own_Records(), Sent() + Status(GetParam()) +
                                     Error(s_check, "Sending of HTTP HEAD request failed. HR=0, LE=0.\n") +
                                     Abandoned() + Header_Empty() + Returned(true));
        Expect_Entry_Untouched();
    }
}

INSTANTIATE_TEST_SUITE_P(Statuses, Http_Freshness_Error_Status, testing::Values(12001, 12029, 12045, 12175));

TEST_F(Http_Freshness, AnErrorStatusFlagsTheErrorWhenNoSecondAttemptIsMade) {
    Script().status = {12029};
    for (const int mode : {1, 7}) {
        g_services.cert_mode = mode;
        check_error = false;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_TRUE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 1);
        EXPECT_THAT(g_services.client_calls, IsEmpty());
    }
}

TEST_F(Http_Freshness, TracesTheFirstStatusTestsTheRangeOfTheSecondAndDecidesByTheThird) {
    Script().status = {404, 500, 201};
    EXPECT_FALSE(Expired());
    EXPECT_EQ(Of({s_check, "HTTP_Status_OK"}),
              Sent() + Status(404) + Status(201) + Status_Test(201, true) + Header(stamp) + Still_Fresh());
}

TEST_F(Http_Freshness, NamesTheThirdStatusInTheError) {
    Script().status = {200, 200, 403};
    EXPECT_TRUE(Expired());
    EXPECT_EQ(Own_Records(), Sent() + Status(200) + Status(403) +
                                 Error(s_check, "HTTP HEAD request failed with status 403. try to download/read the "
                                                "file directly, therefore expired = true.\n") +
                                 Returned(true));
}

TEST_F(Http_Freshness, TheSecondStatusAloneMayBeATransportError) {
    Script().status = {200, 12029, 200};
    EXPECT_TRUE(Expired());
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    Script().status = {12029, 200, 200};
    EXPECT_FALSE(Expired());
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
}

// Calls of the request object that fail

struct Failing_Check_Call {
    std::string name;
    void (*fail)(Scripted_Services::Request_Script& script, std::int32_t result);
    /// How many of the calls from "Set_Timeouts" on are made, the failing one included.
    std::size_t calls_made;
    std::string description_asked;
    /// How many of the records before the error are not written, counted from the end of Answered().
    std::size_t records_missing;
};

void PrintTo(const Failing_Check_Call& call, std::ostream* out) {
    *out << call.name;
}

// Answered() is: entry (4), opening, sending, status, status, test of the status (8), Last-Modified.
const std::vector<Failing_Check_Call> s_failing_check_calls = {
    {"TimeOuts", [](auto& script, auto result) { script.set_timeouts = result; }, 1, s_of_server_request, 13},
    {"Send", [](auto& script, auto result) { script.send = result; }, 3, s_of_request, 11},
    {"FirstStatus", [](auto& script, auto result) { script.get_status = {result}; }, 4, s_of_request, 11},
    {"SecondStatus",
     [](auto& script, auto result) {
         script.get_status = {0, result};
     },
     5, s_of_request, 10},
    {"ThirdStatus",
     [](auto& script, auto result) {
         script.get_status = {0, 0, result};
     },
     6, s_of_request, 10},
    {"LastModified", [](auto& script, auto result) { script.get_header["Last-Modified"] = result; }, 7, s_of_request,
     1},
};

class Http_Freshness_Failing_Call : public Http_Freshness,
                                    public testing::WithParamInterface<std::tuple<Failing_Check_Call, Failure_Result>> {
protected:
    void SetUp() override {
        Http_Freshness::SetUp();
        failing.fail(Script(), Result_Of(result.bits));
    }

    std::vector<std::string> Calls_Made() const {
        std::vector<std::string> calls = {"Set_Timeouts(60000, 60000, 30000, 30000)",
                                          "Open(HEAD, " + url + ")",
                                          "Send",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Response_Header(Last-Modified)"};
        calls.resize(failing.calls_made);
        calls.insert(calls.begin(), "Create");
        calls.push_back(failing.description_asked);
        calls.emplace_back("Release");
        return calls;
    }

    Records Before_The_Error() const {
        Records records = Answered(stamp);
        records.resize(records.size() - failing.records_missing);
        return records;
    }

    const Failing_Check_Call failing = std::get<0>(GetParam());
    const Failure_Result result = std::get<1>(GetParam());
};

TEST_P(Http_Freshness_Failing_Call, IsExpired) {
    g_services.client.status = 500;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = !result.transport_error;
        cache.m_Additional_Error_Info = "before";
        EXPECT_TRUE(Expired());
        EXPECT_EQ(check_error, result.transport_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, result.transport_error ? 2 : 1);
        EXPECT_EQ(cache.m_Cert_Error_Detected, result.transport_error);
        EXPECT_EQ(cache.m_Additional_Error_Info, result.transport_error ? Com_Error_Text() : "before");
        EXPECT_EQ(g_services.request_calls, Calls_Made());
        EXPECT_EQ(Of({s_check, "HTTP_Status_OK"}), Before_The_Error() + Com_Exception(Com_Error_Text(), result.code) +
                                                       (result.transport_error ? Status_Test(500, false) : Records()) +
                                                       Header_Empty() + Returned(true));
        EXPECT_EQ(g_services.client_calls.empty(), !result.transport_error);
        Expect_Entry_Untouched();
    }
}

TEST_P(Http_Freshness_Failing_Call, LeavesTheAnswerToTheSecondClientAfterATransportErrorOnly) {
    g_services.client.headers["Last-Modified"] = stamp;
    EXPECT_EQ(Expired(), !result.transport_error);
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, result.transport_error ? 0 : 1);
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
}

INSTANTIATE_TEST_SUITE_P(Calls, Http_Freshness_Failing_Call,
                         testing::Combine(testing::ValuesIn(s_failing_check_calls), testing::ValuesIn(Failure_Results)),
                         [](const auto& parameters) {
                             return std::get<0>(parameters.param).name + "_" +
                                    testing::PrintToString(std::get<1>(parameters.param));
                         });

// Second client

TEST_F(Http_Freshness, ComparesWhatTheSecondClientWasTold) {
    Script().send = Certificate_Error;
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 2;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
        EXPECT_EQ(Own_Records(), Sent() + Com_Exception(Com_Error_Text(), 12045) + Header(second_stamp) +
                                     Needs_Updating(second_stamp, stamp));
        EXPECT_THAT(g_services.client_calls,
                    ElementsAre("HttpClient", "SendWinInetRequest(2, " + url + ", own window, 60000)",
                                "GetResponseHeader(Last-Modified)", "~HttpClient"));
        Expect_Entry_Untouched();
    }
}

TEST_F(Http_Freshness, TheSecondClientsStampRenewsTheEntry) {
    Script().send = Certificate_Error;
    g_services.client.headers["Last-Modified"] = stamp;
    EXPECT_FALSE(Expired());
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, os->current_time);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
    EXPECT_TRUE(std::filesystem::exists(Metadata_Path()));
    EXPECT_EQ(Own_Records(), Sent() + Com_Exception(Com_Error_Text(), 12045) + Header(stamp) + Still_Fresh());
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
}

TEST_F(Http_Freshness, TheSecondClientMayFindNoStampEither) {
    Script().send = Certificate_Error;
    g_services.client.headers.clear();
    EXPECT_TRUE(Expired());
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_EQ(Own_Records(),
              Sent() + Com_Exception(Com_Error_Text(), 12045) + Header("") + Header_Empty() + Returned(true));
}

TEST_F(Http_Freshness, AnEntryThatWentDuringTheSecondRequestIsExpired) {
    Script().send = Certificate_Error;
    g_services.client.during_send = [this] { cache.m_Cache_Entries.clear(); };
    EXPECT_TRUE(Expired());
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_EQ(Own_Records(), Sent() + Com_Exception(Com_Error_Text(), 12045) + Header(second_stamp) + Bug() +
                                 Error(s_check, "Could not find cached entry for checked URL: '" + url + "'\n") +
                                 Returned(true));
}

TEST_F(Http_Freshness, NoExceptionOfTheFirstClientLeaves) {
    Script().during_send = [] { throw std::runtime_error("no memory left"); };
    for (const bool before : {false, true}) {
        Forget();
        check_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_TRUE(Expired());
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 1);
        EXPECT_EQ(All(), Sent() + Abandoned());
        EXPECT_EQ(g_services.request_calls.back(), "Release");
    }
}

TEST_F(Http_Freshness, NoExceptionOfTheSecondClientLeaves) {
    Script().send = Certificate_Error;
    g_services.client.during_send = [] { throw std::runtime_error("no memory left"); };
    EXPECT_TRUE(Expired());
    EXPECT_TRUE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(Own_Records(), Sent() + Com_Exception(Com_Error_Text(), 12045) + Header_Empty() + Returned(true));
}

struct Check_Mode_Case {
    std::string name;
    int mode;
    std::vector<std::string> white_list;
    bool attempted;
    bool text_stays_after_success;
    bool text_stays_after_a_failure;
};

void PrintTo(const Check_Mode_Case& mode, std::ostream* out) {
    *out << mode.name;
}

class Http_Freshness_Mode : public Http_Freshness, public testing::WithParamInterface<Check_Mode_Case> {
protected:
    void SetUp() override {
        Http_Freshness::SetUp();
        g_services.cert_mode = GetParam().mode;
        g_services.white_list = GetParam().white_list;
        g_services.client.headers["Last-Modified"] = stamp;
        cache.m_Additional_Error_Info = "before";
        Script().send = Certificate_Error;
    }

    std::string Text_If(bool stays) const { return stays ? Com_Error_Text() : ""; }
};

TEST_P(Http_Freshness_Mode, DecidesAboutTheSecondAttemptThatSucceeds) {
    EXPECT_EQ(Expired(), !GetParam().attempted);
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, GetParam().attempted ? 0 : 1);
    EXPECT_EQ(cache.m_Additional_Error_Info, Text_If(GetParam().text_stays_after_success));
    EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(GetParam().mode));
    EXPECT_EQ(cache.m_Cert_Error_Parameters, GetParam().white_list);
    EXPECT_EQ(g_services.cert_parameters_read, 2);
}

TEST_P(Http_Freshness_Mode, DecidesAboutTheSecondAttemptThatFails) {
    g_services.client.status = 12045;
    for (const bool before : {false, true}) {
        check_error = before;
        EXPECT_TRUE(Expired());
        EXPECT_EQ(check_error, GetParam().attempted);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, GetParam().attempted ? 2 : 1);
        EXPECT_EQ(cache.m_Additional_Error_Info, Text_If(GetParam().text_stays_after_a_failure));
        Expect_Entry_Untouched();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Modes, Http_Freshness_Mode,
    testing::Values(Check_Mode_Case{"Default", 0, {}, true, false, true},
                    Check_Mode_Case{"WhiteListed", 1, {"https://server/landscape.xml"}, true, false, false},
                    Check_Mode_Case{"NotWhiteListed", 1, {"https://server/"}, false, true, true},
                    Check_Mode_Case{"IgnoreAllErrors", 2, {}, true, false, false},
                    Check_Mode_Case{"ModeSeven", 7, {"https://server/landscape.xml"}, false, false, false}),
    [](const auto& parameter) { return parameter.param.name; });

} // namespace
