#include "tests/unit/support/Share_Fixture.h"

#include <cstdint>
#include <limits>
#include <string>

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A cache that holds a copy of the file as it is now, last checked long ago.
class File_Share_Freshness : public Share_Fixture {
protected:
    void SetUp() override {
        Share_Fixture::SetUp();
        old_copy = Old_Copy("132000000000000001", checked_before);
    }

    bool Expired() { return cache.Is_File_Share_Expired(share, check_error); }

    /// The check of a source with this time against an entry with this stamp.
    bool Expired(std::int64_t time, const std::string& stored) {
        source_time = time;
        cache.m_Cache_Entries.at(share).last_modified = stored;
        return Expired();
    }

    /// The check once more, with the flag and the code as given before it.
    bool Expired_After(bool flag, int code) {
        Forget();
        check_error = flag;
        cache.m_errFileShareDownLoad = code;
        return Expired();
    }
    void Expect_No_Error(int code = 0) const {
        EXPECT_FALSE(check_error);
        EXPECT_EQ(cache.m_errFileShareDownLoad, code);
    }

    void Expect_Entry_Untouched() const {
        EXPECT_EQ(cache.m_Cache_Entries.at(share).cached_file, old_copy);
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_checked_remotely, checked_before);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
        EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
        EXPECT_EQ(Content(old_copy), "old");
    }

    static constexpr std::uint64_t checked_before = 1234;
    std::string old_copy;
    bool check_error = true;
};

TEST_F(File_Share_Freshness, AnUnchangedFileRenewsItsEntryAlone) {
    cache.m_Cache_Entries["\\\\server\\share\\other.xml"] = {"other.xml", "132000000000000001", 5};
    cache.m_errHTTPFileDownLoad = 2;
    cache.m_Additional_Error_Info = "before";
    for (const bool before : {false, true}) {
        cache.m_Cache_Entries.at(share).last_checked_remotely = checked_before;
        EXPECT_FALSE(Expired_After(before, 2));
        EXPECT_THAT(os->calls, ElementsAre("Stat_File(" + share + ", 0)", "Get_Current_Time()"));
        Expect_No_Error();
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_checked_remotely, os->current_time);
        EXPECT_THAT(
            Content(Metadata_Path()),
            testing::HasSubstr(Text_File({"132000000000000001", std::to_string(os->current_time), old_copy, share})));
    }
    EXPECT_EQ(cache.m_Cache_Entries.at(share).cached_file, old_copy);
    EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, "132000000000000001");
    EXPECT_EQ(Content(old_copy), "old");
    EXPECT_EQ(cache.m_Cache_Entries.at("\\\\server\\share\\other.xml").last_checked_remotely, 5U);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    cache.m_Cache_Entries.erase("\\\\server\\share\\other.xml");
    Expired_After(true, 0);
    Expect_Records("= share_check");
}

TEST_F(File_Share_Freshness, AnEntryThatWasNeverWrittenIsStillFresh) {
    std::filesystem::remove_all(directory);
    EXPECT_FALSE(Expired());
    EXPECT_FALSE(check_error);
    EXPECT_EQ(cache.m_Cache_Entries.at(share).last_checked_remotely, os->current_time);
}

TEST_F(File_Share_Freshness, AFileOfAnotherTimeIsExpired) {
    for (const std::int64_t time : {std::int64_t{132000000000000002}, std::int64_t{132000000000000000},
                                    std::int64_t{13200000000000000}, std::int64_t{0}, std::int64_t{-1}}) {
        source_time = time;
        EXPECT_TRUE(Expired_After(true, 4)) << time;
        Expect_No_Error();
        Expect_Records("= share_check_expired");
        EXPECT_THAT(os->calls, ElementsAre("Stat_File(" + share + ", 0)"));
        Expect_Entry_Untouched();
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, "132000000000000001");
    }
}

TEST_F(File_Share_Freshness, TheStampsAreComparedAsTexts) {
    for (const std::string stored : {"05", " 5", "5 ", "+5", "55", "-5", "0"}) {
        EXPECT_TRUE(Expired(5, stored)) << stored;
    }
    for (const std::int64_t time :
         {std::int64_t{5}, std::int64_t{-5}, std::int64_t{0}, // of a file that could not be examined
          std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_FALSE(Expired(time, std::to_string(time))) << time;
    }
}

TEST_F(File_Share_Freshness, AUrlThatIsNotCachedIsExpired) {
    cache.m_Cache_Entries.clear();
    cache.m_Cache_Entries["\\\\SERVER\\share\\landscape.xml"] = {old_copy, "132000000000000001", 1};
    for (const bool before : {false, true}) {
        EXPECT_TRUE(Expired_After(before, 1));
        Expect_No_Error();
        Expect_Records("= share_check_expired < return value\nD ---- BUG ----\n"
                       "E Is_File_Share_Expired: Checking for expired an URL that is not in the cache: '{url}'.\n"
                       "D Is_File_Share_Expired: return value:(true)");
        EXPECT_THAT(os->calls, IsEmpty());
    }
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(File_Share_Freshness, AFileThatCannotBeExaminedIsExpired) {
    for (const int error : {53, 2, -1}) {
        for (const bool before : {false, true}) {
            stat_error = error;
            EXPECT_TRUE(Expired_After(before, 0));
            Expect_No_Error(1);
            values["error"] = std::to_string(error);
            Expect_Records("= share_check_expired < return value\n"
                           "W Is_File_Share_Expired: File share URL cannot be stat-ed: '{url}', error code {error}. "
                           "try to download the shared file directly.\nD Is_File_Share_Expired: return value:(true)");
            Expect_Entry_Untouched();
        }
        EXPECT_TRUE(Expired(0, "0")) << "whatever its stamp";
        EXPECT_TRUE(Expired(0, ""));
        EXPECT_EQ(cache.m_errFileShareDownLoad, 1);
    }
}

TEST_F(File_Share_Freshness, AnEntryWithoutStampIsExpired) {
    for (const bool before : {false, true}) {
        cache.m_Cache_Entries.at(share).last_modified.clear();
        EXPECT_TRUE(Expired_After(before, 2));
        Expect_No_Error();
        Expect_Records("= share_check_expired < return value\nD ---- BUG ----\nE Is_File_Share_Expired: Cached file "
                       "share '{old_copy}' modification time is empty. Treating as expired.\n"
                       "D Is_File_Share_Expired: return value:(true)");
        Expect_Entry_Untouched();
    }
}

TEST_F(File_Share_Freshness, ComparesTheStampOfAnEntryThatWasRestoredFromTheFile) {
    for (const std::string stored : {"", "132000000000000001", "17"}) {
        Write_File(Metadata_Path(), Text_File({"QEL Logon Landscape Cache Metadata", "version", "2", "entries", "1",
                                               stored, "132000000000000001", old_copy, share}));
        ASSERT_TRUE(cache.Deserialize());
        Forget();
        EXPECT_EQ(Expired(), stored != "132000000000000001") << stored;
        EXPECT_EQ(Above_Additional_Data().empty(), !stored.empty()) << "a stamp that is missing is reported";
    }
}

} // namespace
