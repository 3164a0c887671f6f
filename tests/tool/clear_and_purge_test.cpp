#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;

constexpr const char* unknown_copy = "01234567-89ab-cdef-0123-456789abcdef.xml";

class Clear_And_Purge : public Tool_Test {
protected:
    /// A cache with one entry, its copy, a copy that no entry names, and files of other kinds.
    void Fill_Cache() {
        Web_Server server;
        server.Publish("/a.xml", "<a/>", "Mon, 01 Jan 2024 12:00:00 GMT");
        const Tool_Result result = Run_On_Cache({"get", server.Url("/a.xml")});
        ASSERT_EQ(result.exit_status, 0) << result.err;
        m_Copy = fs::path(result.out.substr(0, result.out.size() - 1)).filename().string();
        Write_File(m_Cache / unknown_copy, "");
        Write_File(m_Cache / "notes.txt", "");
        Write_File(m_Cache / "01234567-89ab-cdef-0123-456789abcdef", "");
    }

    const std::set<std::string> m_Others = {"notes.txt", "01234567-89ab-cdef-0123-456789abcdef",
                                            "qelfilecache_Metadata.txt"};
    std::string m_Copy;
};

TEST_F(Clear_And_Purge, ClearDeletesTheCopiesOfItsEntries) {
    Fill_Cache();
    const Tool_Result result = Run_On_Cache({"clear"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, IsEmpty());
    auto left = m_Others;
    left.insert(unknown_copy);
    EXPECT_EQ(Names_In(m_Cache), left);
}

TEST_F(Clear_And_Purge, ClearSaysThatACopyStayed) {
    Fill_Cache();
    // The copy of the entry lies where nothing may be deleted.
    const fs::path locked = m_Folder / "locked";
    fs::create_directory(locked);
    fs::rename(m_Cache / m_Copy, locked / m_Copy);
    std::string metadata = Content_Of(Metadata_File());
    metadata.replace(metadata.find(m_Cache.string()), m_Cache.string().size(), locked.string());
    Write_File(Metadata_File(), metadata);
    fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "clear"});
    run.with_ordinary_rights = true;
    const Tool_Result result = Run_Tool(run);
    fs::permissions(locked, fs::perms::owner_all);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err,
              "qelfilecache: not every copy could be deleted.\n  Close the programs that have one open, check "
              "the permissions of the cache directory, try again.\n");
    EXPECT_TRUE(fs::exists(locked / m_Copy));
}

TEST_F(Clear_And_Purge, PurgeDeletesEveryCopyAndNothingElse) {
    Fill_Cache();
    const Tool_Result result = Run_On_Cache({"purge"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_EQ(Names_In(m_Cache), m_Others);
}

TEST_F(Clear_And_Purge, PurgeSaysWhichCopiesStayed) {
    // A directory cannot be deleted as a file.
    fs::create_directory(m_Cache / unknown_copy);
    const Tool_Result result = Run_On_Cache({"purge"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, "qelfilecache: these copies could not be deleted:\n  " + (m_Cache / unknown_copy).string() +
                              "\n  Close the programs that have one open, check the permissions of the cache "
                              "directory, try again.\n");
}

TEST_F(Clear_And_Purge, NeitherCreatesTheDefaultDirectory) {
    for (const std::string command : {"clear", "purge"}) {
        const Tool_Result result = Run({command});
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_THAT(result.err, IsEmpty());
    }
    EXPECT_THAT(Names_In(m_Folder / "home"), IsEmpty());
}

} // namespace
} // namespace QEL::Tests
