#include "tests/unit/support/Http_Fixture.h"

using namespace Recorded_Trace;
using testing::IsEmpty;

namespace {

const std::string s_says = "D Get_Cached_Remote_File: ";
const std::string s_check_failed = s_says + "Error(code={code}) in determine URL/file Expired, Try to download the "
                                            "remote file '{url}' directly.";

// What is reported of a server that is down: by each client and method, by each step of a share.
const std::string s_second_client = R"(
    E Process_Inet_URL_By_WinInet: CertErrorHandlingMode: 'Default'.
    E Download_Inet_URL_By_WinInet: HTTP request failed with status 12029. On HTTP error we cannot download the file.
    E Process_Inet_URL_By_WinInet: Download_Inet_URL_By_WinInet: ok: 0, download_error: 1, m_errHTTPFileDownLoad: 2.
    )";
const std::string s_share_failures = R"(
    W Is_File_Share_Expired: File share URL cannot be stat-ed: '{url}', error code 53. try to download the shared file directly.
    W Download_File_Share: Trying to download a file share URL that cannot be stat-ed: '{url}', error code 53.
    E Download_File_Share: Copy file failed for URL: '{url}', cached file: '{new_copy}' , GetLastError returned 53.
    )";

/// Requests as a host makes them, for a URL or for a file on a share.
class Any_Request : public Share_Fixture, public testing::WithParamInterface<const char*> {
protected:
    static constexpr int Untouched = -77;
    static constexpr std::uint64_t Minute = 600000000;

    void SetUp() override {
        Share_Fixture::SetUp();
        os->expiry_minutes = 60;
        g_services.uuids.clear(); // each copy gets the next number
        const bool inet = GetParam() == std::string("Inet");
        asked = inet ? url : share;
        values["no_handle"] = Address_Text(QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle);
        values["url"] = asked;
        values["kind"] = inet ? "inet" : "share";
        values["is_share"] = inet ? "false" : "true";
        values["download"] = inet ? "http_get" : "share_copy";
        values["check"] = inet ? "http_head" : "share_check";
        own_error = inet ? &http_error : &file_share_error;
        other_error = inet ? &file_share_error : &http_error;
    }

    std::string Get() {
        download_error = true;
        http_error = Untouched;
        file_share_error = Untouched;
        return cache.Get_Cached_File_and_Status(asked, 213, download_error, &http_error, &file_share_error);
    }

    void Pass_Minutes(std::uint64_t minutes) { os->current_time += minutes * Minute; }

    static std::size_t Sent(const std::string& method) {
        const auto& calls = g_services.request_calls;
        return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
            return call.starts_with("Open(" + method + ",");
        }));
    }

    std::string Copy(int number) const {
        return In_Cache("00000000-0000-0000-0000-00000000000" + std::to_string(number) + ".xml");
    }
    std::string Stamp() const { return cache.m_Cache_Entries.at(asked).last_modified; }

    void Send_Another_Version() {
        Script().headers["Last-Modified"] = "another stamp " + std::to_string(++versions);
        Use_Time(source_time + (versions == 1 ? 1 : -2)); // an earlier time is a change too
        source = "version " + std::to_string(versions);
    }

    void Take_Server_Down() {
        Script().send = Result_Of(0x80072EFD);
        g_services.client.status = 12029;
        stat_error = 53;
        copy_fails = true;
        g_services.last_error = 53;
    }

    /// The value of the records for this copy, of the version that the server has.
    void Expect_Request(const std::string& policy, const std::string& copy) {
        values["policy"] = policy;
        values["copy"] = copy;
        values["stem"] = copy.substr(0, copy.size() - 4);
        values["stamp"] = Stamp();
        values["entry"] = Entry_Text(copy, Stamp());
        Expect_Records("= lookup_remote");
    }
    /// Later requests find an entry.
    void Note_Old_Copy(const std::string& copy) {
        values["sweep"] = "sweep_again";
        values["old_note"] = "Old cached file: " + copy;
        values["old_copy"] = copy;
        values["old_entry"] = Entry_Text(copy, Stamp());
        values["removal"] = "remove_entry";
        Forget();
    }

    std::string asked;
    int versions = 0;
    bool download_error = true;
    int http_error = Untouched;
    int file_share_error = Untouched;
    int* own_error = nullptr;   ///< the code of what is asked for
    int* other_error = nullptr; ///< which such a request leaves alone
};

INSTANTIATE_TEST_SUITE_P(Both, Any_Request, testing::Values("Inet", "Share"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Any_Request, TheFirstOneFetches) {
    values["sweep"] = "sweep_first";
    values["old_note"] = "No old cached file detected in metadata.";
    const std::string copy = Get();
    EXPECT_EQ(copy, Copy(1));
    EXPECT_EQ(Content(copy), asked == url ? body : source);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(*own_error, 0);
    EXPECT_EQ(*other_error, Untouched);
    Expect_Request("policy_first", copy);
}

TEST_P(Any_Request, WithinTheExpiryPeriodNothingIsAsked) {
    const std::string copy = Get();
    for (const std::uint64_t minutes : {0U, 59U, 1U}) { // the last one reaches the end of the period
        Pass_Minutes(minutes);
        Note_Old_Copy(copy);
        EXPECT_EQ(Get(), copy);
        EXPECT_FALSE(download_error);
        EXPECT_EQ(http_error, Untouched);
        EXPECT_EQ(file_share_error, Untouched);
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_EQ(os->Calls_Of("Stat_File"), 0U);
        Expect_Records("= lookup_remote < {old_note}\nD Get_Cached_File_and_Status: return value:({old_copy})");
    }
}

TEST_P(Any_Request, AfterTheExpiryPeriodTheVersionsAreCompared) {
    const std::string copy = Get();
    Pass_Minutes(60);
    ++os->current_time;
    Note_Old_Copy(copy);
    EXPECT_EQ(Get(), copy);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(*own_error, 0);
    EXPECT_EQ(Sent("GET") + os->Calls_Of("Copy_File"), 0U);
    EXPECT_EQ(Sent("HEAD") + os->Calls_Of("Stat_File"), 1U);
    Expect_Request("policy_unchanged", copy);
    Pass_Minutes(60);
    Forget();
    EXPECT_EQ(Get(), copy) << "the comparison starts the period anew";
    EXPECT_EQ(Sent("HEAD") + os->Calls_Of("Stat_File"), 0U);
}

TEST_P(Any_Request, AnotherVersionReplacesTheCopy) {
    std::string old_copy = Get();
    for (const int number : {2, 3}) {
        Pass_Minutes(61);
        Note_Old_Copy(old_copy);
        Send_Another_Version();
        const std::string copy = Get();
        EXPECT_EQ(copy, Copy(number));
        EXPECT_EQ(Content(copy), asked == url ? body : source);
        EXPECT_FALSE(std::filesystem::exists(old_copy));
        EXPECT_FALSE(download_error);
        EXPECT_EQ(*own_error, 0);
        // The check ends with another result than that of the file.
        values["check"] = asked == url ? "http_head_expired" : "share_check_expired";
        Expect_Request("policy_expired", copy);
        old_copy = copy;
    }
}

TEST_P(Any_Request, WithoutAServerTheCopyIsServed) {
    const std::string copy = Get();
    const std::string content = Content(copy);
    const std::uint64_t checked = cache.m_Cache_Entries.at(asked).last_checked_remotely;
    Pass_Minutes(61);
    Take_Server_Down();
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_EQ(*other_error, Untouched);
    EXPECT_EQ(Content(copy), content);
    EXPECT_EQ(cache.m_Cache_Entries.at(asked).last_checked_remotely, checked);
    values["code"] = asked == url ? "2" : "1";
    values["copy"] = copy;
    Expect_Record(s_check_failed + "\n" + s_says + "Cached file '{copy}' for URL '{url}' will be used.");
    values["reported"] = "COM exception: \n " + Com_Error_Text() + " \nWin32 error code: 12029";
    values["new_copy"] = Copy(2);
    Expect_Records(asked == url ? "E Is_Inet_URL_Expired: {reported}" + s_second_client +
                                      "W Is_Inet_URL_Expired: Last-Modified header is empty.\n"
                                      "E Download_Inet_URL: {reported}\\" +
                                      s_second_client
                                : s_share_failures,
                   Above_Additional_Data());
    EXPECT_EQ(cache.Get_Additional_Error_Info(), asked == url ? Com_Error_Text() : "");
}

TEST_P(Any_Request, WithoutAServerAndACopyThereIsNoFile) {
    Take_Server_Down();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    Expect_Last_Records(s_says + "return value:()\nD Get_Cached_File_and_Status: return value:('')");
}

TEST_P(Any_Request, ACopyThatIsGoneIsFetchedAgain) {
    std::filesystem::remove(Get());
    Forget();
    EXPECT_EQ(Get(), Copy(2));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(Sent("HEAD") + Sent("GET") + os->Calls_Of("Stat_File"), 2U) << "checked and fetched";
    Expect_Record(s_says + "Cached file for '{url}' does not exist. Will be downloaded.");

    std::filesystem::remove(Copy(2));
    Take_Server_Down();
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_EQ(Sent("GET") + os->Calls_Of("Copy_File"), 2U) << "asked for twice";
}

TEST_P(Any_Request, ACopyThatCannotBeNamedLeavesTheLastGoodOne) {
    const std::string old_copy = Get();
    g_services.uuid_throws = true;
    for (const HResult sent : {HResult{0}, Certificate_Error}) { // by the first and by the second client
        Send_Another_Version();
        Pass_Minutes(61);
        Script().send = sent;
        EXPECT_EQ(Get(), old_copy);
        EXPECT_TRUE(download_error);
        EXPECT_EQ(*own_error, 2);
        EXPECT_TRUE(std::filesystem::exists(old_copy));
    }
}

} // namespace
