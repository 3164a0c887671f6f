// What the freshness checks do once the remote side has responded: they compare its stamp with that of the entry.

#include "tests/unit/support/Http_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;

namespace {

const std::string s_inet_expired = "D Is_Inet_URL_Expired: return value:(true)";
const std::string s_empty_stamp = "\nW Is_Inet_URL_Expired: Last-Modified header is empty.\n" + s_inet_expired;
const std::string s_entry_gone =
    "\nD ---- BUG ----\nE Is_Inet_URL_Expired: Could not find cached entry for checked URL: '{url}'\n" + s_inet_expired;
const std::string s_share_expired = "\nD Is_File_Share_Expired: return value:(true)";

/// A cache that holds one copy, last checked long ago, of the version that the remote side has.
class Freshness : public Share_Fixture {
protected:
    void SetUp() override {
        Share_Fixture::SetUp();
        Of(false);
    }
    void Of(bool of_share) {
        cache.m_Cache_Entries.clear();
        is_share = of_share;
        asked = is_share ? share : url;
        current = is_share ? "132000000000000001" : stamp;
        values["url"] = asked;
        old_copy = Old_Copy(asked, current, checked_before);
    }

    bool Expired() {
        return is_share ? cache.Is_File_Share_Expired(asked, check_error)
                        : cache.Is_Inet_URL_Expired(asked, check_error);
    }
    /// The check once more, with the flag and the code as given before it.
    bool Expired_After(bool flag, int code = 2) {
        Forget();
        check_error = flag;
        Code() = code;
        return Expired();
    }
    bool Expired(std::int64_t time, const std::string& stored) {
        source_time = time;
        Entry().last_modified = stored;
        return Expired();
    }

    int& Code() { return is_share ? cache.m_errFileShareDownLoad : cache.m_errHTTPFileDownLoad; }
    QEL::FrontEnd::FileCache::CacheEntry& Entry() { return cache.m_Cache_Entries.at(asked); }
    void Send(const std::string& sent) {
        values["stamp"] = sent;
        if (is_share) {
            source_time = std::stoll(sent);
        } else {
            Script().headers["Last-Modified"] = sent;
        }
    }

    void Expect_No_Error(int code = 0) {
        EXPECT_FALSE(check_error);
        EXPECT_EQ(Code(), code);
    }
    void Expect_Entry_Untouched(const std::string& last_modified) {
        EXPECT_THAT(cache.m_Cache_Entries,
                    ElementsAre(Pair(asked, FieldsAre(old_copy, last_modified, checked_before))));
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
        EXPECT_EQ(Content(old_copy), "old");
    }

    static constexpr std::uint64_t checked_before = 1234;
    bool is_share = false;
    std::string asked;
    std::string current; ///< the stamp of both sides
    std::string old_copy;
    bool check_error = true;
};

class Any_Freshness : public Freshness, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        Freshness::SetUp();
        Of(GetParam() == std::string("Share"));
    }
};

INSTANTIATE_TEST_SUITE_P(Both, Any_Freshness, testing::Values("Inet", "Share"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Any_Freshness, TheSameStampRenewsItsEntryAlone) {
    cache.m_Cache_Entries[asked + "2"] = {"other.xml", current, 5};
    int& other_code = is_share ? cache.m_errHTTPFileDownLoad : cache.m_errFileShareDownLoad;
    other_code = 2;
    cache.m_Additional_Error_Info = "before";
    for (const bool before : {false, true}) {
        Entry().last_checked_remotely = checked_before;
        EXPECT_FALSE(Expired_After(before));
        Expect_No_Error();
        EXPECT_EQ(Entry().last_checked_remotely, os->current_time);
        EXPECT_THAT(Content(Metadata_Path()),
                    HasSubstr(Text_File({current, std::to_string(os->current_time), old_copy, asked})));
        const std::vector<std::string> asked_share = {"Stat_File(" + share + ", 0)", "Get_Current_Time()"};
        EXPECT_EQ(os->calls, is_share ? asked_share : std::vector<std::string>{"Get_Current_Time()"});
    }
    EXPECT_EQ(Entry().cached_file, old_copy);
    EXPECT_EQ(Entry().last_modified, current);
    EXPECT_EQ(cache.m_Cache_Entries.at(asked + "2").last_checked_remotely, 5U);
    EXPECT_EQ(Content(old_copy), "old");
    EXPECT_EQ(other_code, 2);
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
}

TEST_P(Any_Freshness, AnyOtherStampIsExpired) {
    const std::vector<std::string> inet = {"Tue, 01 Jan 2019 10:00:01 GMT",  "Mon, 31 Dec 2018 10:00:00 GMT",
                                           "tue, 01 jan 2019 10:00:00 gmt",  "Tue,  01 Jan 2019 10:00:00 GMT",
                                           "Tue, 01 Jan 2019 10:00:00 GMT ", "Tuesday, 01-Jan-19 10:00:00 GMT"};
    const std::vector<std::string> shared = {"132000000000000002", "132000000000000000", "13200000000000000", "0",
                                             "-1"};
    for (const std::string& sent : is_share ? shared : inet) {
        Send(sent);
        for (const bool before : {false, true}) {
            EXPECT_TRUE(Expired_After(before)) << sent;
            Expect_No_Error();
            Expect_Records(is_share ? "= share_check_expired" : "= http_head_expired");
            Expect_Entry_Untouched(current);
        }
    }
}

TEST_P(Any_Freshness, AnEntryWithoutStampIsExpired) {
    Entry().last_modified.clear();
    values["old_entry"] = Entry_Text(old_copy, "");
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before));
        Expect_No_Error();
        Expect_Records(
            is_share ? "= share_check_expired < return value\nD ---- BUG ----\nE Is_File_Share_Expired: Cached file "
                       "share '{old_copy}' modification time is empty. Treating as expired." +
                           s_share_expired
                     : "= http_head_expired");
        Expect_Entry_Untouched("");
    }
}

TEST_P(Any_Freshness, AUrlThatIsNotCachedIsExpired) {
    cache.m_Cache_Entries = {
        {is_share ? "\\\\SERVER\\share\\landscape.xml" : "https://SERVER/landscape.xml", {old_copy, current, 1}}};
    cache.m_Cert_Error_Detected = true;
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before));
        Expect_No_Error();
        EXPECT_TRUE(cache.m_Cert_Error_Detected);
        Expect_Last_Records(
            is_share
                ? "D ---- BUG ----\nE Is_File_Share_Expired: Checking for expired an URL that is not in the cache: "
                  "'{url}'." +
                      s_share_expired
                : "D ---- BUG ----\nE Is_Inet_URL_Expired: Unexpectedly checking if a non-existing URL is expired "
                  "'{url}'.\n" +
                      s_inet_expired);
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        EXPECT_THAT(os->calls, IsEmpty());
    }
}

TEST_P(Any_Freshness, ComparesTheStampOfAnEntryThatWasRestoredFromTheFile) {
    for (const std::string& stored : {std::string(), current, std::string("17")}) {
        Write_File(Metadata_Path(), Text_File({"QEL Logon Landscape Cache Metadata", "version", "2", "entries", "1",
                                               stored, "132000000000000001", old_copy, asked}));
        ASSERT_TRUE(cache.Deserialize());
        Forget();
        EXPECT_EQ(Expired(), stored != current) << stored;
        EXPECT_EQ(Above_Additional_Data().empty(), Is_Off() || !is_share || !stored.empty());
    }
}

using Inet_Freshness = Freshness;

TEST_F(Inet_Freshness, AnEmptyStampNeverMatches) {
    Send("");
    for (const std::string& stored : {std::string(), stamp}) {
        Entry().last_modified = stored;
        EXPECT_TRUE(Expired_After(true));
        Expect_No_Error();
        Expect_Records("= http_head_sent" + s_empty_stamp);
        Expect_Entry_Untouched(stored);
    }
}

TEST_F(Inet_Freshness, AnEntryThatWentDuringTheRequestIsExpired) {
    Script().during_send = [this] { cache.m_Cache_Entries.erase(url); };
    EXPECT_TRUE(Expired_After(true));
    Expect_No_Error();
    Expect_Records("= http_head_sent" + s_entry_gone);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(Inet_Freshness, AnEntryWithoutACopyIsExpiredAndMayNotBeServed) {
    Entry().cached_file.clear();
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before, 0));
        Expect_No_Error(3);
        Expect_Records("= http_head_sent\nD ---- BUG ----\n"
                       "E Is_Inet_URL_Expired: Cached file is unexpectedly unnamed: '{url}'\n" +
                       s_inet_expired);
    }
    EXPECT_THAT(Entry(), FieldsAre("", stamp, checked_before));
}

TEST_F(Inet_Freshness, ComparesTheStampOfTheSecondClient) {
    Script().send = Certificate_Error;
    values["stamp"] = second_stamp;
    EXPECT_TRUE(Expired_After(true));
    Expect_No_Error();
    Expect_Last_Records(
        "D Is_Inet_URL_Expired: Last-Modified header: '{stamp}'.\nD Is_Inet_URL_Expired: Cache entry needs "
        "updating for URL '{url}', last modified URL = '{stamp}', old cache entry: {old_entry}\n" +
            s_inet_expired,
        Recorded_Trace::Of({"Is_Inet_URL_Expired"}));
    EXPECT_EQ(Entry().last_checked_remotely, checked_before);
    EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));

    g_services.client.headers["Last-Modified"] = stamp;
    EXPECT_FALSE(Expired_After(true));
    EXPECT_EQ(Entry().last_checked_remotely, os->current_time);
}

class Share_Freshness : public Freshness {
protected:
    void SetUp() override {
        Freshness::SetUp();
        Of(true);
    }
};

TEST_F(Share_Freshness, TheStampsAreComparedAsTexts) {
    for (const std::string stored : {"05", " 5", "5 ", "+5", "55", "-5", "0"}) {
        EXPECT_TRUE(Expired(5, stored)) << stored;
    }
    for (const std::int64_t time :
         {std::int64_t{5}, std::int64_t{-5}, std::int64_t{0}, // of a file that could not be examined
          std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_FALSE(Expired(time, std::to_string(time))) << time;
    }
}

TEST_F(Share_Freshness, AFileThatCannotBeExaminedIsExpired) {
    for (const int error : {53, 2, -1}) {
        for (const bool before : {false, true}) {
            stat_error = error;
            EXPECT_TRUE(Expired_After(before, 0));
            Expect_No_Error(1);
            values["error"] = std::to_string(error);
            Expect_Records("= share_check_expired < return value\n"
                           "W Is_File_Share_Expired: File share URL cannot be stat-ed: '{url}', error code {error}. "
                           "try to download the shared file directly." +
                           s_share_expired);
            Expect_Entry_Untouched(Entry().last_modified);
        }
        EXPECT_TRUE(Expired(0, "0")) << "whatever its stamp";
        EXPECT_TRUE(Expired(0, ""));
        EXPECT_EQ(Code(), 1);
    }
}

} // namespace
