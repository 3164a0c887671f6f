#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

#include <functional>
#include <limits>
#include <tuple>

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
    static Records Returned(const std::string& path) { return Return(method, path); }
    Records Copy_Missing() const {
        return Data(method, "Cached file for '" + url + "' does not exist. Will be downloaded.\n");
    }
    /// Errors that end without an exit record.
    Records Unnamed_Download() const {
        return Bug() + Error(method, "Empty Cached file Name for URL '" + url + "'.\n");
    }
    Records Unnamed_Copy() const { return Bug() + Error(method, "Cached file is unnamed for URL '" + url + "'.\n"); }
    Records Vanished() const {
        return Bug() + Error(method, "Cached file unexpectedly not found at this point: '" + url + "'.\n");
    }

    /// An entry whose copy is on the disk.
    std::string Cached() {
        const std::string path = Write_File(In_Cache("old.xml"), "old");
        policy.m_Cache_Entries[url] = {path, "m", 1};
        return path;
    }

    /// An entry whose copy is not there.
    void Cached_But_Gone() { policy.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", 1}; }

    void Check_Returns(bool expired) {
        policy.on_check = [=](bool&) { return expired; };
    }
    void Download_Returns(const std::string& path, bool error) {
        policy.on_download = [=](bool& flag) {
            flag = error;
            return path;
        };
    }
    /// A download that fails and leaves these codes; there were none before.
    void Download_Fails(int http_error, int file_share_error) {
        policy.m_errHTTPFileDownLoad = policy.m_errFileShareDownLoad = 0;
        policy.on_download = [=, this](bool& flag) {
            flag = true;
            policy.m_errHTTPFileDownLoad = http_error;
            policy.m_errFileShareDownLoad = file_share_error;
            return std::string("ignored.xml");
        };
    }

    /// Asks for the URL: what it gets and what is flagged, the steps in their order, the records behind the call.
    void Expect(const std::string& path, bool error, const std::vector<std::string>& steps, const Records& records) {
        Forget();
        policy.steps.clear();
        bool download_error = !error;
        EXPECT_EQ(policy.Get(url, download_error), path);
        EXPECT_EQ(download_error, error);
        EXPECT_EQ(policy.steps, steps);
        EXPECT_EQ(All(), Begin() + records);
    }
    std::vector<std::string> Both_Steps() const { return {check_step, download_step}; }

    Policy_Cache policy{os};
};

// The expiry period

TEST_F(Remote_Policy, TheExpiryPeriodIsReadInMinutesEachTime) {
    os->expiry_minutes = 60;
    EXPECT_EQ(cache.Get_LandscapeCacheExpiryPeriod(), 60 * Minute);
    os->expiry_minutes = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(cache.Get_LandscapeCacheExpiryPeriod(), 2576980377000000000U);
    const std::string question = "Read_Registry_Int(2, Software\\QEL\\QELLogon\\Options, LandscapeCacheExpiryPeriod)";
    EXPECT_THAT(os->calls, ElementsAre(question, question));
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

TEST_F(Remote_Policy, AnUnnamedOrMissingCopyIsNotFresh) {
    os->expiry_minutes = 60;
    cache.m_Cache_Entries[url] = {"", "m", os->current_time};
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    EXPECT_THAT(os->calls, IsEmpty());
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

TEST_F(Remote_Policy, NeitherNoPeriodNorTheLongestOneIsMistaken) {
    Cache_Copy(url, "a.xml", "m", os->current_time);
    for (const auto& [minutes, period] : {std::pair{0U, std::uint64_t{0}},
                                          std::pair{std::numeric_limits<std::uint32_t>::max(), 2576980377000000000U}}) {
        os->expiry_minutes = minutes;
        os->current_time += period;
        EXPECT_TRUE(cache.Cached_File_Still_Fresh(url)) << minutes;
        ++os->current_time;
        EXPECT_FALSE(cache.Cached_File_Still_Fresh(url)) << minutes;
        --os->current_time;
    }
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

TEST_F(Remote_Policy, AnUnknownUrlIsDownloadedWithoutACheckAndTakenAsItComes) {
    policy.m_errHTTPFileDownLoad = 3;
    for (const std::string path : {"new.xml", ""}) {
        for (const bool error : {false, true}) {
            Download_Returns(path, error);
            Expect(path, error, {download_step}, Unknown() + Returned(path));
            EXPECT_THAT(os->calls, IsEmpty());
            EXPECT_THAT(policy.m_Cache_Entries, IsEmpty()) << "recording is up to the downloader";
        }
    }
}

TEST_F(Remote_Policy, AnUnchangedFileIsServedFromTheCache) {
    const std::string copy = Cached();
    Check_Returns(false);
    Expect(copy, false, {check_step}, Served(copy));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + copy + ")"));
}

TEST_F(Remote_Policy, AnUnchangedFileLeavesTheFlagOfTheCheck) {
    const std::string copy = Cached();
    policy.on_check = [](bool& flag) {
        flag = true;
        return false;
    };
    policy.m_errHTTPFileDownLoad = 3; // codes count only after a failed download
    Expect(copy, true, {check_step}, Served(copy));
}

TEST_F(Remote_Policy, AnUnchangedFileWhoseCopyIsGoneIsDownloadedAgainAndTakenAsItComes) {
    Cached_But_Gone();
    policy.m_errFileShareDownLoad = 3;
    Check_Returns(false);
    for (const std::string path : {"new.xml", ""}) {
        Download_Returns(path, path.empty());
        Expect(path, path.empty(), Both_Steps(), Copy_Missing() + Returned(path));
        EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + In_Cache("missing.xml") + ")"));
    }
}

TEST_F(Remote_Policy, ASuccessfulDownloadIsTakenWhateverTheCodes) {
    Cached();
    Check_Returns(true);
    Download_Returns("new.xml", false);
    Expect("new.xml", false, Both_Steps(), Expired() + Returned("new.xml"));
    EXPECT_THAT(os->calls, IsEmpty());
    policy.m_errHTTPFileDownLoad = policy.m_errFileShareDownLoad = 3;
    Download_Returns("", false);
    Expect("", false, Both_Steps(), Check_Failed(3) + Returned(""));
}

TEST_F(Remote_Policy, TheRecordDistinguishesAFailedCheckFromAnExpiredFile) {
    const std::tuple<int, int, Records> cases[] = {
        {0, 0, Expired()},       {1, 0, Check_Failed(1)},  {2, 0, Check_Failed(2)},  {0, 1, Check_Failed(1)},
        {0, 4, Check_Failed(4)}, {1, 4, Check_Failed(1)},  {-1, 0, Expired()},       {0, -1, Expired()},
        {-1, -7, Expired()},     {-1, 4, Check_Failed(4)}, {2, -1, Check_Failed(2)}, {3, 3, Check_Failed(3)},
    };
    Cached();
    Check_Returns(true);
    Download_Returns("new.xml", false);
    for (const auto& [http_error, file_share_error, record] : cases) {
        policy.m_errHTTPFileDownLoad = http_error;
        policy.m_errFileShareDownLoad = file_share_error;
        Expect("new.xml", false, Both_Steps(), record + Returned("new.xml"));
    }
}

TEST_F(Remote_Policy, TheCodesAndTheFlagAreThoseThatTheCheckLeaves) {
    Cached();
    policy.on_check = [this](bool& check_error) {
        check_error = true;
        policy.m_errHTTPFileDownLoad = 1;
        return true;
    };
    Download_Returns("new.xml", false);
    Expect("new.xml", false, {check_step, "download(" + url + ", true)"}, Check_Failed(1) + Returned("new.xml"));
}

TEST_F(Remote_Policy, AFailedDownloadServesTheOldCopyAndChangesNothing) {
    const std::string copy = Cached();
    Check_Returns(true);
    for (const int code : {0, 1, 2, 4, -3}) {
        Download_Fails(code, code);
        Expect(copy, true, Both_Steps(), Expired() + Served(copy));
        EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + copy + ")"));
        EXPECT_EQ(policy.m_errHTTPFileDownLoad, code);
        EXPECT_EQ(policy.m_errFileShareDownLoad, code);
    }
    ASSERT_EQ(policy.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(policy.m_Cache_Entries[url].cached_file, copy);
    EXPECT_EQ(policy.m_Cache_Entries[url].last_modified, "m");
    EXPECT_EQ(policy.m_Cache_Entries[url].last_checked_remotely, 1U);
}

TEST_F(Remote_Policy, AnUnnamedDownloadServesNothing) {
    const std::string copy = Cached();
    Check_Returns(true);
    for (const auto& [http_error, file_share_error] : {std::pair{3, 0}, {0, 3}, {3, 3}, {2, 3}}) {
        Download_Fails(http_error, file_share_error);
        Expect("", true, Both_Steps(), Expired() + Unnamed_Download());
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
    Expect("", true, Both_Steps(), Check_Failed(3) + Unnamed_Download());
}

TEST_F(Remote_Policy, AFailedDownloadWithoutOldCopyIsTriedOnceMore) {
    Cached_But_Gone();
    Check_Returns(true);
    for (const std::string second : {"", "new.xml"}) {
        policy.on_download = [&, downloads = 0](bool& flag) mutable {
            flag = ++downloads == 1 || second.empty();
            return flag ? std::string() : second;
        };
        Expect(second, second.empty(), {check_step, download_step, "download(" + url + ", true)"},
               Expired() + Copy_Missing() + Returned(second));
    }
}

TEST_F(Remote_Policy, AnEntryThatVanishesServesNothing) {
    Cached();
    policy.on_check = [this](bool&) {
        policy.m_Cache_Entries.clear();
        return false;
    };
    Expect("", false, {check_step}, Vanished());
    EXPECT_THAT(os->calls, IsEmpty());

    Cached();
    Check_Returns(true);
    policy.on_download = [this](bool& flag) {
        flag = true;
        policy.m_Cache_Entries.clear();
        return std::string("ignored.xml");
    };
    Expect("", true, Both_Steps(), Expired() + Vanished());
}

TEST_F(Remote_Policy, AnUnnamedCopyServesNothing) {
    policy.m_Cache_Entries[url] = {"", "m", 1};
    Check_Returns(false);
    Expect("", false, {check_step}, Unnamed_Copy());
    EXPECT_THAT(os->calls, IsEmpty());

    Check_Returns(true);
    Download_Returns("ignored.xml", true);
    Expect("", true, Both_Steps(), Expired() + Unnamed_Copy());
}

TEST_F(Remote_Policy, TheCopyServedIsTheOneOfTheEntryAsItIsThen) {
    Cached();
    const std::string other = Write_File(In_Cache("other.xml"), "other");
    policy.on_check = [&](bool&) {
        policy.m_Cache_Entries[url].cached_file = other;
        return false;
    };
    Expect(other, false, {check_step}, Served(other));
}

} // namespace
