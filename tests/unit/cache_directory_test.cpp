#include "filecache/inspection/Cache_Inspection.h"
#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;
using QEL::FrontEnd::FileCache::Cache_Inspection;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::FileCache::CFileCache;

namespace {

using QEL::FrontEnd::FileCache::Directory_Result;

const std::string s_set = "D Set_Cache_Directory: ";
const std::string s_set_called = s_set + "CALL(absolute_dir_path='{path}')\n";
const std::string s_set_begun = s_set_called + s_set + "Setting cache directory to '{path}'.\n";
const std::string s_set_missing =
    s_set_called + "E Set_Cache_Directory: Setting cache directory to non existing absolute_dir_path='{path}'.";
const std::string s_set_no_list =
    "= load\nD Deserialize: Cache metadata file '{metadata}' does not exist. Cache is empty.\n";

class Cache_Directory : public Cache_Fixture {
protected:
    bool Set(const std::string& path) {
        Forget();
        values["path"] = path;
        const bool is_set = cache.Set_Cache_Directory(path);
        EXPECT_EQ(is_set, QEL::FrontEnd::FileCache::Get_Last_Directory_Result() == Directory_Result::Set);
        return is_set;
    }

    /// Another existing directory beside the cache directory's files.
    std::string Make_Directory(const std::string& name) const {
        std::filesystem::create_directory(directory / name);
        return In_Cache(name);
    }

    void Write_Metadata(const std::string& in_directory, const std::string& cached_file, const std::string& url) {
        Write_File((std::filesystem::path(in_directory) / "qelfilecache_Metadata.txt").string(),
                   Text_File({"QEL Logon Landscape Cache Metadata", "version", "2", "entries", "1", "stamp", "7",
                              cached_file, url}));
    }
};

TEST_F(Cache_Directory, AnEmptyPathOrAMissingDirectoryIsRefused) {
    cache.m_Cache_Directory = "C:\\before";
    cache.m_Cache_Entries["u"] = {"f", "m", 1};
    EXPECT_FALSE(Set(""));
    Expect_Records(s_set_called + "E Set_Cache_Directory: Trying to set the cache directory to absolute_dir_path=''.");
    EXPECT_THAT(os->calls, IsEmpty());
    for (const std::string& missing : {In_Cache("missing"), Write_File(In_Cache("file"), "")}) {
        EXPECT_FALSE(Set(missing));
        EXPECT_EQ(QEL::FrontEnd::FileCache::Get_Last_Directory_Result(), Directory_Result::Not_Set);
        Expect_Records(s_set_missing);
        EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + missing + ")"));
    }
    EXPECT_FALSE(std::filesystem::exists(In_Cache("missing"))) << "the cache never creates a directory";
    EXPECT_EQ(cache.m_Cache_Directory, "C:\\before");
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Cache_Directory, ADirectoryWithoutMetadataIsAnEmptyCache) {
    EXPECT_TRUE(Set(cache_directory));
    values["cleared"] = "0";
    Expect_Records(s_set_begun + s_set_no_list + s_set + "return value:(ok = true)");
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + cache_directory + ")"));
    EXPECT_TRUE(std::filesystem::is_empty(directory)) << "nothing is written";
}

TEST_F(Cache_Directory, TheSameDirectoryIsLoadedOnlyOnce) {
    Use_Cache_Directory();
    cache.m_Cache_Entries["u"] = {"f", "m", 1};
    Write_Metadata(cache_directory, Write_File(In_Cache("a.txt"), ""), "http://server/a");
    EXPECT_TRUE(Set(cache_directory));
    Expect_Records(s_set_called + s_set + "Cache directory is already the same as absolute_dir_path='{path}'.");
    EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + cache_directory + ")"));
    EXPECT_THAT(Urls(), ElementsAre("u"));

    os->on_directory_exists = [](const std::string&) { return false; };
    EXPECT_FALSE(Set(cache_directory)) << "it must still exist";
    Expect_Records(s_set_missing);
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
}

TEST_F(Cache_Directory, LetterCaseAndTrailingSeparatorsMakeAnotherDirectory) {
    os->on_directory_exists = [](const std::string&) { return true; };
    for (const std::string path : {"Q:\\qel no such\\Cache", "Q:\\qel no such\\cache", "Q:\\qel no such\\cache\\",
                                   "q:\\qel no such\\cache\\", "Q:/qel no such/cache"}) {
        cache.m_Cache_Entries = {{"u", {"f", "m", 1}}};
        EXPECT_TRUE(Set(path));
        values["metadata"] = path + "\\qelfilecache_Metadata.txt";
        values["cleared"] = "1";
        Expect_Records(s_set_begun + s_set_no_list + s_set + "return value:(ok = true)");
        EXPECT_EQ(cache.m_Cache_Directory, path);
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    }
}

TEST_F(Cache_Directory, DamagedMetadataFailsAndKeepsTheNewDirectory) {
    cache.m_Cache_Directory = "C:\\before";
    cache.m_Cache_Entries["u"] = {"f", "m", 1};
    Write_File(Metadata_Path(), "rubbish");
    EXPECT_FALSE(Set(cache_directory));
    EXPECT_EQ(QEL::FrontEnd::FileCache::Get_Last_Directory_Result(), Directory_Result::Damaged_List);
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    Expect_Records(s_set_begun + s_set + "return value:(ok = false)", Of({"Set_Cache_Directory"}));

    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory)) << "it is the same directory now";
}

TEST_F(Cache_Directory, AnotherDirectoryReplacesTheEntriesAndLeavesTheOldOneAlone) {
    const std::string first = Make_Directory("first");
    const std::string second = Make_Directory("second");
    const std::string first_copy = Write_File(first + "_a.txt", "first");
    const std::string second_copy = Write_File(second + "_a.txt", "second");
    Write_Metadata(first, first_copy, "http://server/first");
    Write_Metadata(second, second_copy, "http://server/second");
    ASSERT_TRUE(cache.Set_Cache_Directory(first));
    cache.m_Cache_Entries["http://server/unsaved"] = {first_copy, "m", 1};
    const std::string first_metadata = Content((directory / "first" / "qelfilecache_Metadata.txt").string());

    EXPECT_TRUE(cache.Set_Cache_Directory(second));
    EXPECT_THAT(Urls(), ElementsAre("http://server/second"));
    EXPECT_EQ(Content((directory / "first" / "qelfilecache_Metadata.txt").string()), first_metadata);
    EXPECT_EQ(Content(first_copy), "first");
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);

    EXPECT_TRUE(cache.Set_Cache_Directory(first));
    EXPECT_THAT(Urls(), ElementsAre("http://server/first"));
}

constexpr const char* Precious_List = "the list of another time";

class Unread_List : public Cache_Fixture {
protected:
    void SetUp() override {
        Write_File(Metadata_Path(), Precious_List);
        os->on_find = [](const std::string&) { return std::vector<std::string>{"found"}; };
        Keep_List_Closed(true);
        ASSERT_TRUE(cache.Set_Cache_Directory(cache_directory));
        Keep_List_Closed(false);
    }

    void Keep_List_Closed(bool closed) { g_services.pipe = closed ? Metadata_Path() : std::string(); }
};

TEST_F(Unread_List, IsNotOverwrittenByTheObjectNorByItsCopies) {
    cache.m_Cache_Entries["http://server/new"] = {"copy", "monday", 1};
    CFileCache constructed(cache);
    CFileCache assigned(os);
    assigned = cache;
    for (CFileCache* const object : {&cache, &constructed, &assigned}) {
        EXPECT_TRUE(object->Serialize());
        EXPECT_EQ(Content(Metadata_Path()), Precious_List);
    }
}

TEST_F(Unread_List, LoadsAsAMissingOneAndIsWrittenAnewOnceItIsGone) {
    const auto unread = Recorded_Trace::All();
    CFileCache another(os);
    std::filesystem::remove(Metadata_Path());
    Forget();
    EXPECT_TRUE(another.Set_Cache_Directory(cache_directory));
    EXPECT_EQ(unread, Recorded_Trace::All());
    for (int time = 0; time < 2; ++time) {
        EXPECT_TRUE(cache.Serialize());
        EXPECT_THAT(Content(Metadata_Path()), StartsWith("QEL Logon"));
    }
}

TEST_F(Unread_List, LeavesTheSweepNothingToFindButThePurgeItsFiles) {
    Forget();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
    const auto unread = Recorded_Trace::All();
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_THAT(os->calls, Contains(StartsWith("Delete_File(")));

    std::filesystem::remove(Metadata_Path());
    ASSERT_TRUE(cache.Deserialize());
    os->on_find = nullptr;
    cache.m_Obsolete_Files_Cleaned = false;
    Forget();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(unread, Recorded_Trace::All()) << "the records of an empty directory";
}

TEST_F(Unread_List, IsForgottenWithANewDirectoryOrItsObject) {
    alignas(CFileCache) std::array<std::byte, sizeof(CFileCache)> place;
    auto* object = new (place.data()) CFileCache(cache);
    object->~CFileCache();
    object = new (place.data()) CFileCache(os);
    object->m_Cache_Directory = cache_directory;
    object->Serialize();
    object->~CFileCache();
    EXPECT_THAT(Content(Metadata_Path()), StartsWith("QEL Logon"));

    std::filesystem::create_directory(In_Cache("next"));
    ASSERT_TRUE(cache.Set_Cache_Directory(In_Cache("next")));
    EXPECT_TRUE(cache.Serialize());
    EXPECT_TRUE(std::filesystem::exists(directory / "next" / "qelfilecache_Metadata.txt"));
}

TEST_F(Cache_Fixture, AListInExclusiveUseIsWaitedFor) {
    cache.m_Cache_Directory = cache_directory;
    cache.m_Cache_Entries["http://server/a"] = {Write_File(In_Cache("copy"), "a"), "monday", 1};
    std::filesystem::create_directory(Metadata_Path()); // which cannot be written
    g_services.on_exclusive_use = [this](std::ios::openmode mode) {
        return mode == std::ios::out && std::filesystem::remove(Metadata_Path());
    };
    cache.Serialize();
    g_services.pipe = Metadata_Path();
    g_services.on_exclusive_use = [](std::ios::openmode mode) {
        g_services.pipe.clear();
        return mode == std::ios::in;
    };
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_TRUE(cache.m_Cache_Entries.contains("http://server/a"));
}

class Marks : public Cache_Fixture {};

TEST_F(Marks, AreSetWithTheDirectoryButNotByLooksIntoIt) {
    EXPECT_FALSE(cache.Set_Cache_Directory(In_Cache("missing")));
    const Cache_Inspection inspection(cache_directory, os);
    EXPECT_THAT(g_services.marked_directories, IsEmpty());
    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_THAT(g_services.marked_directories, ElementsAre(cache_directory));
    EXPECT_EQ(g_services.marks_ended, 0);
}

TEST_F(Marks, EndWithANewDirectoryOrTheAssignmentOfAnObjectWithoutOne) {
    const CFileCache empty(os);
    std::filesystem::create_directory(In_Cache("next"));
    cache.Set_Cache_Directory(cache_directory);
    const CFileCache& itself = cache;
    cache = itself;
    EXPECT_EQ(g_services.marks_ended, 0);
    cache.Set_Cache_Directory(In_Cache("next"));
    EXPECT_THAT(g_services.marked_directories, ElementsAre(cache_directory, In_Cache("next")));
    EXPECT_EQ(g_services.marks_ended, 1);
    cache = empty;
    EXPECT_EQ(g_services.marks_ended, 2);
}

TEST_F(Marks, EndWithTheLastObjectThatHasTheDirectory) {
    {
        CFileCache copied(os);
        {
            CFileCache original(os);
            original.Set_Cache_Directory(cache_directory);
            copied = original;
        }
        EXPECT_EQ(g_services.marks_ended, 0);
    }
    EXPECT_EQ(g_services.marks_ended, 1);
    EXPECT_EQ(g_services.marked_directories.size(), 1U);
}

TEST_F(Marks, OfAnotherProcessLeaveTheSweepNothingToFindButThePurgeItsFiles) {
    g_services.other_processes = {{17, "pad"}};
    os->on_find = [](const std::string&) { return std::vector<std::string>{"found"}; };
    Use_Cache_Directory();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_THAT(os->calls, Contains(StartsWith("Delete_File(")));
}

} // namespace
