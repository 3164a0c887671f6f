#include "tests/tool/support/Tool_Fixture.h"

namespace QEL::Tests {
namespace {

using namespace ::testing;

/// What the tool reads from the traces that it has itself written.
class Traced_Tool : public Tool_Test {
protected:
    Tool_Result Run_Traced(int level, const Words& arguments) const {
        // Relative to the working directory of the run, which is m_Folder.
        Words all = {"--trace-level", std::to_string(level), "--trace-dir", "traces"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Run_On_Cache(all);
    }

    std::string Trace_File() const { return (m_Traces / *Names_In(m_Traces).begin()).string(); }

    /// "outcome request" of each call in the trace of a run, without those of the cache directory.
    Words Requests_Of(const Words& run) const {
        for (const auto& name : Names_In(m_Traces)) {
            std::filesystem::remove(m_Traces / name);
        }
        Run_Traced(5, run);
        Words requests;
        const auto report = nlohmann::json::parse(Run({"trace", "--json", Trace_File()}).out);
        for (const auto& call : report["calls"]) {
            if (call["operation"] != "set_cache_directory") {
                const auto subject = call["request"].is_null() ? call["operation"] : call["request"];
                requests.push_back(call["outcome"].get<std::string>() + " " + subject.get<std::string>());
            }
        }
        return requests;
    }

    const std::filesystem::path m_Traces = m_Scratch.Make_Directory("traces");
};

TEST_F(Traced_Tool, EveryOutcomeIsShown) {
    const std::string missing = m_Server.Url("/missing.xml");
    EXPECT_THAT(Requests_Of({"get", m_Url, m_Url, missing, "/no/such/file"}),
                ElementsAre("downloaded " + m_Url, "fresh " + m_Url, "failed " + missing, "failed /no/such/file"));
    Set_Expiry_Period(0);
    EXPECT_THAT(Requests_Of({"get", m_Url}), ElementsAre("unchanged " + m_Url));
    m_Server.Publish("/a.xml", "<b/>", Tuesday);
    EXPECT_THAT(Requests_Of({"get", m_Url}), ElementsAre("replaced " + m_Url));
    m_Server.Stop();
    EXPECT_THAT(Requests_Of({"get", m_Url}), ElementsAre("old_copy " + m_Url));
    EXPECT_THAT(Requests_Of({"clear"}), ElementsAre("done clear"));
    EXPECT_THAT(Requests_Of({"purge"}), ElementsAre("done purge"));
}

TEST_F(Traced_Tool, LowerLevelsShowMessagesAndNoCalls) {
    Run_Traced(3, {"get", m_Url, "/no/such/file", "http://127.0.0.1:1/dead.xml"});
    EXPECT_THAT(Run({"trace", Trace_File()}).out,
                AllOf(HasSubstr("there are no calls to show"),
                      HasSubstr("\n    the local file '/no/such/file' does not exist\n"), HasSubstr("error 12029")));
}

TEST_F(Traced_Tool, AFileGivenTwiceCountsOnceAndADashIsStandardInput) {
    EXPECT_EQ(Run_On_Cache({"--trace-dir", m_Folder.string(), "get", m_Url}).err,
              "qelfilecache: note: --trace-dir has no effect without --trace-level 1 to 5\n");
    Run_Traced(4, {"get", "/no/such/file"});
    EXPECT_THAT(Names_In(m_Traces), ElementsAre(MatchesRegex("qelfilecache_[0-9]+\\.trc")));
    const std::string file = Trace_File();
    EXPECT_EQ(Run({"trace", file, "./traces/" + std::filesystem::path(file).filename().string()}).out,
              Run({"trace", file}).out);

    Tool_Run run = A_Run({"trace", "-"});
    run.standard_input = Content_Of(file);
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("the local file '/no/such/file' does not exist"), HasSubstr("standard input, line")));
}

TEST_F(Traced_Tool, ColoursAreForTerminalsThatWantThem) {
    Run_Traced(4, {"get", "/no/such/" + std::string(100, 'a')});
    const auto shown = [this](const std::map<std::string, std::string>& environment) {
        return Run_On_Terminal(66, {"trace", Trace_File()}, environment).out;
    };
    const std::string coloured = shown({{"TERM", "xterm"}});
    EXPECT_THAT(coloured, HasSubstr("\x1B[31mfailed\x1B[0m"));
    const std::string plain = shown({{"TERM", "xterm"}, {"NO_COLOR", "1"}});
    EXPECT_EQ(std::regex_replace(coloured, std::regex("\x1B\\[[0-9;]*m"), ""), plain);
    EXPECT_THAT(plain, ContainsRegex("\n[^\r\n]{66}\r\n")) << "lines fill the terminal";
    EXPECT_EQ(shown({{"TERM", "dumb"}}), plain);
    EXPECT_THAT(Run({"trace", Trace_File()}).out, Not(HasSubstr("\x1B")));
}

} // namespace
} // namespace QEL::Tests
