#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

using namespace ::testing;

class Prefetch : public Tool_Test {
protected:
    Prefetch() {
        for (const std::string name : {"/a.xml", "/b.xml", "/c.xml"}) {
            m_Server.Publish(name, "<" + name + "/>", "Mon, 01 Jan 2024 12:00:00 GMT");
        }
    }

    /// Runs `prefetch` on a list file of this content.
    Tool_Result Run_On_List(const std::string& content) const {
        Write_File(m_Folder / "list.txt", content);
        return Run_On_Cache({"prefetch", "list.txt"});
    }

    Web_Server m_Server;
    const std::string m_A = m_Server.Url("/a.xml");
    const std::string m_B = m_Server.Url("/b.xml");
    const std::string m_C = m_Server.Url("/c.xml");
};

TEST_F(Prefetch, ServesEachRequestOfTheListOnce) {
    Set_Expiry_Period(0); // a second request would ask the server again
    const Tool_Result result = Run_On_List("\xEF\xBB\xBF# the pad's files\r\n" + m_A + "\r\n\r\n  " + m_B + " \n\t\n" +
                                           m_A + "\n#" + m_C + "\n" + m_A);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_EQ(result.err, "qelfilecache: 2 requests (2 more repeated): 2 served, 0 not served\n");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml", "GET /b.xml"));
}

TEST_F(Prefetch, LeavesFreshCopiesAsTheyAre) {
    Run_On_List(m_A);
    const auto before = Everything_In_Cache();
    EXPECT_EQ(Run_On_List(m_A).exit_status, 0);
    EXPECT_EQ(Everything_In_Cache(), before);
    EXPECT_EQ(m_Server.Requests().size(), 1u);
}

TEST_F(Prefetch, ReadsStandardInput) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "prefetch", "-"});
    run.standard_input = m_A + "\n" + m_C + "\n";
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "qelfilecache: 2 requests: 2 served, 0 not served\n");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml", "GET /c.xml"));
}

TEST_F(Prefetch, SaysWhatWasNotServedAndWhy) {
    const Tool_Result result = Run_On_List(m_Server.Url("/missing.xml") + "\nHTTP://server/\n" + m_A + "\n");
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.err, HasSubstr("'" + m_Server.Url("/missing.xml") + "': the download failed: "));
    EXPECT_THAT(result.err, HasSubstr("\n  Next: ask 'qelfilecache explain --check REQUEST'"));
    EXPECT_THAT(result.err, HasSubstr("'HTTP://server/': 'HTTP' is not a scheme that the cache serves"));
    EXPECT_THAT(result.err, EndsWith("qelfilecache: 3 requests: 1 served, 2 not served\n"));
}

TEST_F(Prefetch, CountsOlderCopiesAsServed) {
    Set_Expiry_Period(0);
    Run_On_List(m_A);
    m_Server.Stop();
    const Tool_Result result = Run_On_List(m_A);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, HasSubstr("Connection refused; this is the copy of an earlier download\n  Next: "));
    EXPECT_THAT(result.err, HasSubstr("notice: '" + m_A + "': "));
    EXPECT_THAT(result.err,
                EndsWith("qelfilecache: 1 request: 1 served, 1 of them from the last good copy, 0 not served\n"));
}

TEST_F(Prefetch, OfAnEmptyListServesNothing) {
    const Tool_Result result = Run_On_List("# nothing yet\n");
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "qelfilecache: 0 requests: 0 served, 0 not served\n");
}

TEST_F(Prefetch, RefusesAListThatCannotBeRead) {
    Tool_Result result = Run_On_Cache({"prefetch", "missing.txt"});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err, "qelfilecache: the list 'missing.txt' cannot be read: No such file or directory; check its "
                          "name and permissions, or name - for standard input\n");
    result = Run_On_Cache({"prefetch", m_Cache.string()});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("is a directory; name a file with one request a line"));
    result = Run_On_Cache({"prefetch"});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("FILE is required"));
}

TEST_F(Prefetch, PassesRequestsInBracketsUnsplit) {
    Write_File(m_Folder / "[a,b]", "");
    EXPECT_EQ(Run_On_List("[a,b]\n").err, "qelfilecache: 1 request: 1 served, 0 not served\n");
}

TEST_F(Prefetch, ShowsItsProgressOnATerminalAlone) {
    Write_File(m_Folder / "list.txt", m_A + "\n" + m_B + "\n");
    EXPECT_THAT(Run_On_Cache({"prefetch", "list.txt"}).err, Not(HasSubstr("[")));
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "prefetch", "list.txt"});
    run.terminal_columns = 100;
    const std::string shown = Run_Tool(run).out;
    EXPECT_THAT(shown, HasSubstr("\r[........................] 0/2 " + m_A));
    EXPECT_THAT(shown, HasSubstr("\r[############............] 1/2 " + m_B));
    EXPECT_THAT(shown,
                HasSubstr("\r" + std::string(99, ' ') + "\rqelfilecache: 2 requests: 2 served, 0 not served\r\n"));
}

} // namespace
} // namespace QEL::Tests
