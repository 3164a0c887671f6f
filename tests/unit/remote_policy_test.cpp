#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using namespace testing;

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
        values.insert({{"url", url}, {"copy", copy}});
        Forget();
    }

    /// Asks for the URL: what it gets and what is flagged, the steps in their order, the records behind the call.
    void Expect(const std::string& path, bool error, const std::vector<std::string>& steps,
                const std::string& records) {
        Forget();
        policy.steps.clear();
        bool download_error = !error;
        EXPECT_EQ(policy.Get(url, download_error), path);
        EXPECT_EQ(download_error, error);
        EXPECT_EQ(policy.steps, steps);
        values["path"] = path;
        Expect_Records("D Get_Cached_Remote_File: CALL(url='{url}', expired_f/downloader_f not traced.)\n" + records);
        const bool looks = records.find("will be used") != records.npos || records.find("not exist") != records.npos;
        EXPECT_EQ(os->calls.size(), looks ? 1U : 0U);
        EXPECT_EQ(os->Calls_Of("File_Exists"), os->calls.size());
    }

    const std::string url = "http://server/file.xml";
    const std::string copy = Write_File(In_Cache("old.xml"), "old");
    const std::string check_step = "check(" + url + ", false)";
    const std::string download_step = "download(" + url + ", false)";
    Policy_Cache policy{os};
};

TEST_F(Remote_Policy, WithoutAnEntryOrItsCopyNothingIsFresh) {
    os->expiry_minutes = 60;
    Cache_Copy("http://server/FILE.xml", "a.xml", "m", os->current_time);
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    cache.m_Cache_Entries[url] = {"", "m", os->current_time};
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    EXPECT_THAT(os->calls, IsEmpty());
    cache.m_Cache_Entries[url] = {In_Cache("missing.xml"), "m", os->current_time};
    EXPECT_FALSE(cache.Cached_File_Still_Fresh(url));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + In_Cache("missing.xml") + ")"));
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(Remote_Policy, ACopyIsFreshUpToTheLastInstantOfThePeriod) {
    constexpr auto longest = std::numeric_limits<std::uint32_t>::max();
    const struct {
        std::uint32_t minutes;
        std::uint64_t checked;
        std::uint64_t now;
        bool is_fresh;
    } cases[] = {
        {60, 1000 * Minute, 1000 * Minute, true},
        {60, 1000 * Minute, 1060 * Minute, true},
        {60, 1000 * Minute, 1060 * Minute + 1, false},
        {60, 1000 * Minute, 0, true}, // a clock put back
        {0, 1000 * Minute, 1000 * Minute, true},
        {0, 1000 * Minute, 1000 * Minute + 1, false},
        {longest, 7, 7 + 2576980377000000000U, true},
        {longest, 7, 8 + 2576980377000000000U, false},
        // The sum of the times wraps around.
        {1, std::numeric_limits<std::uint64_t>::max(), 1000 * Minute, false},
        {1, std::numeric_limits<std::uint64_t>::max(), Minute - 1, true},
        {1, std::numeric_limits<std::uint64_t>::max(), Minute, false},
    };
    for (const auto& [minutes, checked, now, is_fresh] : cases) {
        Forget();
        const std::string asked = Cache_Copy(url, "a.xml", "m", checked);
        os->expiry_minutes = minutes;
        os->current_time = now;
        EXPECT_EQ(cache.Cached_File_Still_Fresh(url), is_fresh) << minutes << ", " << now;
        EXPECT_THAT(All(), IsEmpty());
        EXPECT_THAT(os->calls,
                    ElementsAre("File_Exists(" + asked + ")", "Get_Current_Time()",
                                "Read_Registry_Int(2, Software\\QEL\\QELLogon\\Options, LandscapeCacheExpiryPeriod)"));
    }
}

const std::string s_policy = "D Get_Cached_Remote_File: ";
const std::string s_policy_unknown = s_policy + "Remote file '{url}' not found in cache. Will be downloaded.\n";
const std::string s_policy_expired = s_policy + "Remote file '{url}' is expired. Will be downloaded.\n";
const std::string s_policy_missing = s_policy + "Cached file for '{url}' does not exist. Will be downloaded.\n";
const std::string s_policy_served =
    s_policy + "Cached file '{copy}' for URL '{url}' will be used.\n" + s_policy + "return value:(rtn = {copy})";
const std::string s_policy_returned = s_policy + "return value:({path})";
const std::string s_policy_tried_again = s_policy_expired + s_policy_missing + s_policy_returned;
// Errors that end without an exit record.
const std::string s_policy_error = "D ---- BUG ----\nE Get_Cached_Remote_File: ";
const std::string s_unnamed_download = s_policy_error + "Empty Cached file Name for URL '{url}'.";
const std::string s_unnamed_copy = s_policy_error + "Cached file is unnamed for URL '{url}'.";
const std::string s_policy_vanished = s_policy_error + "Cached file unexpectedly not found at this point: '{url}'.";

std::string Check_Failed(int code) {
    return s_policy + "Error(code=" + std::to_string(code) +
           ") in determine URL/file Expired, Try to download the remote file '{url}' directly.\n";
}

enum class Entry { None, With_Copy, Copy_Gone, Unnamed };

struct Download {
    std::string path;
    bool fails;
    int http_code = 0; ///< which a failed one leaves
    int file_share_code = 0;
};

struct Policy_Case {
    Entry entry;
    bool expired;
    int http_code; ///< both as before the request
    int file_share_code;
    std::vector<Download> downloads;
    std::string path; ///< of the result
    std::string records;
};

const Download s_new_copy = {"new.xml", false};
const Download s_no_copy = {"", false};
const Download s_failed = {"", true};

const Policy_Case s_policy_cases[] = {
    // An unknown URL is downloaded without a check and taken as it comes.
    {Entry::None, true, 3, 0, {s_new_copy}, "new.xml", s_policy_unknown + s_policy_returned},
    {Entry::None, true, 0, 3, {s_no_copy}, "", s_policy_unknown + s_policy_returned},
    {Entry::None, true, 3, 0, {{"new.xml", true}}, "new.xml", s_policy_unknown + s_policy_returned},
    {Entry::None, true, 3, 0, {{"", true}}, "", s_policy_unknown + s_policy_returned},
    // An unchanged file is served from the cache, or downloaded again where its copy is gone.
    {Entry::With_Copy, false, 0, 0, {}, "{copy}", s_policy_served},
    {Entry::With_Copy, false, 3, 3, {}, "{copy}", s_policy_served},
    {Entry::Copy_Gone, false, 0, 3, {s_new_copy}, "new.xml", s_policy_missing + s_policy_returned},
    {Entry::Copy_Gone, false, 0, 3, {{"", true}}, "", s_policy_missing + s_policy_returned},
    // A successful download is taken whatever the codes, which the record of the check shows.
    {Entry::With_Copy, true, 0, 0, {s_new_copy}, "new.xml", s_policy_expired + s_policy_returned},
    {Entry::With_Copy, true, 3, 3, {s_no_copy}, "", Check_Failed(3) + s_policy_returned},
    {Entry::With_Copy, true, 1, 0, {s_new_copy}, "new.xml", Check_Failed(1) + s_policy_returned},
    {Entry::With_Copy, true, 2, 0, {s_new_copy}, "new.xml", Check_Failed(2) + s_policy_returned},
    {Entry::With_Copy, true, 0, 1, {s_new_copy}, "new.xml", Check_Failed(1) + s_policy_returned},
    {Entry::With_Copy, true, 0, 4, {s_new_copy}, "new.xml", Check_Failed(4) + s_policy_returned},
    {Entry::With_Copy, true, 1, 4, {s_new_copy}, "new.xml", Check_Failed(1) + s_policy_returned},
    {Entry::With_Copy, true, -1, 0, {s_new_copy}, "new.xml", s_policy_expired + s_policy_returned},
    {Entry::With_Copy, true, 0, -1, {s_new_copy}, "new.xml", s_policy_expired + s_policy_returned},
    {Entry::With_Copy, true, -1, -7, {s_new_copy}, "new.xml", s_policy_expired + s_policy_returned},
    {Entry::With_Copy, true, -1, 4, {s_new_copy}, "new.xml", Check_Failed(4) + s_policy_returned},
    {Entry::With_Copy, true, 2, -1, {s_new_copy}, "new.xml", Check_Failed(2) + s_policy_returned},
    // A failed download serves the old copy, unless it has no name.
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 0, 0}}, "{copy}", s_policy_expired + s_policy_served},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 1, 1}}, "{copy}", s_policy_expired + s_policy_served},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 2, 2}}, "{copy}", s_policy_expired + s_policy_served},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 4, 4}}, "{copy}", s_policy_expired + s_policy_served},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, -3, -3}}, "{copy}", s_policy_expired + s_policy_served},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 3, 0}}, "", s_policy_expired + s_unnamed_download},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 0, 3}}, "", s_policy_expired + s_unnamed_download},
    {Entry::With_Copy, true, 0, 0, {{"ignored.xml", true, 2, 3}}, "", s_policy_expired + s_unnamed_download},
    {Entry::With_Copy, true, 0, 3, {{"", true, 0, 3}}, "", Check_Failed(3) + s_unnamed_download},
    // Without an old copy it is tried once more.
    {Entry::Copy_Gone, true, 0, 0, {s_failed, s_failed}, "", s_policy_tried_again},
    {Entry::Copy_Gone, true, 0, 0, {s_failed, s_new_copy}, "new.xml", s_policy_tried_again},
    // A copy without a name serves nothing.
    {Entry::Unnamed, false, 0, 0, {}, "", s_unnamed_copy},
    {Entry::Unnamed, true, 0, 0, {{"ignored.xml", true}}, "", s_policy_expired + s_unnamed_copy},
};

TEST_F(Remote_Policy, ServesACopyOrDownloadsTheFile) {
    for (const Policy_Case& asked : s_policy_cases) {
        SCOPED_TRACE("case " + std::to_string(&asked - s_policy_cases));
        const std::string cached_file = asked.entry == Entry::With_Copy   ? copy
                                        : asked.entry == Entry::Copy_Gone ? In_Cache("missing.xml")
                                                                          : "";
        policy.m_Cache_Entries.clear();
        if (asked.entry != Entry::None) {
            policy.m_Cache_Entries[url] = {cached_file, "m", 1};
        }
        policy.m_errHTTPFileDownLoad = asked.http_code;
        policy.m_errFileShareDownLoad = asked.file_share_code;
        policy.on_check = [&](bool&) { return asked.expired; };
        policy.on_download = [&, next = asked.downloads.begin()](bool& flag) mutable {
            const Download& download = *next++;
            flag = download.fails;
            if (flag) {
                policy.m_errHTTPFileDownLoad = download.http_code;
                policy.m_errFileShareDownLoad = download.file_share_code;
            }
            return download.path;
        };
        std::vector<std::string> steps;
        if (asked.entry != Entry::None) {
            steps.push_back(check_step);
        }
        bool error = false;
        for (const Download& download : asked.downloads) {
            steps.push_back("download(" + url + ", " + (error ? "true" : "false") + ")");
            error = download.fails;
        }
        Expect(asked.path == "{copy}" ? copy : asked.path, error, steps, asked.records);
        EXPECT_EQ(policy.m_Cache_Entries.size(), asked.entry == Entry::None ? 0U : 1U) << "recording is up to others";
        EXPECT_THAT(policy.m_Cache_Entries, Each(Pair(url, FieldsAre(cached_file, "m", 1U))));
    }
    EXPECT_EQ(Content(copy), "old");
}

TEST_F(Remote_Policy, TheCodesAndTheFlagAreThoseThatTheCheckLeaves) {
    policy.m_Cache_Entries[url] = {copy, "m", 1};
    bool expired = true;
    policy.on_check = [&](bool& check_error) {
        check_error = true;
        policy.m_errHTTPFileDownLoad = 1;
        return expired;
    };
    policy.on_download = [](bool& flag) {
        flag = false;
        return std::string("new.xml");
    };
    Expect("new.xml", false, {check_step, "download(" + url + ", true)"}, Check_Failed(1) + s_policy_returned);
    expired = false;
    Expect(copy, true, {check_step}, s_policy_served);
}

TEST_F(Remote_Policy, AnEntryThatVanishesServesNothing) {
    for (const bool expired : {false, true}) {
        policy.m_Cache_Entries[url] = {copy, "m", 1};
        policy.on_check = [&](bool&) {
            policy.m_Cache_Entries.erase(expired ? "" : url);
            return expired;
        };
        policy.on_download = [this](bool& flag) {
            flag = true;
            policy.m_Cache_Entries.clear();
            return std::string("ignored.xml");
        };
        Expect("", expired, expired ? std::vector{check_step, download_step} : std::vector{check_step},
               (expired ? s_policy_expired : "") + s_policy_vanished);
    }
}

TEST_F(Remote_Policy, TheCopyServedIsTheOneOfTheEntryAsItIsThen) {
    policy.m_Cache_Entries[url] = {"former.xml", "m", 1};
    policy.on_check = [&](bool&) {
        policy.m_Cache_Entries[url].cached_file = copy;
        return false;
    };
    Expect(copy, false, {check_step}, s_policy_served);
}

} // namespace
