// What the freshness check alone does: it compares the stamp of the response with that of the entry.

#include "tests/unit/support/Http_Fixture.h"

#include <cstdint>
#include <string>

using namespace Recorded_Trace;
using testing::IsEmpty;

namespace {

const std::string s_check_returned = "D Is_Inet_URL_Expired: return value:(true)";
const std::string s_empty_stamp = "\nW Is_Inet_URL_Expired: Last-Modified header is empty.\n" + s_check_returned;
const std::string s_entry_gone =
    "\nD ---- BUG ----\nE Is_Inet_URL_Expired: Could not find cached entry for checked URL: '{url}'\n" +
    s_check_returned;

/// A cache that holds one copy, last checked long ago, of the version that the server has.
class Http_Freshness : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        old_copy = Old_Copy(stamp, checked_before);
    }

    bool Expired() { return cache.Is_Inet_URL_Expired(url, check_error); }

    bool Expired_After(bool flag, int code = 2) {
        Forget();
        check_error = flag;
        cache.m_errHTTPFileDownLoad = code;
        return Expired();
    }

    void Expect_No_Error(int code = 0) const {
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, code);
    }

    void Expect_Entry_Untouched(const std::string& last_modified) const {
        ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, last_modified);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, checked_before);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        EXPECT_EQ(Content(old_copy), "old");
    }

    static constexpr std::uint64_t checked_before = 1234;
    std::string old_copy;
    bool check_error = true;
};

TEST_F(Http_Freshness, TheSameStampRenewsItsEntryAlone) {
    cache.m_Cache_Entries["https://server/other.xml"] = {"other.xml", stamp, 5};
    for (const bool before : {false, true}) {
        cache.m_Cache_Entries.at(url).last_checked_remotely = checked_before;
        EXPECT_FALSE(Expired_After(before));
        Expect_No_Error();
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, os->current_time);
        EXPECT_THAT(Content(Metadata_Path()),
                    testing::HasSubstr(Text_File({stamp, std::to_string(os->current_time), old_copy, url})));
    }
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, stamp);
    EXPECT_EQ(cache.m_Cache_Entries.at("https://server/other.xml").last_checked_remotely, 5U);
    EXPECT_EQ(Content(old_copy), "old");
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
}

TEST_F(Http_Freshness, AnyOtherStampIsExpired) {
    for (const std::string sent :
         {"Tue, 01 Jan 2019 10:00:01 GMT", "Mon, 31 Dec 2018 10:00:00 GMT", "tue, 01 jan 2019 10:00:00 gmt",
          "Tue,  01 Jan 2019 10:00:00 GMT", "Tue, 01 Jan 2019 10:00:00 GMT ", "Tuesday, 01-Jan-19 10:00:00 GMT"}) {
        Script().headers["Last-Modified"] = sent;
        for (const bool before : {false, true}) {
            EXPECT_TRUE(Expired_After(before)) << sent;
            Expect_No_Error();
            values["stamp"] = sent;
            Expect_Records("= http_head_expired");
            Expect_Entry_Untouched(stamp);
        }
    }
    cache.m_Cache_Entries.at(url).last_modified.clear();
    Script().headers["Last-Modified"] = stamp;
    EXPECT_TRUE(Expired_After(true)) << "an entry without stamp";
    values["stamp"] = stamp;
    values["old_entry"] = Entry_Text(old_copy, "");
    Expect_Records("= http_head_expired");
    Expect_Entry_Untouched("");
}

TEST_F(Http_Freshness, AnEmptyStampNeverMatches) {
    Script().headers.erase("Last-Modified");
    for (const std::string& stored : {std::string(), stamp}) {
        cache.m_Cache_Entries.at(url).last_modified = stored;
        EXPECT_TRUE(Expired_After(true));
        Expect_No_Error();
        values["stamp"] = "";
        Expect_Records("= http_head_sent" + s_empty_stamp);
        Expect_Entry_Untouched(stored);
    }
}

// Entries that are not what they should be

TEST_F(Http_Freshness, AUrlThatIsNotCachedIsExpired) {
    cache.m_Cache_Entries.clear();
    cache.m_Cache_Entries["https://SERVER/landscape.xml"] = {old_copy, stamp, 1};
    cache.m_Cert_Error_Detected = true;
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before));
        Expect_No_Error();
        EXPECT_TRUE(cache.m_Cert_Error_Detected);
        Expect_Records("= http_head < Opening\nD ---- BUG ----\n"
                       "E Is_Inet_URL_Expired: Unexpectedly checking if a non-existing URL is expired '{url}'.\n" +
                       s_check_returned);
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_THAT(g_services.client_calls, IsEmpty());
    }
}

TEST_F(Http_Freshness, AnEntryThatWentDuringTheRequestIsExpired) {
    Script().during_send = [this] { cache.m_Cache_Entries.erase(url); };
    EXPECT_TRUE(Expired_After(true));
    Expect_No_Error();
    Expect_Records("= http_head_sent" + s_entry_gone);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(Http_Freshness, AnEntryWithoutACopyIsExpiredAndMayNotBeServed) {
    cache.m_Cache_Entries.at(url).cached_file.clear();
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before, 0));
        Expect_No_Error(3);
        Expect_Records("= http_head_sent\nD ---- BUG ----\n"
                       "E Is_Inet_URL_Expired: Cached file is unexpectedly unnamed: '{url}'\n" +
                       s_check_returned);
    }
    Expect_Entry_Untouched(stamp);
}

// Second client

TEST_F(Http_Freshness, ComparesTheStampOfTheSecondClient) {
    Script().send = Certificate_Error;
    const auto expect_end = [this](const std::string& end) {
        Expect_No_Error();
        Expect_Last_Records(end, Of({"Is_Inet_URL_Expired"}));
    };
    values["stamp"] = second_stamp;
    EXPECT_TRUE(Expired_After(true));
    expect_end("D Is_Inet_URL_Expired: Last-Modified header: '{stamp}'.\nD Is_Inet_URL_Expired: Cache entry needs "
               "updating for URL '{url}', last modified URL = '{stamp}', old cache entry: {old_entry}\n" +
               s_check_returned);
    EXPECT_THAT(g_services.client_calls,
                testing::ElementsAre("HttpClient", "SendWinInetRequest(2, " + url + ", own window, 60000)",
                                     "GetResponseHeader(Last-Modified)", "~HttpClient"));
    Expect_Entry_Untouched(stamp);

    g_services.client.headers.clear();
    EXPECT_TRUE(Expired_After(false));
    expect_end("D Is_Inet_URL_Expired: Last-Modified header: ''." + s_empty_stamp);

    g_services.client.headers["Last-Modified"] = stamp;
    EXPECT_FALSE(Expired_After(true));
    EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, os->current_time);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
    EXPECT_TRUE(std::filesystem::exists(Metadata_Path()));
    EXPECT_EQ(cache.m_Additional_Error_Info, "");

    g_services.client.during_send = [this] { cache.m_Cache_Entries.clear(); };
    EXPECT_TRUE(Expired_After(true)) << "the entry went during the request";
    expect_end(s_entry_gone);
}

} // namespace
