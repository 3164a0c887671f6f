// The cache directory changes under a running host.

#include "tests/faults/support/Cache_Home.h"

namespace QEL::Tests {

namespace {

class Hostile_Directory : public Cache_Home {
protected:
    Hostile_Directory() {
        Offer({"a.xml"}, {"b.xml"});
        EXPECT_TRUE(host.Set_Cache_Directory(Cache_Directory()));
        Expect_Current_Documents(host);
    }

    /// A download is written as well as it can be, and nobody notices that it could not: the path
    /// that it returns names nothing. A share file is not copied.
    void Expect_No_Copies() {
        const Files surroundings = Surroundings();
        for (int repetition = 0; repetition < 2; ++repetition) {
            const Served from_web = Request(host, url);
            EXPECT_NE(from_web.path, "");
            EXPECT_FALSE(from_web.download_error);
            EXPECT_FALSE(std::filesystem::is_regular_file(from_web.path));
            EXPECT_EQ(Request(host, share).path, "");
        }
        EXPECT_EQ(Surroundings(), surroundings);
    }

    CFileCache host{Services()};
    const std::string url = Web_Url("a.xml");
    const std::string share = Failing_OS_Wrapper::Share + std::string("b.xml");
};

TEST_F(Hostile_Directory, ThatIsRemovedOrReplacedByAFileIsUsedAgainWhenItIsBack) {
    std::filesystem::remove_all(cache_folder);
    Expect_No_Copies();
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_FALSE(std::filesystem::exists(cache_folder)) << "the cache creates none";
    CFileCache other(FrontEnd::OSWRAPI::IOSWrapper::Create());
    EXPECT_FALSE(other.Set_Cache_Directory(Cache_Directory()));
    std::filesystem::create_directory(cache_folder);
    Expect_Current_Documents(host);

    std::filesystem::remove_all(cache_folder);
    EXPECT_TRUE(host.Clear());
    EXPECT_TRUE(host.m_Cache_Entries.empty());
    std::ofstream(cache_folder) << "a file";
    Expect_No_Copies();
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_TRUE(host.Clear());
    EXPECT_EQ(Content_Of(cache_folder), "a file");
    std::filesystem::remove(cache_folder);
    std::filesystem::create_directory(cache_folder);
    Expect_Current_Documents(host);
}

TEST_F(Hostile_Directory, WithAFolderAsListServesAndRecordsNothing) {
    std::filesystem::remove(Metadata_Path());
    std::filesystem::create_directory(Metadata_Path());
    Publish(url);
    Expect_Current_Document(host, url);
    EXPECT_TRUE(std::filesystem::is_directory(Metadata_Path()));

    EXPECT_TRUE(Loaded().empty());
}

TEST_F(Hostile_Directory, WhoseCopiesAreFoldersGetsNewOnes) {
    const std::vector<std::string> folders = Copies();
    for (const std::string& copy : folders) {
        std::filesystem::remove(copy);
        std::filesystem::create_directory(copy);
        std::ofstream(std::filesystem::path(copy) / "file") << "kept";
    }
    Expect_Current_Documents(host);
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_EQ(Copies(), folders) << "a folder is not a copy, whatever its name";
}

} // namespace

} // namespace QEL::Tests
