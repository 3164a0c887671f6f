#include "tests/tool/support/Tool_Fixture.h"

#include <pwd.h>

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr const char* What_To_Do =
    "\n  Close the programs that have one open, check the permissions of the cache directory, try again.";

class Clear_And_Purge : public Tool_Test {
protected:
    /// A cache with one entry, its copy, a copy that no entry names, and files of other kinds.
    void Fill_Cache() {
        m_Copy = fs::path(Get_Copy(m_Url)).filename().string();
        for (const char* const name : {Stray_Copy, "notes.txt", "01234567-89ab-cdef-0123-456789abcdef"}) {
            Write_File(m_Cache / name, "");
        }
    }

    std::string Deleted(const std::string& what, const fs::path& directory) const {
        return what + " deleted from the cache in '" + directory.string() + "' of user '" + m_User + "'" +
               (what.starts_with("0") ? "; --cache-dir names another directory" : "");
    }

    const std::string m_User = ::getpwuid(::geteuid())->pw_name;
    std::string m_Copy;
};

TEST_F(Clear_And_Purge, ClearDeletesTheCopiesOfItsEntriesAndPurgeAllCopies) {
    Fill_Cache();
    Names others = {"01234567-89ab-cdef-0123-456789abcdef", Stray_Copy, "notes.txt", "qelfilecache_Metadata.txt"};
    Expect_Message(Run_On_Cache({"clear"}), 0, Deleted("1 copy (4 B)", m_Cache));
    EXPECT_EQ(Names_In(m_Cache), others);

    Get_Copy(m_Url);
    Write_File(m_Cache / Stray_Copy, "<b/>");
    std::erase(others, Stray_Copy);
    Expect_Message(Run_On_Cache({"purge"}), 0, Deleted("2 copies (8 B)", m_Cache));
    EXPECT_EQ(Names_In(m_Cache), others);
}

TEST_F(Clear_And_Purge, ClearOfRequestsLeavesTheOthers) {
    Fill_Cache();
    m_Server.Publish("/b.xml", "<bb/>", Monday);
    const fs::path other = Get_Copy(m_Server.Url("/b.xml"));
    const std::string list = Content_Of(Metadata_File());
    const std::string unknown = m_Server.Url("/unknown.xml");
    Expect_Message(Run_On_Cache({"clear", m_Url, unknown}), 3,
                   "the cache in '" + m_Cache.string() + "' of user '" + m_User + "' has no entry for '" + unknown +
                       "'; 'qelfilecache list' shows the entries; --cache-dir names another directory\nqelfilecache: " +
                       Deleted("1 copy (4 B)", m_Cache));
    EXPECT_FALSE(fs::exists(m_Cache / m_Copy));
    EXPECT_EQ(Content_Of(other), "<bb/>");
    EXPECT_EQ(Content_Of(Metadata_File()), list) << "it is not rewritten";
    const std::string url = m_Server.Url("/b.xml");
    for (const std::string& almost : {other.string(), url.substr(url.find("//") + 2)}) {
        EXPECT_THAT(Run_On_Cache({"clear", almost}).err, HasSubstr("'; did you mean '" + url + "'?\n"));
    }
}

TEST_F(Clear_And_Purge, ClearSaysThatACopyStayed) {
    Fill_Cache();
    // The copy of the entry lies where nothing may be deleted.
    const fs::path locked = m_Scratch.Make_Directory("cache/locked");
    fs::rename(m_Cache / m_Copy, locked / m_Copy);
    std::string metadata = Content_Of(Metadata_File());
    metadata.replace(metadata.find(m_Cache.string()), m_Cache.string().size(), locked.string());
    Write_File(Metadata_File(), metadata);
    const Rights_Left no_right_to_write(locked, Read_And_Enter);
    const Tool_Result result = Run_With_Ordinary_Rights(A_Run_On_Cache({"clear"}));
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.err,
                testing::AllOf(testing::HasSubstr("0 copies (0 B) deleted"),
                               testing::EndsWith(std::string("not every copy could be deleted.") + What_To_Do + "\n")));
    EXPECT_TRUE(fs::exists(locked / m_Copy));
}

TEST_F(Clear_And_Purge, PurgeSaysWhichCopiesStayed) {
    Fill_Cache();
    fs::remove(m_Cache / Stray_Copy);
    fs::create_directory(m_Cache / Stray_Copy); // cannot be deleted as a file
    Expect_Message(Run_On_Cache({"purge"}), 1,
                   Deleted("1 copy (4 B)", m_Cache) + "\nqelfilecache: these copies could not be deleted:\n  " +
                       (m_Cache / Stray_Copy).string() + What_To_Do);
}

TEST_F(Clear_And_Purge, NeitherCreatesTheDefaultDirectory) {
    Expect_Message(Run({"clear"}), 0, Deleted("0 copies (0 B)", m_Default_Cache));
    Expect_Message(Run({"purge"}), 0, Deleted("0 copies (0 B)", m_Default_Cache));
    EXPECT_EQ(Run({"clear", m_Url}).exit_status, 3);
    EXPECT_EQ(Names_In(m_Home), Names());
}

} // namespace
