#include "tests/unit/support/Share_Fixture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string s_lookup = "Get_Cached_File_and_Status";
const std::string s_policy = "Get_Cached_Remote_File";

/// Requests as a host makes them, for a URL or for a file on a share.
class Remote_Request : public Share_Fixture {
protected:
    static constexpr int Ordinary = 213;
    static constexpr int Untouched = -77;
    static constexpr std::uint64_t Minute = 600000000;

    void SetUp() override {
        Share_Fixture::SetUp();
        os->expiry_minutes = 60;
        g_services.uuids.clear(); // each copy gets the next number
        values["no_handle"] = Address_Text(QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle);
        Ask_For(url);
    }

    /// What Get() asks for, and whole sequences are of.
    void Ask_For(const std::string& request) {
        asked = request;
        const bool inet = asked == url;
        values["url"] = asked;
        values["kind"] = inet ? "inet" : "share";
        values["is_share"] = inet ? "false" : "true";
        values["policy"] = "policy_first";
        values["download"] = inet ? "http_get" : "share_copy";
        values["check"] = inet ? "http_head" : "share_check";
        own_error = inet ? &http_error : &file_share_error;
        other_error = inet ? &file_share_error : &http_error;
    }

    std::string Get(const std::string& request, int request_kind = Ordinary) {
        download_error = true;
        http_error = Untouched;
        file_share_error = Untouched;
        return cache.Get_Cached_File_and_Status(request, request_kind, download_error, &http_error, &file_share_error);
    }
    std::string Get() { return Get(asked); }

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
        Expect_Records("lookup_remote");
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

    /// A note of level 4 of the policy.
    static testing::Matcher<Records> Policy_Says(const std::string& text) {
        return Contains(Data(s_policy, text + "\n").front());
    }
    std::string Check_Failed(int code) const {
        return "Error(code=" + std::to_string(code) +
               ") in determine URL/file Expired, Try to download the remote file '" + asked + "' directly.";
    }

    std::string asked;
    int versions = 0;
    bool download_error = true;
    int http_error = Untouched;
    int file_share_error = Untouched;
    int* own_error = nullptr;   ///< the code of what is asked for
    int* other_error = nullptr; ///< which such a request leaves alone
};

// What is true of both kinds

class Any_Request : public Remote_Request, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        Remote_Request::SetUp();
        Ask_For(GetParam() == std::string("Inet") ? url : share);
    }
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
        Expect_Lines(Before("lookup_remote", "Old cached file") + Return(s_lookup, copy), All());
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
    EXPECT_THAT(All(), Policy_Says(Check_Failed(asked == url ? 2 : 1)));
    EXPECT_THAT(All(), Policy_Says("Cached file '" + copy + "' for URL '" + asked + "' will be used."));
}

TEST_P(Any_Request, WithoutAServerAndACopyThereIsNoFile) {
    Take_Server_Down();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    const Records end = Return(s_policy, "") + Return(s_lookup, "''");
    EXPECT_EQ(Last(All(), end.size()), end);
}

TEST_P(Any_Request, ACopyThatIsGoneIsFetchedAgain) {
    std::filesystem::remove(Get());
    Forget();
    EXPECT_EQ(Get(), Copy(2));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(Sent("HEAD") + Sent("GET") + os->Calls_Of("Stat_File"), 2U) << "checked and fetched";
    EXPECT_THAT(All(), Policy_Says("Cached file for '" + asked + "' does not exist. Will be downloaded."));
}

TEST_P(Any_Request, ACopyThatIsGoneIsAskedForTwiceWithoutAServer) {
    std::filesystem::remove(Get());
    Take_Server_Down();
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_EQ(Sent("GET") + os->Calls_Of("Copy_File"), 2U);
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

TEST_P(Any_Request, ACodeOfTheOtherKindShowsInTheRecordOfAnExpiredCopy) {
    Get();
    Pass_Minutes(61);
    Send_Another_Version();
    (asked == url ? cache.m_errFileShareDownLoad : cache.m_errHTTPFileDownLoad) = 2;
    Forget();
    EXPECT_NE(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(*own_error, 0);
    EXPECT_THAT(All(), Policy_Says(Check_Failed(2)));
}

TEST_P(Any_Request, ACodeThreeOfTheOtherKindKeepsTheCopyFromBeingServed) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Send_Another_Version();
    Take_Server_Down();
    (asked == url ? cache.m_errFileShareDownLoad : cache.m_errHTTPFileDownLoad) = 3;
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(*own_error, 2);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
}

TEST_P(Any_Request, TheOutFlagIsWrittenWhateverItWas) {
    for (const bool before : {false, true}) {
        download_error = before;
        EXPECT_NE(cache.Get_Cached_File_and_Status(asked, Ordinary, download_error, nullptr, nullptr), "");
        EXPECT_FALSE(download_error);
    }
    Take_Server_Down();
    Pass_Minutes(61);
    for (const bool before : {false, true}) {
        download_error = before;
        EXPECT_NE(cache.Get_Cached_File_and_Status(asked, Ordinary, download_error, nullptr, nullptr), "");
        EXPECT_TRUE(download_error);
    }
}

// Internet URLs

class Inet_Request : public Remote_Request {};

TEST_F(Inet_Request, WithoutAServerAllThatWentWrongIsReported) {
    Get();
    Pass_Minutes(61);
    Take_Server_Down();
    Forget();
    Get();
    const std::string head = "Is_Inet_URL_Expired";
    const std::string get = "Download_Inet_URL";
    const std::string process = "Process_Inet_URL_By_WinInet";
    const std::string attempt = "Download_Inet_URL_By_WinInet";
    const std::string reported = "COM exception: \n " + Com_Error_Text() + " \nWin32 error code: 12029";
    const Records second_client =
        Error(process, "CertErrorHandlingMode: 'Default'.\n") +
        Error(attempt, "HTTP request failed with status 12029. On HTTP error we cannot download the file.\n") +
        Error(process, "Download_Inet_URL_By_WinInet: ok: 0, download_error: 1, m_errHTTPFileDownLoad: 2.\n");
    EXPECT_EQ(Above_Additional_Data(), Error(head, reported + "\n") + second_client +
                                           Warning(head, "Last-Modified header is empty.\n") + Error(get, reported) +
                                           second_client);
    EXPECT_EQ(cache.Get_Additional_Error_Info(), Com_Error_Text());
}

TEST_F(Inet_Request, AServerThatRefusesHeadIsAskedForTheFile) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    g_services.requests_created = 0;
    g_services.requests.push_back(Script());
    Script().status = {405};
    Forget();
    const std::string copy = Get();
    EXPECT_NE(copy, "");
    EXPECT_NE(copy, old_copy);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 1) << "the code of the check stays visible";
    EXPECT_THAT(All(), Policy_Says(Check_Failed(1)));
}

TEST_F(Inet_Request, AMissingFileIsServedFromTheCopy) {
    const std::string copy = Get();
    Pass_Minutes(61);
    Script().status = {404};
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(copy));
}

TEST_F(Inet_Request, AServerWithoutStampsIsAskedForTheFileEachTime) {
    Script().headers.erase("Last-Modified");
    const std::string first = Get();
    Pass_Minutes(61);
    const std::string second = Get();
    EXPECT_NE(second, first);
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_EQ(http_error, 0);
    EXPECT_THAT(All(), Contains(Warning("Is_Inet_URL_Expired", "Last-Modified header is empty.\n").front()));
}

TEST_F(Inet_Request, ACodeOfAnEarlierRequestStaysVisible) {
    Take_Server_Down();
    EXPECT_EQ(Get("https://server/other.xml"), "");
    Script().send = 0;
    EXPECT_NE(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 2);
    Pass_Minutes(61);
    EXPECT_NE(Get(), "");
    EXPECT_EQ(http_error, 0) << "the next check starts anew";
}

TEST_F(Inet_Request, AnEntryThatWentDuringTheCheckIsDownloadedAnew) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    g_services.requests_created = 0;
    g_services.requests.push_back(Script());
    Script().during_send = [this] { cache.m_Cache_Entries.clear(); };
    Forget();
    const std::string copy = Get();
    EXPECT_EQ(copy, In_Cache("00000000-0000-0000-0000-000000000002.xml"));
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_EQ(Above_Additional_Data(),
              Error("Is_Inet_URL_Expired", "Could not find cached entry for checked URL: '" + url + "'\n"));
    EXPECT_THAT(All(), Contains(Data(s_lookup, "Deleted obsolete cached file: '" + old_copy + "'.\n").front()));
}

TEST_F(Inet_Request, AnEntryThatWentDuringTheWholeRequestLeavesNothingToServe) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Script().during_send = [this] { cache.m_Cache_Entries.clear(); };
    Script().status = {200, 200, 200};
    g_services.requests_created = 0;
    g_services.requests.push_back(Script());
    g_services.requests.back().status = {404};
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_THAT(
        All(), Contains(Error(s_policy, "Cached file unexpectedly not found at this point: '" + url + "'.\n").front()));
}

TEST_F(Inet_Request, ANewCacheOnTheDirectoryServesTheSameCopy) {
    const std::string copy = Get();
    const std::string unreferenced = Write_File(In_Cache("99999999-0000-0000-0000-000000000001.xml"), "left over");
    CFileCache restarted(os);
    ASSERT_TRUE(restarted.Set_Cache_Directory(cache_directory));
    Forget();
    EXPECT_EQ(restarted.Get_Cached_File(url), copy);
    EXPECT_THAT(g_services.request_calls, IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(copy));
    EXPECT_FALSE(std::filesystem::exists(unreferenced)) << "the first request sweeps the directory";
}

// Certificates

class Certificate_Request : public Inet_Request {
protected:
    void SetUp() override {
        Inet_Request::SetUp();
        Script().send = Certificate_Error;
    }
};

TEST_F(Certificate_Request, ABadCertificateIsReportedToTheHost) {
    g_services.client.status = 12045;
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_EQ(cache.Get_Additional_Error_Info(), Com_Error_Text());
}

TEST_F(Certificate_Request, AWhiteListedUrlIsServedForItsWholeLife) {
    g_services.cert_mode = 1;
    g_services.white_list = {url};
    const std::string first = Get();
    EXPECT_EQ(Content(first), second_body);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
    EXPECT_EQ(cache.Get_Additional_Error_Info(), "");

    Pass_Minutes(61);
    EXPECT_EQ(Get(), first) << "the second client's stamp is the stored one";
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);

    Pass_Minutes(61);
    g_services.client.headers["Last-Modified"] = "another stamp";
    const std::string second = Get();
    EXPECT_NE(second, first);
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, "another stamp");

    Pass_Minutes(61);
    g_services.white_list = {url + "/"};
    EXPECT_EQ(Get(), second) << "no longer listed: the last copy is all there is";
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_EQ(cache.Get_Additional_Error_Info(), Com_Error_Text());
}

TEST_F(Certificate_Request, AnUnknownModeTriesNoSecondTime) {
    g_services.cert_mode = 7;
    cache.m_Additional_Error_Info = "before";
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_THAT(g_services.client_calls, IsEmpty());
    EXPECT_EQ(cache.Get_Additional_Error_Info(), "");
}

TEST_F(Certificate_Request, AGoodResponseToTheFirstClientEndsTheUseOfTheSecond) {
    g_services.cert_mode = 2;
    Get();
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    Script().send = 0;
    Script().status = {404};
    Pass_Minutes(61);
    Forget();
    Get();
    EXPECT_FALSE(cache.m_Cert_Error_Detected);
    EXPECT_THAT(g_services.client_calls, IsEmpty());
}

TEST_F(Certificate_Request, AnEarlierTransportErrorSendsTheSecondClientWhereNoObjectCanBeHad) {
    g_services.cert_mode = 2;
    const std::string first = Get();
    Script().creation_fails = true;
    Pass_Minutes(61);
    EXPECT_EQ(Get(), first);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
}

// Files on shares

class Share_Request : public Remote_Request {
protected:
    void SetUp() override {
        Remote_Request::SetUp();
        Ask_For(share);
    }
};

TEST_F(Share_Request, WithoutAServerAllThatWentWrongIsReported) {
    Get();
    Pass_Minutes(61);
    Take_Server_Down();
    Forget();
    Get();
    EXPECT_EQ(Above_Additional_Data(),
              Warning("Is_File_Share_Expired", "File share URL cannot be stat-ed: '" + share +
                                                   "', error code 53. try to download the shared file directly.\n") +
                  Warning("Download_File_Share", "Trying to download a file share URL that cannot be stat-ed: '" +
                                                     share + "', error code 53.\n") +
                  Error("Download_File_Share", "Copy file failed for URL: '" + share + "', cached file: '" + Copy(2) +
                                                   "' , GetLastError returned 53.\n"));
}

TEST_F(Share_Request, AFileThatCannotBeExaminedIsCopiedAndItsCodeStays) {
    stat_error = 5;
    const std::string copy = Get();
    EXPECT_EQ(Content(copy), source);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 1);
    EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, "0");
    Pass_Minutes(61);
    stat_error = 0;
    source_time = 0;
    EXPECT_EQ(Get(), copy) << "the time 0 is the stamp of a file that could not be examined";
    EXPECT_EQ(file_share_error, 0);
}

TEST_F(Share_Request, ACopyThatIsNotThereLeavesTheLastGoodOne) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    ++source_time;
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 1; };
    EXPECT_EQ(Get(), old_copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 4);
}

TEST_F(Share_Request, WithoutItsDirectoryNothingIsServedAndNoErrorFlagged) {
    std::filesystem::remove_all(directory);
    EXPECT_EQ(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_FALSE(std::filesystem::exists(directory));
}

TEST_F(Share_Request, AFileUrlOfAShareIsServedAsTheSharesPath) {
    const std::string copy = Get("file://server/share/landscape.xml");
    EXPECT_EQ(Content(copy), source);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_EQ(cache.m_Cache_Entries.count(share), 1U);
    EXPECT_EQ(Get(), copy);
}

} // namespace
