#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;

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

} // namespace
