// The naming of copies always returns a name; what the downloads do should it ever return
// none is tested here, with a naming that does.

#include "tests/unit/support/Expected_Records.h"
#include "tests/unit/support/Http_Fixture.h"
#include "tests/unit/support/Share_Fixture.h"

#include <cstddef>
#include <string>

namespace QEL::FrontEnd::FileCache {

std::string CFileCache::Generate_Cached_File_Name_from_Contents(const std::string&, const char*, std::size_t) {
    return {};
}

std::string CFileCache::Generate_Cached_File_Name_from_File_Share(const std::string&) {
    return {};
}

} // namespace QEL::FrontEnd::FileCache

using namespace Recorded_Trace;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int Ordinary_Request = 213;
constexpr int Untouched = -77;

// Internet URLs

class Unnamed_Download : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        old_copy = Cache_Copy(url, "old.xml", "older stamp", 1);
    }

    void Expect_Older_Copy_Kept() const {
        EXPECT_EQ(Content(old_copy), "old");
        ASSERT_EQ(cache.m_Cache_Entries.size(), 1U);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, old_copy);
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_checked_remotely, 1U);
        EXPECT_FALSE(std::filesystem::exists(Metadata_Path()));
    }

    Records Written_And_Reported() const {
        return Data("Download_Inet_URL", "cache_entry.cached_file = '', Writing contents to the file...\n") +
               Data("Download_Inet_URL", "Closed file ''.\n") + Reported();
    }

    Records Reported() const {
        return Bug() + Error("Download_Inet_URL", "Unexpected empty cache file name for URL '" + url + "'.\n");
    }

    std::string old_copy;
    bool download_error = true;
};

TEST_F(Unnamed_Download, FailsWithACodeOfItsOwn) {
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_EQ(cache.Download_Inet_URL(url, download_error), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 3);
        const Records all = All();
        const Records end = Written_And_Reported();
        ASSERT_GT(all.size(), end.size());
        EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Older_Copy_Kept();
    }
}

TEST_F(Unnamed_Download, OfTheSecondClientFailsWithTheSameCode) {
    Script().send = Certificate_Error;
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errHTTPFileDownLoad = 0;
        EXPECT_EQ(cache.Download_Inet_URL(url, download_error), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 3);
        const Records all = All();
        const Records end = Reported();
        ASSERT_GT(all.size(), end.size());
        EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
        Expect_Older_Copy_Kept();
    }
}

TEST_F(Unnamed_Download, KeepsTheLastGoodCopyFromBeingServed) {
    int http_error = Untouched;
    int file_share_error = Untouched;
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, Ordinary_Request, download_error, &http_error, &file_share_error),
              "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, 3);
    EXPECT_EQ(file_share_error, Untouched);
    EXPECT_FALSE(std::filesystem::exists(old_copy)) << "an old copy that is not served is deleted";
    EXPECT_EQ(Above_Additional_Data(),
              Error("Download_Inet_URL", "Unexpected empty cache file name for URL '" + url + "'.\n") +
                  Error("Get_Cached_Remote_File", "Empty Cached file Name for URL '" + url + "'.\n"));
}

TEST_F(Unnamed_Download, FailsWithTheSameCodeUntraced) {
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    int http_error = Untouched;
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, Ordinary_Request, download_error, &http_error, nullptr), "");
    EXPECT_EQ(http_error, 3);
    EXPECT_THAT(All(), IsEmpty());
}

// Files on shares

class Unnamed_Share_Copy : public Share_Fixture {
protected:
    void SetUp() override {
        Share_Fixture::SetUp();
        old_copy = Cache_Copy(share, "old.xml", "17", 1);
        // Services that can write and find a file without a name.
        os->on_copy_file = [](const std::string&, const std::string&, int) { return 1; };
        os->on_file_exists = [](const std::string& path) { return path.empty() || std::filesystem::exists(path); };
    }

    std::string old_copy;
    bool download_error = false;
};

TEST_F(Unnamed_Share_Copy, FailsWithACodeOfItsOwnAfterItWasRecorded) {
    for (const bool before : {false, true}) {
        Forget();
        download_error = before;
        cache.m_errFileShareDownLoad = 0;
        EXPECT_EQ(cache.Download_File_Share(share, download_error), "");
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errFileShareDownLoad, 3);
        EXPECT_THAT(os->calls, Contains("Copy_File(" + share + ", , 1)"));
        EXPECT_EQ(cache.m_Cache_Entries.at(share).cached_file, "");
        EXPECT_EQ(cache.m_Cache_Entries.at(share).last_modified, "132000000000000001");
        const Records all = All();
        const Records end = Return("Download_File_Share", "''");
        ASSERT_GT(all.size(), end.size());
        EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
        EXPECT_THAT(
            all,
            Contains(Note("Download_File_Share", "Copied file '" + share + "' to the cached file: ''.\n").front()));
    }
}

TEST_F(Unnamed_Share_Copy, ThatIsNotMadeFailsAsAnyOther) {
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 0; };
    EXPECT_EQ(cache.Download_File_Share(share, download_error), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(cache.m_errFileShareDownLoad, 2);
    EXPECT_EQ(cache.m_Cache_Entries.at(share).cached_file, old_copy);
}

TEST_F(Unnamed_Share_Copy, KeepsTheLastGoodCopyFromBeingServed) {
    int http_error = Untouched;
    int file_share_error = Untouched;
    EXPECT_EQ(cache.Get_Cached_File_and_Status(share, Ordinary_Request, download_error, &http_error, &file_share_error),
              "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(http_error, Untouched);
    EXPECT_EQ(file_share_error, 3);
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_THAT(All(),
                Contains(Error("Get_Cached_Remote_File", "Empty Cached file Name for URL '" + share + "'.\n").front()));
}

TEST_F(Unnamed_Share_Copy, IsNotServedByTheNextRequestEither) {
    int file_share_error = Untouched;
    cache.Get_Cached_File_and_Status(share, Ordinary_Request, download_error, nullptr, &file_share_error);
    Forget();
    EXPECT_EQ(cache.Get_Cached_File_and_Status(share, Ordinary_Request, download_error, nullptr, &file_share_error),
              "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(file_share_error, 0);
    EXPECT_EQ(Above_Additional_Data(),
              Error("Get_Cached_Remote_File", "Cached file is unnamed for URL '" + share + "'.\n"));
}

} // namespace
