#include "tests/tool/support/Tool_Fixture.h"

#include <nlohmann/json.hpp>

namespace QEL::Tests {
namespace {

using namespace ::testing;

class Command_Line : public Tool_Test {
protected:
    /// Wrong usage: status 2, the message on standard error, nothing on standard output.
    void Expect_Wrong_Usage(const std::vector<std::string>& arguments, const std::string& message) const {
        const Tool_Result result = Run(arguments);
        EXPECT_EQ(result.exit_status, 2);
        EXPECT_THAT(result.out, IsEmpty());
        EXPECT_THAT(result.err, StartsWith("qelfilecache: " + message + "\n"));
    }
};

TEST_F(Command_Line, PrintsItsVersion) {
    const Tool_Result result = Run({"--version"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "qelfilecache " QEL_VERSION "\n");
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Command_Line, HelpNamesOptionsCommandsAndExitStatus) {
    const Tool_Result result = Run({"--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("--cache-dir DIR"), HasSubstr("--trace-level 0..5"), HasSubstr("--trace-dir DIR"),
                      HasSubstr("--version"), HasSubstr("\n  get "), HasSubstr("\n  list "), HasSubstr("\n  explain "),
                      HasSubstr("\n  prefetch "), HasSubstr("\n  clear "), HasSubstr("\n  purge "),
                      HasSubstr("Exit status: 0 every request was served, 1 some were not,\n"
                                "2 wrong usage, or a file or directory that cannot be used,\n"
                                "141 the reader of the results went away.\n")));
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Command_Line, HelpOfEachCommandShowsAnExample) {
    for (const std::string command : {"get", "list", "explain", "prefetch", "trace", "clear", "purge"}) {
        const Tool_Result result = Run({command, "--help"});
        EXPECT_EQ(result.exit_status, 0) << command;
        EXPECT_THAT(result.out, AllOf(HasSubstr("Usage: qelfilecache " + command), HasSubstr("Example"),
                                      HasSubstr("\n  qelfilecache "), HasSubstr("options of all commands")));
    }
}

TEST_F(Command_Line, AsksForACommand) {
    Expect_Wrong_Usage({}, "a command is missing; the commands are get, list, explain, prefetch, trace, clear, purge\n"
                           "  Run with --help for the options and examples.");
}

TEST_F(Command_Line, RefusesAnUnknownCommand) {
    Expect_Wrong_Usage({"fetch", "x"},
                       "unknown command 'fetch'; the commands are get, list, explain, prefetch, trace, clear, purge");
}

TEST_F(Command_Line, RefusesAnUnknownOptionBeforeAndBehindTheCommand) {
    const std::string message = "unknown option '--bogus'; put \"--\" before a request that begins with \"-\"";
    Expect_Wrong_Usage({"--bogus", "get", "x"}, message);
    Expect_Wrong_Usage({"get", "--bogus", "x"}, message);
}

TEST_F(Command_Line, SaysWhereAnOptionOfACommandBelongs) {
    Expect_Wrong_Usage({"--json", "get", "x"}, "option '--json' belongs behind its command, 'get'");
}

TEST_F(Command_Line, RefusesARequestThatBeginsWithADash) {
    Expect_Wrong_Usage({"get", "-x"}, "unknown option '-x'; put \"--\" before a request that begins with \"-\"");
}

TEST_F(Command_Line, TakesEveryWordBehindTwoDashesForARequest) {
    Write_File(m_Folder / "-x", "");
    Write_File(m_Folder / "--json", "");
    const Tool_Result result = Run({"get", "--", "-x", "--json"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "-x\n--json\n");
}

TEST_F(Command_Line, TakesAWordInSquareBracketsAsItStands) {
    const std::vector<std::string> words = {"[a,b]", "[]", "[::1]", "[a", "{}", "%%", "", "[\"c\", 'd']", "[a,b]"};
    std::vector<std::string> arguments = {"get", "--json"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const auto answers = nlohmann::json::parse(Run(arguments).out);
    std::vector<std::string> requests;
    for (const auto& answer : answers) {
        requests.push_back(answer.at("request"));
    }
    EXPECT_EQ(requests, words);
    Write_File(m_Folder / "[a,b]", "");
    EXPECT_EQ(Run({"get", "[a,b]"}).out, "[a,b]\n");
    EXPECT_THAT(Run({"get", "http://[::1]:1/x"}).err, StartsWith("qelfilecache: 'http://[::1]:1/x': "));
    EXPECT_THAT(Run({"trace", "[a,b]", "[]"}).err, AllOf(HasSubstr("'[a,b]': "), HasSubstr("'[]': ")));
}

TEST_F(Command_Line, TakesTheNameOfACommandForARequestBehindGet) {
    Write_File(m_Folder / "get", "");
    Write_File(m_Folder / "clear", "");
    const Tool_Result result = Run({"get", "get", "clear"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "get\nclear\n");
}

TEST_F(Command_Line, TakesAWordWithASlashForARequest) {
    const Tool_Result result = Run({"get", (m_Folder / "missing").string()});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.out, "\n");
}

TEST_F(Command_Line, TakesOptionsOfTheToolBehindTheCommandToo) {
    Write_File(m_Folder / "file", "");
    const Tool_Result result = Run({"get", "file", "--cache-dir", m_Cache.string()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "file\n");
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "home" / ".cache"));
}

TEST_F(Command_Line, LetsTheLastOfARepeatedOptionCount) {
    const Tool_Result result = Run({"--cache-dir", "/nowhere", "--cache-dir", m_Cache.string(), "clear"});
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(Command_Line, AsksForARequest) {
    Expect_Wrong_Usage({"get"}, "REQUEST is required");
    Expect_Wrong_Usage({"get", "--json"}, "REQUEST is required");
}

TEST_F(Command_Line, RefusesAWordBehindACommandThatTakesNone) {
    Expect_Wrong_Usage({"clear", "x"}, "'x' is one word too many: 'clear' takes nothing but options");
    Expect_Wrong_Usage({"list", "x"}, "'x' is one word too many: 'list' takes nothing but options");
    Expect_Wrong_Usage({"prefetch", "a", "b"}, "'b' is one word too many: 'prefetch' takes one FILE");
}

TEST_F(Command_Line, AdvisesDashesOnlyWhereRequestsAreTaken) {
    Expect_Wrong_Usage({"list", "--bogus"},
                       "unknown option '--bogus'; 'qelfilecache list --help' names those that there are");
}

TEST_F(Command_Line, LeadsToTheOptionsOfTheToolWhereNoCommandIsGiven) {
    Expect_Wrong_Usage({"--versio"}, "unknown option '--versio'; 'qelfilecache --help' names those that there are");
}

TEST_F(Command_Line, AsksForTheValueOfAnOption) {
    Expect_Wrong_Usage({"list", "--cache-dir"}, "option '--cache-dir' needs a value, DIR");
    Expect_Wrong_Usage({"get", "x", "--request-kind"}, "option '--request-kind' needs a value, N");
}

TEST_F(Command_Line, AsksBackWhenAWordIsNearlyACommand) {
    Expect_Wrong_Usage({"lst"}, "unknown command 'lst'; did you mean 'list'? the commands are get, list, explain, "
                                "prefetch, trace, clear, purge");
}

TEST_F(Command_Line, TakesHelpForACommandToo) {
    EXPECT_EQ(Run({"help"}).out, Run({"--help"}).out);
    EXPECT_EQ(Run({"help", "get"}).out, Run({"get", "--help"}).out);
    EXPECT_EQ(Run({"help", "get"}).exit_status, 0);
    Expect_Wrong_Usage({"help", "bogus"},
                       "unknown command 'bogus'; the commands are get, list, explain, prefetch, trace, "
                       "clear, purge");
}

TEST_F(Command_Line, RefusesATraceLevelOutOfRange) {
    for (const std::string level : {"6", "-1", "x", "", "3x", "99999999999"}) {
        Expect_Wrong_Usage({"--trace-level=" + level + (level.empty() ? " " : ""), "get", "x"},
                           "--trace-level: needs a number from 0 to 5, not '" + (level.empty() ? " " : level) + "'");
    }
}

TEST_F(Command_Line, RefusesARequestKindThatIsNoNumber) {
    Expect_Wrong_Usage({"get", "--request-kind", "many", "x"}, "--request-kind: needs a whole number, not 'many'");
}

TEST_F(Command_Line, TakesANegativeRequestKind) {
    Write_File(m_Folder / "file", "");
    const Tool_Result result = Run({"get", "--request-kind=-3", "file"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "file\n");
}

TEST_F(Command_Line, FailsWhenItsOutputCannotBeWritten) {
    for (const std::string argument : {"--help", "--version"}) {
        Tool_Run run = A_Run({argument});
        run.standard_output_path = "/dev/full";
        const Tool_Result result = Run_Tool(run);
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_EQ(result.err, "qelfilecache: cannot write the results: No space left on device\n");
    }
}

} // namespace
} // namespace QEL::Tests
