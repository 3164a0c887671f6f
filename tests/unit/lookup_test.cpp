#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

#include <algorithm>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr int Ordinary = 213;
constexpr int Untouched = -4711;
constexpr std::uint32_t Read_Only = 0x1;
constexpr std::uint32_t Archive = 0x20;

/// The answer to a request with everything that the caller sees.
struct Answer {
    std::string path;
    bool download_error;
    int http_error;
    int file_share_error;
};

bool operator==(const Answer& left, const Answer& right) {
    return left.path == right.path && left.download_error == right.download_error &&
           left.http_error == right.http_error && left.file_share_error == right.file_share_error;
}

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << "'" << answer.path << "', " << answer.download_error << ", " << answer.http_error << ", "
         << answer.file_share_error;
}

/// A look-up that found no reason to write an error code.
Answer Without_Codes(const std::string& path) {
    return {path, false, Untouched, Untouched};
}

class Lookup : public Cache_Fixture {
protected:
    Lookup() {
        cache.m_Obsolete_Files_Cleaned = true; // the sweep has tests of its own
        os->on_copy_file = [this](const std::string&, const std::string& to, int) {
            Write_File(to, "from the share");
            return 1;
        };
        os->on_stat_file = [](const std::string&, std::int64_t& time) {
            time = 5;
            return 0;
        };
    }

    static constexpr const char* method = "Get_Cached_File_and_Status";
    const std::string url = "http://server/file.xml";
    const std::string share = "\\\\server\\share\\file.xml";
    /// The first two copies that are fetched from the server; those of the share end in ".xml".
    const std::string first_copy = In_Cache("00000000-0000-0000-0000-000000000001.txt");
    const std::string second_copy = In_Cache("00000000-0000-0000-0000-000000000002.txt");
    const std::string share_copy = In_Cache("00000000-0000-0000-0000-000000000001.xml");

    Answer Get(const std::string& request, int request_kind = Ordinary) {
        Answer answer{"", true, Untouched, Untouched};
        answer.path = cache.Get_Cached_File_and_Status(request, request_kind, answer.download_error, &answer.http_error,
                                                       &answer.file_share_error);
        return answer;
    }

    /// The drive type of each question in turn; the last one stays.
    void Drive_Types(std::vector<unsigned int> types) {
        os->on_get_drive_type = [types, next = std::size_t{0}](const std::string&) mutable {
            return types[std::min(next++, types.size() - 1)];
        };
    }

    void Server_Answers(const std::string& last_modified, const std::string& body) {
        auto& request = g_services.requests[0];
        request = {};
        request.headers = {{"Last-Modified", last_modified}, {"Content-Type", "text/plain"}};
        request.body = body;
    }
    void Server_Fails() {
        g_services.requests[0] = {};
        g_services.requests[0].status = {500};
    }

    // What the steps write.
    static Records Begin(const std::string& request) {
        return Call(method, "url='" + request + "'") + Call("Cleanup_Obsolete_Cached_Files") +
               Data("Cleanup_Obsolete_Cached_Files",
                    "Obsolete files already cleaned up. Ignoring redundand cache cleanup request.\n") +
               Call("Normalize_if_File_URL", "url='" + request + "'");
    }
    static Records Not_Normalised(const std::string& request) {
        return Kind_Test("Is_File_URL", request, false) +
               Data("Normalize_if_File_URL", "Not file URL '" + request + "'. Will not be normalized.\n") +
               Return("Normalize_if_File_URL", request.empty() ? "''" : request) +
               Data(method, "url_or_path = '" + request + "'.\n");
    }
    static Records Result(const std::string& path) { return Return(method, path.empty() ? "''" : path); }

    static Records Local_File(const std::string& path) {
        return Is_Local_Path(path) + Data(method, "URL is local.\n") +
               Data(method, "Local file exists '" + path + "'.\n") + Result(path);
    }
    static Records Missing_Local_File(const std::string& path) {
        return Is_Local_Path(path) + Data(method, "URL is local.\n") +
               Error(method, "Previously cached local file does not exist '" + path + "'.\n") + Result("");
    }
    /// From the start to the tests of the kind, for an Internet URL.
    static Records Inet_Request(const std::string& request) {
        return Begin(request) + Not_Normalised(request) + Is_Local_Inet(request) +
               Kind_Test("Is_File_Share", request, false) + Is_Local_Inet(request);
    }
    /// The same for a share.
    static Records Share_Request(const std::string& request) {
        return Begin(request) + Not_Normalised(request) + Is_Local_Share(request) +
               Kind_Test("Is_File_Share", request, true) + Is_Local_Share(request);
    }
    static Records No_Old_Copy() { return Data(method, "No old cached file detected in metadata.\n"); }
    static Records Old_Copy(const std::string& path) { return Data(method, "Old cached file: " + path + "\n"); }

    /// The look-up's own records without those of its tests.
    static Records Decisions() {
        Records records = Of({method});
        std::erase_if(records, [](const Record& record) {
            return record.text.starts_with(std::string(method) + "[this]: url_or_path");
        });
        return records;
    }
    static Records Decisions_Begin(const std::string& request) { return Call(method, "url='" + request + "'"); }
};

// Local files

TEST_F(Lookup, PassesALocalFileThroughUnchanged) {
    const std::string file = Write_File(In_Cache("local.xml"), "local");
    cache.m_Cache_Entries[file] = {"other.xml", "m", 1};
    EXPECT_EQ(Get(file), Without_Codes(file)) << "even without a cache directory";
    EXPECT_EQ(All(), Begin(file) + Not_Normalised(file) + Local_File(file));
    EXPECT_EQ(os->calls.back(), "File_Exists(" + file + ")");
    EXPECT_EQ(os->Calls_Of("File_Exists"), 1U);
    EXPECT_EQ(Content(file), "local");
}

TEST_F(Lookup, HasNothingForAMissingLocalFile) {
    const std::string file = In_Cache("missing.xml");
    EXPECT_EQ(Get(file), Without_Codes(""));
    EXPECT_EQ(All(), Begin(file) + Not_Normalised(file) + Missing_Local_File(file));
}

TEST_F(Lookup, TakesUnknownSchemesForLocalFiles) {
    for (const char* const request : {"ftp://server/file.xml", "HTTP://server/file.xml", "//server/share/file.xml"}) {
        Forget();
        EXPECT_EQ(Get(request), Without_Codes(""));
        EXPECT_EQ(All(), Begin(request) + Not_Normalised(request) + Missing_Local_File(request));
    }
}

TEST_F(Lookup, HasNothingForAnEmptyRequest) {
    EXPECT_EQ(Get(""), Without_Codes(""));
    EXPECT_EQ(All(), Begin("") + Not_Normalised("") + Missing_Local_File(""));
}

TEST_F(Lookup, ServesALocalFileUrlByItsPath) {
    os->on_file_exists = [](const std::string& path) { return path == "C:\\data\\file.xml"; };
    EXPECT_EQ(Get("file:///C:/data/file.xml"), Without_Codes("C:\\data\\file.xml"));
    EXPECT_EQ(Of({method}),
              Call(method, "url='file:///C:/data/file.xml'") + Data(method, "url_or_path = 'C:\\data\\file.xml'.\n") +
                  Data(method, "URL is local.\n") + Data(method, "Local file exists 'C:\\data\\file.xml'.\n") +
                  Result("C:\\data\\file.xml"));
}

TEST_F(Lookup, HasNothingForAFileUrlItCannotRead) {
    const std::string request = "file:C:/data/file.xml";
    EXPECT_EQ(Get(request), Without_Codes(""));
    EXPECT_EQ(All(), Begin(request) + Kind_Test("Is_File_URL", request, true) + Bug() +
                         Error("Normalize_if_File_URL",
                               "Unsupported file URL format unexpected at this time: '" + request + "'.\n") +
                         Return("Normalize_if_File_URL", "''") + Data(method, "url_or_path = ''.\n") +
                         Missing_Local_File(""));
}

// Writable files on shares

TEST_F(Lookup, LeavesAWritableFileOnAShareToTheHost) {
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return Archive; };
    for (const int kind : {201, 202}) {
        Forget();
        EXPECT_EQ(Get(share, kind), Without_Codes("")) << "even without a cache directory";
        EXPECT_EQ(All(), Begin(share) + Not_Normalised(share) + Is_Local_Share(share) +
                             Kind_Test("Is_File_Share", share, true))
            << "no exit record";
        EXPECT_THAT(g_services.path_calls,
                    ElementsAre("Path_Exists(" + share + ")", "Get_File_Attributes(" + share + ")"));
        EXPECT_THAT(os->calls, IsEmpty());
    }
}

TEST_F(Lookup, LeavesItToTheHostThoughACopyIsFresh) {
    Use_Cache_Directory();
    Cache_Copy(share, "copy.xml", "5", os->current_time);
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    EXPECT_EQ(Get(share, 201), Without_Codes(""));
    EXPECT_EQ(Get(share).path, In_Cache("copy.xml"));
}

TEST_F(Lookup, CachesAWritableFileForAnyOtherKindOfRequest) {
    Use_Cache_Directory();
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return Archive; };
    for (const int kind : {213, 0, 200, 203, -201, 1}) {
        cache.m_Cache_Entries.clear();
        EXPECT_NE(Get(share, kind).path, "") << kind;
        EXPECT_THAT(g_services.path_calls, IsEmpty());
    }
}

TEST_F(Lookup, CachesAReadOnlyFileForEveryKindOfRequest) {
    Use_Cache_Directory();
    g_services.on_path_exists = [](const std::string&) { return true; };
    for (const std::uint32_t attributes : {Read_Only, Read_Only | Archive, 0xFFFFFFFFU}) {
        g_services.on_get_file_attributes = [=](const std::string&) { return attributes; };
        for (const int kind : {201, 202, 213}) {
            cache.m_Cache_Entries.clear();
            EXPECT_NE(Get(share, kind).path, "") << kind << ", " << attributes;
        }
    }
}

TEST_F(Lookup, AsksForTheAttributesOfAnExistingPathAlone) {
    Use_Cache_Directory();
    g_services.on_path_exists = [](const std::string&) { return false; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    EXPECT_NE(Get(share, 202).path, "");
    EXPECT_THAT(g_services.path_calls, ElementsAre("Path_Exists(" + share + ")"));
}

TEST_F(Lookup, NeverTestsThePathOfAnInternetUrl) {
    Use_Cache_Directory();
    Server_Answers("m", "body");
    Get(url, 201);
    EXPECT_THAT(g_services.path_calls, IsEmpty());
}

// States that only drives that change under a request bring about

TEST_F(Lookup, RefusesAPathThatTurnsLocal) {
    Use_Cache_Directory();
    Drive_Types({4, 4, 3});
    const std::string path = "N:\\file.xml";
    EXPECT_EQ(Get(path), Without_Codes(""));
    EXPECT_EQ(All(), Begin(path) + Not_Normalised(path) + Is_Local_Share(path) +
                         Kind_Test("Is_File_Share", path, true) + Is_Local_Path(path) + Bug() +
                         Error(method, "Local file URL is not expected at this point: '" + path + "'.\n") + Result(""));
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
}

TEST_F(Lookup, RefusesAPathOfNoKindAtAll) {
    Use_Cache_Directory();
    Drive_Types({4, 4, 4, 3});
    const std::string path = "N:\\file.xml";
    EXPECT_EQ(Get(path), Without_Codes(""));
    EXPECT_EQ(All(), Share_Request(path) + No_Old_Copy() + Kind_Test("Is_Inet_URL", path, false) +
                         Kind_Test("Is_File_Share", path, false) + Bug() +
                         Error(method,
                               "Neither local, nor Inet, nor File share. Unexpected at this point. '" + path + "'.\n") +
                         Result(""));
}

TEST_F(Lookup, DeletesTheOldCopyOfAPathOfNoKindAtAll) {
    Use_Cache_Directory();
    Drive_Types({4, 4, 4, 3});
    const std::string old_copy = Cache_Copy("N:\\file.xml", "old.xml", "m", 0);
    EXPECT_EQ(Get("N:\\file.xml"), Without_Codes(""));
    EXPECT_FALSE(std::filesystem::exists(old_copy));
}

// Without a cache directory

TEST_F(Lookup, NeedsACacheDirectoryForRemoteFiles) {
    cache.m_Cache_Entries[url] = {Write_File(In_Cache("copy.xml"), ""), "m", os->current_time};
    EXPECT_EQ(Get(url), Without_Codes(""));
    EXPECT_EQ(All(), Inet_Request(url) + Error(method, "Cache directory has not been configured.\n") + Result(""));
    EXPECT_THAT(g_services.request_calls, IsEmpty());
    EXPECT_EQ(os->Calls_Of("File_Exists"), 0U);

    Forget();
    EXPECT_EQ(Get(share), Without_Codes(""));
    EXPECT_EQ(All(), Share_Request(share) + Error(method, "Cache directory has not been configured.\n") + Result(""));
    EXPECT_THAT(os->calls, IsEmpty());
}

// Fresh copies

TEST_F(Lookup, ServesAFreshCopyWithoutAnyRemoteContact) {
    Use_Cache_Directory();
    os->expiry_minutes = 60;
    const std::string copy = Cache_Copy(url, "copy.xml", "m", os->current_time);
    EXPECT_EQ(Get(url), Without_Codes(copy));
    EXPECT_EQ(All(), Inet_Request(url) + Result(copy));
    EXPECT_THAT(g_services.request_calls, IsEmpty());
    EXPECT_EQ(os->Calls_Of("File_Exists"), 1U);
    EXPECT_EQ(cache.m_Cache_Entries[url].last_checked_remotely, os->current_time);
}

TEST_F(Lookup, ServesAFreshCopyOfAShareWithoutAnyRemoteContact) {
    Use_Cache_Directory();
    os->expiry_minutes = 60;
    const std::string copy = Cache_Copy(share, "copy.xml", "m", os->current_time);
    EXPECT_EQ(Get(share), Without_Codes(copy));
    EXPECT_EQ(All(), Share_Request(share) + Result(copy));
    EXPECT_EQ(os->Calls_Of("Stat_File"), 0U);
}

TEST_F(Lookup, ReportsAFreshCopyWhoseEntryIsGone) {
    Use_Cache_Directory();
    Cache_Copy(url, "copy.xml", "m", os->current_time);
    decltype(cache.m_Cache_Entries)::node_type taken;
    os->on_read_registry_int = [&] {
        taken = cache.m_Cache_Entries.extract(url);
        return 60U;
    };
    EXPECT_EQ(Get(url), Without_Codes(""));
    EXPECT_EQ(All(), Inet_Request(url) + Bug() + Error(method, "URL '" + url + "' not found in cache.\n") + Result(""));
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

// Internet URLs

TEST_F(Lookup, FetchesAnUnknownInternetUrl) {
    Use_Cache_Directory();
    Server_Answers("monday", "body");
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 0, Untouched}));
    EXPECT_EQ(Content(first_copy), "body");
    EXPECT_EQ(Decisions(), Decisions_Begin(url) + No_Old_Copy() + Data(method, "Inet URL detected: '" + url + "'.\n") +
                               Result(first_copy));
    EXPECT_THAT(g_services.request_calls, Contains("Open(GET, " + url + ")"));
    EXPECT_THAT(g_services.request_calls, Not(Contains("Open(HEAD, " + url + ")")));
    EXPECT_EQ(cache.m_Cache_Entries[url].cached_file, first_copy);

    const Records all = All();
    const Records begin = Inet_Request(url) + No_Old_Copy() + Kind_Test("Is_Inet_URL", url, true) +
                          Data(method, "Inet URL detected: '" + url + "'.\n") +
                          Call("Get_Cached_Remote_File", "url='" + url + "', expired_f/downloader_f not traced.");
    ASSERT_GT(all.size(), begin.size());
    EXPECT_EQ(Records(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(begin.size())), begin);
    const Records end = Return("Get_Cached_Remote_File", first_copy) + Result(first_copy);
    EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
}

TEST_F(Lookup, ChecksAnInternetUrlWhosePeriodIsOver) {
    Use_Cache_Directory();
    Server_Answers("monday", "body");
    const std::string copy = Cache_Copy(url, "copy.xml", "monday", os->current_time - 1);
    EXPECT_EQ(Get(url), (Answer{copy, false, 0, Untouched}));
    EXPECT_EQ(Decisions(), Decisions_Begin(url) + Old_Copy(copy) + Data(method, "Inet URL detected: '" + url + "'.\n") +
                               Result(copy));
    EXPECT_THAT(g_services.request_calls, Contains("Open(HEAD, " + url + ")"));
    EXPECT_THAT(g_services.request_calls, Not(Contains("Open(GET, " + url + ")")));
    EXPECT_EQ(Content(copy), "old");

    Forget();
    EXPECT_EQ(Get(url), Without_Codes(copy)) << "renewed by the check";
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

TEST_F(Lookup, ReplacesAChangedInternetFile) {
    Use_Cache_Directory();
    Server_Answers("tuesday", "new");
    const std::string copy = Cache_Copy(url, "copy.xml", "monday", 0);
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 0, Untouched}));
    EXPECT_EQ(Content(first_copy), "new");
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_EQ(Decisions(), Decisions_Begin(url) + Old_Copy(copy) + Data(method, "Inet URL detected: '" + url + "'.\n") +
                               Result(first_copy));
}

TEST_F(Lookup, ReportsAnInternetUrlThatCannotBeFetched) {
    Use_Cache_Directory();
    Server_Fails();
    EXPECT_EQ(Get(url), (Answer{"", true, 2, Untouched}));
    EXPECT_EQ(Decisions(),
              Decisions_Begin(url) + No_Old_Copy() + Data(method, "Inet URL detected: '" + url + "'.\n") + Result(""));
}

TEST_F(Lookup, ServesTheLastCopyWhileTheServerFails) {
    Use_Cache_Directory();
    Server_Fails();
    const std::string copy = Cache_Copy(url, "copy.xml", "monday", 0);
    EXPECT_EQ(Get(url), (Answer{copy, true, 2, Untouched}));
    EXPECT_EQ(Content(copy), "old");
}

TEST_F(Lookup, AnEarlierCodeStaysUntilItIsOverwritten) {
    Use_Cache_Directory();
    Server_Fails();
    EXPECT_EQ(Get(url), (Answer{"", true, 2, Untouched}));
    Server_Answers("monday", "body");
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 2, Untouched})) << "a first download resets no code";
    os->current_time += 1;
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 0, Untouched})) << "a check does";
}

TEST_F(Lookup, NeedsNoPlaceForTheErrorCodes) {
    Use_Cache_Directory();
    Server_Answers("monday", "body");
    bool download_error = true;
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, Ordinary, download_error, nullptr, nullptr), first_copy);
    EXPECT_FALSE(download_error);
    int other = Untouched;
    EXPECT_NE(cache.Get_Cached_File_and_Status(share, Ordinary, download_error, &other, nullptr), "");
    EXPECT_EQ(other, Untouched);
    EXPECT_NE(cache.Get_Cached_File_and_Status("http://server/b", Ordinary, download_error, nullptr, &other), "");
    EXPECT_EQ(other, Untouched);
}

// Shares

TEST_F(Lookup, CopiesAnUnknownFileFromAShare) {
    Use_Cache_Directory();
    EXPECT_EQ(Get(share), (Answer{share_copy, false, Untouched, 0}));
    EXPECT_EQ(Content(share_copy), "from the share");
    EXPECT_EQ(Decisions(), Decisions_Begin(share) + No_Old_Copy() +
                               Data(method, "File share URL detected: '" + share + "'.\n") + Result(share_copy));

    const Records all = All();
    const Records begin = Share_Request(share) + No_Old_Copy() + Kind_Test("Is_Inet_URL", share, false) +
                          Kind_Test("Is_File_Share", share, true) +
                          Data(method, "File share URL detected: '" + share + "'.\n") +
                          Call("Get_Cached_Remote_File", "url='" + share + "', expired_f/downloader_f not traced.");
    ASSERT_GT(all.size(), begin.size());
    EXPECT_EQ(Records(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(begin.size())), begin);
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

TEST_F(Lookup, KnowsAFileUrlOfAShareByItsPath) {
    Use_Cache_Directory();
    EXPECT_EQ(Get("file://server/share/file.xml"), (Answer{share_copy, false, Untouched, 0}));
    EXPECT_EQ(cache.m_Cache_Entries.count(share), 1U);
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
    os->expiry_minutes = 60;
    EXPECT_EQ(Get(share), Without_Codes(share_copy));
}

TEST_F(Lookup, ChecksAShareWhosePeriodIsOver) {
    Use_Cache_Directory();
    const std::string copy = Cache_Copy(share, "copy.xml", "5", 0);
    cache.m_errFileShareDownLoad = 2;
    EXPECT_EQ(Get(share), (Answer{copy, false, Untouched, 0}));
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
    EXPECT_EQ(os->Calls_Of("Stat_File"), 1U);
}

TEST_F(Lookup, ReportsAShareThatCannotBeCopied) {
    Use_Cache_Directory();
    os->on_copy_file = [](const std::string&, const std::string&, int) { return 0; };
    EXPECT_EQ(Get(share), (Answer{"", true, Untouched, 2}));
    const std::string copy = Cache_Copy(share, "copy.xml", "4", 0);
    EXPECT_EQ(Get(share), (Answer{copy, true, Untouched, 2})) << "the last copy stands in";
}

// The copy that was replaced

class Replaced_Copy : public Lookup {
protected:
    /// An expired entry, a new file on the server, and a removal of the old copy that fails.
    Replaced_Copy() {
        cache.m_Cache_Directory = cache_directory;
        old_copy = Cache_Copy(url, "copy.xml", "monday", 0);
        Server_Answers("tuesday", "new");
        Forget();
    }

    /// What the look-up itself does with the old copy: everything behind the policy's answer.
    std::vector<std::string> Last_Calls(std::size_t count) const {
        return {os->calls.end() - static_cast<std::ptrdiff_t>(count), os->calls.end()};
    }

    /// Expects the look-up's record about the old copy, right before the result.
    void Expect_Record(const Records& record, const std::string& result) {
        const Records all = All();
        const Records expected = record + Result(result);
        EXPECT_EQ(Records(all.end() - static_cast<std::ptrdiff_t>(expected.size()), all.end()), expected);
    }

    Records Failed(const std::string& delete_ok, const std::string& still_exists) const {
        return Error(method, "Error deleting obsolete cached file: '" + old_copy + "', delete_ok=" + delete_ok +
                                 ", still_exists=" + still_exists + ".\n");
    }

    std::string old_copy;
};

TEST_F(Replaced_Copy, IsDeletedAtLastWhenItsRemovalFailedBefore) {
    int deletions = 0;
    os->on_delete_file = [&](const std::string& path) { return ++deletions > 1 && std::filesystem::remove(path); };
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 0, Untouched}));
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    EXPECT_EQ(Content(first_copy), "new");
    EXPECT_THAT(Last_Calls(3), ElementsAre("File_Exists(" + old_copy + ")", "Delete_File(" + old_copy + ")",
                                           "File_Exists(" + old_copy + ")"));
    Expect_Record(Data(method, "Deleted obsolete cached file: '" + old_copy + "'.\n"), first_copy);
}

TEST_F(Replaced_Copy, ThatCannotBeDeletedIsReported) {
    os->on_delete_file = [](const std::string&) { return false; };
    EXPECT_EQ(Get(url), (Answer{first_copy, false, 0, Untouched}));
    Expect_Record(Failed("false", "true"), first_copy);
}

TEST_F(Replaced_Copy, ThatIsSaidToBeDeletedAndStaysIsReported) {
    int deletions = 0;
    os->on_delete_file = [&](const std::string&) { return ++deletions > 1; };
    EXPECT_EQ(Get(url).path, first_copy);
    Expect_Record(Failed("true", "true"), first_copy);
}

TEST_F(Replaced_Copy, ThatVanishesThoughItsDeletionFailedIsReported) {
    int deletions = 0;
    os->on_delete_file = [&](const std::string& path) {
        if (++deletions > 1) {
            std::filesystem::remove(path);
        }
        return false;
    };
    EXPECT_EQ(Get(url).path, first_copy);
    Expect_Record(Failed("false", "false"), first_copy);
}

TEST_F(Replaced_Copy, ThatIsGoneAlreadyIsNoConcern) {
    EXPECT_EQ(Get(url).path, first_copy);
    EXPECT_EQ(os->calls.back(), "File_Exists(" + old_copy + ")");
    EXPECT_EQ(os->Calls_Of("Delete_File"), 1U) << "by the removal of the entry";
    Expect_Record(Return("Get_Cached_Remote_File", first_copy), first_copy);
}

TEST_F(Replaced_Copy, OfTheSameNameInOtherLettersStays) {
    os->on_file_exists = [](const std::string&) { return true; };
    os->on_delete_file = [](const std::string&) { return false; };
    g_services.uuids = {"abcdefab-0000-0000-0000-000000000001"};
    cache.m_Cache_Entries[url].cached_file = In_Cache("ABCDEFAB-0000-0000-0000-000000000001.TXT");
    EXPECT_EQ(Get(url).path, In_Cache("abcdefab-0000-0000-0000-000000000001.txt"));
    EXPECT_EQ(os->Calls_Of("Delete_File"), 1U) << "by the removal of the entry";
    EXPECT_EQ(Of({"Get_Cached_File_and_Status"}).size(), 4U + 1 + 1 + 1 + 4);
}

TEST_F(Replaced_Copy, IsDeletedWhenNothingMayStandInForIt) {
    cache.m_errFileShareDownLoad = 3; // a copy without name, of an earlier request
    Server_Fails();
    EXPECT_EQ(Get(url), (Answer{"", true, 2, Untouched}));
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    Expect_Record(Data(method, "Deleted obsolete cached file: '" + old_copy + "'.\n"), "");
    ASSERT_EQ(cache.m_Cache_Entries.count(url), 1U) << "the entry is not touched";
    EXPECT_EQ(cache.m_Cache_Entries[url].cached_file, old_copy);
}

TEST_F(Replaced_Copy, ThatIsServedAgainStays) {
    Server_Fails();
    EXPECT_EQ(Get(url).path, old_copy);
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
    EXPECT_EQ(Content(old_copy), "old");
}

TEST_F(Replaced_Copy, WithoutANameIsNotLookedFor) {
    cache.m_Cache_Entries[url].cached_file.clear();
    EXPECT_EQ(Get(url).path, first_copy);
    EXPECT_EQ(os->Calls_Of("File_Exists"), 0U);
    EXPECT_THAT(Decisions(), Contains(Old_Copy("").front()));
}

// The sweep

TEST_F(Lookup, SweepsWithTheFirstRequestOfAnObject) {
    Use_Cache_Directory();
    cache.m_Obsolete_Files_Cleaned = false;
    const std::string stray = Write_File(In_Cache("00000000-0000-0000-0000-00000000000a.txt"), "stray");
    const std::string kept = Cache_Copy(url, "00000000-0000-0000-0000-00000000000b.txt", "m", os->current_time);
    bool flag_during_sweep = false;
    Answer answer{"", true, Untouched, Untouched};
    os->on_delete_file = [&](const std::string& path) {
        flag_during_sweep = answer.download_error;
        return std::filesystem::remove(path);
    };
    answer.path = cache.Get_Cached_File_and_Status(url, Ordinary, answer.download_error, &answer.http_error,
                                                   &answer.file_share_error);
    EXPECT_EQ(answer, Without_Codes(kept));
    EXPECT_TRUE(flag_during_sweep) << "the flag is reset behind the sweep";
    EXPECT_FALSE(std::filesystem::exists(stray));
    EXPECT_EQ(os->calls.front().substr(0, 13), "FindFirstFile");
    const Records all = All();
    EXPECT_EQ(Records(all.begin(), all.begin() + 6),
              Decisions_Begin(url) + Call("Cleanup_Obsolete_Cached_Files") +
                  Data("Cleanup_Obsolete_Cached_Files", "Cleaning up obsolete files.\n"));

    Write_File(stray, "stray");
    Forget();
    Get(url);
    EXPECT_EQ(os->Calls_Of("FindFirstFile"), 0U);
    EXPECT_EQ(Content(stray), "stray");
}

TEST_F(Lookup, SweepsBeforeALocalFileToo) {
    cache.m_Obsolete_Files_Cleaned = false;
    os->on_find = [](const std::string&) { return std::vector<std::string>(); };
    const std::string file = Write_File(In_Cache("local.xml"), "");
    EXPECT_EQ(Get(file).path, file);
    EXPECT_EQ(os->Calls_Of("FindFirstFile"), 1U);
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

// The short form

TEST_F(Lookup, TheShortFormIsAnOrdinaryRequest) {
    Use_Cache_Directory();
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    EXPECT_EQ(cache.Get_Cached_File(share), share_copy);
    EXPECT_THAT(g_services.path_calls, IsEmpty());
    EXPECT_EQ(All().front(), Call(method, "url='" + share + "'").front()) << "no record of its own";
    EXPECT_EQ(All().back(), Result(share_copy).back());
}

TEST_F(Lookup, TheShortFormReachesAnOverride) {
    class Overriding : public CFileCache {
    public:
        using CFileCache::CFileCache;
        std::string Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind, bool& download_error,
                                               int* http_error, int* file_share_error) override {
            request = url_or_path;
            kind = request_kind;
            without_pointers = http_error == nullptr && file_share_error == nullptr;
            download_error = true;
            return "overridden";
        }
        std::string request;
        int kind = 0;
        bool without_pointers = false;
    };
    Overriding overriding(os);
    Forget();
    EXPECT_EQ(overriding.Get_Cached_File("any"), "overridden");
    EXPECT_EQ(overriding.request, "any");
    EXPECT_EQ(overriding.kind, 213);
    EXPECT_TRUE(overriding.without_pointers);
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(Lookup, ReportsARequestThatCannotBeMade) {
    Use_Cache_Directory();
    g_services.requests[0].creation_fails = true;
    EXPECT_EQ(Get(url), (Answer{"", true, 2, Untouched}));
}

} // namespace
