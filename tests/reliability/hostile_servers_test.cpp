// A host that has a copy of a file meets a hostile server when it asks whether the file has changed,
// and when it fetches the file anew.

#include "tests/reliability/support/Cache_Home.h"
#include "tests/reliability/support/Hostile_Sites.h"

#include <vector>

namespace QEL::Tests {

namespace {

class Hostile_Servers : public Cache_Home, public testing::WithParamInterface<Hostile_Site> {
protected:
    Hostile_Servers() {
        EXPECT_TRUE(cache.Set_Cache_Directory(Cache_Directory()));
        // A copy of what the server had when it was well.
        FrontEnd::FileCache::CacheEntry entry;
        entry.cached_file = cache.Generate_Cached_File_Name_from_Contents("text/xml", Old_Content, 6);
        entry.last_modified = "Wed, 21 Oct 2015 07:28:00 GMT";
        std::ofstream(entry.cached_file, std::ios::binary) << Old_Content;
        old_copy = entry.cached_file;
        cache.Persist_Downloaded_File_Metadata(GetParam().url, entry);
        Be_Impatient_With(GetParam());
    }

    static constexpr const char* Old_Content = "<old/>";

    CFileCache cache{FrontEnd::OSWRAPI::IOSWrapper::Create()};
    std::string old_copy;
};

TEST_P(Hostile_Servers, LeaveAWholeCopy) {
    const Hostile_Site& site = GetParam();
    bool download_error = site.file == Ending::Served; // the opposite
    int http_error = -1;
    int share_error = -1;
    const auto begin = std::chrono::steady_clock::now();

    const std::string path = cache.Get_Cached_File_and_Status(site.url, 213, download_error, &http_error, &share_error);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    if (site.file == Ending::Served) {
        EXPECT_NE(path, old_copy);
        EXPECT_EQ(Bytes_Of(path), site.body);
        EXPECT_FALSE(download_error);
        // What is wrong with the check alone is told as well.
        EXPECT_EQ(http_error, site.head == Ending::Served ? 0 : site.head == Ending::Refused ? 1 : 2);
    } else {
        EXPECT_EQ(path, old_copy);
        EXPECT_EQ(Bytes_Of(path), Old_Content);
        EXPECT_TRUE(download_error);
        EXPECT_EQ(http_error, 2);
    }
    EXPECT_EQ(Copies(), std::set<std::string>{path});
    EXPECT_EQ(cache.m_Cache_Entries.at(site.url).cached_file, path);
    Expect_Equal(Loaded(), cache.m_Cache_Entries);
}

INSTANTIATE_TEST_SUITE_P(Table, Hostile_Servers, testing::ValuesIn(Hostile_Sites()),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(Hostile_Servers_Table, HoldsThemAll) {
    EXPECT_EQ(Hostile_Sites().size(), 2 * 78 + 9);
}

} // namespace

} // namespace QEL::Tests
