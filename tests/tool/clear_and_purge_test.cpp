#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

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

    std::string m_Copy;
};

TEST_F(Clear_And_Purge, ClearDeletesTheCopiesOfItsEntriesAndPurgeAllCopies) {
    Fill_Cache();
    Names others = {"notes.txt", "01234567-89ab-cdef-0123-456789abcdef", "qelfilecache_Metadata.txt", Stray_Copy};
    Expect_Message(Run_On_Cache({"clear"}), 0, "");
    EXPECT_EQ(Names_In(m_Cache), others);

    Get_Copy(m_Url);
    Write_File(m_Cache / Stray_Copy, "");
    others.erase(Stray_Copy);
    Expect_Message(Run_On_Cache({"purge"}), 0, "");
    EXPECT_EQ(Names_In(m_Cache), others);
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
    Tool_Run run = A_Run_On_Cache({"clear"});
    run.with_ordinary_rights = true;
    Expect_Message(Run_Tool(run), 1, std::string("not every copy could be deleted.") + What_To_Do);
    EXPECT_TRUE(fs::exists(locked / m_Copy));
}

TEST_F(Clear_And_Purge, PurgeSaysWhichCopiesStayed) {
    Fill_Cache();
    fs::remove(m_Cache / Stray_Copy);
    fs::create_directory(m_Cache / Stray_Copy); // cannot be deleted as a file
    Expect_Message(Run_On_Cache({"purge"}), 1,
                   "these copies could not be deleted:\n  " + (m_Cache / Stray_Copy).string() + What_To_Do);
}

TEST_F(Clear_And_Purge, NeitherCreatesTheDefaultDirectory) {
    Expect_Message(Run({"clear"}), 0, "");
    Expect_Message(Run({"purge"}), 0, "");
    EXPECT_EQ(Names_In(m_Home), Names());
}

} // namespace
} // namespace QEL::Tests
