// What an object knows of its directory besides its members: marks for other processes, and a list that it could not
// read.

#include "filecache/inspection/Cache_Inspection.h"
#include "tests/unit/support/Cache_Fixture.h"

using QEL::FrontEnd::FileCache::Cache_Inspection;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::FileCache::CFileCache;
using namespace testing;

namespace {

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
