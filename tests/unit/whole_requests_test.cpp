#include "tests/unit/support/Expected_Steps.h"
#include "tests/unit/support/Http_Fixture.h"
#include "tests/unit/support/Request_Fixture.h"
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

// Internet URLs

class Inet_Request : public Request_Fixture<Http_Fixture> {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        os->expiry_minutes = 60;
        g_services.uuids.clear(); // each copy gets the next number
    }

    std::string Get() { return Request_Fixture::Get(url); }

    static std::size_t Sent(const std::string& method) {
        const auto& calls = g_services.request_calls;
        return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
            return call.starts_with("Open(" + method + ",");
        }));
    }

    static void Server_Sends_Another_Version() { Script().headers["Last-Modified"] = "another stamp"; }

    static void Server_Is_Down() {
        Script().send = Result_Of(0x80072EFD);
        g_services.client.status = 12029;
    }

    Records Classified() const {
        return Is_Local_Inet(url) + Kind_Test("Is_File_Share", url, false) + Is_Local_Inet(url);
    }

    Records Inet_Url_Detected() const {
        return Kind_Test("Is_Inet_URL", url, true) + Data(s_lookup, "Inet URL detected: '" + url + "'.\n");
    }

    Records Policy_Entered() const { return Call(s_policy, "url='" + url + "', expired_f/downloader_f not traced."); }

    /// The records of a request of this type up to the test of its good status.
    Records Answered(const std::string& method, const std::string& type) const {
        const Records created = type == "GET" ? Data(method, "Creatign HTTP request object.\n") : Records();
        return Call(method, "url='" + url + "'") + created +
               Data(method, "Opening HTTP " + type + " request with URL '" + url + "'.\n") +
               Data(method, "Sending HTTP " + type + " request with URL '" + url + "'.\n") +
               Data(method, "HTTP status = 200.\n") + Data(method, "HTTP status = 200.\n") + Status_Test(200, true);
    }

    /// The records of a download up to the closed file.
    Records Downloaded(const std::string& last_modified, const std::string& copy) const {
        const std::string method = "Download_Inet_URL";
        const std::string buf = copy.substr(0, copy.size() - 4);
        return Answered(method, "GET") + Data(method, "Last-Modified header: '" + last_modified + "'.\n") +
               Data(method, "Content-Type header: 'text/xml'.\n") +
               Data(method, "Response body is of correct type - byte array.\n") + Data(method, "dims = 1\n") +
               Data(method, "lbound = 0, ubound = 12\n") +
               Named_From_Contents("text/xml", body.data(), 12, buf, ".xml") +
               Data(method, "cache_entry.cached_file = '" + copy + "', Writing contents to the file...\n") +
               Data(method, "Closed file '" + copy + "'.\n");
    }
};

TEST_F(Inet_Request, TheFirstOneDownloads) {
    const std::string copy = Get();
    EXPECT_EQ(copy, In_Cache("00000000-0000-0000-0000-000000000001.xml"));
    EXPECT_EQ(Content(copy), body);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_EQ(All(), First_Request_Entered(url) + Classified() +
                         Data(s_lookup, "No old cached file detected in metadata.\n") + Inet_Url_Detected() +
                         Policy_Entered() +
                         Data(s_policy, "Remote file '" + url + "' not found in cache. Will be downloaded.\n") +
                         Downloaded(stamp, copy) + First_Copy_Recorded(Metadata_Path(), url, Entry_Text(copy, stamp)) +
                         Return("Download_Inet_URL", "rtn = " + copy) + Return(s_policy, copy) + Returned(copy));
}

TEST_F(Inet_Request, WithinTheExpiryPeriodNothingIsSent) {
    const std::string copy = Get();
    for (const std::uint64_t minutes : {0U, 59U, 1U}) { // the last one reaches the end of the period
        Pass_Minutes(minutes);
        Forget();
        EXPECT_EQ(Get(), copy);
        EXPECT_FALSE(download_error);
        EXPECT_EQ(http_error, Untouched);
        EXPECT_EQ(file_share_error, Untouched);
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_EQ(All(), Later_Request_Entered(url) + Classified() + Returned(copy));
    }
}

TEST_F(Inet_Request, AfterTheExpiryPeriodTheStampIsCompared) {
    const std::string copy = Get();
    Pass_Minutes(60);
    ++os->current_time;
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
    EXPECT_EQ(Sent("HEAD"), 1U);
    EXPECT_EQ(Sent("GET"), 0U);
    const std::string check = "Is_Inet_URL_Expired";
    EXPECT_EQ(All(), Later_Request_Entered(url) + Classified() + Data(s_lookup, "Old cached file: " + copy + "\n") +
                         Inet_Url_Detected() + Policy_Entered() + Answered(check, "HEAD") +
                         Data(check, "Last-Modified header: '" + stamp + "'.\n") +
                         Metadata_Written(Metadata_Path(), url, Entry_Text(copy, stamp)) +
                         Data(check, "Modification time is the same. Still fresh URL '" + url + "'/'" + copy + "'\n") +
                         Return(check, "false") +
                         Data(s_policy, "Cached file '" + copy + "' for URL '" + url + "' will be used.\n") +
                         Return(s_policy, "rtn = " + copy) + Returned(copy));
    Pass_Minutes(60);
    Forget();
    EXPECT_EQ(Get(), copy) << "the comparison starts the period anew";
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

TEST_F(Inet_Request, AnotherVersionReplacesTheCopy) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Server_Sends_Another_Version();
    Forget();
    const std::string copy = Get();
    EXPECT_EQ(copy, In_Cache("00000000-0000-0000-0000-000000000002.xml"));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_EQ(Sent("HEAD"), 1U);
    EXPECT_EQ(Sent("GET"), 1U);
    const std::string check = "Is_Inet_URL_Expired";
    EXPECT_EQ(All(), Later_Request_Entered(url) + Classified() + Data(s_lookup, "Old cached file: " + old_copy + "\n") +
                         Inet_Url_Detected() + Policy_Entered() + Answered(check, "HEAD") +
                         Data(check, "Last-Modified header: 'another stamp'.\n") +
                         Data(check, "Cache entry needs updating for URL '" + url +
                                         "', last modified URL = 'another stamp', old cache entry: " +
                                         Entry_Text(old_copy, stamp) + "\n") +
                         Return(check, "true") +
                         Data(s_policy, "Remote file '" + url + "' is expired. Will be downloaded.\n") +
                         Downloaded("another stamp", copy) +
                         Copy_Replaced(Metadata_Path(), url, Entry_Text(copy, "another stamp"), old_copy, stamp) +
                         Return("Download_Inet_URL", "rtn = " + copy) + Return(s_policy, copy) + Returned(copy));
}

TEST_F(Inet_Request, AnOldCopyThatIsInUseIsDeletedAtTheSecondTry) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Server_Sends_Another_Version();
    bool in_use = true;
    os->on_delete_file = [&](const std::string& path) {
        return !std::exchange(in_use, false) && std::filesystem::remove(path);
    };
    Forget();
    EXPECT_NE(Get(), old_copy);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_EQ(Above_Additional_Data(), Warning("Remove_From_Cache", "File could not be deleted, url = '" + url +
                                                                        "', cached_file = '" + old_copy + "'.\n"));
    EXPECT_THAT(All(), Contains(Data(s_lookup, "Deleted obsolete cached file: '" + old_copy + "'.\n").front()));
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Inet_Request, AnOldCopyThatStaysInUseIsReported) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Server_Sends_Another_Version();
    os->on_delete_file = [](const std::string&) { return false; };
    Forget();
    const std::string copy = Get();
    EXPECT_NE(copy, old_copy);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, copy);
    EXPECT_EQ(Above_Additional_Data(), Warning("Remove_From_Cache", "File could not be deleted, url = '" + url +
                                                                        "', cached_file = '" + old_copy + "'.\n") +
                                           Error(s_lookup, "Error deleting obsolete cached file: '" + old_copy +
                                                               "', delete_ok=false, still_exists=true.\n"));
}

TEST_F(Inet_Request, WithoutAServerTheCopyIsServed) {
    const std::string copy = Get();
    Pass_Minutes(61);
    Server_Is_Down();
    const std::uint64_t checked = cache.m_Cache_Entries.at(url).last_checked_remotely;
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_EQ(Content(copy), body);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, checked);
    EXPECT_EQ(cache.Get_Additional_Error_Info(), Com_Error_Text());
    EXPECT_EQ(Of({s_policy}),
              Policy_Entered() +
                  Data(s_policy, "Error(code=2) in determine URL/file Expired, Try to download the remote file '" +
                                     url + "' directly.\n") +
                  Data(s_policy, "Cached file '" + copy + "' for URL '" + url + "' will be used.\n") +
                  Return(s_policy, "rtn = " + copy));
}

TEST_F(Inet_Request, WithoutAServerAllThatWentWrongIsTold) {
    Get();
    Pass_Minutes(61);
    Server_Is_Down();
    Forget();
    Get();
    const std::string head = "Is_Inet_URL_Expired";
    const std::string get = "Download_Inet_URL";
    const std::string process = "Process_Inet_URL_By_WinInet";
    const std::string attempt = "Download_Inet_URL_By_WinInet";
    const std::string told = "COM exception: \n " + Com_Error_Text() + " \nWin32 error code: 12029";
    const Records second_client =
        Error(process, "CertErrorHandlingMode: 'Default'.\n") +
        Error(attempt, "HTTP request failed with status 12029. On HTTP error we cannot download the file.\n") +
        Error(process, "Download_Inet_URL_By_WinInet: ok: 0, download_error: 1, m_errHTTPFileDownLoad: 2.\n");
    EXPECT_EQ(Above_Additional_Data(), Error(head, told + "\n") + second_client +
                                           Warning(head, "Last-Modified header is empty.\n") + Error(get, told) +
                                           second_client);
}

TEST_F(Inet_Request, WithoutAServerAndACopyThereIsNoFile) {
    Server_Is_Down();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_EQ(Of({s_policy}),
              Policy_Entered() + Data(s_policy, "Remote file '" + url + "' not found in cache. Will be downloaded.\n") +
                  Return(s_policy, "''"));
    const Records all = All();
    const Records end = Returned("''");
    ASSERT_GT(all.size(), end.size());
    EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
}

TEST_F(Inet_Request, ACopyThatIsGoneIsDownloadedAgain) {
    const std::string lost = Get();
    std::filesystem::remove(lost);
    Forget();
    const std::string copy = Get();
    EXPECT_EQ(copy, In_Cache("00000000-0000-0000-0000-000000000002.xml"));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(Sent("HEAD"), 1U);
    EXPECT_EQ(Sent("GET"), 1U);
    EXPECT_THAT(
        All(), Contains(Data(s_policy, "Cached file for '" + url + "' does not exist. Will be downloaded.\n").front()));
}

TEST_F(Inet_Request, ACopyThatIsGoneIsAskedForTwiceWithoutAServer) {
    std::filesystem::remove(Get());
    Server_Is_Down();
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_EQ(Sent("HEAD"), 1U);
    EXPECT_EQ(Sent("GET"), 2U);
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
    EXPECT_THAT(All(),
                Contains(Data(s_policy, "Error(code=1) in determine URL/file Expired, Try to download the remote "
                                        "file '" +
                                            url + "' directly.\n")
                             .front()));
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
    Server_Is_Down();
    EXPECT_EQ(Request_Fixture::Get("https://server/other.xml"), "");
    Script().send = 0;
    EXPECT_NE(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 2);
    Pass_Minutes(61);
    EXPECT_NE(Get(), "");
    EXPECT_EQ(http_error, 0) << "the next check starts anew";
}

TEST_F(Inet_Request, ACodeOfAShareIsToldOfAnExpiredUrl) {
    Get();
    Pass_Minutes(61);
    Server_Sends_Another_Version();
    cache.m_errFileShareDownLoad = 4;
    Forget();
    Get();
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, 0);
    EXPECT_THAT(All(),
                Contains(Data(s_policy, "Error(code=4) in determine URL/file Expired, Try to download the remote "
                                        "file '" +
                                            url + "' directly.\n")
                             .front()));
}

TEST_F(Inet_Request, ACodeThreeOfAShareKeepsTheCopyFromBeingServed) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    Server_Is_Down();
    cache.m_errFileShareDownLoad = 3;
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 2);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
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

TEST_F(Inet_Request, ACopyThatCannotBeNamedIsStoodInForByTheOlderOne) {
    const std::string old_copy = Get();
    Server_Sends_Another_Version();
    g_services.uuid_throws = true;
    for (const HResult sent : {HResult{0}, Certificate_Error}) { // by the first and by the second client
        Pass_Minutes(61);
        Script().send = sent;
        EXPECT_EQ(Get(), old_copy);
        EXPECT_TRUE(download_error);
        EXPECT_EQ(http_error, 2);
        EXPECT_TRUE(std::filesystem::exists(old_copy));
    }
}

TEST_F(Inet_Request, TheOutFlagIsWrittenWhateverItWas) {
    for (const bool before : {false, true}) {
        download_error = before;
        EXPECT_NE(cache.Get_Cached_File_and_Status(url, Ordinary, download_error, nullptr, nullptr), "");
        EXPECT_FALSE(download_error);
    }
    Server_Is_Down();
    Pass_Minutes(61);
    for (const bool before : {false, true}) {
        download_error = before;
        EXPECT_NE(cache.Get_Cached_File_and_Status(url, Ordinary, download_error, nullptr, nullptr), "");
        EXPECT_TRUE(download_error);
    }
}

TEST_F(Inet_Request, TheKindOfTheRequestDoesNotMatter) {
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    const std::string copy = Get();
    for (const int kind : {201, 202, 213, 0}) {
        EXPECT_EQ(Request_Fixture::Get(url, kind), copy);
    }
    EXPECT_THAT(g_services.path_calls, IsEmpty());
}

TEST_F(Inet_Request, TheShortFormServesTheSameCopy) {
    const std::string copy = cache.Get_Cached_File(url);
    EXPECT_EQ(Content(copy), body);
    EXPECT_EQ(Get(), copy);
}

TEST_F(Inet_Request, WithoutADirectoryThereIsNoFile) {
    CFileCache unconfigured(os);
    download_error = true;
    Forget();
    EXPECT_EQ(unconfigured.Get_Cached_File_and_Status(url, Ordinary, download_error, &http_error, &file_share_error),
              "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_THAT(g_services.request_calls, IsEmpty());
    EXPECT_EQ(Above_Additional_Data(), Error(s_lookup, "Cache directory has not been configured.\n"));
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

TEST_F(Certificate_Request, ABadCertificateIsToldToTheHost) {
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

TEST_F(Certificate_Request, AGoodAnswerOfTheFirstClientEndsTheUseOfTheSecond) {
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

class Share_Request : public Request_Fixture<Share_Fixture> {
protected:
    void SetUp() override {
        Share_Fixture::SetUp();
        os->expiry_minutes = 60;
        g_services.uuids.clear(); // each copy gets the next number
    }

    std::string Get() { return Request_Fixture::Get(share); }

    Records Classified() const {
        return Is_Local_Share(share) + Kind_Test("Is_File_Share", share, true) + Is_Local_Share(share);
    }

    Records Share_Detected() const {
        return Kind_Test("Is_Inet_URL", share, false) + Kind_Test("Is_File_Share", share, true) +
               Data(s_lookup, "File share URL detected: '" + share + "'.\n");
    }

    Records Policy_Entered() const { return Call(s_policy, "url='" + share + "', expired_f/downloader_f not traced."); }

    /// The records of a copy up to the note that it was made.
    Records Copied(const std::string& copy) const {
        const std::string method = "Download_File_Share";
        const std::string naming = "Generate_Cached_File_Name_from_File_Share";
        return Call(method, "url='" + share + "'") + Is_Local_Share(share) + Kind_Test("Is_Inet_URL", share, false) +
               Data(method, "Downloading file share '" + share + "', stat error code 0, mtime = " +
                                std::to_string(static_cast<std::int32_t>(source_time)) + ".\n") +
               Call(naming, "absolute_path='" + share + "'") + Data(naming, "File's extension is 'xml'\n") +
               Call("Filter_Dangerous_Extensions", "extension='.xml'") + Return("Filter_Dangerous_Extensions", ".xml") +
               Return(naming, copy) + Note(method, "Copied file '" + share + "' to the cached file: '" + copy + "'.\n");
    }

    /// Answers that the file is there, writable or not.
    static void Original_Is_There(std::uint32_t attributes) {
        g_services.on_path_exists = [](const std::string&) { return true; };
        g_services.on_get_file_attributes = [attributes](const std::string&) { return attributes; };
    }
};

TEST_F(Share_Request, TheFirstOneCopies) {
    const std::string copy = Get();
    EXPECT_EQ(copy, In_Cache("00000000-0000-0000-0000-000000000001.xml"));
    EXPECT_EQ(Content(copy), source);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(All(),
              First_Request_Entered(share) + Classified() +
                  Data(s_lookup, "No old cached file detected in metadata.\n") + Share_Detected() + Policy_Entered() +
                  Data(s_policy, "Remote file '" + share + "' not found in cache. Will be downloaded.\n") +
                  Copied(copy) + First_Copy_Recorded(Metadata_Path(), share, Entry_Text(copy, "132000000000000001")) +
                  Return("Download_File_Share", "'" + copy + "'") + Return(s_policy, copy) + Returned(copy));
}

TEST_F(Share_Request, WithinTheExpiryPeriodTheShareIsNotAsked) {
    const std::string copy = Get();
    Pass_Minutes(60);
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_EQ(os->Calls_Of("Stat_File"), 0U);
    EXPECT_EQ(All(), Later_Request_Entered(share) + Classified() + Returned(copy));
}

TEST_F(Share_Request, AnUnchangedFileIsServedFromTheCopy) {
    const std::string copy = Get();
    Pass_Minutes(61);
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
    EXPECT_EQ(All(), Later_Request_Entered(share) + Classified() + Data(s_lookup, "Old cached file: " + copy + "\n") +
                         Share_Detected() + Policy_Entered() + Call("Is_File_Share_Expired", "url='" + share + "'") +
                         Metadata_Written(Metadata_Path(), share, Entry_Text(copy, "132000000000000001")) +
                         Return("Is_File_Share_Expired", "false") +
                         Data(s_policy, "Cached file '" + copy + "' for URL '" + share + "' will be used.\n") +
                         Return(s_policy, "rtn = " + copy) + Returned(copy));
    Pass_Minutes(60);
    Forget();
    Get();
    EXPECT_EQ(os->Calls_Of("Stat_File"), 0U) << "the comparison starts the period anew";
}

TEST_F(Share_Request, AChangedFileIsCopiedAgain) {
    const std::string first = Get();
    for (const std::int64_t time : {source_time + 1, source_time - 1}) { // an earlier time is a change too
        Pass_Minutes(61);
        const std::string old_copy = cache.m_Cache_Entries.at(share).cached_file;
        const std::string old_stamp = cache.m_Cache_Entries.at(share).last_modified;
        source_time = time;
        source = "version of " + std::to_string(time);
        Forget();
        const std::string copy = Get();
        EXPECT_EQ(Content(copy), source);
        EXPECT_FALSE(std::filesystem::exists(old_copy));
        EXPECT_FALSE(download_error);
        EXPECT_EQ(file_share_error, 0);
        EXPECT_EQ(
            All(),
            Later_Request_Entered(share) + Classified() + Data(s_lookup, "Old cached file: " + old_copy + "\n") +
                Share_Detected() + Policy_Entered() + Call("Is_File_Share_Expired", "url='" + share + "'") +
                Return("Is_File_Share_Expired", "true") +
                Data(s_policy, "Remote file '" + share + "' is expired. Will be downloaded.\n") + Copied(copy) +
                Copy_Replaced(Metadata_Path(), share, Entry_Text(copy, std::to_string(time)), old_copy, old_stamp) +
                Return("Download_File_Share", "'" + copy + "'") + Return(s_policy, copy) + Returned(copy));
    }
}

TEST_F(Share_Request, WithoutAServerTheCopyIsServed) {
    const std::string copy = Get();
    Pass_Minutes(61);
    stat_error = 53;
    copy_fails = true;
    g_services.last_error = 53;
    Forget();
    EXPECT_EQ(Get(), copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 2);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(Content(copy), source);
    const std::string unmade = In_Cache("00000000-0000-0000-0000-000000000002.xml");
    EXPECT_EQ(Above_Additional_Data(),
              Warning("Is_File_Share_Expired", "File share URL cannot be stat-ed: '" + share +
                                                   "', error code 53. try to download the shared file directly.\n") +
                  Warning("Download_File_Share", "Trying to download a file share URL that cannot be stat-ed: '" +
                                                     share + "', error code 53.\n") +
                  Error("Download_File_Share", "Copy file failed for URL: '" + share + "', cached file: '" + unmade +
                                                   "' , GetLastError returned 53.\n"));
    EXPECT_THAT(All(),
                Contains(Data(s_policy, "Error(code=1) in determine URL/file Expired, Try to download the remote "
                                        "file '" +
                                            share + "' directly.\n")
                             .front()));
}

TEST_F(Share_Request, WithoutAServerAndACopyThereIsNoFile) {
    copy_fails = true;
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 2);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
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

TEST_F(Share_Request, ACopyThatIsNotThereIsStoodInForByTheOlderOne) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    ++source_time;
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 1; };
    EXPECT_EQ(Get(), old_copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 4);
}

TEST_F(Share_Request, ACopyThatCannotBeNamedIsStoodInForByTheOlderOne) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    ++source_time;
    g_services.uuid_throws = true;
    EXPECT_EQ(Get(), old_copy);
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 2);
    EXPECT_TRUE(std::filesystem::exists(old_copy));
}

TEST_F(Share_Request, WithoutItsDirectoryNothingIsServedAndNoErrorFlagged) {
    std::filesystem::remove_all(directory);
    EXPECT_EQ(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_FALSE(std::filesystem::exists(directory));
}

TEST_F(Share_Request, ACodeOfAnInternetRequestIsToldOfAnExpiredFile) {
    Get();
    Pass_Minutes(61);
    ++source_time;
    cache.m_errHTTPFileDownLoad = 2;
    Forget();
    EXPECT_NE(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_THAT(All(),
                Contains(Data(s_policy, "Error(code=2) in determine URL/file Expired, Try to download the remote "
                                        "file '" +
                                            share + "' directly.\n")
                             .front()));
}

TEST_F(Share_Request, ACodeThreeOfAnInternetRequestKeepsTheCopyFromBeingServed) {
    const std::string old_copy = Get();
    Pass_Minutes(61);
    ++source_time;
    copy_fails = true;
    cache.m_errHTTPFileDownLoad = 3;
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(file_share_error, 2);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
}

TEST_F(Share_Request, AWritableOriginalIsLeftToTheHostThatWantsIt) {
    for (const std::uint32_t writable : {0x00U, 0x20U, 0x80U, 0xFFFFFFFEU}) {
        Original_Is_There(writable);
        for (const int kind : {201, 202}) {
            Forget();
            EXPECT_EQ(Request_Fixture::Get(share, kind), "");
            EXPECT_FALSE(download_error);
            EXPECT_EQ(http_error, Untouched);
            EXPECT_EQ(file_share_error, Untouched);
            EXPECT_THAT(g_services.path_calls,
                        ElementsAre("Path_Exists(" + share + ")", "Get_File_Attributes(" + share + ")"));
            EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
            EXPECT_THAT(Of({s_lookup}), Not(Contains(Return(s_lookup, "''").front()))) << "this exit leaves no record";
        }
    }
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(Share_Request, AReadOnlyOriginalIsCopiedForEveryKindOfRequest) {
    os->expiry_minutes = 0;
    for (const std::uint32_t read_only : {0x01U, 0x21U, 0xFFFFFFFFU}) { // the last: no attributes to be had
        Original_Is_There(read_only);
        for (const int kind : {201, 202, 213}) {
            Pass_Minutes(1);
            source = "version " + std::to_string(++source_time);
            EXPECT_EQ(Content(Request_Fixture::Get(share, kind)), source) << kind;
            EXPECT_EQ(file_share_error, 0);
        }
    }
}

TEST_F(Share_Request, AnOriginalThatIsNotThereIsFetchedForEveryKindOfRequest) {
    g_services.on_path_exists = [](const std::string&) { return false; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    for (const int kind : {201, 202}) {
        EXPECT_NE(Request_Fixture::Get(share, kind), "");
    }
    EXPECT_THAT(g_services.path_calls, Not(Contains("Get_File_Attributes(" + share + ")")));
}

TEST_F(Share_Request, AWritableOriginalIsCopiedForAnyOtherRequest) {
    Original_Is_There(0);
    for (const int kind : {213, 200, 203, 0, -201}) {
        EXPECT_EQ(Content(Request_Fixture::Get(share, kind)), source) << kind;
    }
    EXPECT_THAT(g_services.path_calls, IsEmpty());
}

TEST_F(Share_Request, AFileUrlOfAShareIsServedAsTheSharesPath) {
    const std::string copy = Request_Fixture::Get("file://server/share/landscape.xml");
    EXPECT_EQ(Content(copy), source);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_EQ(cache.m_Cache_Entries.count(share), 1U);
    EXPECT_EQ(Get(), copy);
}

TEST_F(Share_Request, AnUnsupportedFileUrlIsNoFile) {
    EXPECT_EQ(Request_Fixture::Get("file:/C:/landscape.xml"), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_EQ(Above_Additional_Data(),
              Error("Normalize_if_File_URL",
                    "Unsupported file URL format unexpected at this time: 'file:/C:/landscape.xml'.\n") +
                  Error(s_lookup, "Previously cached local file does not exist ''.\n"));
}

TEST_F(Share_Request, ALocalFileIsHandedBackAsItIs) {
    const std::string local = Write_File(In_Cache("local.xml"), "local");
    EXPECT_EQ(Request_Fixture::Get(local), local);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

} // namespace
