// The cache directory changes under a running host.

#include "tests/faults/support/Cache_Home.h"

namespace QEL::Tests {

namespace {

class Hostile_Directory : public Cache_Home {
protected:
    Hostile_Directory() {
        web.Publish("a.xml");
        Publish_On_Share("b.xml");
        EXPECT_TRUE(cache.Set_Cache_Directory(Cache_Directory()));
        for (const std::string& request : {url, share}) {
            Expect_Current_Document(request);
        }
    }

    struct Served {
        std::string path;
        bool download_error = false;
    };

    Served Get(const std::string& request) {
        Served served;
        served.path = cache.Get_Cached_File_and_Status(request, 213, served.download_error, nullptr, nullptr);
        return served;
    }

    void Expect_Current_Document(const std::string& request) {
        const Served served = Get(request);
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(Version_Of(Content_Of(served.path), Name_In(request)), Current_Version(request)) << request;
    }

    /// A download is written as well as it can be, and nobody notices that it could not: the path
    /// that it answers with names nothing. A share file is not copied.
    void Expect_No_Copies() {
        const Files surroundings = Surroundings();
        for (int repetition = 0; repetition < 2; ++repetition) {
            const Served from_web = Get(url);
            EXPECT_NE(from_web.path, "");
            EXPECT_FALSE(from_web.download_error);
            EXPECT_FALSE(std::filesystem::is_regular_file(from_web.path));
            EXPECT_EQ(Get(share).path, "");
        }
        EXPECT_EQ(Surroundings(), surroundings);
    }

    CFileCache cache{std::make_shared<Failing_OS_Wrapper>(share_folder)};
    const std::string url = web.Url("a.xml");
    const std::string share = Share_Path("b.xml");
};

TEST_F(Hostile_Directory, ThatIsRemovedIsUsedAgainWhenItIsBack) {
    std::filesystem::remove_all(cache_folder);
    Expect_No_Copies();
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_FALSE(std::filesystem::exists(cache_folder)) << "the cache creates none";
    CFileCache other(FrontEnd::OSWRAPI::IOSWrapper::Create());
    EXPECT_FALSE(other.Set_Cache_Directory(Cache_Directory()));

    std::filesystem::create_directory(cache_folder);
    for (const std::string& request : {url, share}) {
        Expect_Current_Document(request);
    }
    Expect_Equal(cache.m_Cache_Entries, Loaded());
}

TEST_F(Hostile_Directory, ThatIsRemovedCanBeCleared) {
    std::filesystem::remove_all(cache_folder);
    EXPECT_TRUE(cache.Clear());
    EXPECT_TRUE(cache.m_Cache_Entries.empty());
}

TEST_F(Hostile_Directory, ThatIsReplacedByAFileIsUsedAgainWhenItIsBack) {
    std::filesystem::remove_all(cache_folder);
    std::ofstream(cache_folder) << "a file";
    Expect_No_Copies();
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_TRUE(cache.Clear());
    EXPECT_EQ(Content_Of(cache_folder), "a file");

    std::filesystem::remove(cache_folder);
    std::filesystem::create_directory(cache_folder);
    for (const std::string& request : {url, share}) {
        Expect_Current_Document(request);
    }
}

TEST_F(Hostile_Directory, WithAFolderAsListServesAndRecordsNothing) {
    std::filesystem::remove(Metadata_Path());
    std::filesystem::create_directory(Metadata_Path());
    web.Publish("a.xml");
    Expect_Current_Document(url);
    EXPECT_TRUE(std::filesystem::is_directory(Metadata_Path()));

    EXPECT_TRUE(Loaded().empty());
}

TEST_F(Hostile_Directory, WhoseCopiesAreFoldersGetsNewOnes) {
    std::set<std::string> folders;
    for (const std::string& copy : Copies()) {
        std::filesystem::remove(copy);
        std::filesystem::create_directory(copy);
        std::ofstream(std::filesystem::path(copy) / "file") << "kept";
        folders.insert(copy);
    }
    for (const std::string& request : {url, share}) {
        Expect_Current_Document(request);
    }
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_EQ(Copies(), folders) << "a folder is no copy, whatever its name";
}

TEST_F(Hostile_Directory, WhoseCopiesAreDeletedByOthersGetsNewOnes) {
    Set_Expiry_Minutes(60);
    for (const std::string& copy : Copies()) {
        std::filesystem::remove(copy);
    }
    for (const std::string& request : {url, share}) {
        Expect_Current_Document(request);
    }
    EXPECT_EQ(Copies(), Copies_Of(cache.m_Cache_Entries));
}

/// What is outside is served and, when it is replaced, deleted: the list is believed.
TEST_F(Hostile_Directory, WhoseListNamesAFileOutsideIsBelieved) {
    const auto outside = home / "outside.xml";
    std::ofstream(outside) << "not the cache's";
    std::ofstream(Metadata_Path()) << "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n1\nmonday\n1\n"
                                   << outside.string() << "\n"
                                   << url << "\n";
    CFileCache next(FrontEnd::OSWRAPI::IOSWrapper::Create());
    EXPECT_TRUE(next.Set_Cache_Directory(Cache_Directory()));
    Set_Expiry_Minutes(0xFFFFFFFF);
    EXPECT_EQ(next.Get_Cached_File(url), outside.string());
    EXPECT_EQ(Content_Of(outside), "not the cache's");
    EXPECT_TRUE(next.Purge_Cache_Folder());
    EXPECT_TRUE(std::filesystem::exists(outside)) << "a purge looks into the directory alone";
    EXPECT_TRUE(next.Clear());
    EXPECT_FALSE(std::filesystem::exists(outside));
}

} // namespace

} // namespace QEL::Tests
