#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using namespace ::testing;

class Damaged_Metadata : public Tool_Test {
protected:
    void Damage(const std::string& content) const { Write_File(Metadata_File(), content); }
    void Expect_Saved(const std::string& metadata) const {
        EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), metadata);
        EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_A.filename()), "<a/>");
        EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_B.filename()), "<b/>");
    }

    const fs::path m_Copy_Of_A = Get_Copy(m_Url);
    const fs::path m_Copy_Of_B = (m_Server.Publish("/b.xml", "<b/>", Monday), Get_Copy(m_Server.Url("/b.xml")));
    const fs::path m_Saved = m_Cache / "qelfilecache_damaged-1";
};

TEST_F(Damaged_Metadata, OfBinaryRubbishLosesNothingAndIsSavedOnce) {
    const std::string rubbish = Rubbish(100000);
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).err, "");
    EXPECT_FALSE(fs::exists(m_Saved)) << "healthy";
    Damage(rubbish);
    m_Server.Stop();
    for (int run = 0; run < 3; ++run) {
        const Tool_Result result = Run_On_Cache({"get", m_Url});
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_THAT(result.err, HasSubstr("qelfilecache: warning: the metadata file '" + Metadata_File().string() +
                                          "' is damaged; the entries after the damage are lost.\n"
                                          "  The file and all copies are saved in '" +
                                          m_Saved.string() + "'; delete that folder when you no longer need them.\n"));
        Expect_Saved(rubbish);
    }
    EXPECT_FALSE(fs::exists(m_Cache / "qelfilecache_damaged-2"));
    Damage("other rubbish");
    EXPECT_THAT(Run_On_Cache({"get", m_Url}).err, HasSubstr("damaged-2'"));
    Expect_Saved(rubbish);
}

TEST_F(Damaged_Metadata, WithACountOfFourThousandMillionKeepsTheEntriesThatAreThere) {
    std::string damaged = Content_Of(Metadata_File());
    const std::string keyword = "entries\n";
    damaged.replace(damaged.find(keyword) + keyword.size(), 1, "4294967295");
    Damage(damaged);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Url, m_Server.Url("/b.xml")});
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(result.out, m_Copy_Of_A.string() + "\n" + m_Copy_Of_B.string() + "\n");
    EXPECT_THAT(result.err, HasSubstr("is damaged"));
    Expect_Saved(damaged);
    EXPECT_EQ(fs::hard_link_count(m_Copy_Of_A), 2u) << "the saved copy takes no space of its own";
}

TEST_F(Damaged_Metadata, OfAnotherFormatSaysSo) {
    std::string list = Content_Of(Metadata_File());
    list.replace(list.find("\n2\n"), 3, "\n3\n");
    Damage(list);
    const std::string fault =
        "the metadata file '" + Metadata_File().string() + "' was written by another version of the program (format 3)";
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).out,
                HasSubstr("' was written by another version of the program (format 3), so it is unknown whether"));
    EXPECT_THAT(Run_On_Cache({"list"}).err, HasSubstr(fault + ": none of its entries is known.\n  Next: the next"));
    EXPECT_THAT(Run_On_Cache({"clear"}).err, HasSubstr("(format 3), so none of its entries is cleared.\n"));
    EXPECT_THAT(Run_On_Cache({"get", m_Url}).err, HasSubstr(fault + "; its entries are lost.\n  The file and all"));
    Expect_Saved(list);
}

TEST_F(Damaged_Metadata, ThatCannotBePutAsideStopsTheRequestBeforeAnythingIsLost) {
    Damage("rubbish");
    // A file where the folder would go, and no more of its kind.
    Write_File(m_Saved, "");
    fs::create_directory_symlink("qelfilecache_damaged-2", m_Cache / "qelfilecache_damaged-2");
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("' is damaged and cannot be saved: "));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A) && fs::exists(m_Copy_Of_B));
    EXPECT_EQ(Content_Of(Metadata_File()), "rubbish");
}

TEST_F(Damaged_Metadata, MakesClearSayThatItDoesNotKnowAll) {
    Damage("rubbish");
    const Tool_Result result = Run_On_Cache({"clear"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, HasSubstr("only the entries before the damage are cleared.\n"
                                      "  'qelfilecache purge' deletes every copy.\n"));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A));
    Get_Copy(m_Url);
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).err, "") << "healthy with the next download";
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), "rubbish");
}

} // namespace
} // namespace QEL::Tests
