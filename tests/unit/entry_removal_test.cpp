#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Entry_Removal : public Cache_Fixture {
protected:
    Entry_Removal() { cache.m_Cache_Directory = cache_directory; }

    static constexpr const char* method = "Remove_From_Cache";

    static Lines Removed(const std::string& url, const std::string& cached_file, const std::string& last_modified) {
        return Expected(
            "remove_entry",
            {{"url", url}, {"old_copy", cached_file}, {"old_entry", Entry_Text(cached_file, last_modified)}});
    }
    /// The same up to the look at the copy.
    static Lines Begin(const std::string& url, const std::string& cached_file, const std::string& last_modified) {
        return Recorded_Trace::Before(Removed(url, cached_file, last_modified), "Is_Local");
    }
    static Lines Is_Local(const std::string& kind, const std::string& path) {
        return Expected("is_local_" + kind, {{"url", path}});
    }
    /// A removal that fails, or finds no copy, and says so.
    static Lines Ended(const std::string& url, const std::string& copy, const Records& said, bool result) {
        return Begin(url, copy, "m" + url) + (copy.empty() ? Lines() : Is_Local("path", copy)) + said +
               Return(method, result ? "true" : "false");
    }
    static Records Gone(const std::string& url, const std::string& copy) {
        return Data(method, "File already deleted, url = '" + url + "', cached_file = '" + copy + "'.\n");
    }
    static Records Not_Deleted(const std::string& url, const std::string& copy) {
        return Warning(method, "File could not be deleted, url = '" + url + "', cached_file = '" + copy + "'.\n");
    }
    static Records Unnamed(const std::string& url) {
        return Bug() + Error(method, "Empty cached file names not expected, url = '" + url + "'.\n");
    }
    static Records Next(const std::string& url, const std::string& entry) {
        return Data("Clear", "Next file cache entry: " + url + " / " + entry + "\n");
    }
};

TEST_F(Entry_Removal, OfAnUnknownUrlTouchesNothing) {
    const std::string kept = Cache_Copy("http://server/A", "a.txt", "m", 1);
    EXPECT_TRUE(cache.Remove_From_Cache("http://server/a"));
    EXPECT_EQ(All(), Call(method, "url='http://server/a'") +
                         Data(method, "Cache entry for URL 'http://server/a' not found. Removal is not needed.\n") +
                         Return(method, "true"));
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_EQ(Content(kept), "old");
    EXPECT_THAT(Urls(), ElementsAre("http://server/A"));
}

TEST_F(Entry_Removal, DeletesTheCopyAndDropsTheEntry) {
    const std::string copy = Cache_Copy("http://server/a", "a.txt", "m", 1);
    const std::string other = Cache_Copy("http://server/b", "b.txt", "m", 1);
    EXPECT_TRUE(cache.Remove_From_Cache("http://server/a"));
    Expect_Lines(Removed("http://server/a", copy, "m"), All());
    EXPECT_EQ(os->Calls_Of("File_Exists"), 1U);
    EXPECT_THAT(std::vector<std::string>(os->calls.end() - 2, os->calls.end()),
                ElementsAre("File_Exists(" + copy + ")", "Delete_File(" + copy + ")"));
    EXPECT_FALSE(std::filesystem::exists(copy));
    EXPECT_TRUE(std::filesystem::exists(other));
    EXPECT_THAT(Urls(), ElementsAre("http://server/b"));
}

TEST_F(Entry_Removal, OfAnEntryWhoseCopyIsGoneSucceeds) {
    const std::string copy = In_Cache("gone.txt");
    cache.m_Cache_Entries["u"] = {copy, "mu", 1};
    EXPECT_TRUE(cache.Remove_From_Cache("u"));
    Expect_Lines(Ended("u", copy, Gone("u", copy), true), All());
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
    EXPECT_THAT(Urls(), IsEmpty());
}

TEST_F(Entry_Removal, KeepsTheEntryWhenItsCopyCannotBeDeleted) {
    os->on_delete_file = [](const std::string&) { return false; };
    const std::string copy = Cache_Copy("u", "a.txt", "mu", 7);
    EXPECT_FALSE(cache.Remove_From_Cache("u"));
    Expect_Lines(Ended("u", copy, Not_Deleted("u", copy), false), All());
    ASSERT_THAT(Urls(), ElementsAre("u"));
    EXPECT_EQ(cache.m_Cache_Entries["u"].cached_file, copy);
    EXPECT_EQ(cache.m_Cache_Entries["u"].last_modified, "mu");
    EXPECT_EQ(cache.m_Cache_Entries["u"].last_checked_remotely, 7U);

    os->on_delete_file = nullptr;
    EXPECT_TRUE(cache.Remove_From_Cache("u")) << "a later removal tries again";
    EXPECT_THAT(Urls(), IsEmpty());
}

TEST_F(Entry_Removal, DropsAnEntryWithoutCopyAndFails) {
    cache.m_Cache_Entries["u"] = {"", "mu", 1};
    EXPECT_FALSE(cache.Remove_From_Cache("u"));
    Expect_Lines(Ended("u", "", Unnamed("u"), false), All());
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_THAT(Urls(), IsEmpty());
}

TEST_F(Entry_Removal, NotesACopyOnARemoteDriveAndGoesOn) {
    const std::string copy = "N:\\cache\\a.txt";
    os->on_get_drive_type = [](const std::string&) { return 4U; };
    os->on_file_exists = [](const std::string&) { return true; };
    os->on_delete_file = [](const std::string&) { return true; };
    cache.m_Cache_Entries["u"] = {copy, "m", 1};
    EXPECT_TRUE(cache.Remove_From_Cache("u"));
    Expect_Lines(Begin("u", copy, "m") + Is_Local("share", copy) +
                     Warning(method, "Performance notification: Using remote drive for caching remote files. "
                                     "Performance may suffer. url='u', cached_file='" +
                                         copy + "'.\n") +
                     Return(method, "true"),
                 All());
    EXPECT_THAT(os->calls, ElementsAre("Get_Drive_Number(" + copy + ")", "Get_Drive_Type(N:)",
                                       "File_Exists(" + copy + ")", "Delete_File(" + copy + ")"));
    EXPECT_THAT(Urls(), IsEmpty());
}

TEST_F(Entry_Removal, AcceptsTheKeyOfTheEntryItself) {
    Cache_Copy("http://server/a-key-too-long-for-a-small-buffer", "a.txt", "m", 1);
    EXPECT_TRUE(cache.Remove_From_Cache(cache.m_Cache_Entries.begin()->first));
    EXPECT_THAT(Urls(), IsEmpty());
}

// Clear

class Clearing : public Entry_Removal {};

TEST_F(Clearing, OfAnEmptyCacheTracesCallAndResultAlone) {
    for (const std::string& set_directory : {cache_directory, std::string()}) {
        Forget();
        cache.m_Cache_Directory = set_directory;
        EXPECT_TRUE(cache.Clear());
        EXPECT_EQ(All(), Call("Clear") + Return("Clear", "true"));
        EXPECT_THAT(os->calls, IsEmpty());
    }
}

TEST_F(Clearing, RemovesEveryEntryInTheOrderOfTheUrls) {
    const std::string b = Cache_Copy("http://server/b", "b.txt", "mb", 2);
    const std::string a = Cache_Copy("http://server/a", "a.txt", "ma", 1);
    const std::string upper = Cache_Copy("http://server/Z", "z.txt", "mz", 1);
    EXPECT_TRUE(cache.Clear());
    Expect_Lines(Call("Clear") + Next("http://server/Z", Entry_Text(upper, "mz")) +
                     Removed("http://server/Z", upper, "mz") + Next("http://server/a", Entry_Text(a, "ma")) +
                     Removed("http://server/a", a, "ma") + Next("http://server/b", Entry_Text(b, "mb")) +
                     Removed("http://server/b", b, "mb") + Return("Clear", "true"),
                 All());
    EXPECT_THAT(Urls(), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(Clearing, KeepsOnlyWhatCannotBeDeletedAndFailsForAnEntryWithoutCopy) {
    cache.m_Cache_Entries["a"] = {"", "ma", 1};
    const std::string b = Cache_Copy("b", "b.txt", "mb", 2);
    const std::string c = Cache_Copy("c", "c.txt", "mc", 3);
    os->on_delete_file = [&](const std::string& path) { return path != b && std::filesystem::remove(path); };
    const auto not_removed = [](const std::string& url, const std::string& entry) {
        return Error("Clear", "Entry could not be removed from file cache: " + url + " / " + entry + "\n");
    };
    EXPECT_FALSE(cache.Clear());
    Expect_Lines(Call("Clear") + Next("a", Entry_Text("", "ma")) + Ended("a", "", Unnamed("a"), false) +
                     not_removed("a", Entry_Text("", "ma")) + Next("b", Entry_Text(b, "mb")) +
                     Ended("b", b, Not_Deleted("b", b), false) + not_removed("b", Entry_Text(b, "mb")) +
                     Next("c", Entry_Text(c, "mc")) + Removed("c", c, "mc") + Return("Clear", "false"),
                 All());
    EXPECT_THAT(Urls(), ElementsAre("b"));
}

TEST_F(Clearing, VisitsEachEntryOnceWhenNothingCanBeDeleted) {
    for (int i = 0; i < 5; ++i) {
        Cache_Copy("u" + std::to_string(i), std::to_string(i) + ".txt", "m", 1);
    }
    os->on_delete_file = [](const std::string&) { return false; };
    EXPECT_FALSE(cache.Clear());
    EXPECT_EQ(os->Calls_Of("Delete_File"), 5U);
    EXPECT_EQ(Urls().size(), 5U);
}

TEST_F(Clearing, LeavesTheMetadataFileAndFilesWithoutEntryAlone) {
    const std::string stray = Write_File(In_Cache("00000000-0000-0000-0000-000000000001.txt"), "stray");
    const std::string copy = Cache_Copy("http://server/a", "a.txt", "m", 1);
    cache.Serialize();
    const std::string metadata = Content(Metadata_Path());
    EXPECT_TRUE(cache.Clear());
    EXPECT_EQ(Content(Metadata_Path()), metadata);
    EXPECT_EQ(Content(stray), "stray");
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
    EXPECT_FALSE(cache.m_Obsolete_Files_Cleaned);

    Forget();
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_THAT(Urls(), IsEmpty());
    EXPECT_EQ(Above_Additional_Data(),
              Warning("Deserialize", "Cached file does not exist. Entry ignored: entry #0, URL='http://server/a', " +
                                         Entry_Text(copy, "m") + "\n"));
}

} // namespace
