#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Cache_Directory : public Cache_Fixture {
protected:
    static constexpr const char* method = "Set_Cache_Directory";

    static Records Begin(const std::string& path) { return Call(method, "absolute_dir_path='" + path + "'"); }
    static Records Set(const std::string& path) {
        return Begin(path) + Data(method, "Setting cache directory to '" + path + "'.\n");
    }
    static Records Missing(const std::string& path) {
        return Begin(path) +
               Error(method, "Setting cache directory to non existing absolute_dir_path='" + path + "'.\n");
    }

    /// What loading writes when there is no metadata file.
    static Records Load_Nothing(const std::string& metadata_path, int cleared) {
        return Call("Deserialize") +
               Data("Deserialize", "Clearing cache " + std::to_string(cleared) + " entries...\n") +
               Return("Get_Cache_Metadata", "'" + metadata_path + "'") +
               Data("Deserialize", "Cache metadata read from '" + metadata_path + "'\n") +
               Data("Deserialize", "Cache metadata file '" + metadata_path + "' does not exist. Cache is empty.\n");
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
    EXPECT_FALSE(cache.Set_Cache_Directory(""));
    EXPECT_EQ(All(), Begin("") + Error(method, "Trying to set the cache directory to absolute_dir_path=''.\n"));
    EXPECT_THAT(os->calls, IsEmpty());
    for (const std::string& missing : {In_Cache("missing"), Write_File(In_Cache("file"), "")}) {
        Forget();
        EXPECT_FALSE(cache.Set_Cache_Directory(missing));
        EXPECT_EQ(All(), Missing(missing));
        EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + missing + ")"));
    }
    EXPECT_FALSE(std::filesystem::exists(In_Cache("missing"))) << "the cache never creates a directory";
    EXPECT_EQ(cache.m_Cache_Directory, "C:\\before");
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Cache_Directory, ADirectoryWithoutMetadataIsAnEmptyCache) {
    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_EQ(All(), Set(cache_directory) + Load_Nothing(Metadata_Path(), 0) + Return(method, "ok = true"));
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + cache_directory + ")"));
    EXPECT_TRUE(std::filesystem::is_empty(directory)) << "nothing is written";
}

TEST_F(Cache_Directory, TheMetadataOfTheDirectoryIsLoaded) {
    const std::string copy = Write_File(In_Cache("a.txt"), "");
    Write_Metadata(cache_directory, copy, "http://server/a");
    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory));
    ASSERT_EQ(cache.m_Cache_Entries.count("http://server/a"), 1U);
    EXPECT_EQ(cache.m_Cache_Entries["http://server/a"].cached_file, copy);
    EXPECT_EQ(cache.m_Cache_Entries["http://server/a"].last_modified, "stamp");
    EXPECT_EQ(cache.m_Cache_Entries["http://server/a"].last_checked_remotely, 7U);
    EXPECT_EQ(Of({method}), Set(cache_directory) + Return(method, "ok = true"));
}

TEST_F(Cache_Directory, TheSameDirectoryIsLoadedOnlyOnce) {
    Use_Cache_Directory();
    cache.m_Cache_Entries["u"] = {"f", "m", 1};
    Write_Metadata(cache_directory, Write_File(In_Cache("a.txt"), ""), "http://server/a");
    EXPECT_TRUE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_EQ(All(),
              Begin(cache_directory) + Data(method, "Cache directory is already the same as absolute_dir_path='" +
                                                        cache_directory + "'.\n"));
    EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + cache_directory + ")"));
    EXPECT_EQ(cache.m_Cache_Entries.count("u"), 1U);
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Cache_Directory, TheSameDirectoryMustStillExist) {
    Use_Cache_Directory();
    os->on_directory_exists = [](const std::string&) { return false; };
    EXPECT_FALSE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_EQ(All(), Missing(cache_directory));
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
}

TEST_F(Cache_Directory, LetterCaseAndTrailingSeparatorsMakeAnotherDirectory) {
    os->on_directory_exists = [](const std::string&) { return true; };
    std::string previous;
    for (const std::string path : {"Q:\\qel no such\\Cache", "Q:\\qel no such\\cache", "Q:\\qel no such\\cache\\",
                                   "q:\\qel no such\\cache\\", "Q:/qel no such/cache"}) {
        cache.m_Cache_Entries = {{"u", {"f", "m", 1}}};
        Forget();
        EXPECT_TRUE(cache.Set_Cache_Directory(path));
        EXPECT_EQ(All(),
                  Set(path) + Load_Nothing(path + "\\qelfilecache_Metadata.txt", 1) + Return(method, "ok = true"));
        EXPECT_EQ(cache.m_Cache_Directory, path);
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    }
}

TEST_F(Cache_Directory, DamagedMetadataFailsAndKeepsTheNewDirectory) {
    cache.m_Cache_Directory = "C:\\before";
    cache.m_Cache_Entries["u"] = {"f", "m", 1};
    Write_File(Metadata_Path(), "rubbish");
    EXPECT_FALSE(cache.Set_Cache_Directory(cache_directory));
    EXPECT_EQ(cache.m_Cache_Directory, cache_directory);
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_EQ(Of({method}), Set(cache_directory) + Return(method, "ok = false"));

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
    EXPECT_EQ(cache.m_Cache_Entries.count("http://server/second"), 1U);
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(Content((directory / "first" / "qelfilecache_Metadata.txt").string()), first_metadata);
    EXPECT_EQ(Content(first_copy), "first");
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);

    EXPECT_TRUE(cache.Set_Cache_Directory(first));
    EXPECT_EQ(cache.m_Cache_Entries.count("http://server/first"), 1U);
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Cache_Directory, LeavesTheSweepAndTheOutcomeOfEarlierRequestsAlone) {
    cache.m_errHTTPFileDownLoad = 2;
    cache.m_errFileShareDownLoad = 4;
    cache.m_Additional_Error_Info = "info";
    for (const bool swept : {false, true}) {
        cache.m_Obsolete_Files_Cleaned = swept;
        cache.Set_Cache_Directory(swept ? Make_Directory("other") : cache_directory);
        EXPECT_EQ(os->Calls_Of("FindFirstFile"), 0U);
        EXPECT_EQ(cache.m_Obsolete_Files_Cleaned, swept);
    }
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
    EXPECT_EQ(cache.m_errFileShareDownLoad, 4);
    EXPECT_EQ(cache.m_Additional_Error_Info, "info");
}

} // namespace
