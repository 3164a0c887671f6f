#include "tests/unit/support/Http_Fixture.h"
#include "util/Dead_Servers.h"

using namespace Recorded_Trace;
using namespace testing;

namespace {

const std::string s_copy_returned = "\nD Download_File_Share: return value:('')";
const std::string s_copy_failed =
    "E Download_File_Share: Copy file failed for URL: '{url}', cached file: '{copy}' , GetLastError returned ";

const std::string s_not_examined =
    "W Download_File_Share: Trying to download a file share URL that cannot be stat-ed: '{url}', error code ";

class File_Share_Copy : public Share_Fixture {
protected:
    std::string Fetch() { return Fetch(share); }
    std::string Fetch(const std::string& asked) { return cache.Download_File_Share(asked, download_error); }

    /// The fetch once more, with the flag and the code as given before it.
    std::string Fetch_After(bool flag, int code, const std::string& asked) {
        Forget();
        g_services.uuids = {uuid};
        download_error = flag;
        cache.m_errFileShareDownLoad = code;
        return Fetch(asked);
    }
    std::string Fetch_After(bool flag, int code) { return Fetch_After(flag, code, share); }

    void Expect_Error(bool flagged, int code) const {
        EXPECT_EQ(download_error, flagged);
        EXPECT_EQ(cache.m_errFileShareDownLoad, code);
    }

    /// The calls of the services, without those about drives.
    std::vector<std::string> Calls() const {
        std::vector<std::string> calls = os->calls;
        std::erase_if(calls, [](const std::string& call) { return call.starts_with("Get_Drive_"); });
        return calls;
    }

    void Expect_Nothing_Kept() const {
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
    }

    bool download_error = true;
};

TEST_F(File_Share_Copy, CopiesTheFileAndRecordsTheEntry) {
    cache.m_errHTTPFileDownLoad = 2;
    cache.m_Additional_Error_Info = "before";
    cache.m_Cert_Error_Detected = true;
    for (const bool before : {false, true}) {
        for (const int code : {0, 1, 2, 3, 4}) {
            cache.m_Cache_Entries.clear();
            std::filesystem::remove(Copy_Path());
            EXPECT_EQ(Fetch_After(before, code), Copy_Path());
            Expect_Error(false, code);
            Expect_Records("= share_copy");
        }
    }
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2) << "of the other kind";
    EXPECT_EQ(cache.m_Additional_Error_Info, "before");
    EXPECT_TRUE(cache.m_Cert_Error_Detected);
    EXPECT_EQ(Content(Copy_Path()), source);
    EXPECT_THAT(Calls(), ElementsAre("Directory_Exists(" + cache_directory + ")", "Stat_File(" + share + ", 0)",
                                     "Get_Current_Time()", "Copy_File(" + share + ", " + Copy_Path() + ", 1)",
                                     "File_Exists(" + Copy_Path() + ")"));
    EXPECT_EQ(Content(Metadata_Path()),
              Text_File({"QEL Logon Landscape Cache Metadata", "version", "2", "entries", "1", "132000000000000001",
                         std::to_string(os->current_time), Copy_Path(), share}));
}

TEST_F(File_Share_Copy, WritesTheTimeAsPlainDecimalsAndTracesItsLowHalf) {
    for (const std::int64_t time :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{2147483648}, std::int64_t{-2147483649},
          std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
        Forget();
        g_services.uuids = {uuid};
        cache.m_Cache_Entries.clear();
        std::filesystem::remove(Copy_Path());
        Use_Time(time);
        EXPECT_EQ(Fetch(), Copy_Path());
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, std::to_string(time));
        Expect_Records("= share_copy");
    }
}

TEST_F(File_Share_Copy, TakesTheTimeOnceBeforeTheCopyWhichAnyResultButZeroMakesASuccess) {
    os->on_copy_file = [this](const std::string&, const std::string& to, int) {
        os->current_time += 5;
        Write_File(to, source);
        return -1;
    };
    const std::uint64_t before_the_copy = os->current_time;
    EXPECT_EQ(Fetch(), Copy_Path());
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_Cache_Entries.at(share).last_checked_remotely, before_the_copy);
    EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 1U);
}

TEST_F(File_Share_Copy, RefusesALocalPathAndAnInternetUrl) {
    for (const auto& [asked, kind, tested] :
         {std::tuple{"C:\\landscape.xml", "is_local_path", ""},
          {"http://server/landscape.xml", "is_local_inet", "= kind_test test=Is_Inet_URL result=true\n"}}) {
        values["url"] = asked;
        for (const bool before : {false, true}) {
            EXPECT_EQ(Fetch_After(before, 4, asked), "");
            Expect_Error(false, 4);
            Expect_Records(std::string("= share_copy < Is_Local\n= ") + kind + "\n" + tested + "D ---- BUG ----\n" +
                           "E Download_File_Share: Trying to download a file share that is local or Inet: '{url}'." +
                           s_copy_returned);
            EXPECT_THAT(Calls(), IsEmpty());
            Expect_Nothing_Kept();
        }
    }
}

TEST_F(File_Share_Copy, RefusesAMissingCacheDirectoryAndDoesNotCreateIt) {
    std::filesystem::remove_all(directory);
    values["directory"] = cache_directory;
    for (const bool before : {false, true}) {
        EXPECT_EQ(Fetch_After(before, 2), "");
        Expect_Error(false, 2);
        Expect_Last_Records("D ---- BUG ----\nE Download_File_Share: Cache directory does not exist. It needs to be "
                            "created before using the cache: '{directory}'." +
                            s_copy_returned);
        EXPECT_THAT(Calls(), ElementsAre("Directory_Exists(" + cache_directory + ")"));
    }
    EXPECT_FALSE(std::filesystem::exists(directory));
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(File_Share_Copy, CopiesAFileThatCannotBeExaminedWhereAFailedCopyOutweighsThat) {
    Use_Time(0);
    stat_error = 5;
    for (const bool before : {false, true}) {
        cache.m_Cache_Entries.clear();
        std::filesystem::remove(Copy_Path());
        EXPECT_EQ(Fetch_After(before, 0), Copy_Path());
        Expect_Error(false, 1);
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, "0");
        Expect_Record(s_not_examined + "5.\nD Download_File_Share: Downloading file share '{url}', stat error code 5, "
                                       "mtime = 0.");
    }
    stat_error = -1;
    copy_fails = true;
    EXPECT_EQ(Fetch(), "");
    EXPECT_EQ(cache.m_errFileShareDownLoad, 2);
    Expect_Record(s_not_examined + "-1.");
}

/// What a failed copy says, and that it keeps nothing but the older copy, if there is one.
TEST_F(File_Share_Copy, ThatFailsKeepsNothingButTheOlderCopy) {
    const std::string copied = "Copy_File(" + share + ", " + Copy_Path() + ", 1)";
    const struct {
        bool succeeds; ///< by its own account: there is no file
        bool is_named;
        int code;
        std::uint32_t last_error;
        std::string said;
        std::string last_call;
    } cases[] = {
        {false, true, 2, 64, s_copy_failed + "64.", copied},
        {true, true, 4, 0xFFFFFFFF,
         "D ---- BUG ----\nE Download_File_Share: Copy file succeeded but the target still does not exist? URL: "
         "'{url}', cached file: '{copy}' , GetLastError returned -1.",
         "File_Exists(" + Copy_Path() + ")"},
        {true, false, 2, 14, s_copy_failed + "14.", "Get_Current_Time()"},
    };
    for (const auto& failure : cases) {
        os->on_copy_file = [&](const std::string&, const std::string&, int) { return failure.succeeds ? 1 : 0; };
        g_services.last_error = failure.last_error;
        g_services.uuid_throws = !failure.is_named;
        values["copy"] = failure.is_named ? Copy_Path() : "";
        for (const bool before : {false, true}) {
            EXPECT_EQ(Fetch_After(before, 0), "");
            Expect_Error(true, failure.code);
            if (failure.is_named) {
                Expect_Records("= share_copy < N Download_File_Share\n" + failure.said + s_copy_returned);
            }
            Expect_Last_Records(failure.said + s_copy_returned);
            EXPECT_EQ(os->calls.back(), failure.last_call);
            Expect_Nothing_Kept();
        }
        const std::string old_copy = Cache_Copy(share, "old.xml", "17", 1);
        EXPECT_EQ(Fetch_After(false, 0), "");
        EXPECT_EQ(Content(old_copy), "old");
        EXPECT_THAT(cache.m_Cache_Entries.at(share), FieldsAre(old_copy, "17", 1U));
        cache.m_Cache_Entries.clear();
    }
}

TEST_F(File_Share_Copy, SaysWhyTheServerWasNotAsked) {
    QEL::FrontEnd::Util::Unasked_Share_Server::Describe("Nobody copies now.");
    os->on_copy_file = [](const std::string&, const std::string&, int) {
        QEL::FrontEnd::Util::Unasked_Share_Server::Describe("The server was last tried at noon.");
        return 0;
    };
    g_services.last_error = 121;
    EXPECT_EQ(Fetch(), "");
    Expect_Records(s_copy_failed + "121.\nE Download_File_Share: Description: The server was last tried at noon.",
                   Above_Additional_Data());
    EXPECT_EQ(cache.m_Additional_Error_Info, "=======================================\nFile: " + share +
                                                 "\nDescription: The server was last tried at noon.\n");
}

TEST_F(File_Share_Copy, HandsOutWhatTheConfigurationRefusesAndRecordsItsNumberAlone) {
    os->on_copy_file = [](const std::string&, const std::string&, int) {
        QEL::FrontEnd::Util::Unasked_Share_Server::Refuse("It is not valid: Timeout. Correct it.");
        return 0;
    };
    g_services.last_error = 1610;
    EXPECT_EQ(Fetch(), "");
    Expect_Last_Records(s_copy_failed + "1610." + s_copy_returned);
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
    EXPECT_EQ(QEL::FrontEnd::FileCache::Get_Last_Request_Info().text, "It is not valid: Timeout. Correct it.");
}

TEST_F(File_Share_Copy, NeverFetchesTheFileThatIsNamedBeforeANul) {
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 1; };
    const std::string nul(1, '\0');
    for (const std::string& asked : {share + nul + ".xml", "\\\\server\\share\\file.x" + nul + "ml", share + nul}) {
        EXPECT_EQ(Fetch(asked), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errFileShareDownLoad, 2);
        EXPECT_EQ(g_services.last_error, 123U) << "the reason, as the record reports it";
    }
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(File_Share_Copy, RaisesTheFailureOfALock) {
    const std::system_error lock_failure(std::make_error_code(std::errc::resource_deadlock_would_occur));
    os->on_copy_file = [&](const std::string&, const std::string&, int) -> int { throw lock_failure; };
    EXPECT_THROW(Fetch(), std::system_error);
    os->on_copy_file = nullptr;
    g_services.on_file_extension = [&](const std::string&) -> std::string { throw lock_failure; };
    EXPECT_THROW(Fetch(), std::system_error);
}

} // namespace
