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
    Words Requests_Of(int level, const Words& run) const {
        for (const auto& name : Names_In(m_Traces)) {
            std::filesystem::remove(m_Traces / name);
        }
        Run_Traced(level, run);
        const Tool_Result result = Run({"trace", "--json", Trace_File()});
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_EQ(result.err, "");
        Words requests;
        const auto report = nlohmann::json::parse(result.out);
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
    for (const int level : {4, 5}) {
        Run_On_Cache({"clear"});
        EXPECT_THAT(Requests_Of(level, {"get", m_Url, m_Url, missing, "/no/such/file"}),
                    ElementsAre("downloaded " + m_Url, "fresh " + m_Url, "failed " + missing, "failed /no/such/file"));
    }
    Set_Expiry_Period(0);
    EXPECT_THAT(Requests_Of(5, {"get", m_Url}), ElementsAre("unchanged " + m_Url));
    m_Server.Publish("/a.xml", "<b/>", Tuesday);
    EXPECT_THAT(Requests_Of(5, {"get", m_Url}), ElementsAre("replaced " + m_Url));
    m_Server.Stop();
    EXPECT_THAT(Requests_Of(5, {"get", m_Url}), ElementsAre("old_copy " + m_Url));
    EXPECT_THAT(Requests_Of(5, {"clear"}), ElementsAre("done clear"));
    EXPECT_THAT(Requests_Of(5, {"purge"}), ElementsAre("done purge"));
}

TEST_F(Traced_Tool, ShowsWhatIsWantedAndSums) {
    const std::string missing = m_Server.Url("/missing.xml");
    Run_Traced(5, {"get", m_Url, missing, m_Server.Url("/other.xml"), "/no/such/file"});
    const auto subjects = [this](Words options) {
        options.insert(options.begin(), {"trace", "--json", Trace_File()});
        Words found;
        const auto report = nlohmann::json::parse(Run(options).out);
        for (const auto& call : report["calls"]) {
            if (call["operation"] == "get") {
                found.push_back(call["request"]);
            }
        }
        return found;
    };
    EXPECT_THAT(subjects({}), SizeIs(4));
    EXPECT_THAT(subjects({"--failed"}), ElementsAre(missing, m_Server.Url("/other.xml"), "/no/such/file"));
    EXPECT_THAT(subjects({"--url", "missing"}), ElementsAre(missing));
    EXPECT_THAT(subjects({"--failed", "--url", "a.xml"}), IsEmpty());
    for (const char* const early : {"2001-01-01", "2001-01-01T10:20", "2001-01-01 10:20:16", "00:00"}) {
        EXPECT_THAT(subjects({"--since", early}), SizeIs(4)) << early;
    }
    EXPECT_THAT(subjects({"--since", "2098-12-31 10:20"}), IsEmpty());
    for (const char* const wrong : {"noon", "2001-1-1", "10:20:16:17", "2001-01-01 10"}) {
        EXPECT_EQ(Run({"trace", "--since", wrong, Trace_File()}).err,
                  "qelfilecache: --since: needs a time such as '2026-11-21 10:20' or '10:20', not '" +
                      std::string(wrong) + "'\n");
    }
    const std::string server = m_Server.Url("").substr(0, m_Server.Url("").find('/', 8));
    EXPECT_THAT(Run({"trace", "--summary", "--failed", Trace_File()}).out,
                AllOf(StartsWith("2       " + server + "  failed: "), HasSubstr("status 404"),
                      HasSubstr("\n1       (local)  failed: the local file '/no/such/file' does not exist")));
}

TEST_F(Traced_Tool, LowerLevelsShowMessagesAndNoCalls) {
    for (const int level : {1, 2, 3}) {
        EXPECT_THAT(Requests_Of(level, {"get", m_Url, "/no/such/file", "http://127.0.0.1:1/dead.xml"}), IsEmpty())
            << level;
        EXPECT_THAT(Run({"trace", Trace_File()}).out,
                    AllOf(HasSubstr("there are no calls to show"),
                          HasSubstr("\n    the local file '/no/such/file' does not exist\n"), HasSubstr("error 12029")))
            << level;
    }
}

TEST_F(Traced_Tool, AFileGivenTwiceCountsOnceAndADashIsStandardInput) {
    EXPECT_EQ(Run_On_Cache({"--trace-dir", m_Folder.string(), "get", m_Url}).err,
              "qelfilecache: note: --trace-dir has no effect without --trace-level 1 to 5\n");
    Run_Traced(4, {"get", "/no/such/file"});
    EXPECT_THAT(Names_In(m_Traces), ElementsAre(MatchesRegex("qelfilecache_[0-9]+\\.trc")));
    const std::string file = Trace_File();
    const std::string once = Run({"trace", file}).out;
    EXPECT_EQ(Run({"trace", file, file}).out, once);
    EXPECT_EQ(Run({"trace", file, "./traces/" + std::filesystem::path(file).filename().string()}).out, once);

    Tool_Run run = A_Run({"trace", "-"});
    run.standard_input = Content_Of(file);
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("the local file '/no/such/file' does not exist"), HasSubstr("standard input, line")));
}

TEST_F(Traced_Tool, ColoursAreForTerminalsThatWantThem) {
    Run_Traced(4, {"get", "/no/such/" + std::string(100, 'a')});
    Tool_Run run = A_Run({"trace", Trace_File()});
    EXPECT_THAT(Run_Tool(run).out, Not(HasSubstr("\x1B")));
    run.terminal_columns = 66;
    run.environment["TERM"] = "xterm";
    const std::string coloured = Run_Tool(run).out;
    EXPECT_THAT(coloured, HasSubstr("\x1B[31mfailed\x1B[0m"));
    run.environment["NO_COLOR"] = "1";
    const std::string plain = Run_Tool(run).out;
    EXPECT_EQ(std::regex_replace(coloured, std::regex("\x1B\\[[0-9;]*m"), ""), plain);
    EXPECT_THAT(plain, ContainsRegex("\n[^\r\n]{66}\r\n")) << "lines fill the terminal";
    run.environment.erase("NO_COLOR");
    run.environment["TERM"] = "dumb";
    EXPECT_THAT(Run_Tool(run).out, Not(HasSubstr("\x1B")));
}

} // namespace
} // namespace QEL::Tests
