#include "filecache/oswrap/IOSWrapper.h"
#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;

namespace {

const std::string First = "00000000-0000-0000-0000-000000000001.txt";
const std::string Second = "00000000-0000-0000-0000-000000000002.xml";
const std::string Third = "00000000-0000-0000-0000-000000000003.cached";

/// All records with the numbers that deletions report as the texts that they stand for. The number is the low
/// half of the text's address; texts lie near each other in a program.
Records With_Reported_Texts() {
    static const std::regex reported("(Delete_File\\('[^']*'\\) returned )(-?[0-9]+)\n");
    static const char anchor[] = "a text of the program";
    Records records = All();
    for (Record& record : records) {
        std::smatch found;
        if (!std::regex_search(record.text, found, reported)) {
            continue;
        }
        const auto here = reinterpret_cast<std::intptr_t>(anchor);
        const std::intptr_t distance = static_cast<std::int32_t>(std::stoll(found[2].str()) - here);
        constexpr std::intptr_t program_size = 1 << 28;
        const bool in_program = std::abs(distance) < program_size;
        record.text = found.prefix().str() + found[1].str() +
                      (in_program ? std::string(reinterpret_cast<const char*>(here + distance)) : found[2].str()) +
                      '\n';
    }
    return records;
}

class Folder_Purge : public Cache_Fixture {
protected:
    Folder_Purge() {
        cache.m_Cache_Directory = cache_directory;
        os->on_find = [this](const std::string&) { return found; };
        values.insert({{"no_handle", Address_Text(QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle)},
                       {"handle", Address_Text(os->Search_Handle())},
                       {"first", First},
                       {"second", Second},
                       {"third", Third},
                       {"in_cache", In_Cache("")}});
    }

    /// The shape of a UUID and any extension.
    std::string Pattern() const {
        std::string pattern;
        for (const std::size_t group : {8U, 4U, 4U, 4U, 12U}) {
            pattern += (pattern.empty() ? "" : "-") + std::string(group, '?');
        }
        return In_Cache(pattern + ".*");
    }

    /// Expects the whole sequence of a search that finds something or nothing, between others.
    void Expect_Deletion(const std::string& before, const std::string& only_obsolete, const std::string& of_files,
                         const std::string& after = "") {
        values["found"] = of_files.empty() ? values["no_handle"] : values["handle"];
        values["only_obsolete"] = only_obsolete;
        Expect_Records(before + R"(
            D Delete_Cached_Files: CALL(only_obsolete={only_obsolete})
            D Delete_Cached_Files: FindFirstFile returned {found} (INVALID_HANDLE_VALUE={no_handle})
            )" + of_files + (of_files.empty() ? "" : "D Delete_Cached_Files: FindNextFile returned 0\n") +
                           after,
                       With_Reported_Texts());
    }
    static std::string Deleted(const std::string& name, const std::string& reported = "true") {
        return "D Delete_Cached_Files: Delete_File('{in_cache}{" + name + "}') returned " + reported + "\n";
    }
    static std::string Not_Deleted(const std::string& name) {
        return Deleted(name, "false") + "W Delete_Cached_Files: Delete_File failed for file '{in_cache}{" + name +
               "}'.\n";
    }
    static std::string Kept(const std::string& name) {
        return "D Delete_Cached_Files: File '{" + name + "}' will be ignored as it is not obsolete.\n";
    }

    void Put(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            Write_File(In_Cache(name), name);
            found.push_back(name);
        }
    }

    /// Which of the three files are there: "1", "2", "3".
    std::string On_Disk() const {
        std::string there;
        for (const std::string& name : {First, Second, Third}) {
            there += std::filesystem::exists(In_Cache(name)) ? name[35] : '-';
        }
        return there;
    }

    std::vector<std::string> found; ///< what the search finds
};

const std::string s_purge = "D Purge_Cache_Folder: CALL\n";
const std::string s_purged = "D Purge_Cache_Folder: return value:(true)";
const std::string s_sweep =
    "D Cleanup_Obsolete_Cached_Files: CALL\nD Cleanup_Obsolete_Cached_Files: Cleaning up obsolete files.\n";

TEST_F(Folder_Purge, SearchesTheNamesOfCachedFilesAndJoinsADriveDirectoryByABackslash) {
    cache.Delete_Cached_Files(false);
    EXPECT_THAT(os->calls, ElementsAre("FindFirstFile(" + Pattern() + ")"));
    Expect_Deletion("", "false", "");

    Forget();
    cache.m_Cache_Directory = "C:\\cache";
    found = {First};
    os->on_delete_file = [](const std::string&) { return true; };
    cache.Delete_Cached_Files(false);
    EXPECT_THAT(os->calls,
                ElementsAre("FindFirstFile(C:\\cache\\" + Pattern().substr(cache_directory.size() + 1) + ")",
                            "Delete_File(C:\\cache\\" + First + ")", "FindNextFile(search)", "FindClose(search)"));
}

TEST_F(Folder_Purge, ReportsWhatCannotBeDeletedAndGoesOn) {
    Put({First, Second, Third});
    os->on_delete_file = [this](const std::string& path) { return path == In_Cache(Second); };
    cache.Delete_Cached_Files(false);
    Expect_Deletion("", "false", Not_Deleted("first") + Deleted("second") + Not_Deleted("third"));
    EXPECT_EQ(os->calls.back(), "FindClose(search)");
}

TEST_F(Folder_Purge, OfObsoleteFilesKeepsWhatAnEntryNames) {
    Put({First, Second, Third});
    cache.m_Cache_Entries = {
        {"a", {In_Cache(Third), "m", 1}}, {"b", {In_Cache(First), "m", 1}}, {"c", {In_Cache(First), "m", 1}}};
    cache.Cleanup_Obsolete_Cached_Files();
    Expect_Deletion(s_sweep, "true", Kept("first") + Deleted("second") + Kept("third"));
    EXPECT_EQ(On_Disk(), "1-3");
    EXPECT_EQ(cache.m_Cache_Entries.size(), 3U);
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

TEST_F(Folder_Purge, OfObsoleteFilesComparesThePathsByteForByte) {
    const std::string name = "abcdefab-0000-0000-0000-000000000001.txt";
    found = {name};
    os->on_delete_file = [](const std::string&) { return true; };
    for (const std::string& cached_file :
         {In_Cache("ABCDEFAB-0000-0000-0000-000000000001.txt"), In_Cache("abcdefab-0000-0000-0000-000000000001.TXT"),
          name, In_Cache(name) + " ", In_Cache(name).substr(1), In_Cache(name + "x"), std::string(), In_Cache(name)}) {
        cache.m_Cache_Entries = {{"u", {cached_file, "m", 1}}};
        Forget();
        cache.Delete_Cached_Files(true);
        EXPECT_EQ(os->Calls_Of("Delete_File"), cached_file == In_Cache(name) ? 0U : 1U) << cached_file;
    }
}

TEST_F(Folder_Purge, WithoutACacheDirectoryFailsAndOfAMissingOneSucceeds) {
    for (const std::string& set_directory : {std::string(), In_Cache("missing")}) {
        Forget();
        cache.m_Cache_Directory = set_directory;
        EXPECT_NE(cache.Purge_Cache_Folder(), set_directory.empty());
        Expect_Records(s_purge +
                       (set_directory.empty()
                            ? "D ---- BUG ----\nE Purge_Cache_Folder: Trying to purge a cache directory ''.\n"
                              "D Purge_Cache_Folder: return value:(false)"
                            : "D Purge_Cache_Folder: Trying to purge an non-existing cache directory.\n" + s_purged));
        EXPECT_EQ(os->calls.size(), os->Calls_Of("Directory_Exists"));
        EXPECT_EQ(os->calls.size(), set_directory.empty() ? 0U : 1U);
    }
}

TEST_F(Folder_Purge, DeletesEveryFileFoundAndLeavesEntriesAndListAlone) {
    Put({First, Second});
    cache.m_Cache_Entries["u"] = {In_Cache(First), "m", 1};
    cache.Serialize();
    const std::string metadata = Content(Metadata_Path());
    Forget();
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    Expect_Deletion(s_purge, "false", Deleted("first") + Deleted("second"), s_purged);
    EXPECT_THAT(os->calls,
                ElementsAre("Directory_Exists(" + cache_directory + ")", "FindFirstFile(" + Pattern() + ")",
                            "Delete_File(" + In_Cache(First) + ")", "FindNextFile(search)",
                            "Delete_File(" + In_Cache(Second) + ")", "FindNextFile(search)", "FindClose(search)"));
    EXPECT_EQ(On_Disk(), "---");
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(Content(Metadata_Path()), metadata);
}

TEST_F(Folder_Purge, ThatFindsOrDeletesNothingSucceedsAndIsNotBoundToTheSweep) {
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    Expect_Deletion(s_purge, "false", "", s_purged);
    EXPECT_EQ(os->Calls_Of("FindClose"), 0U);
    for (const bool swept : {false, true}) {
        cache.m_Obsolete_Files_Cleaned = swept;
        Put({First});
        cache.Purge_Cache_Folder();
        EXPECT_EQ(cache.m_Obsolete_Files_Cleaned, swept) << "it does not count as the sweep";
        EXPECT_EQ(On_Disk(), "---");
    }
    os->on_delete_file = [](const std::string&) { return false; };
    EXPECT_TRUE(cache.Purge_Cache_Folder());
}

class Sweep : public Folder_Purge {};

TEST_F(Sweep, RunsOnceInTheLifeOfAnObjectWhateverItsOutcome) {
    bool done_during_search = false;
    Put({First});
    os->on_find = [&](const std::string&) {
        done_during_search = cache.m_Obsolete_Files_Cleaned;
        return found;
    };
    os->on_delete_file = [](const std::string&) { return false; };
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_TRUE(done_during_search) << "it counts as done before it runs";
    Expect_Deletion(s_sweep, "true", Not_Deleted("first"));
    os->on_delete_file = nullptr;
    Forget();
    cache.Cleanup_Obsolete_Cached_Files();
    Expect_Records("= sweep_again");
    cache.m_Cache_Directory = In_Cache("other");
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, IsEmpty()) << "not for another directory either";
    EXPECT_EQ(On_Disk(), "1--");
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

TEST_F(Sweep, OfAMissingDirectoryDoesNothingAndBeforeOneIsSetSearchesTheRootAlone) {
    const std::string pattern = Pattern().substr(cache_directory.size() + 1);
    cache.m_Cache_Directory = In_Cache("missing");
    os->on_find = nullptr;
    cache.Cleanup_Obsolete_Cached_Files();
    Expect_Records("= sweep_first");
    EXPECT_EQ(os->calls.size(), 1U) << "the directory itself is not asked for";
    Forget();
    cache.m_Obsolete_Files_Cleaned = false;
    cache.m_Cache_Directory.clear();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, ElementsAre("FindFirstFile(\\" + pattern + ")"));
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

const std::string s_gone = "D Remove_From_Cache: File already deleted, url = '{url}', cached_file = '{old_copy}'.\n";
const std::string s_not_deleted =
    "W Remove_From_Cache: File could not be deleted, url = '{url}', cached_file = '{old_copy}'.\n";
const std::string s_remote =
    "W Remove_From_Cache: Performance notification: Using remote drive for caching remote files. "
    "Performance may suffer. url='{url}', cached_file='{old_copy}'.\n";
const std::string s_unnamed =
    "D ---- BUG ----\nE Remove_From_Cache: Empty cached file names not expected, url = '{url}'.\n";

class Entry_Removal : public Cache_Fixture {
protected:
    Entry_Removal() { cache.m_Cache_Directory = cache_directory; }

    /// The values of an entry whose URL and stamp are the same.
    void Of_Entry(const std::string& url, const std::string& copy) {
        values["url"] = url;
        values["old_copy"] = copy;
        values["old_entry"] = Entry_Text(copy, url);
    }
    /// The records of a removal that says something behind its look at the copy.
    static std::string Ended(const std::string& kind, const std::string& said, const std::string& result) {
        return "= remove_entry < Is_Local\n" + (kind.empty() ? "" : "= is_local_" + kind + " url={old_copy}\n") + said +
               "D Remove_From_Cache: return value:(" + result + ")\n";
    }
    /// The lines as they are for one entry of Clear.
    std::string In_Clear(const std::string& url, const std::string& copy, const std::string& lines, bool removed) {
        Of_Entry(url, copy);
        return Joined(
            Lines_Of("D Clear: Next file cache entry: {url} / {old_entry}\n" + lines +
                         (removed ? "" : "\nE Clear: Entry could not be removed from file cache: {url} / {old_entry}"),
                     values));
    }
};

TEST_F(Entry_Removal, OfAnUnknownUrlTouchesNothing) {
    const std::string kept = Cache_Copy("http://server/A", "a.txt", "m", 1);
    EXPECT_TRUE(cache.Remove_From_Cache("http://server/a"));
    Of_Entry("http://server/a", "");
    Expect_Records("= remove_unknown");
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_EQ(Content(kept), "old");
    EXPECT_THAT(Urls(), ElementsAre("http://server/A"));
}

TEST_F(Entry_Removal, OfOneRequestKnowsItsForms) {
    const std::string copy = Cache_Copy("\\\\server\\share\\a", "a.txt", "m", 1);
    Cache_Copy("http://server/b", "b.txt", "m", 1);
    EXPECT_TRUE(QEL::FrontEnd::FileCache::Remove_From_Cache(cache, "file://server/share/a"));
    EXPECT_THAT(Urls(), ElementsAre("http://server/b"));
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_FALSE(std::filesystem::exists(In_Cache("qelfilecache_Metadata.txt"))) << "it is not rewritten";
    EXPECT_TRUE(QEL::FrontEnd::FileCache::Remove_From_Cache(cache, "http://server/unknown"));
    os->on_delete_file = [](const std::string&) { return false; };
    EXPECT_FALSE(QEL::FrontEnd::FileCache::Remove_From_Cache(cache, "http://server/b"));
    EXPECT_THAT(Urls(), ElementsAre("http://server/b"));
}

TEST_F(Entry_Removal, OfOneRequestIsRefusedForAForeignObject) {
    struct : QEL::FrontEnd::FileCache::IFileCache {
        bool Set_Cache_Directory(const std::string&) override { return true; }
        std::string Get_Cached_File(const std::string&) override { return {}; }
        std::string Get_Cached_File_and_Status(const std::string&, int, bool&, int*, int*) override { return {}; }
        bool Clear() override { return true; }
        bool Purge_Cache_Folder() override { return true; }
        std::string Get_Additional_Error_Info() const override { return {}; }
        std::string Get_Msg_Separator() const override { return {}; }
    } foreign;
    EXPECT_FALSE(QEL::FrontEnd::FileCache::Remove_From_Cache(foreign, "http://server/unknown"));
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(Entry_Removal, DeletesTheCopyAndDropsTheEntryWhoseKeyMayBeAsked) {
    const std::string url = "http://server/a-key-too-long-for-a-small-buffer";
    const std::string copy = Cache_Copy(url, "a.txt", url, 1);
    const std::string other = Cache_Copy("http://server/b", "b.txt", "m", 1);
    EXPECT_TRUE(cache.Remove_From_Cache(cache.m_Cache_Entries.begin()->first));
    Of_Entry(url, copy);
    Expect_Records("= remove_entry");
    EXPECT_EQ(os->Calls_Of("File_Exists"), 1U);
    EXPECT_THAT(std::vector<std::string>(os->calls.end() - 2, os->calls.end()),
                ElementsAre("File_Exists(" + copy + ")", "Delete_File(" + copy + ")"));
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_TRUE(std::filesystem::exists(other));
    EXPECT_THAT(Urls(), ElementsAre("http://server/b"));
}

TEST_F(Entry_Removal, OfACopyThatIsGoneUnnamedOrRemoteDropsTheEntry) {
    os->on_get_drive_type = [](const std::string& root) { return root == "N:" ? 4U : 3U; };
    os->on_file_exists = os->on_delete_file = [](const std::string& path) { return path.starts_with("N:"); };
    for (const auto& [copy, kind, said, result] : {std::tuple{In_Cache("gone.txt"), "path", s_gone, true},
                                                   {std::string(), "", s_unnamed, false},
                                                   {std::string("N:\\cache\\a.txt"), "share", s_remote, true}}) {
        Forget();
        cache.m_Cache_Entries["u"] = {copy, "u", 1};
        EXPECT_EQ(cache.Remove_From_Cache("u"), result);
        Of_Entry("u", copy);
        Expect_Records(Ended(kind, said, result ? "true" : "false"));
        EXPECT_EQ(os->Calls_Of("File_Exists"), copy.empty() ? 0U : 1U);
        EXPECT_EQ(os->Calls_Of("Delete_File"), copy.starts_with("N:") ? 1U : 0U);
        EXPECT_THAT(Urls(), IsEmpty());
    }
}

TEST_F(Entry_Removal, KeepsTheEntryWhenItsCopyCannotBeDeleted) {
    os->on_delete_file = [](const std::string&) { return false; };
    const std::string copy = Cache_Copy("u", "a.txt", "u", 7);
    EXPECT_FALSE(cache.Remove_From_Cache("u"));
    Of_Entry("u", copy);
    Expect_Records(Ended("path", s_not_deleted, "false"));
    EXPECT_THAT(cache.m_Cache_Entries, ElementsAre(Pair("u", FieldsAre(copy, "u", 7U))));

    os->on_delete_file = nullptr;
    EXPECT_TRUE(cache.Remove_From_Cache("u")) << "a later removal tries again";
    EXPECT_THAT(Urls(), IsEmpty());
}

TEST_F(Entry_Removal, OfAllInTheOrderOfTheUrlsKeepsOnlyWhatCannotBeDeletedAndFailsForAnEntryWithoutCopy) {
    const std::string b = Cache_Copy("b", "b.txt", "b", 3);
    const std::string a = Cache_Copy("a", "a.txt", "a", 2);
    const std::string upper = Cache_Copy("Z", "z.txt", "Z", 1);
    cache.m_Cache_Entries["c"] = {"", "c", 1};
    os->on_delete_file = [&](const std::string& path) { return path != a && std::filesystem::remove(path); };
    EXPECT_FALSE(cache.Clear());
    Expect_Records("D Clear: CALL\n" + In_Clear("Z", upper, "= remove_entry", true) +
                   In_Clear("a", a, Ended("path", s_not_deleted, "false"), false) +
                   In_Clear("b", b, "= remove_entry", true) + In_Clear("c", "", Ended("", s_unnamed, "false"), false) +
                   "D Clear: return value:(false)");
    EXPECT_THAT(Urls(), ElementsAre("a"));
    EXPECT_THAT(os->calls, Contains(StartsWith("Delete_File(")).Times(3)) << "each entry is visited once";

    os->on_delete_file = nullptr;
    Forget();
    EXPECT_TRUE(cache.Clear());
    Expect_Records("D Clear: CALL\n" + In_Clear("a", a, "= remove_entry", true) + "D Clear: return value:(true)");
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

} // namespace
