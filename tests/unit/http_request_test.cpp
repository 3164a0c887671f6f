// What is true of both requests to a web server: GET, the download, and HEAD, the freshness check.

#include "filecache/download/Com_Error.h"
#include "tests/unit/support/Http_Fixture.h"
#include "util/Error_Meaning.h"
#include "util/Http_Status.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::Util::HttpWinInet::CertErrorHandlingMode;
using namespace testing;

namespace {

/// What differs between the two requests: names, codes and records.
struct Http_Method {
    std::string name;
    std::string method;
    std::string whole;      ///< the file with the records of a success
    std::string start;      ///< of the errors "... failed"
    std::string no_success; ///< what the error of a bad status adds
    std::string abandoned;  ///< of a request that was given up; the check says already here what it returns
    std::string good_by_second_client;
    std::string bad_by_second_client;
    std::string returned; ///< of a failure
    bool flags_failures;  ///< of every kind; the check those alone that the server or the second client caused
    int failure_code;
    int second_client_type;
};

const std::string s_get_returned = "D Download_Inet_URL: return value:('')\n";
const std::string s_head_returned = "D Is_Inet_URL_Expired: return value:(true)\n";

const Http_Method s_get = {"GET",
                           "Download_Inet_URL",
                           "http_get",
                           "Sending of GET HTTP request failed",
                           "On HTTP error we cannot download the file.",
                           "E Download_Inet_URL: Downloading from URL '{url}' failed.\n",
                           "D Download_Inet_URL: return value:(rtn = {second_copy})\n",
                           s_get_returned,
                           s_get_returned,
                           true,
                           2,
                           1};
const Http_Method s_head = {
    "HEAD",
    "Is_Inet_URL_Expired",
    "http_head",
    "Sending of HTTP HEAD request failed",
    "try to download/read the file directly, therefore expired = true.",
    "E Is_Inet_URL_Expired: HEAD request from URL '{url}' failed. try to download/read the file direct.\n" +
        s_head_returned,
    "D Is_Inet_URL_Expired: Last-Modified header: '{stamp}'.\n"
    "D Is_Inet_URL_Expired: Modification time is the same. Still fresh URL '{url}'/'{old_copy}'\n"
    "D Is_Inet_URL_Expired: return value:(false)",
    "W Is_Inet_URL_Expired: Last-Modified header is empty.\n" + s_head_returned,
    s_head_returned,
    false,
    1,
    2};

void PrintTo(const Http_Method& method, std::ostream* out) {
    *out << method.name;
}

/// A request that finds what is cached (HEAD) or nothing in the cache (GET), unless a test changes it.
class Http_Request : public Http_Fixture, public testing::WithParamInterface<Http_Method> {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        if (!Is_Get()) {
            old_copy = Old_Copy(url, stamp, checked_before);
            g_services.client.headers["Last-Modified"] = stamp;
        }
        values.insert({{"method", method.method},
                       {"verb", method.name},
                       {"whole", method.whole},
                       {"second_copy", Copy_Path(".txt")},
                       {"com_error", Com_Error_Text()},
                       {"end", Is_Get() ? "\\" : ""}});
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

    void Expect_State(bool flagged, int code, bool transport_error, const std::string& text) const {
        EXPECT_EQ(error, flagged);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, code);
        EXPECT_EQ(cache.m_Cert_Error_Detected, transport_error);
        EXPECT_EQ(cache.m_Additional_Error_Info, text);
    }

    void Expect_Nothing_Changed() {
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        if (Is_Get()) {
            EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
            EXPECT_THAT(Files_In_Cache(), IsEmpty());
            return;
        }
        EXPECT_THAT(cache.m_Cache_Entries, ElementsAre(Pair(url, FieldsAre(old_copy, stamp, checked_before))));
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

    std::string Second_Client_Sent(const std::string& timeout) const {
        return "SendWinInetRequest(" + std::to_string(method.second_client_type) + ", " + url + ", own window, " +
               timeout + ")";
    }

    /// A request that is given up without a second attempt, whatever the flag was before it.
    void Expect_Given_Up(const std::string& records, const std::vector<std::string>& calls) {
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before), bad);
            Expect_State(method.flags_failures, method.failure_code, false, "before");
            Expect_Last_Records(records + "\n" + method.abandoned + (Is_Get() ? s_get_returned : ""));
            EXPECT_THAT(Shown(All()), Not(Contains(HasSubstr("HTTP status ="))));
            EXPECT_EQ(g_services.request_calls, calls);
            EXPECT_THAT(g_services.client_calls, IsEmpty());
            Expect_Nothing_Changed();
        }
        EXPECT_EQ(g_services.cert_parameters_read, 0);
    }

    static constexpr std::uint64_t checked_before = 1234;
    const Http_Method method = GetParam();
    std::string old_copy;
    const std::string good = Is_Get() ? Copy_Path() : "fresh";
    const std::string good_by_second_client = Is_Get() ? Copy_Path(".txt") : "fresh";
    const std::string bad = Is_Get() ? "" : "expired";
    bool error = true;
};

INSTANTIATE_TEST_SUITE_P(Both, Http_Request, testing::Values(s_get, s_head), testing::PrintToStringParamName());

TEST_P(Http_Request, CallsTheObjectTracesEachStepInOrderAndForgetsAnEarlierTransportError) {
    EXPECT_EQ(Request_After(true, true), good);
    EXPECT_EQ(g_services.request_calls, Calls(Is_Get() ? 9 : 7));
    Expect_Records("= {whole}");
    Expect_State(false, 0, false, "before");
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

TEST_P(Http_Request, HandsOnTheConnectTimeoutThatItFirstRead) {
    for (const std::int32_t seconds : {5, 9}) {
        g_services.connect_timeout_seconds = seconds;
        Request();
        EXPECT_THAT(g_services.request_calls, Contains("Set_Timeouts(60000, 5000, 30000, 30000)"));
        Forget();
    }
}

TEST_P(Http_Request, FailsWithoutARequestObject) {
    Script().creation_fails = true;
    Script().creation_result = Access_Denied;
    Script().creation_last_error = 87;
    g_services.last_error = 99;
    Expect_Given_Up("E {method}: Create instance failed for HTTP request object. HR=-2147024891, LE=87.", {"Create"});
    EXPECT_EQ(cache.m_Connect_Timeout, 0);
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

TEST_P(Http_Request, AsksTheSecondClientWithoutARequestObjectAfterAnEarlierTransportError) {
    Script().creation_fails = true;
    Script().creation_result = Unspecified;
    EXPECT_EQ(Request_After(true, true), good_by_second_client);
    Expect_State(false, 0, true, "");
    Expect_Last_Records("E {method}: Create instance failed for HTTP request object. HR=-2147467259, LE=0.\n" +
                            method.abandoned + method.good_by_second_client,
                        Of({method.method}));
    EXPECT_THAT(g_services.client_calls, Contains(Second_Client_Sent("0")));
}

TEST_P(Http_Request, FailsWhenTheUrlIsRefused) {
    for (const auto& [refusal, number] :
         {std::pair{Access_Denied, "-2147024891"}, {Certificate_Error, "-2147012851"}}) {
        Script().open = refusal; // a transport error is not noticed as one here
        g_services.last_error = 1234;
        values["number"] = number;
        Expect_Given_Up("E {method}: {verb} HTTP request failed. HR={number}, LE=1234.", Calls(2));
        EXPECT_THAT(Shown(All()), Not(Contains(HasSubstr("Sending HTTP"))));
    }
}

TEST_P(Http_Request, NoExceptionOfTheFirstClientLeaves) {
    Script().during_send = [] { throw std::runtime_error("no memory left"); };
    Expect_Given_Up("", Calls(3));
}

TEST_P(Http_Request, EndsWithAnyOtherStatusWithoutASecondAttempt) {
    for (const long status : {0, -1, 1, 100, 199, 300, 301, 304, 404, 405, 500, 12000, 12193}) {
        Script().status = {status};
        values["status"] = std::to_string(status);
        values["ok"] = "false";
        for (const bool before : {false, true}) {
            EXPECT_EQ(Request_After(before, true), bad);
            Expect_State(true, method.failure_code, false, "before");
            Expect_Records("= {whole} < Last-Modified\nE {method}: HTTP {verb} request failed with status {status}. " +
                           method.no_success + "\n" + method.returned);
            EXPECT_EQ(g_services.request_calls, Calls(6));
            EXPECT_THAT(g_services.client_calls, IsEmpty());
            Expect_Nothing_Changed();
        }
    }
}

TEST_P(Http_Request, WithTheStatusOfATransportErrorIsLeftToTheSecondClient) {
    for (const auto& [status, before] : {std::pair{12001, false}, {12029, true}, {12045, false}, {12192, true}}) {
        Script().status = {status};
        Script().send = 7;
        g_services.last_error = 1234;
        values["status"] = std::to_string(status);
        for (const bool succeeds : {false, true}) {
            g_services.client.status = succeeds ? 200 : 12045;
            EXPECT_EQ(Request_After(before), succeeds ? good_by_second_client : bad);
            Expect_State(!succeeds, succeeds ? 0 : 2, true, succeeds ? "" : "before");
            Expect_Records("= {whole} << HTTP status\nE {method}: " + method.start + ". HR=7, LE=1234.\n" +
                               method.abandoned +
                               (succeeds ? method.good_by_second_client : method.bad_by_second_client),
                           Of({method.method}));
            EXPECT_EQ(g_services.request_calls, Calls(5));
        }
    }
}

TEST_P(Http_Request, TracesTheFirstStatusTestsTheRangeOfTheSecondAndDecidesByTheThird) {
    const struct {
        std::vector<long> statuses;
        std::string result;
        bool transport_error;
    } cases[] = {{{404, 500, 201}, good, false},
                 {{200, 200, 403}, bad, false},
                 {{200, 12029, 200}, good_by_second_client, true},
                 {{12029, 200, 200}, good, false}};
    for (const auto& [statuses, result, transport_error] : cases) {
        Script().status = statuses;
        EXPECT_EQ(Request_After(true), result);
        EXPECT_EQ(cache.m_Cert_Error_Detected, transport_error);
        values["first"] = std::to_string(statuses[0]);
        values["third"] = std::to_string(statuses[2]);
        Expect_Record(transport_error ? "D {method}: HTTP status = {first}."
                                      : "D {method}: HTTP status = {first}.\nD {method}: HTTP status = {third}.\n"
                                        "D HTTP_Status_OK: CALL(http_status={third}\\n)");
    }
}

const std::string s_com_exception = "E {method}: COM exception: \\n {com_error} \\nWin32 error code: {code}{end}\n";

/// A call of the request object by its number, and how often a record of a success is then written.
const std::tuple<std::size_t, std::string, int> s_failing_calls[] = {
    {1, "Opening", 0},       {3, "HTTP status =", 0},         {4, "HTTP status =", 0}, {5, "HTTP status =", 1},
    {6, "HTTP status =", 1}, {7, "Last-Modified header:", 0}, {8, "Content-Type", 0},  {9, "Response body", 0},
};

/// Lets this call fail.
void Fail(Scripted_Services::Request_Script& script, std::size_t call, std::int32_t result) {
    if (call >= 4 && call <= 6) { // the reads of the status
        script.get_status.assign(call - 3, 0);
        script.get_status.back() = result;
    } else if (call == 7 || call == 8) {
        script.get_header[call == 7 ? "Last-Modified" : "Content-Type"] = result;
    } else {
        (call == 1 ? script.set_timeouts : call == 3 ? script.send : script.get_body) = result;
    }
}

TEST_P(Http_Request, IsMadeGoodByTheSecondClientAfterATransportErrorOnly) {
    const Request_Script sound = Script();
    for (const bool succeeds : {false, true}) {
        g_services.client.status = succeeds ? 200 : 500;
        for (const auto& [call, record, times] : s_failing_calls) {
            for (const auto& [bits, code, transport_error] : Failure_Results) {
                if (call > 7 && !Is_Get()) {
                    continue;
                }
                SCOPED_TRACE("call " + std::to_string(call) + ", " + std::to_string(bits));
                Script() = sound;
                Fail(Script(), call, Result_Of(bits));
                values["code"] = std::to_string(code);
                const bool is_good = succeeds && transport_error;
                const int outcome = is_good ? 0 : transport_error ? 2 : method.failure_code;
                const std::string text = is_good ? "" : transport_error ? Com_Error_Text() : "before";
                for (const bool before : {false, true}) {
                    EXPECT_EQ(Request_After(before, !transport_error), is_good ? good_by_second_client : bad);
                    Expect_State(!is_good && (method.flags_failures || transport_error), outcome, transport_error,
                                 text);
                    EXPECT_EQ(g_services.request_calls,
                              Calls(call, call == 1 ? "Error_Description(ServerXMLHTTPRequest)"
                                                    : "Error_Description(XMLHTTPRequest)"));
                    EXPECT_EQ(g_services.client_calls.empty(), !transport_error);
                    if (!succeeds) {
                        const auto records = Of({method.method, "HTTP_Status_OK"});
                        Expect_Last_Records(s_com_exception +
                                                (transport_error ? "= http_status status=500 ok=false\n" : "") +
                                                method.bad_by_second_client,
                                            records);
                        EXPECT_THAT(Shown(records), Contains(HasSubstr(record)).Times(Is_Off() ? 0 : times));
                        Expect_Nothing_Changed();
                    }
                }
            }
        }
    }
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
    values["code"] = std::to_string(method.failure_code);
    for (const auto& [status, send, flag] :
         {std::tuple{12029, HResult{0}, "1"}, {200, Certificate_Error, "0"}}) { // left to the end of the request
        Script().status = {status};
        Script().send = send;
        Request_After(false);
        values["flag"] = flag;
        Expect_Records("E Process_Inet_URL_By_WinInet: Download_Inet_URL_By_WinInet: ok: 0, download_error: {flag}, "
                       "m_errHTTPFileDownLoad: {code}.",
                       Of({"Process_Inet_URL_By_WinInet"}));
    }
    EXPECT_EQ(error, method.flags_failures);
}

TEST_P(Http_Request, LeavesTheTextToTheHostInTheModesThatAskOrLookAtTheListAlone) {
    Script().send = Certificate_Error;
    g_services.client.status = 12045;
    for (const int mode : {0, 1, 2, 7}) {
        g_services.cert_mode = mode;
        Request_After(true);
        EXPECT_EQ(cache.m_Cert_Error_Handling_Mode, static_cast<CertErrorHandlingMode>(mode));
        EXPECT_EQ(cache.m_Additional_Error_Info, mode < 2 ? Com_Error_Text() : "") << mode;
    }
}

TEST_F(Http_Fixture, ReportsTheLastRequestOfAThread) {
    using QEL::FrontEnd::FileCache::Get_Last_Request_Info;
    using QEL::FrontEnd::Util::Sentences_On_Status;
    const auto last = [this](const std::string& request) {
        cache.m_Cache_Entries.clear();
        cache.Get_Cached_File(request);
        const auto info = Get_Last_Request_Info();
        return std::tuple(info.http_status, info.system_error, info.text);
    };
    const auto server = [](std::uint32_t error) {
        return QEL::FrontEnd::Util::Sentences_On_Error(error, "server", {});
    };
    EXPECT_EQ(last(url), std::tuple(200, 0U, ""));
    Script().status = {404};
    EXPECT_EQ(last(url), std::tuple(404, 0U, Sentences_On_Status(404, "server")));
    Script().final_url = "http://b/";
    EXPECT_THAT(std::get<2>(last(url)), HasSubstr("(not found); the request was redirected to 'http://b/'. Check"));
    EXPECT_EQ(last("/missing"), std::tuple(0, 0U, "")) << "nobody was asked";
    Script().send = Access_Denied;
    EXPECT_EQ(last(url), std::tuple(0, 5U, "What the system says."));
    Script().proxy_status = 407;
    EXPECT_EQ(last(url), std::tuple(407, 5U, "What the system says."));
    Script().proxy_status = 0;
    Script().description = std::string(2000, 'a');
    EXPECT_EQ(last(url), std::tuple(0, 5U, std::string(1023, 'a')));
    Script().description.clear();
    EXPECT_EQ(last(url), std::tuple(0, 5U, server(5)));
    Script().description = "What the first client says.";
    Script().send = Certificate_Error;
    for (const auto& [second, expected] : {std::pair(12045UL, std::tuple(0, 12045U, Script().description)),
                                           {12037UL, std::tuple(0, 12037U, server(12037))},
                                           {404UL, std::tuple(404, 0U, Sentences_On_Status(404, "server"))},
                                           {200UL, std::tuple(200, 0U, std::string())}}) {
        g_services.client.status = second;
        EXPECT_EQ(last(url), expected);
    }
    os->on_copy_file = [](const std::string&, const std::string&, int) {
        g_services.last_error = 112;
        return 0;
    };
    EXPECT_EQ(last("\\\\server\\share\\file.xml"), std::tuple(0, 112U, server(112)));
    std::thread([&] { EXPECT_EQ(Get_Last_Request_Info().system_error, 0U); }).join();
    EXPECT_EQ(Get_Last_Request_Info().system_error, 112U);
    Script().send = 0;
    Script().open = Result_Of(0x80072EE5);
    cache.m_Cert_Error_Detected = false;
    EXPECT_EQ(last(url), std::tuple(0, 12005U, server(12005)));
}

// Steps of both requests

class Http_Helpers : public Cache_Fixture {};

TEST_F(Http_Helpers, StatusesFrom200To299AreOkAndAllAreTraced) {
    for (long status = 200; status <= 299; ++status) {
        EXPECT_TRUE(cache.HTTP_Status_OK(status)) << status;
    }
    for (const long status : {-200L, -1L, 0L, 1L, 100L, 199L, 300L, 304L, 404L, 500L, 599L, 2000L, 12029L,
                              std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        EXPECT_FALSE(cache.HTTP_Status_OK(status)) << status;
    }
    Forget();
    cache.HTTP_Status_OK(204);
    cache.HTTP_Status_OK(-1);
    Expect_Records("= http_status status=204 ok=true\n= http_status status=-1 ok=false");
}

TEST_F(Http_Helpers, AnHresultOfTheSystemsFacilityCarriesTheErrorInItsLowHalf) {
    for (const auto& [bits, error] : {std::pair{0U, 0U},
                                      {0x80070000, 0},
                                      {0x80070005, 5},
                                      {0x80072EE7, 12007},
                                      {0x80072EFD, 12029},
                                      {0x8007FFFF, 65535}}) {
        EXPECT_EQ(cache.win32_from_hresult(Result_Of(bits)), error) << std::hex << bits;
    }
    for (const std::uint32_t bits : {0x00000001U, 0x00000005U, 0x00072EFDU, 0x80062EFDU, 0x80082EFDU, 0x800C0008U,
                                     0x80004005U, 0x80010105U, 0xC0072EFDU, 0xA0072EFDU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(cache.win32_from_hresult(Result_Of(bits)), 1003U) << "an unknown error " << std::hex << bits;
    }
}

TEST_F(Http_Helpers, AComErrorIsReportedInThreeLines) {
    EXPECT_EQ(cache.com_error_to_string(
                  QEL::FrontEnd::FileCache::Com_Error(Certificate_Error, "The certificate is not valid."),
                  "https://server/file.xml"),
              "=======================================\n"
              "File: https://server/file.xml\n"
              "Description: The certificate is not valid.\n");
    EXPECT_EQ(cache.com_error_to_string(QEL::FrontEnd::FileCache::Com_Error(Unspecified, "One.\r\nTwo.\r\n"), ""),
              std::string(39, '=') + "\nFile: \nDescription: One.\r\nTwo.\r\n\n");
}

TEST_F(Http_Helpers, EachObjectReadsTheConnectTimeoutOnceInSecondsAndKeepsItInMilliseconds) {
    constexpr auto greatest = std::numeric_limits<std::int32_t>::max();
    using Seconds = std::optional<std::int32_t>;
    for (const auto& [seconds, milliseconds] : {std::pair{Seconds(1), 1000},
                                                {5, 5000},
                                                {2147483, 2147483000},
                                                {2147484, 2147483000},
                                                {greatest, 2147483000},
                                                {0, 60000},
                                                {-5, 60000},
                                                {std::nullopt, 60000}}) {
        QEL::FrontEnd::FileCache::CFileCache fresh(os);
        g_services.connect_timeout_seconds = seconds;
        fresh.Read_Connect_Timeout();
        EXPECT_EQ(fresh.m_Connect_Timeout, milliseconds) << seconds.value_or(-1);
        EXPECT_THAT(g_services.registry_calls,
                    ElementsAre("Software\\QEL\\QELLogon\\Options, LandscapeServerFileConnectTimeout, 1"));
        Forget();
        g_services.connect_timeout_seconds = 9;
        fresh.Read_Connect_Timeout();
        EXPECT_EQ(fresh.m_Connect_Timeout, milliseconds) << "once in the life of the object";
        EXPECT_THAT(g_services.registry_calls, IsEmpty());
    }
}

} // namespace
