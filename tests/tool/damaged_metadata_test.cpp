#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using namespace ::testing;

class Damaged_Metadata : public Tool_Test {
protected:
    Damaged_Metadata() {
        m_Server.Publish("/a.xml", "<a/>", "Mon, 01 Jan 2024 12:00:00 GMT");
        m_Server.Publish("/b.xml", "<b/>", "Mon, 01 Jan 2024 12:00:00 GMT");
        const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml"), m_Server.Url("/b.xml")});
        EXPECT_EQ(result.exit_status, 0) << result.err;
        const auto end_of_first = result.out.find('\n');
        m_Copy_Of_A = result.out.substr(0, end_of_first);
        m_Copy_Of_B = result.out.substr(end_of_first + 1, result.out.size() - end_of_first - 2);
        m_Healthy_Metadata = Content_Of(Metadata_File());
    }

    /// The metadata file with its number of entries replaced.
    std::string With_Entry_Count(const std::string& count) const {
        std::string metadata = m_Healthy_Metadata;
        const std::string keyword = "entries\n";
        metadata.replace(metadata.find(keyword) + keyword.size(), 1, count);
        return metadata;
    }

    Web_Server m_Server;
    fs::path m_Copy_Of_A;
    fs::path m_Copy_Of_B;
    std::string m_Healthy_Metadata;
    const fs::path m_Saved = m_Cache / "qelfilecache_damaged-1";
};

TEST_F(Damaged_Metadata, IsNotSeenInAHealthyFile) {
    const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml")});
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_FALSE(fs::exists(m_Saved));
}

TEST_F(Damaged_Metadata, OfBinaryRubbishLosesNothing) {
    std::string rubbish;
    for (int i = 0; i < 100000; ++i) {
        rubbish += static_cast<char>(i * 7919 >> 3);
    }
    Write_File(Metadata_File(), rubbish);
    m_Server.Stop();

    const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml")});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.err, HasSubstr("qelfilecache: warning: the metadata file '" + Metadata_File().string() +
                                      "' is damaged; the entries behind the damage are forgotten.\n"
                                      "  It and the copies as they were are in '" +
                                      m_Saved.string() + "'; delete that folder when you no longer need them.\n"));
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), rubbish);
    EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_A.filename()), "<a/>");
    EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_B.filename()), "<b/>");
}

TEST_F(Damaged_Metadata, IsReplacedByAHealthyFileWithTheNextDownload) {
    Write_File(Metadata_File(), "rubbish");
    EXPECT_EQ(Run_On_Cache({"get", m_Server.Url("/a.xml")}).exit_status, 0);
    const Tool_Result next = Run_On_Cache({"get", m_Server.Url("/a.xml")});
    EXPECT_EQ(next.exit_status, 0);
    EXPECT_THAT(next.err, IsEmpty());
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), "rubbish");
}

TEST_F(Damaged_Metadata, IsSavedOnce) {
    Write_File(Metadata_File(), "rubbish");
    m_Server.Stop();
    for (int run = 0; run < 3; ++run) {
        const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml")});
        EXPECT_THAT(result.err, HasSubstr("damaged-1'"));
    }
    EXPECT_FALSE(fs::exists(m_Cache / "qelfilecache_damaged-2"));
    EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_A.filename()), "<a/>");

    Write_File(Metadata_File(), "other rubbish");
    EXPECT_THAT(Run_On_Cache({"get", m_Server.Url("/a.xml")}).err, HasSubstr("damaged-2'"));
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), "rubbish");
}

TEST_F(Damaged_Metadata, PromisingFourThousandMillionEntriesKeepsThoseThatAreThere) {
    const std::string damaged = With_Entry_Count("4294967295");
    Write_File(Metadata_File(), damaged);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml"), m_Server.Url("/b.xml")});
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(result.out, m_Copy_Of_A.string() + "\n" + m_Copy_Of_B.string() + "\n");
    EXPECT_THAT(result.err, HasSubstr("is damaged"));
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), damaged);
    EXPECT_EQ(fs::hard_link_count(m_Copy_Of_A), 2u) << "the saved copy takes no space of its own";
}

TEST_F(Damaged_Metadata, ThatCannotBePutAsideStopsTheRequestBeforeAnythingIsLost) {
    Write_File(Metadata_File(), "rubbish");
    // A file where the folder would go, and no more of its kind.
    Write_File(m_Saved, "");
    fs::create_directory_symlink("qelfilecache_damaged-2", m_Cache / "qelfilecache_damaged-2");
    const Tool_Result result = Run_On_Cache({"get", m_Server.Url("/a.xml")});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("' is damaged and cannot be put aside: "));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A));
    EXPECT_TRUE(fs::exists(m_Copy_Of_B));
    EXPECT_EQ(Content_Of(Metadata_File()), "rubbish");
}

TEST_F(Damaged_Metadata, MakesClearTellThatItKnowsNotAll) {
    Write_File(Metadata_File(), "rubbish");
    const Tool_Result result = Run_On_Cache({"clear"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, HasSubstr("only the entries before the damage are cleared.\n"
                                      "  'qelfilecache purge' deletes every copy.\n"));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A));
}

} // namespace
} // namespace QEL::Tests
