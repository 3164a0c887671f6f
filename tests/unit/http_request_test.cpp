// What is true of both requests to a web server: GET, the download, and HEAD, the freshness check.

#include "tests/unit/support/Http_Fixture.h"

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What differs between the two requests.
struct Http_Method {
    std::string name;
    std::string traced_as;
    std::string records;    ///< the file with the records of a success
    std::string start;      ///< of the errors "... failed"
    std::string no_success; ///< what the error of a bad status adds
    bool flags_failures;    ///< of every kind; the check those alone that the server or the second client caused
    int failure_code;
    int second_client_type;
};

const Http_Method s_get = {"GET",
                           "Download_Inet_URL",
                           "http_get",
                           "Sending of GET HTTP request failed",
                           "On HTTP error we cannot download the file.",
                           true,
                           2,
                           1};
const Http_Method s_head = {"HEAD",
                            "Is_Inet_URL_Expired",
                            "http_head",
                            "Sending of HTTP HEAD request failed",
                            "try to download/read the file directly, therefore expired = true.",
                            false,
                            1,
                            2};

void PrintTo(const Http_Method& method, std::ostream* out) {
    *out << method.name;
}

/// A request that finds what is cached (HEAD) or nothing in the cache (GET), unless a test changes it.
class Http_Request_Fixture : public Http_Fixture {
protected:
    void Use(const Http_Method& used) {
        method = used;
        if (!Is_Get()) {
            old_copy = Old_Copy(stamp, checked_before);
            g_services.client.headers["Last-Modified"] = stamp;
        }
        good = Is_Get() ? Copy_Path() : "fresh";
        good_by_second_client = Is_Get() ? Copy_Path(".txt") : "fresh";
        bad = Is_Get() ? "" : "expired";
    }

    bool Is_Get() const { return method.name == "GET"; }

    /// The request as its caller sees it: the path of the copy, or whether the copy is expired.
    std::string Request() {
        if (Is_Get()) {
            return cache.Download_Inet_URL(url, error);
        }
        return cache.Is_Inet_URL_Expired(url, error) ? "expired" : "fresh";
    }

    /// The same once more, with the flag and the members as given before it.
    std::string Request_After(bool flag, bool transport_error = false) {
        Forget();
        g_services.uuids = {uuid};
        error = flag;
        cache.m_errHTTPFileDownLoad = 0;
        cache.m_Cert_Error_Detected = transport_error;
        cache.m_Additional_Error_Info = "before";
        return Request();
    }

    void Expect_Error(bool flagged, int code) const {
        EXPECT_EQ(error, flagged);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, code);
    }

    void Expect_Nothing_Changed() {
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        if (Is_Get()) {
            EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
            EXPECT_THAT(Files_In_Cache(), IsEmpty());
            return;
        }
        ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, stamp);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, checked_before);
        EXPECT_EQ(Content(old_copy), "old");
    }

    /// The calls of the request object up to the given number behind its creation, then its release.
    std::vector<std::string> Calls(std::size_t count, const std::string& description_asked = "") const {
        std::vector<std::string> calls = {"Set_Timeouts(60000, 60000, 30000, 30000)",
                                          "Open(" + method.name + ", " + url + ")",
                                          "Send",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Status",
                                          "Get_Response_Header(Last-Modified)",
                                          "Get_Response_Header(Content-Type)",
                                          "Get_Response_Body"};
        calls.resize(count);
        calls.insert(calls.begin(), "Create");
        if (!description_asked.empty()) {
            calls.push_back(description_asked);
        }
        calls.emplace_back("Release");
        return calls;
    }
    std::size_t All_Calls() const { return Is_Get() ? 9 : 7; }

    std::string Second_Client_Sent(const std::string& timeout) const {
        return "SendWinInetRequest(" + std::to_string(method.second_client_type) + ", " + url + ", own window, " +
               timeout + ")";
    }

    // What the requests trace.
    Records Traced() const { return Of({method.traced_as}); }
    Records Traced_With_Status_Test() const { return Of({method.traced_as, "HTTP_Status_OK"}); }
    Records Failure(const std::string& text) const { return Recorded_Trace::Error(method.traced_as, text + "\n"); }
    /// The records of a success up to the given one.
    Lines Until(const std::string& text, int occurrence = 1) const { return Before(method.records, text, occurrence); }
    Lines Status_Test(const std::string& status, const std::string& ok) const {
        return Expected("http_status", {{"status", status}, {"ok", ok}});
    }
    Records Status(const std::string& status) const {
        return Data(method.traced_as, "HTTP status = " + status + ".\n");
    }
    Records Com_Exception(unsigned long code) const {
        return Recorded_Trace::Error(method.traced_as, "COM exception: \n " + Com_Error_Text() +
                                                           " \nWin32 error code: " + std::to_string(code) +
                                                           (Is_Get() ? "" : "\n"));
    }
    Records Returned_Failure() const { return Return(method.traced_as, Is_Get() ? "''" : "true"); }
    /// Of a request that was given up. The check says already here what it returns.
    Records Abandoned() const {
        return Is_Get() ? Failure("Downloading from URL '" + url + "' failed.")
                        : Failure("HEAD request from URL '" + url + "' failed. try to download/read the file direct.") +
                              Returned_Failure();
    }
    Records Header_Empty() const {
        return Is_Get() ? Records() : Warning(method.traced_as, "Last-Modified header is empty.\n");
    }
    Records Good_By_Second_Client() const {
        if (Is_Get()) {
            return Return(method.traced_as, "rtn = " + good_by_second_client);
        }
        return Data(method.traced_as, "Last-Modified header: '" + stamp + "'.\n") +
               Data(method.traced_as,
                    "Modification time is the same. Still fresh URL '" + url + "'/'" + old_copy + "'\n") +
               Return(method.traced_as, "false");
    }
    Records Bad_By_Second_Client() const { return Header_Empty() + Returned_Failure(); }

    /// A request that is given up without a second attempt, whatever the flag was before it.
    void Expect_Given_Up(const Lines& records, const std::vector<std::string>& calls) {
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before), bad);
            Expect_Error(method.flags_failures, method.failure_code);
            EXPECT_FALSE(cache.m_Cert_Error_Detected);
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            Expect_Lines(records + Abandoned() + (Is_Get() ? Returned_Failure() : Records()), All());
            EXPECT_EQ(g_services.request_calls, calls);
            EXPECT_THAT(g_services.client_calls, IsEmpty());
            Expect_Nothing_Changed();
        }
        EXPECT_EQ(g_services.cert_parameters_read, 0);
    }

    static constexpr std::uint64_t checked_before = 1234;
    Http_Method method;
    std::string old_copy;
    std::string good;
    std::string good_by_second_client;
    std::string bad;
    bool error = true;
};

class Http_Request : public Http_Request_Fixture, public testing::WithParamInterface<Http_Method> {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        Use(GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(Both, Http_Request, testing::Values(s_get, s_head), testing::PrintToStringParamName());

// A request that succeeds

TEST_P(Http_Request, CallsTheObjectAndTracesEachStepInOrder) {
    EXPECT_EQ(Request(), good);
    EXPECT_EQ(g_services.request_calls, Calls(All_Calls()));
    Expect_Records(method.records);
}

TEST_P(Http_Request, ForgetsTheTransportErrorOfAnEarlierRequest) {
    EXPECT_EQ(Request_After(true, true), good);
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_EQ(g_services.cert_parameters_read, 0);
}

TEST_P(Http_Request, TreatsPositiveResultsAsSuccess) {
    Request_Script& script = Script();
    script.set_timeouts = script.open = script.send = script.get_body = 1;
    script.get_status = {1};
    script.get_header = {{"Last-Modified", 1}, {"Content-Type", 1}};
    script.change_body = [this](Response_Body& claimed) {
        claimed.data = body.data();
        claimed.upper_bound = 11;
        claimed.lower_bound_result = claimed.upper_bound_result = claimed.access_result = 1;
    };
    EXPECT_EQ(Request(), good);
    EXPECT_EQ(Content(Is_Get() ? Copy_Path() : old_copy), Is_Get() ? body : "old");
}

// Connect time-out

TEST_P(Http_Request, HandsOnTheConnectTimeoutThatItFirstRead) {
    for (const std::int32_t seconds : {5, 9}) {
        g_services.connect_timeout_seconds = seconds;
        Request();
        EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 5000, 30000, 30000)"));
        Forget();
    }
}

// The request object cannot be had, or refuses the URL

TEST_P(Http_Request, FailsWithoutARequestObject) {
    Script().creation_fails = true;
    Script().creation_result = Access_Denied;
    Script().creation_last_error = 87;
    g_services.last_error = 99;
    Expect_Given_Up(Until("Opening") +
                        Failure("Create instance failed for HTTP request object. HR=-2147024891, LE=87."),
                    {"Create"});
    EXPECT_EQ(cache.m_Connect_Timeout, 0);
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

TEST_P(Http_Request, AsksTheSecondClientWithoutARequestObjectAfterAnEarlierTransportError) {
    Script().creation_fails = true;
    Script().creation_result = Unspecified;
    EXPECT_EQ(Request_After(true, true), good_by_second_client);
    Expect_Error(false, 0);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    Expect_Lines(Until("Opening") + Failure("Create instance failed for HTTP request object. HR=-2147467259, LE=0.") +
                     Abandoned() + Good_By_Second_Client(),
                 Traced());
    EXPECT_THAT(g_services.client_calls, Contains(Second_Client_Sent("0")));
}

TEST_P(Http_Request, FailsWhenTheUrlIsRefused) {
    for (const auto& [refusal, number] :
         {std::pair{Access_Denied, "-2147024891"}, {Certificate_Error, "-2147012851"}}) {
        Script().open = refusal; // a transport error is not noticed as one here
        g_services.last_error = 1234;
        Expect_Given_Up(Until("Sending") + Failure(method.name + " HTTP request failed. HR=" + number + ", LE=1234."),
                        Calls(2));
    }
}

TEST_P(Http_Request, AsksTheSecondClientWhenTheUrlIsRefusedAfterAnEarlierTransportError) {
    Script().open = Unspecified;
    g_services.client.status = 404;
    EXPECT_EQ(Request_After(false, true), bad);
    Expect_Error(true, 2);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_THAT(g_services.client_calls, Contains(Second_Client_Sent("60000")));
    Expect_Nothing_Changed();
}

TEST_P(Http_Request, NoExceptionOfTheFirstClientLeaves) {
    Script().during_send = [] { throw std::runtime_error("no memory left"); };
    Expect_Given_Up(Until("HTTP status"), Calls(3));
}

// Statuses

TEST_P(Http_Request, EndsWithAnyOtherStatusWithoutASecondAttempt) {
    for (const long status : {0, -1, 1, 100, 199, 300, 301, 304, 404, 405, 500, 12000, 12176}) {
        Script().status = {status};
        values["status"] = std::to_string(status);
        values["ok"] = "false";
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before, true), bad);
            Expect_Error(true, method.failure_code);
            EXPECT_FALSE(cache.m_Cert_Error_Detected);
            EXPECT_EQ(cache.m_Additional_Error_Info, "before");
            Expect_Lines(Until("Last-Modified") +
                             Failure("HTTP " + method.name + " request failed with status " + values["status"] + ". " +
                                     method.no_success) +
                             Returned_Failure(),
                         All());
            EXPECT_EQ(g_services.request_calls, Calls(6));
            EXPECT_THAT(g_services.client_calls, IsEmpty());
            Expect_Nothing_Changed();
        }
    }
}

TEST_P(Http_Request, WithTheStatusOfATransportErrorIsLeftToTheSecondClient) {
    for (const auto& [status, before] : {std::pair{12001, false}, {12029, true}, {12045, false}, {12175, true}}) {
        Script().status = {status};
        Script().send = 7;
        g_services.last_error = 1234;
        values["status"] = std::to_string(status);
        for (const bool succeeds : {false, true}) {
            g_services.client.status = succeeds ? 200 : 12045;
            EXPECT_EQ(Request_After(before), succeeds ? good_by_second_client : bad);
            Expect_Error(!succeeds, succeeds ? 0 : 2);
            EXPECT_TRUE(cache.m_Cert_Error_Detected);
            EXPECT_EQ(cache.m_Additional_Error_Info, succeeds ? "" : "before");
            Expect_Lines(Until("HTTP status", 2) + Failure(method.start + ". HR=7, LE=1234.") + Abandoned() +
                             (succeeds ? Good_By_Second_Client() : Bad_By_Second_Client()),
                         Traced());
            EXPECT_EQ(g_services.request_calls, Calls(5));
        }
    }
}

TEST_P(Http_Request, FlagsTheStatusOfATransportErrorWhenNoSecondAttemptIsMade) {
    Script().status = {12029};
    for (const int mode : {1, 7}) {
        g_services.cert_mode = mode;
        EXPECT_EQ(Request_After(false), bad);
        Expect_Error(true, method.failure_code);
        EXPECT_THAT(g_services.client_calls, IsEmpty());
    }
}

TEST_P(Http_Request, TracesTheFirstStatusTestsTheRangeOfTheSecondAndDecidesByTheThird) {
    const Lines sent = Until("HTTP status");
    Script().status = {404, 500, 201};
    EXPECT_EQ(Request(), good);
    Lines traced = Shown(All());
    const Lines expected = sent + Status("404") + Status("201") + Status_Test("201", "true");
    traced.resize(expected.size());
    EXPECT_EQ(traced, expected);

    Script().status = {200, 200, 403};
    EXPECT_EQ(Request_After(true), bad);
    Expect_Lines(sent + Status("200") + Status("403") + Status_Test("403", "false") +
                     Failure("HTTP " + method.name + " request failed with status 403. " + method.no_success) +
                     Returned_Failure(),
                 All());

    Script().status = {200, 12029, 200};
    EXPECT_EQ(Request_After(true), good_by_second_client);
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    Script().status = {12029, 200, 200};
    EXPECT_EQ(Request_After(true), good);
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
}

// Calls of the request object that fail

struct Failing_Call {
    Http_Method method;
    std::string name;
    void (*fail)(Scripted_Services::Request_Script& script, std::int32_t result);
    std::size_t calls_made;        ///< the failing one included
    std::string description_asked; ///< of which interface
    std::string next_record;       ///< the first of a success that is not written
    int occurrence = 1;
};

void PrintTo(const Failing_Call& call, std::ostream* out) {
    *out << call.method.name << call.name;
}

std::vector<Failing_Call> Failing_Calls() {
    std::vector<Failing_Call> calls = {
        {s_get, "ContentType", [](auto& script, auto result) { script.get_header["Content-Type"] = result; }, 8,
         s_of_request, "Content-Type"},
        {s_get, "Body", [](auto& script, auto result) { script.get_body = result; }, 9, s_of_request, "Response body"}};
    for (const Http_Method& method : {s_get, s_head}) {
        calls.insert(
            calls.end(),
            {{method, "TimeOuts", [](auto& script, auto result) { script.set_timeouts = result; }, 1,
              s_of_server_request, "Opening"},
             {method, "Send", [](auto& script, auto result) { script.send = result; }, 3, s_of_request, "HTTP status"},
             {method, "FirstStatus", [](auto& script, auto result) { script.get_status = {result}; }, 4, s_of_request,
              "HTTP status"},
             {method, "SecondStatus",
              [](auto& script, auto result) {
                  script.get_status.assign({0, result});
              },
              5, s_of_request, "HTTP status", 2},
             {method, "ThirdStatus",
              [](auto& script, auto result) {
                  script.get_status.assign({0, 0, result});
              },
              6, s_of_request, "HTTP status", 2},
             {method, "LastModified", [](auto& script, auto result) { script.get_header["Last-Modified"] = result; }, 7,
              s_of_request, "Last-Modified"}});
    }
    return calls;
}

class Http_Request_Failing_Call : public Http_Request_Fixture, public testing::WithParamInterface<Failing_Call> {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        Use(GetParam().method);
    }
};

TEST_P(Http_Request_Failing_Call, IsMadeGoodByTheSecondClientAfterATransportErrorOnly) {
    for (const Failure_Result& result : Failure_Results) {
        SCOPED_TRACE(testing::PrintToString(result));
        GetParam().fail(Script(), Result_Of(result.bits));
        g_services.client.status = 500;
        const Lines traced = Until(GetParam().next_record, GetParam().occurrence) + Com_Exception(result.code) +
                             (result.transport_error ? Status_Test("500", "false") : Lines()) + Bad_By_Second_Client();
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before, !result.transport_error), bad);
            Expect_Error(method.flags_failures || result.transport_error,
                         result.transport_error ? 2 : method.failure_code);
            EXPECT_EQ(cache.m_Cert_Error_Detected, result.transport_error);
            EXPECT_EQ(cache.m_Additional_Error_Info, result.transport_error ? Com_Error_Text() : "before");
            EXPECT_EQ(g_services.request_calls, Calls(GetParam().calls_made, GetParam().description_asked));
            Expect_Lines(traced, Traced_With_Status_Test());
            EXPECT_EQ(g_services.client_calls.empty(), !result.transport_error);
        }
    }
    Expect_Nothing_Changed();
    for (const Failure_Result& result : Failure_Results) {
        SCOPED_TRACE(testing::PrintToString(result));
        GetParam().fail(Script(), Result_Of(result.bits));
        g_services.client.status = 200;
        EXPECT_EQ(Request_After(true), result.transport_error ? good_by_second_client : bad);
        Expect_Error(method.flags_failures && !result.transport_error,
                     result.transport_error ? 0 : method.failure_code);
        EXPECT_EQ(cache.m_Additional_Error_Info, result.transport_error ? "" : "before");
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, Http_Request_Failing_Call, testing::ValuesIn(Failing_Calls()),
                         testing::PrintToStringParamName());

// Second client

TEST_P(Http_Request, NoExceptionOfTheSecondClientLeaves) {
    Script().send = Certificate_Error;
    g_services.client.during_send = [] { throw std::runtime_error("no memory left"); };
    EXPECT_EQ(Request_After(false), bad);
    Expect_Error(true, 2);
    EXPECT_EQ(g_services.client_calls.back(), "~HttpClient");
    Expect_Lines(Until("HTTP status") + Com_Exception(12045) + Bad_By_Second_Client(), Traced());
}

TEST_P(Http_Request, ReadsTheParametersForTheTextAndForTheAttempt) {
    Script().status = {12029};
    Request();
    EXPECT_EQ(g_services.cert_parameters_read, 1);
    Script().send = Certificate_Error;
    Request();
    EXPECT_EQ(g_services.cert_parameters_read, 3);
}

TEST_P(Http_Request, ShowsTheFlagAndTheCodeOfTheFirstAttemptWhereNoSecondOneIsMade) {
    g_services.cert_mode = 7;
    const auto summed_up = [&](const std::string& flag) {
        return Recorded_Trace::Error("Process_Inet_URL_By_WinInet",
                                     "Download_Inet_URL_By_WinInet: ok: 0, download_error: " + flag +
                                         ", m_errHTTPFileDownLoad: " + std::to_string(method.failure_code) + ".\n");
    };
    Script().status = {12029};
    Request_After(false);
    EXPECT_EQ(Of({"Process_Inet_URL_By_WinInet"}), summed_up("1"));
    Script().send = Certificate_Error; // the flag is left to the end of the request
    Request_After(false);
    EXPECT_EQ(Of({"Process_Inet_URL_By_WinInet"}), summed_up("0"));
    EXPECT_EQ(error, method.flags_failures);
}

/// What a mode makes of a transport error. The text for the host is kept, unless said otherwise.
struct Mode_Case {
    std::string name;
    int mode;
    std::vector<std::string> white_list;
    bool attempted;
    bool text_stays_after_success;
    bool text_stays_after_a_failure;
    bool empties_earlier_text = false;
};

const std::vector<Mode_Case> s_modes = {
    {"Default", 0, {}, true, false, true},
    {"WhiteListed", 1, {"https://server/landscape.xml"}, true, false, false, true},
    {"NotWhiteListed", 1, {"https://server/", "https://server/landscape.xml/"}, false, true, true},
    {"EmptyWhiteList", 1, {}, false, true, true},
    {"IgnoreAllErrors", 2, {}, true, false, false},
    {"ModeSeven", 7, {"https://server/landscape.xml"}, false, false, false},
};

TEST_P(Http_Request, LeavesTheSecondAttemptToTheMode) {
    for (const Mode_Case& mode : s_modes) {
        SCOPED_TRACE(mode.name);
        const auto text_if = [this](bool stays) { return stays ? Com_Error_Text() : ""; };
        g_services.cert_mode = mode.mode;
        g_services.white_list = mode.white_list;
        g_services.client.status = 200;
        Script().send = Certificate_Error;
        EXPECT_EQ(Request_After(true), mode.attempted ? good_by_second_client : bad);
        Expect_Error(method.flags_failures && !mode.attempted, mode.attempted ? 0 : method.failure_code);
        EXPECT_EQ(cache.m_Additional_Error_Info, text_if(mode.text_stays_after_success));
        EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(mode.mode));
        EXPECT_EQ(cache.m_Cert_Error_Parameters, mode.white_list);

        g_services.client.status = 12045;
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before), bad);
            Expect_Error(method.flags_failures || mode.attempted, mode.attempted ? 2 : method.failure_code);
            EXPECT_EQ(cache.m_Additional_Error_Info, text_if(mode.text_stays_after_a_failure));
            EXPECT_EQ(g_services.client_calls.empty(), !mode.attempted);
        }

        Script().send = 0;
        Script().status = {12029}; // no error, no text
        EXPECT_EQ(Request_After(true), bad);
        EXPECT_EQ(cache.m_Additional_Error_Info, mode.empties_earlier_text ? "" : "before");
        Script().status = {200};
    }
}

} // namespace
