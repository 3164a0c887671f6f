// The naming of copies always returns a name; what the downloads do should it ever return
// none is tested here, with a naming that does.

#include "tests/unit/support/Http_Fixture.h"

namespace QEL::FrontEnd::FileCache {

std::string CFileCache::Generate_Cached_File_Name_from_Contents(const std::string&, const char*, std::size_t) {
    return {};
}

std::string CFileCache::Generate_Cached_File_Name_from_File_Share(const std::string&) {
    return {};
}

} // namespace QEL::FrontEnd::FileCache

using namespace Recorded_Trace;
using namespace testing;

namespace {

const std::string s_reported =
    "D ---- BUG ----\nE Download_Inet_URL: Unexpected empty cache file name for URL '{url}'.";

/// Both kinds of requests, each with a last good copy; the services can write and find a file without a name.
class Unnamed_Copy : public Share_Fixture, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        Share_Fixture::SetUp();
        is_share = GetParam() == std::string("Share");
        values["url"] = asked = is_share ? share : url;
        old_copy = Cache_Copy(asked, "old.xml", "older stamp", 1);
        os->on_copy_file = [](const std::string&, const std::string&, int) { return 1; };
        os->on_file_exists = [](const std::string& path) { return path.empty() || std::filesystem::exists(path); };
    }

    std::string Fetch() {
        Forget();
        return is_share ? cache.Download_File_Share(asked, download_error)
                        : cache.Download_Inet_URL(asked, download_error);
    }
    std::string Get() {
        Forget();
        return cache.Get_Cached_File_and_Status(asked, 213, download_error, &http_error, &file_share_error);
    }
    int& Code() { return is_share ? cache.m_errFileShareDownLoad : cache.m_errHTTPFileDownLoad; }
    bool is_share = false;
    std::string asked;
    std::string old_copy;
    bool download_error = true;
    int http_error = -77;
    int file_share_error = -77;
};

INSTANTIATE_TEST_SUITE_P(Both, Unnamed_Copy, testing::Values("Inet", "Share"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Unnamed_Copy, FailsWithACodeOfItsOwn) {
    for (const bool before : {false, true}) {
        download_error = before;
        Code() = 0;
        EXPECT_EQ(Fetch(), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(Code(), 3);
        const auto& entry = cache.m_Cache_Entries.at(asked);
        if (is_share) { // after it was recorded
            EXPECT_THAT(os->calls, Contains("Copy_File(" + share + ", , 1)"));
            EXPECT_EQ(entry.cached_file, "");
            EXPECT_EQ(entry.last_modified, "132000000000000001");
            Expect_Record("N Download_File_Share: Copied file '{url}' to the cached file: ''.");
            Expect_Last_Records("D Download_File_Share: return value:('')");
            continue;
        }
        Expect_Last_Records("D Download_Inet_URL: cache_entry.cached_file = '', Writing contents to the file...\n"
                            "D Download_Inet_URL: Closed file ''.\n" +
                            s_reported);
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        EXPECT_EQ(Content(old_copy), "old");
        EXPECT_EQ(entry.cached_file, old_copy);
        EXPECT_EQ(entry.last_checked_remotely, 1U);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
    }
}

TEST_P(Unnamed_Copy, FailsByTheSecondClientAndWhereItIsNotMadeAsEver) {
    Script().send = Certificate_Error;
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 0; };
    EXPECT_EQ(Fetch(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(Code(), is_share ? 2 : 3);
    EXPECT_EQ(cache.m_Cache_Entries.at(asked).cached_file, old_copy);
    if (!is_share) {
        Expect_Last_Records(s_reported);
    }
}

TEST_P(Unnamed_Copy, KeepsTheLastGoodCopyFromBeingServed) {
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, is_share ? -77 : 3);
    EXPECT_EQ(file_share_error, is_share ? 3 : -77);
    EXPECT_FALSE(std::filesystem::exists(old_copy)) << "an old copy that is not served is deleted";
    Expect_Record("E Get_Cached_Remote_File: Empty Cached file Name for URL '{url}'.");
    if (is_share) {
        EXPECT_EQ(Get(), "") << "nor by the next request";
        EXPECT_FALSE(download_error);
        EXPECT_EQ(file_share_error, 0);
        Expect_Records("E Get_Cached_Remote_File: Cached file is unnamed for URL '{url}'.", Above_Additional_Data());
    }
}

TEST_P(Unnamed_Copy, FailsWithTheSameCodeUntraced) {
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    EXPECT_EQ(Get(), "");
    EXPECT_EQ(Code(), 3);
    EXPECT_THAT(All(), IsEmpty());
}

} // namespace
