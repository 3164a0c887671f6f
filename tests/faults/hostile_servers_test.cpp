// A host that has a copy of a file meets a hostile server when it asks whether the file has changed,
// and when it fetches the file anew.

#include "tests/faults/support/Cache_Home.h"
#include "tests/faults/support/Hostile_Sites.h"

namespace QEL::Tests {

namespace {

class Hostile_Servers : public Cache_Home, public testing::WithParamInterface<Hostile_Site> {
protected:
    Hostile_Servers() {
        Restart_Host();
        // A copy of what the server had when it was well.
        FrontEnd::FileCache::CacheEntry entry;
        entry.cached_file = cache->Generate_Cached_File_Name_from_Contents("text/xml", Old_Content, 6);
        entry.last_modified = "Wed, 21 Oct 2015 07:28:00 GMT";
        std::ofstream(entry.cached_file, std::ios::binary) << Old_Content;
        old_copy = entry.cached_file;
        cache->Persist_Downloaded_File_Metadata(GetParam().url, entry);
        Be_Impatient_With(GetParam());
    }

    static constexpr const char* Old_Content = "<old/>";

    std::string old_copy;
};

/// The codes of a download that succeeds, by the response to the check before it.
testing::Matcher<int> Codes_After(Ending head) {
    switch (head) {
    case Ending::Served:
        return 0;
    case Ending::Refused:
        return 1;
    case Ending::Doubtful:
        return testing::AnyOf(0, 1, 2);
    default:
        return 2;
    }
}

TEST_P(Hostile_Servers, LeaveAWholeCopy) {
    const Hostile_Site& site = GetParam();
    const auto begin = std::chrono::steady_clock::now();
    const Served served = Get(site.url);
    const std::string& path = served.path;

    EXPECT_LT(std::chrono::steady_clock::now() - begin, Longest_Exchange);
    if (path == old_copy) {
        EXPECT_NE(site.file, Ending::Served);
        EXPECT_EQ(Content_Of(path), Old_Content);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    } else {
        EXPECT_THAT(site.file, testing::AnyOf(Ending::Served, Ending::Doubtful));
        EXPECT_EQ(Content_Of(path), site.body);
        EXPECT_FALSE(served.download_error);
        EXPECT_THAT(served.http_error, Codes_After(site.head)); // a check that failed is reported
    }
    EXPECT_EQ(Copies(), std::vector<std::string>{path});
    EXPECT_EQ(cache->m_Cache_Entries.at(site.url).cached_file, path);
    Expect_Equal(Loaded(), cache->m_Cache_Entries);
}

INSTANTIATE_TEST_SUITE_P(Table, Hostile_Servers, testing::ValuesIn(Hostile_Sites()),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(Hostile_Servers_Table, IsThere) {
    EXPECT_GE(Hostile_Sites().size(), 100U);
}

} // namespace

} // namespace QEL::Tests
