#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

#include <functional>
#include <limits>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint64_t Minute = 600000000;

/// A cache whose freshness check and downloader behaves as a test says.
class Policy_Cache : public CFileCache {
public:
    using CFileCache::CFileCache;

    bool Scripted_Check(const std::string& url, bool& check_error) {
        steps.push_back("check(" + url + ", " + (check_error ? "true" : "false") + ")");
        return on_check(check_error);
    }
    std::string Scripted_Download(const std::string& url, bool& download_error) {
        steps.push_back("download(" + url + ", " + (download_error ? "true" : "false") + ")");
        return on_download(download_error);
    }

    std::string Get(const std::string& url, bool& download_error) {
        return Get_Cached_Remote_File(url, static_cast<Expired_Function>(&Policy_Cache::Scripted_Check),
                                      static_cast<Downloader_Function>(&Policy_Cache::Scripted_Download),
                                      download_error);
    }

    std::function<bool(bool&)> on_check;
    std::function<std::string(bool&)> on_download;
    std::vector<std::string> steps;
};

class Remote_Policy : public Cache_Fixture {
protected:
    Remote_Policy() {
        cache.m_Cache_Directory = cache_directory;
        Forget();
    }

    static constexpr const char* method = "Get_Cached_Remote_File";
    const std::string url = "http://server/file.xml";
    const std::string check_step = "check(" + url + ", false)";
    const std::string download_step = "download(" + url + ", false)";

    Records Begin() const { return Call(method, "url='" + url + "', expired_f/downloader_f not traced."); }
    Records Unknown() const {
        return Data(method, "Remote file '" + url + "' not found in cache. Will be downloaded.\n");
    }
    Records Expired() const { return Data(method, "Remote file '" + url + "' is expired. Will be downloaded.\n"); }
    Records Check_Failed(int code) const {
        return Data(method, "Error(code=" + std::to_string(code) +
                                ") in determine URL/file Expired, Try to download the remote file '" + url +
                                "' directly.\n");
    }
    Records Served(const std::string& path) const {
        return Data(method, "Cached file '" + path + "' for URL '" + url + "' will be used.\n") +
               Return(method, "rtn = " + path);
    }
    Records Copy_Missing() const {
        return Data(method, "Cached file for '" + url + "' does not exist. Will be downloaded.\n");
    }
    Records Unnamed_Download() const {
        return Bug() + Error(method, "Empty Cached file Name for URL '" + url + "'.\n");
    }

    /// An entry whose copy is on the disk.
    std::string Cached() {
        const std::string path = Write_File(In_Cache("old.xml"), "old");
        policy.m_Cache_Entries[url] = {path, "m", 1};
        return path;
    }

    void Check_Returns(bool expired, bool check_error = false) {
        policy.on_check = [=](bool& flag) {
            flag = flag || check_error;
            return expired;
        };
    }
    void Download_Returns(const std::string& path, bool error) {
        policy.on_download = [=](bool& flag) {
            flag = error;
            return path;
        };
    }

    std::string Get() { return policy.Get(url, download_error); }

    Policy_Cache policy{os};
    bool download_error = true;
};

// The expiry period

TEST_F(Remote_Policy, TheExpiryPeriodIsReadInMinutesEachTime) {
    os->expiry_minutes = 60;
    EXPECT_EQ(cache.Get_LandscapeCacheExpiryPeriod(), 60 * Minute);
    os->expiry_minutes = 0;
    EXPECT_EQ(cache.Get_LandscapeCacheExpiryPeriod(), 0U);
    os->expiry_minutes = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(cache.Get_LandscapeCacheExpiryPeriod(), 2576980377000000000U);
    const std::string question = "Read_Registry_Int(2, Software\\QEL\\QELLogon\\Options, LandscapeCacheExpiryPeriod)";
    EXPECT_THAT(os->calls, ElementsAre(question, question, question));
    EXPECT_THAT(All(), IsEmpty());
}

// Fresh by age

TEST_F(Remote_Policy, AnUnknownUrlIsNotFresh) {
    os->expiry_minutes = 60;
    Cache_Copy("http://server/FILE.xml", "a.xml", "m", os->current_time);
    EXPECT_FALSE(cache.Cached_File_Still_Fresh("http://server/file.xml"));
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(Remote_Policy, AnUnnamedCopyIsNotFresh) {
    os->expiry_minutes = 60;
    cache.m_Cache_Entries[url] = {"", "m", os->current_time};
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Remote_Policy, AMissingCopyIsNotFresh) {
    os->expiry_minutes = 60;
    cache.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", os->current_time};
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + In_Cache("missing.xml") + ")"));
}

TEST_F(Remote_Policy, ACopyIsFreshUpToTheLastInstantOfThePeriod) {
    os->expiry_minutes = 60;
    const std::string copy = Cache_Copy(url, "a.xml", "m", 1000 * Minute);
    const auto fresh_at = [&](std::uint64_t now) {
        os->current_time = now;
        return cache.Cached_File_Still_Fresh(url);
    };
    EXPECT_TRUE(fresh_at(1000 * Minute));
    EXPECT_TRUE(fresh_at(1059 * Minute));
    EXPECT_TRUE(fresh_at(1060 * Minute - 1));
    EXPECT_TRUE(fresh_at(1060 * Minute)) << "the boundary itself";
    EXPECT_FALSE(fresh_at(1060 * Minute + 1));
    EXPECT_FALSE(fresh_at(1061 * Minute));
    EXPECT_TRUE(fresh_at(0)) << "a clock put back";
    EXPECT_THAT(All(), IsEmpty());
    Forget();
    EXPECT_TRUE(fresh_at(1001 * Minute));
    EXPECT_THAT(os->calls,
                ElementsAre("File_Exists(" + copy + ")", "Get_Current_Time()",
                            "Read_Registry_Int(2, Software\\QEL\\QELLogon\\Options, LandscapeCacheExpiryPeriod)"));
}

TEST_F(Remote_Policy, WithoutAPeriodACopyIsFreshOnlyInTheInstantOfItsCheck) {
    Cache_Copy(url, "a.xml", "m", os->current_time);
    EXPECT_TRUE(cache.Cached_File_Still_Fresh(url));
    ++os->current_time;
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
}

TEST_F(Remote_Policy, TheLongestPeriodIsNotCutTo32Bits) {
    os->expiry_minutes = std::numeric_limits<std::uint32_t>::max();
    Cache_Copy(url, "a.xml", "m", os->current_time);
    os->current_time += 2576980377000000000U;
    EXPECT_TRUE(cache.Cached_File_Still_Fresh(url));
    ++os->current_time;
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
}

TEST_F(Remote_Policy, TheSumOfTimesWrapsAround) {
    os->expiry_minutes = 1;
    Cache_Copy(url, "a.xml", "m", std::numeric_limits<std::uint64_t>::max());
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    os->current_time = Minute - 1;
    EXPECT_TRUE(cache.Cached_File_Still_Fresh(url));
    os->current_time = Minute;
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
}

// Which copy is served

TEST_F(Remote_Policy, AnUnknownUrlIsDownloadedWithoutACheck) {
    Download_Returns("new.xml", false);
    EXPECT_EQ(Get(), "new.xml");
    EXPECT_FALSE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(download_step));
    EXPECT_EQ(All(), Begin() + Unknown() + Return(method, "new.xml"));
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_THAT(policy.m_Cache_Entries, IsEmpty()) << "recording is up to the downloader";
}

TEST_F(Remote_Policy, AFailedFirstDownloadServesNothing) {
    policy.m_errHTTPFileDownLoad = 3;
    Download_Returns("", true);
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(download_step));
    EXPECT_EQ(All(), Begin() + Unknown() + Return(method, ""));
}

TEST_F(Remote_Policy, AFirstDownloadIsTakenAsItComes) {
    Download_Returns("path.xml", true);
    EXPECT_EQ(Get(), "path.xml");
    EXPECT_TRUE(download_error);
}

TEST_F(Remote_Policy, AnUnchangedFileIsServedFromTheCache) {
    const std::string copy = Cached();
    Check_Returns(false);
    EXPECT_EQ(Get(), copy);
    EXPECT_FALSE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(check_step));
    EXPECT_EQ(All(), Begin() + Served(copy));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + copy + ")"));
}

TEST_F(Remote_Policy, AnUnchangedFileLeavesTheFlagOfTheCheck) {
    const std::string copy = Cached();
    Check_Returns(false, true);
    policy.m_errHTTPFileDownLoad = 3;
    EXPECT_EQ(Get(), copy) << "error codes count only after a failed download";
    EXPECT_TRUE(download_error);
}

TEST_F(Remote_Policy, AnUnchangedFileWhoseCopyIsGoneIsDownloadedAgain) {
    policy.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", 1};
    Check_Returns(false);
    Download_Returns("new.xml", false);
    EXPECT_EQ(Get(), "new.xml");
    EXPECT_FALSE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(check_step, download_step));
    EXPECT_EQ(All(), Begin() + Copy_Missing() + Return(method, "new.xml"));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + In_Cache("missing.xml") + ")"));
}

TEST_F(Remote_Policy, ThatDownloadIsTakenAsItComes) {
    policy.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", 1};
    policy.m_errFileShareDownLoad = 3;
    Check_Returns(false);
    Download_Returns("", true);
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(All(), Begin() + Copy_Missing() + Return(method, ""));
}

TEST_F(Remote_Policy, AnExpiredFileIsDownloaded) {
    Cached();
    Check_Returns(true);
    Download_Returns("new.xml", false);
    EXPECT_EQ(Get(), "new.xml");
    EXPECT_FALSE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(check_step, download_step));
    EXPECT_EQ(All(), Begin() + Expired() + Return(method, "new.xml"));
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Remote_Policy, ASuccessfulDownloadIsTakenWhateverTheCodes) {
    Cached();
    policy.m_errHTTPFileDownLoad = 3;
    policy.m_errFileShareDownLoad = 3;
    Check_Returns(true);
    Download_Returns("", false);
    EXPECT_EQ(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(All(), Begin() + Check_Failed(3) + Return(method, ""));
}

TEST_F(Remote_Policy, TheRecordDistinguishesAFailedCheckFromAnExpiredFile) {
    struct Case {
        int http_error;
        int file_share_error;
        Records expected;
    };
    const std::vector<Case> cases = {
        {0, 0, Expired()},       {1, 0, Check_Failed(1)},  {2, 0, Check_Failed(2)},  {0, 1, Check_Failed(1)},
        {0, 4, Check_Failed(4)}, {1, 4, Check_Failed(1)},  {-1, 0, Expired()},       {0, -1, Expired()},
        {-1, -7, Expired()},     {-1, 4, Check_Failed(4)}, {2, -1, Check_Failed(2)}, {3, 3, Check_Failed(3)},
    };
    Cached();
    Check_Returns(true);
    Download_Returns("new.xml", false);
    for (const Case& codes : cases) {
        policy.m_errHTTPFileDownLoad = codes.http_error;
        policy.m_errFileShareDownLoad = codes.file_share_error;
        Forget();
        Get();
        EXPECT_EQ(All(), Begin() + codes.expected + Return(method, "new.xml"))
            << codes.http_error << ", " << codes.file_share_error;
    }
}

TEST_F(Remote_Policy, TheCodesAreThoseThatTheCheckLeaves) {
    Cached();
    policy.on_check = [this](bool& check_error) {
        check_error = true;
        policy.m_errHTTPFileDownLoad = 1;
        return true;
    };
    Download_Returns("new.xml", false);
    Get();
    EXPECT_EQ(All(), Begin() + Check_Failed(1) + Return(method, "new.xml"));
    EXPECT_THAT(policy.steps, ElementsAre(check_step, "download(" + url + ", true)"))
        << "the downloader gets the flag as the check left it";
    EXPECT_FALSE(download_error);
}

TEST_F(Remote_Policy, AFailedDownloadServesTheOldCopy) {
    for (const int code : {0, 1, 2, 4, -3}) {
        const std::string copy = Cached();
        Check_Returns(true);
        policy.m_errHTTPFileDownLoad = 0;
        policy.m_errFileShareDownLoad = 0;
        policy.on_download = [&](bool& flag) {
            flag = true;
            policy.m_errHTTPFileDownLoad = code;
            policy.m_errFileShareDownLoad = code;
            return std::string("ignored.xml");
        };
        Forget();
        policy.steps.clear();
        download_error = false;
        EXPECT_EQ(Get(), copy) << code;
        EXPECT_TRUE(download_error);
        EXPECT_THAT(policy.steps, ElementsAre(check_step, download_step));
        EXPECT_EQ(All(), Begin() + Expired() + Served(copy));
        EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + copy + ")"));
    }
}

TEST_F(Remote_Policy, AnUnnamedDownloadServesNothing) {
    for (const auto& [http_error, file_share_error] :
         {std::pair{3, 0}, std::pair{0, 3}, std::pair{3, 3}, std::pair{2, 3}}) {
        const std::string copy = Cached();
        Check_Returns(true);
        policy.m_errHTTPFileDownLoad = 0;
        policy.m_errFileShareDownLoad = 0;
        policy.on_download = [&, http = http_error, share = file_share_error](bool& flag) {
            flag = true;
            policy.m_errHTTPFileDownLoad = http;
            policy.m_errFileShareDownLoad = share;
            return std::string("ignored.xml");
        };
        Forget();
        download_error = false;
        EXPECT_EQ(Get(), "") << http_error << ", " << file_share_error;
        EXPECT_TRUE(download_error);
        EXPECT_EQ(All(), Begin() + Expired() + Unnamed_Download()) << "no exit record";
        EXPECT_THAT(os->calls, IsEmpty());
        EXPECT_EQ(policy.m_Cache_Entries.size(), 1U);
        EXPECT_EQ(Content(copy), "old");
    }
}

TEST_F(Remote_Policy, ACodeOfAnEarlierRequestStaysInForce) {
    Cached();
    policy.m_errFileShareDownLoad = 3; // of an earlier share request
    Check_Returns(true);
    Download_Returns("", true);
    EXPECT_EQ(Get(), "");
    EXPECT_EQ(All(), Begin() + Check_Failed(3) + Unnamed_Download());
}

TEST_F(Remote_Policy, AFailedDownloadWithoutOldCopyIsTriedOnceMore) {
    policy.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", 1};
    Check_Returns(true);
    Download_Returns("", true);
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_THAT(policy.steps, ElementsAre(check_step, download_step, "download(" + url + ", true)"));
    EXPECT_EQ(All(), Begin() + Expired() + Copy_Missing() + Return(method, ""));
}

TEST_F(Remote_Policy, TheSecondTrialMaySucceed) {
    policy.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", 1};
    Check_Returns(true);
    int downloads = 0;
    policy.on_download = [&](bool& flag) {
        flag = ++downloads == 1;
        return std::string(flag ? "" : "new.xml");
    };
    EXPECT_EQ(Get(), "new.xml");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(All(), Begin() + Expired() + Copy_Missing() + Return(method, "new.xml"));
}

TEST_F(Remote_Policy, AnEntryThatVanishesServesNothing) {
    const Records vanished =
        Bug() + Error(method, "Cached file unexpectedly not found at this point: '" + url + "'.\n");
    Cached();
    policy.on_check = [this](bool&) {
        policy.m_Cache_Entries.clear();
        return false;
    };
    EXPECT_EQ(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(All(), Begin() + vanished) << "no exit record";
    EXPECT_THAT(os->calls, IsEmpty());

    Cached();
    Check_Returns(true);
    policy.on_download = [this](bool& flag) {
        flag = true;
        policy.m_Cache_Entries.clear();
        return std::string("ignored.xml");
    };
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(All(), Begin() + Expired() + vanished);
}

TEST_F(Remote_Policy, AnUnnamedCopyServesNothing) {
    const Records unnamed = Bug() + Error(method, "Cached file is unnamed for URL '" + url + "'.\n");
    policy.m_Cache_Entries[url] = {"", "m", 1};
    Check_Returns(false);
    EXPECT_EQ(Get(), "");
    EXPECT_FALSE(download_error);
    EXPECT_EQ(All(), Begin() + unnamed) << "no exit record";
    EXPECT_THAT(os->calls, IsEmpty());

    Check_Returns(true);
    Download_Returns("ignored.xml", true);
    Forget();
    EXPECT_EQ(Get(), "");
    EXPECT_TRUE(download_error);
    EXPECT_EQ(All(), Begin() + Expired() + unnamed);
}

TEST_F(Remote_Policy, TheCopyServedIsTheOneOfTheEntryAsItIsThen) {
    Cached();
    const std::string other = Write_File(In_Cache("other.xml"), "other");
    policy.on_check = [&](bool&) {
        policy.m_Cache_Entries[url].cached_file = other;
        return false;
    };
    EXPECT_EQ(Get(), other);
}

TEST_F(Remote_Policy, NeitherTheEntriesNorTheCodesAreChanged) {
    const std::string copy = Cached();
    policy.m_errHTTPFileDownLoad = 2;
    policy.m_errFileShareDownLoad = 4;
    Check_Returns(true);
    Download_Returns("", true);
    Get();
    EXPECT_EQ(policy.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(policy.m_errFileShareDownLoad, 4);
    ASSERT_EQ(policy.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(policy.m_Cache_Entries[url].cached_file, copy);
    EXPECT_EQ(policy.m_Cache_Entries[url].last_modified, "m");
    EXPECT_EQ(policy.m_Cache_Entries[url].last_checked_remotely, 1U);
}

} // namespace
