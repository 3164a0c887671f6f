#include "tests/tool/support/Tool_Fixture.h"

using namespace QEL::Tests;

namespace {

using namespace ::testing;

class Command_Line : public Tool_Test {
protected:
    void Expect_Output(const Words& arguments, const std::string& out) const {
        const Tool_Result result = Run(arguments);
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_EQ(result.out, out);
        EXPECT_EQ(result.err, "");
    }
};

const std::string Commands = "the commands are get, list, explain, prefetch, trace, clear, purge";
const std::string Put_Dashes = "put \"--\" before a request that begins with \"-\"";

TEST_F(Command_Line, ExplainsWrongUsage) {
    const std::string long_path(260, '/');
    const std::pair<std::string, std::string> cases[] = {
        {"", "a command is missing; " + Commands + "\n  Run with --help for the options and examples."},
        {"fetch x", "unknown command 'fetch'; " + Commands},
        {"lst", "unknown command 'lst'; did you mean 'list'? " + Commands},
        {"help bogus", "unknown command 'bogus'; " + Commands},
        {"--bogus get x", "unknown option '--bogus'; " + Put_Dashes},
        {"get --bogus x", "unknown option '--bogus'; " + Put_Dashes},
        {"get -x", "unknown option '-x'; " + Put_Dashes},
        {"list --bogus", "unknown option '--bogus'; 'qelfilecache list --help' lists the options"},
        {"--versio", "unknown option '--versio'; did you mean '--version'? 'qelfilecache --help' lists the options"},
        {"explain -check x", "unknown option '-check'; did you mean '--check'? " + Put_Dashes},
        {"--json get x", "option '--json' belongs after its command: get, list, explain, trace"},
        {"clear --json", "'clear' has no option '--json'; these have: get, list, explain, trace"},
        {"get", "REQUEST is required"},
        {"get --json", "REQUEST is required"},
        {"purge x", "'x' is one word too many: 'purge' takes nothing but options"},
        {"list x y", "'y' is one word too many: 'list' takes one PATTERN"},
        {"prefetch a b", "'b' is one word too many: 'prefetch' takes one FILE"},
        {"list --cache-dir", "option '--cache-dir' needs a value, DIR"},
        {"get x --request-kind", "option '--request-kind' needs a value, N"},
        {"get --request-kind many x", "--request-kind: needs a whole number, not 'many'"},
        {"prefetch", "FILE is required"},
        {"prefetch missing.txt", "the list 'missing.txt' cannot be read: No such file or directory; check its name and "
                                 "permissions, or name - for standard input"},
        {"prefetch /", "the list '/' is a directory; name a file with one request a line, or - for standard input"},
        {"--trace-level 4 --trace-dir /nowhere get x",
         "--trace-dir '/nowhere' does not exist; create it or name another one"},
        {"--trace-level 4 --trace-dir " + long_path + " get x",
         "--trace-dir '" + long_path + "' is longer than 259 characters"},
        {"--cache-dir /nowhere list", "--cache-dir '/nowhere' does not exist; create it or name another one"},
        {"--trace-level=6 get x", "--trace-level: needs a number from 0 to 5, not '6'"},
        {"--trace-level=-1 get x", "--trace-level: needs a number from 0 to 5, not '-1'"},
        {"--trace-level=3x get x", "--trace-level: needs a number from 0 to 5, not '3x'"},
        {"--trace-level=99999999999 get x", "--trace-level: needs a number from 0 to 5, not '99999999999'"},
    };
    for (const auto& [line, message] : cases) {
        SCOPED_TRACE(line);
        std::istringstream words(line);
        const Tool_Result result = Run(Words(std::istream_iterator<std::string>(words), {}));
        EXPECT_EQ(result.exit_status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("qelfilecache: " + message + "\n"));
    }
}

TEST_F(Command_Line, PrintsItsVersion) {
    Expect_Output({"--version"}, "qelfilecache " QEL_VERSION "\n");
}

TEST_F(Command_Line, HelpNamesOptionsCommandsAndExitStatus) {
    const Tool_Result result = Run({"--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("--cache-dir DIR"), HasSubstr("--trace-level 0..5"), HasSubstr("--trace-dir DIR"),
                      HasSubstr("--version"),
                      HasSubstr("Exit status: 0 every request was served, 1 some were not,\n"
                                "2 wrong usage, or a file or directory that cannot be used,\n"
                                "3 'explain --check' found a copy out of date, or 'clear' no entry for a request,\n"
                                "141 the reader of the results closed the pipe.\n")));
    EXPECT_EQ(result.err, "");
    Expect_Output({"help"}, result.out);
    Expect_Output({"--cache-dir", "D", "--trace-level=4", "help"}, result.out);
    for (const std::string command : {"get", "list", "explain", "prefetch", "trace", "clear", "purge"}) {
        EXPECT_THAT(result.out, HasSubstr("\n  " + command + " "));
        const std::string help = Run({command, "--help"}).out;
        EXPECT_THAT(help, AllOf(HasSubstr("Usage: qelfilecache " + command), HasSubstr("Example"),
                                HasSubstr("\n  qelfilecache "), HasSubstr("options of all commands")));
        Expect_Output({"help", command}, help);
    }
}

TEST_F(Command_Line, TakesWordsForRequestsBehindTwoDashesOrGet) {
    for (const char* const name : {"-x", "--json", "get", "clear"}) {
        Write_File(m_Folder / name, "");
    }
    Expect_Output({"get", "--", "-x", "--json"}, "-x\n--json\n");
    Expect_Output({"get", "get", "clear"}, "get\nclear\n");
    Expect_Output({"get", "--request-kind=-3", "get"}, "get\n");
}

TEST_F(Command_Line, TakesAWordInSquareBracketsAsItStands) {
    const Words words = {"[a,b]", "[]", "[::1]", "[a", "{}", "%%", "", "[\"c\", 'd']", "[a,b]"};
    Words arguments = {"get", "--json"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    Words requests;
    for (const auto& result : nlohmann::json::parse(Run(arguments).out)) {
        requests.push_back(result.at("request"));
    }
    EXPECT_EQ(requests, words);
    EXPECT_THAT(Run({"trace", "[a,b]", "[]"}).err, AllOf(HasSubstr("'[a,b]': "), HasSubstr("'[]': ")));
}

TEST_F(Command_Line, TakesOptionsOfTheToolBehindTheCommandAndTheLastOfARepeatedOne) {
    Write_File(m_Folder / "file", "");
    Expect_Output({"get", "file", "--cache-dir", m_Cache.string()}, "file\n");
    EXPECT_FALSE(std::filesystem::exists(m_Home / ".cache"));
    Expect_Output({"--cache-dir", "/nowhere", "--cache-dir", m_Cache.string(), "get", "file"}, "file\n");
}

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
