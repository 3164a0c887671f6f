// The command-line tool on a live file server: the shared library finds its agent, and its output is
// the path of the copy and nothing else.

#include "tests/live/share/Share_Fixture.h"

#include <cstdio>

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;

class Share_Tool : public Share_Fixture {
protected:
    Share_Tool() { fs::create_directory(home / "cache"); }

    /// What the tool writes to its standard output for a command with a request.
    std::string Output(const std::string& tool_command, const std::string& request) const {
        const std::string command = std::string("'" QEL_TOOL "' --cache-dir '") + (home / "cache").string() + "' " +
                                    tool_command + " '" + request + "' 2> '" + (home / "errors").string() + "'";
        FILE* const tool = ::popen(command.c_str(), "r");
        std::string output;
        for (int letter = std::fgetc(tool); letter != EOF; letter = std::fgetc(tool)) {
            output += static_cast<char>(letter);
        }
        EXPECT_EQ(::pclose(tool), 0) << Content_Of(home / "errors");
        EXPECT_TRUE(output.ends_with('\n'));
        return output;
    }

    /// The path that the tool prints for a request.
    std::string Get(const std::string& request) const {
        const std::string output = Output("get", request);
        return output.substr(0, output.size() - 1);
    }

    std::string Explain(const std::string& request) const { return Output("explain --check", request); }
};

TEST_F(Share_Tool, ExplainsWhatTheShareSays) {
    const std::string request = Samba_Server::Path("landscape.xml");
    const auto published = Publish("landscape.xml", "content");
    EXPECT_THAT(Explain(request), testing::EndsWith("=> The request would be served from a new copy.\n"));
    const std::string copy = Get(request);
    EXPECT_THAT(Explain(request), testing::EndsWith("the time of change is the same.\n"));
    Set_Modification_Time(published, 133497123451234567);
    EXPECT_THAT(Explain(request), testing::EndsWith("because the share has another version.\n"));
    fs::remove(published);
    const std::string gone = Explain(request);
    EXPECT_THAT(gone, testing::HasSubstr("Error 2: the file cannot be found"));
    EXPECT_THAT(gone, testing::HasSubstr("the check failed: the file cannot be found (error 2); when that"
                                         " fails as well, the copy"));
    EXPECT_EQ(Content_Of(copy), "content");
    EXPECT_EQ(Get(request), copy);
}

} // namespace

} // namespace QEL::Tests
