#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

using namespace ::testing;

class Prefetch : public Tool_Test {
protected:
    Prefetch() {
        m_Server.Publish("/b.xml", "<b/>", Monday);
        m_Server.Publish("/c.xml", "<c/>", Monday);
    }

    /// Runs `prefetch` on a list file of this content.
    Tool_Result Run_On_List(const std::string& content) const {
        Write_File(m_Folder / "list.txt", content);
        return Run_On_Cache({"prefetch", "list.txt"});
    }

    const std::string m_A = m_Url;
    const std::string m_B = m_Server.Url("/b.xml");
    const std::string m_C = m_Server.Url("/c.xml");
};

TEST_F(Prefetch, ServesEachRequestOfTheListOnce) {
    Set_Expiry_Period(0); // a second request would ask the server again
    Expect_Message(Run_On_List("# the pad's files\r\n" + m_A + "\r\n" + m_B + "\n" + m_A + "\n\n" + m_A), 0,
                   "2 requests (2 repeated): 2 served, 0 not served");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml", "GET /b.xml"));
    Write_File(m_Folder / "[a,b]", "");
    Expect_Message(Run_On_List("[a,b]\n"), 0, "1 request: 1 served, 0 not served");
    Expect_Message(Run_On_List("# nothing yet\n"), 0, "0 requests: 0 served, 0 not served");
}

TEST_F(Prefetch, ReadsStandardInput) {
    Tool_Run run = A_Run_On_Cache({"prefetch", "-"});
    run.standard_input = m_A + "\n" + m_C + "\n";
    Expect_Message(Run_Tool(run), 0, "2 requests: 2 served, 0 not served");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml", "GET /c.xml"));
}

TEST_F(Prefetch, SaysWhatWasNotServedAndWhy) {
    const Tool_Result result = Run_On_List(m_Server.Url("/missing.xml") + "\nHTTP://server/\n" + m_A + "\n");
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("'" + m_Server.Url("/missing.xml") +
                                            "': the server responds with status 404 (not found)\n  Next: check "),
                                  HasSubstr("'HTTP://server/': 'HTTP' is not a scheme that the cache serves"),
                                  EndsWith("qelfilecache: 3 requests: 1 served, 2 not served\n")));
}

TEST_F(Prefetch, CountsLastGoodCopiesAsServed) {
    Set_Expiry_Period(0);
    Run_On_List(m_A);
    m_Server.Stop();
    const Tool_Result result = Run_On_List(m_A);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(
        result.err,
        AllOf(HasSubstr("notice: '" + m_A + "': "),
              EndsWith("qelfilecache: 1 request: 1 served, 1 of them from the last good copy, 0 not served\n")));
}

TEST_F(Prefetch, RefusesAListInUtf16) {
    Expect_Message(Run_On_List(std::string("\xFF\xFEh\0t\0\r\0\n\0", 10)), 2,
                   "the list 'list.txt' is in UTF-16; save it in UTF-8");
}

TEST_F(Prefetch, ShowsItsProgressOnATerminalAlone) {
    EXPECT_THAT(Run_On_List(m_A + "\n" + m_B + "\n").err, Not(HasSubstr("[")));
    EXPECT_THAT(
        Run_On_Terminal(100, {"prefetch", "list.txt"}).out,
        AllOf(HasSubstr("\r[........................] 0/2 " + m_A),
              HasSubstr("\r[############............] 1/2 " + m_B),
              HasSubstr("\r" + std::string(99, ' ') + "\rqelfilecache: 2 requests: 2 served, 0 not served\r\n")));
}

} // namespace
} // namespace QEL::Tests
