#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;

namespace {

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

// Clear

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
