#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using namespace testing;

namespace {

constexpr int Ordinary = 213;
constexpr int Untouched = -4711;
constexpr std::uint32_t Read_Only = 0x1;
constexpr std::uint32_t Archive = 0x20;

/// The result of a request with everything that the caller sees: path, flag, error codes of server and share.
using Result_Seen = std::tuple<std::string, bool, int, int>;

/// A look-up that found no reason to write an error code.
Result_Seen Without_Codes(const std::string& path) {
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

    const std::string url = "http://server/file.xml";
    const std::string share = "\\\\server\\share\\file.xml";
    /// The first copy that is fetched from the server.
    const std::string first_copy = In_Cache("00000000-0000-0000-0000-000000000001.txt");

    Result_Seen Get(const std::string& request, int request_kind = Ordinary) {
        bool download_error = true;
        int http_error = Untouched;
        int file_share_error = Untouched;
        const std::string path =
            cache.Get_Cached_File_and_Status(request, request_kind, download_error, &http_error, &file_share_error);
        return {path, download_error, http_error, file_share_error};
    }
    std::string Path_For(const std::string& request, int request_kind = Ordinary) {
        return std::get<std::string>(Get(request, request_kind));
    }

    /// The drive type of each question in turn; the last one stays.
    void Drive_Types(std::vector<unsigned int> types) {
        os->on_get_drive_type = [types, next = std::size_t{0}](const std::string&) mutable {
            return types[std::min(next++, types.size() - 1)];
        };
    }

    void Server_Sends(const std::string& last_modified, const std::string& body) {
        auto& request = g_services.requests[0];
        request = {};
        request.headers = {{"Last-Modified", last_modified}, {"Content-Type", "text/plain"}};
        request.body = body;
    }
    void Server_Fails() {
        g_services.requests[0] = {};
        g_services.requests[0].status = {500};
    }

    /// Compares all records of a request of this kind with these lines.
    void Expect_Lookup(const std::string& request, const std::string& kind, const std::string& lines) {
        values["url"] = request;
        values["sweep"] = "sweep_again";
        values["kind"] = kind;
        values["is_share"] = kind == "share" ? "true" : "false";
        Expect_Records(lines);
    }
};

const std::string s_lookup = "D Get_Cached_File_and_Status: ";
const std::string s_lookup_error = "E Get_Cached_File_and_Status: ";
const std::string s_lookup_nothing = s_lookup + "return value:('')";
const std::string s_bug = "D ---- BUG ----\n";
const std::string s_lookup_missing =
    s_lookup_error + "Previously cached local file does not exist '{local}'.\n" + s_lookup_nothing;

TEST_F(Lookup, PassesALocalFileThroughUnchanged) {
    const std::string file = Write_File(In_Cache("local.xml"), "local");
    cache.m_Cache_Entries[file] = {"other.xml", "m", 1};
    EXPECT_EQ(Get(file), Without_Codes(file)) << "even without a cache directory";
    Expect_Lookup(file, "", "= lookup_local");
    EXPECT_EQ(os->calls.back(), "File_Exists(" + file + ")");
    EXPECT_EQ(os->Calls_Of("File_Exists"), 1U);
    EXPECT_EQ(Content(file), "local");
}

TEST_F(Lookup, HasNothingForAMissingLocalFileNorForAnUnknownScheme) {
    for (const std::string& request : {In_Cache("missing.xml"), std::string(), std::string("ftp://server/file.xml"),
                                       std::string("HTTP://server/file.xml"), std::string("//server/share/file.xml")}) {
        Forget();
        EXPECT_EQ(Get(request), Without_Codes(""));
        values["local"] = request;
        Expect_Lookup(request, "", "= lookup_local < Local file exists\n" + s_lookup_missing);
    }
}

TEST_F(Lookup, ServesALocalFileUrlByItsPath) {
    os->on_file_exists = [](const std::string& path) { return path == "C:\\data\\file.xml"; };
    EXPECT_EQ(Get("file:///C:/data/file.xml"), Without_Codes("C:\\data\\file.xml"));
    Expect_Record(s_lookup + "url_or_path = 'C:\\data\\file.xml'.");
}

TEST_F(Lookup, HasNothingForAFileUrlItCannotRead) {
    const std::string request = "file:C:/data/file.xml";
    EXPECT_EQ(Get(request), Without_Codes(""));
    values["local"] = "";
    Expect_Record(s_lookup + "url_or_path = ''.");
    Expect_Last_Records("= is_local_path url=\n" + s_lookup + "URL is local.\n" + s_lookup_missing);
}

TEST_F(Lookup, LeavesAWritableFileOnAShareToTheHost) {
    g_services.on_path_exists = [](const std::string&) { return true; };
    for (const std::uint32_t writable : {0x00U, Archive, 0x80U, ~Read_Only}) {
        g_services.on_get_file_attributes = [=](const std::string&) { return writable; };
        for (const int kind : {201, 202}) {
            Forget();
            EXPECT_EQ(Get(share, kind), Without_Codes("")) << "even without a cache directory";
            Expect_Lookup(share, "share", "= lookup_remote << Is_Local: CALL"); // no exit record
            EXPECT_THAT(g_services.path_calls,
                        ElementsAre("Path_Exists(" + share + ")", "Get_File_Attributes(" + share + ")"));
            EXPECT_THAT(os->calls, IsEmpty());
        }
    }
    Use_Cache_Directory();
    Cache_Copy(share, "copy.xml", "5", os->current_time);
    EXPECT_EQ(Get(share, 201), Without_Codes("")) << "though a copy is fresh";
    EXPECT_EQ(Path_For(share), In_Cache("copy.xml"));
}

TEST_F(Lookup, CachesAnyOtherFileForAnyOtherKindOfRequest) {
    Use_Cache_Directory();
    Server_Sends("m", "body");
    struct Case {
        std::string request;
        std::vector<int> kinds;
        bool path_exists;
        std::uint32_t attributes;
        int questions; ///< about the file: whether it exists, what it is
    };
    for (const auto& [request, kinds, path_exists, attributes, questions] :
         {Case{share, {213, 0, 200, 203, -201, 1}, true, Archive, 0}, Case{share, {201, 202}, true, Read_Only, 2},
          Case{share, {201, 202}, true, Read_Only | Archive, 2}, Case{share, {201, 202}, true, 0xFFFFFFFFU, 2},
          Case{share, {201, 202}, false, 0, 1}, Case{url, {201, 202, 213}, true, 0, 0}}) {
        g_services.on_path_exists = [exists = path_exists](const std::string&) { return exists; };
        g_services.on_get_file_attributes = [all = attributes](const std::string&) { return all; };
        for (const int kind : kinds) {
            Forget();
            cache.m_Cache_Entries.clear();
            EXPECT_NE(Path_For(request, kind), "") << kind << ", " << attributes;
            EXPECT_THAT(g_services.path_calls, SizeIs(questions));
        }
    }
}

// States that only drives that change under a request bring about

TEST_F(Lookup, RefusesAPathThatTurnsLocal) {
    Use_Cache_Directory();
    Drive_Types({4, 4, 3});
    const std::string path = "N:\\file.xml";
    EXPECT_EQ(Get(path), Without_Codes(""));
    Expect_Lookup(path, "share",
                  "= lookup_remote << Is_Local: CALL\n= is_local_path\n" + s_bug + s_lookup_error +
                      "Local file URL is not expected at this point: '{url}'.\n" + s_lookup_nothing);
    EXPECT_EQ(os->Calls_Of("Copy_File"), 0U);
}

TEST_F(Lookup, RefusesAPathOfNoKindAtAllAndDeletesItsOldCopy) {
    Use_Cache_Directory();
    Drive_Types({4, 4, 4, 3});
    const std::string path = "N:\\file.xml";
    values["old_copy"] = Cache_Copy(path, "old.xml", "m", 0);
    values["old_note"] = "Old cached file: {old_copy}";
    EXPECT_EQ(Get(path), Without_Codes(""));
    Expect_Lookup(path, "share",
                  "= lookup_remote < {old_note}\n" + s_lookup + "Old cached file: {old_copy}\n" +
                      "= kind_test test=Is_Inet_URL result=false\n= kind_test test=Is_File_Share result=false\n" +
                      s_bug + s_lookup_error +
                      "Neither local, nor Inet, nor File share. Unexpected at this point. '{url}'.\n" + s_lookup +
                      "Deleted obsolete cached file: '{old_copy}'.\n" + s_lookup_nothing);
    EXPECT_FALSE(std::filesystem::exists(values["old_copy"]));
}

TEST_F(Lookup, NeedsACacheDirectoryForRemoteFiles) {
    cache.m_Cache_Entries[url] = {Write_File(In_Cache("copy.xml"), ""), "m", os->current_time};
    for (const auto& [request, kind] : {std::pair{url, "inet"}, {share, "share"}}) {
        Forget();
        EXPECT_EQ(Get(request), Without_Codes(""));
        Expect_Lookup(request, kind,
                      "= lookup_remote < {old_note}\n" + s_lookup_error + "Cache directory has not been configured.\n" +
                          s_lookup_nothing);
        EXPECT_THAT(g_services.request_calls, IsEmpty());
        EXPECT_EQ(os->Calls_Of("File_Exists") + os->Calls_Of("Stat_File") + os->Calls_Of("Copy_File"), 0U);
    }
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
    Expect_Lookup(url, "inet",
                  "= lookup_remote < {old_note}\n" + s_bug + s_lookup_error + "URL '{url}' not found in cache.\n" +
                      s_lookup_nothing);
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

TEST_F(Lookup, NeedsNoPlaceForTheErrorCodes) {
    Use_Cache_Directory();
    Server_Sends("monday", "body");
    bool download_error = true;
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, Ordinary, download_error, nullptr, nullptr), first_copy);
    EXPECT_FALSE(download_error);
    int other = Untouched;
    EXPECT_NE(cache.Get_Cached_File_and_Status(share, Ordinary, download_error, &other, nullptr), "");
    EXPECT_EQ(other, Untouched);
    EXPECT_NE(cache.Get_Cached_File_and_Status("http://server/b", Ordinary, download_error, nullptr, &other), "");
    EXPECT_EQ(other, Untouched);
}

const std::string s_lookup_failed = s_lookup_error + "Error deleting obsolete cached file: '{old_copy}', ";

class Replaced_Copy : public Lookup {
protected:
    /// An expired entry, a new file on the server, and a removal of the old copy that fails.
    Replaced_Copy() {
        cache.m_Cache_Directory = cache_directory;
        Expire();
    }
    void Expire() {
        old_copy = Cache_Copy(url, "copy.xml", "monday", 0);
        Server_Sends("tuesday", "new");
        Forget();
    }

    /// Expects what the look-up itself says of the old copy, right before the result.
    void Expect_End(const std::string& said, const std::string& result) {
        values["old_copy"] = old_copy;
        values["result"] = result.empty() ? "''" : result;
        Expect_Last_Records(said + "\nD Get_Cached_File_and_Status: return value:({result})");
    }

    std::string old_copy;
};

TEST_F(Replaced_Copy, IsDeletedAtLastWhenItsRemovalFailedBeforeOrReported) {
    const struct {
        bool removes;
        bool says_so;
        std::string said;
    } deletions[] = {
        {true, true, s_lookup + "Deleted obsolete cached file: '{old_copy}'."},
        {false, false, s_lookup_failed + "delete_ok=false, still_exists=true."},
        {false, true, s_lookup_failed + "delete_ok=true, still_exists=true."},
        {true, false, s_lookup_failed + "delete_ok=false, still_exists=false."},
    };
    for (const auto& deletion : deletions) {
        Expire();
        os->on_delete_file = [&, deletions = 0](const std::string& path) mutable {
            if (++deletions == 1) { // the removal of the entry
                return false;
            }
            if (deletion.removes) {
                std::filesystem::remove(path);
            }
            return deletion.says_so;
        };
        const Result_Seen seen = Get(url);
        const std::string path = std::get<std::string>(seen);
        EXPECT_EQ(seen, (Result_Seen{path, false, 0, Untouched}));
        EXPECT_EQ(Content(path), "new");
        EXPECT_EQ(std::filesystem::exists(old_copy), !deletion.removes);
        EXPECT_THAT(std::vector<std::string>(os->calls.end() - 3, os->calls.end()),
                    ElementsAre("File_Exists(" + old_copy + ")", "Delete_File(" + old_copy + ")",
                                "File_Exists(" + old_copy + ")"));
        Expect_End(deletion.said, path);
    }
}

TEST_F(Replaced_Copy, OfTheSameNameInOtherLettersStays) {
    os->on_file_exists = [](const std::string&) { return true; };
    os->on_delete_file = [](const std::string&) { return false; };
    g_services.uuids = {"abcdefab-0000-0000-0000-000000000001"};
    cache.m_Cache_Entries[url].cached_file = In_Cache("ABCDEFAB-0000-0000-0000-000000000001.TXT");
    EXPECT_EQ(Path_For(url), In_Cache("abcdefab-0000-0000-0000-000000000001.txt"));
    EXPECT_EQ(os->Calls_Of("Delete_File"), 1U) << "by the removal of the entry";
    Expect_End("D Get_Cached_Remote_File: return value:({result})",
               In_Cache("abcdefab-0000-0000-0000-000000000001.txt"));
}

TEST_F(Replaced_Copy, IsDeletedWhenNothingMayStandInForIt) {
    cache.m_errFileShareDownLoad = 3; // a copy without name, of an earlier request
    Server_Fails();
    EXPECT_EQ(Get(url), (Result_Seen{"", true, 2, Untouched}));
    EXPECT_FALSE(std::filesystem::exists(old_copy));
    Expect_End(s_lookup + "Deleted obsolete cached file: '{old_copy}'.", "");
    ASSERT_EQ(cache.m_Cache_Entries.count(url), 1U) << "the entry is not touched";
    EXPECT_EQ(cache.m_Cache_Entries[url].cached_file, old_copy);
}

TEST_F(Replaced_Copy, WithoutANameIsNotLookedFor) {
    cache.m_Cache_Entries[url].cached_file.clear();
    EXPECT_EQ(Path_For(url), first_copy);
    EXPECT_EQ(os->Calls_Of("File_Exists"), 0U);
    Expect_Record(s_lookup + "Old cached file: ");
}

TEST_F(Lookup, SweepsWithTheFirstRequestOfAnObject) {
    Use_Cache_Directory();
    cache.m_Obsolete_Files_Cleaned = false;
    const std::string stray = Write_File(In_Cache("stray.txt"), "stray");
    const std::string kept = Cache_Copy(url, "kept.txt", "m", os->current_time);
    os->on_find = [](const std::string&) { return std::vector<std::string>{"stray.txt", "kept.txt"}; };
    bool download_error = true;
    bool flag_during_sweep = false;
    os->on_delete_file = [&](const std::string& path) {
        flag_during_sweep = download_error;
        return std::filesystem::remove(path);
    };
    EXPECT_EQ(cache.Get_Cached_File_and_Status(url, Ordinary, download_error, nullptr, nullptr), kept);
    EXPECT_TRUE(flag_during_sweep && !download_error) << "the flag is reset behind the sweep";
    EXPECT_FALSE(std::filesystem::exists(stray));
    EXPECT_THAT(os->calls.front(), StartsWith("FindFirstFile"));
    Expect_Record("D Cleanup_Obsolete_Cached_Files: Cleaning up obsolete files.");
    cache.m_Obsolete_Files_Cleaned = false;
    Get(Write_File(In_Cache("local.xml"), ""));
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned) << "before a local file, too";
}

TEST_F(Lookup, TheShortFormReachesAnOverride) {
    struct Overriding : CFileCache {
        using CFileCache::CFileCache;
        std::string Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind, bool& download_error,
                                               int* http_error, int* file_share_error) override {
            download_error = true;
            return url_or_path + std::to_string(request_kind) +
                   (http_error == nullptr && file_share_error == nullptr ? " without codes" : "");
        }
    };
    Overriding overriding(os);
    Forget();
    EXPECT_EQ(overriding.Get_Cached_File("any"), "any213 without codes");
    EXPECT_THAT(All(), IsEmpty());
}

} // namespace
