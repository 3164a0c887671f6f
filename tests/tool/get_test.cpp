#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <nlohmann/json.hpp>

namespace QEL::Tests {
namespace {

using namespace ::testing;
using Json = nlohmann::ordered_json;

constexpr const char* monday = "Mon, 01 Jan 2024 12:00:00 GMT";
constexpr const char* tuesday = "Tue, 02 Jan 2024 12:00:00 GMT";

class Get : public Tool_Test {
protected:
    Get() { m_Server.Publish("/landscape.xml", "<landscape/>", monday); }

    /// The path in a successful answer to one request.
    static std::string Path_In(const Tool_Result& result) {
        EXPECT_EQ(result.exit_status, 0) << result.err;
        EXPECT_THAT(result.out, ::testing::EndsWith("\n"));
        return result.out.substr(0, result.out.find('\n'));
    }

    Web_Server m_Server;
    const std::string m_Url = m_Server.Url("/landscape.xml");
};

TEST_F(Get, AnswersALocalPathAsItStands) {
    Write_File(m_Folder / "local.xml", "");
    const Tool_Result result = Run_On_Cache({"get", "./local.xml"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "./local.xml\n");
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Get, PrintsThePathOfTheCopyAndNothingElse) {
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    const std::filesystem::path path = Path_In(result);
    EXPECT_EQ(result.out, path.string() + "\n");
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_EQ(path.parent_path(), m_Cache);
    EXPECT_EQ(Content_Of(path), "<landscape/>");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /landscape.xml"));
}

TEST_F(Get, ServesAFreshCopyWithoutARequest) {
    const std::string first = Path_In(Run_On_Cache({"get", m_Url}));
    EXPECT_EQ(Path_In(Run_On_Cache({"get", m_Url})), first);
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /landscape.xml"));
}

TEST_F(Get, ReplacesACopyThatChangedOnTheServer) {
    const std::string first = Path_In(Run_On_Cache({"get", m_Url}));
    Set_Expiry_Period(0);
    m_Server.Publish("/landscape.xml", "<landscape revision='2'/>", tuesday);
    const std::string second = Path_In(Run_On_Cache({"get", m_Url}));
    EXPECT_EQ(Content_Of(second), "<landscape revision='2'/>");
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /landscape.xml", "HEAD /landscape.xml", "GET /landscape.xml"));
}

TEST_F(Get, PrintsOneLineForEachRequestInTheirOrder) {
    Write_File(m_Folder / "local.xml", "");
    const Tool_Result result = Run_On_Cache({"get", "missing.xml", "local.xml", m_Server.Url("/missing"), "local.xml"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.out, "\nlocal.xml\n\nlocal.xml\n");
    EXPECT_EQ(
        result.err,
        "qelfilecache: 'missing.xml': there is no such local file\n"
        "  Next: check the path.\n"
        "qelfilecache: '" +
            m_Server.Url("/missing") +
            "': the download failed: the server responded with an error status, or the copy could not be written\n"
            "  Next: ask 'qelfilecache explain --check REQUEST', which shows the server's status or the error's "
            "number; if that finds no fault, see every step with --trace-level 4 --trace-dir DIR.\n");
}

TEST_F(Get, ServesTheLastCopyWithANoticeWhileTheServerIsDown) {
    const std::string first = Path_In(Run_On_Cache({"get", m_Url}));
    Set_Expiry_Period(0);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    EXPECT_EQ(Path_In(result), first);
    EXPECT_THAT(result.err, AllOf(StartsWith("qelfilecache: notice: '" + m_Url + "': "),
                                  HasSubstr("Connection refused; this is the copy of an earlier download\n  Next: "),
                                  HasSubstr("Check that the server runs")));
}

TEST_F(Get, SaysWhyAServerCannotBeReached) {
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.out, "\n");
    EXPECT_THAT(result.err, StartsWith("qelfilecache: '" + m_Url + "': "));
    EXPECT_THAT(result.err, HasSubstr("Connection refused\n  Next: "));
}

TEST_F(Get, DoesNotTakeTheErrorOfAnotherRequestForItsOwn) {
    Web_Server stopped;
    stopped.Stop();
    const Tool_Result result = Run_On_Cache({"get", stopped.Url("/first"), m_Server.Url("/missing")});
    EXPECT_THAT(result.err, HasSubstr("'" + stopped.Url("/first") + "': "));
    EXPECT_THAT(result.err, HasSubstr("'" + m_Server.Url("/missing") + "': the download failed"));
}

TEST_F(Get, RefusesControlCharactersAndShowsThemVisibly) {
    for (const std::string& request : {m_Url + "\n/x", m_Url + "\r", std::string("\x1b[31mred\n"), m_Url + "\t"}) {
        const Tool_Result result = Run_On_Cache({"get", request});
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_EQ(result.out, "\n");
        EXPECT_THAT(result.err, HasSubstr("': the request holds a control character that is never served\n"));
        EXPECT_EQ(result.err.find_first_of("\r\t\x1b"), std::string::npos);
        EXPECT_THAT(result.err, HasSubstr("\\x"));
    }
    EXPECT_FALSE(std::filesystem::exists(Metadata_File()));
}

TEST_F(Get, RefusesMalformedAddresses) {
    for (const std::string request : {"http:", "http://", "https://:80/x", "http://127.0.0.1:99999/x",
                                      "http://127.0.0.1:port/x", "http://[::1", "https:/server/x"}) {
        const Tool_Result result = Run_On_Cache({"get", request});
        EXPECT_EQ(result.exit_status, 1) << request;
        EXPECT_EQ(result.out, "\n") << request;
        EXPECT_THAT(result.err, StartsWith("qelfilecache: '" + request + "': the address ")) << request;
    }
}

TEST_F(Get, JsonHoldsEverythingAboutEachRequest) {
    Write_File(m_Folder / "local.xml", "");
    const std::string missing = m_Server.Url("/missing");
    const Tool_Result result = Run_On_Cache({"get", "--json", "local.xml", m_Url, missing});
    EXPECT_EQ(result.exit_status, 1);
    const Json answers = Json::parse(result.out);
    const std::string path = answers.at(1).at("path");
    EXPECT_EQ(Content_Of(path), "<landscape/>");
    EXPECT_EQ(answers, Json::parse(R"([
        {"request": "local.xml", "path": "local.xml", "download_error": false, "http_error": null,
         "file_share_error": null, "additional_error_info": ""},
        {"request": ")" + m_Url + R"(", "path": ")" +
                                   path + R"(", "download_error": false, "http_error": 0,
         "file_share_error": null, "additional_error_info": ""},
        {"request": ")" + missing + R"(", "path": "", "download_error": true, "http_error": 2,
         "file_share_error": null, "additional_error_info": ""}])"));
}

TEST_F(Get, JsonHoldsTheTransportErrorAndTheLastGoodCopy) {
    const std::string path = Path_In(Run_On_Cache({"get", m_Url}));
    Set_Expiry_Period(0);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", "--json", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    const Json answer = Json::parse(result.out).at(0);
    EXPECT_EQ(answer.at("path"), path);
    EXPECT_EQ(answer.at("download_error"), true);
    EXPECT_EQ(answer.at("http_error"), 2);
    EXPECT_THAT(answer.at("additional_error_info").get<std::string>(),
                StartsWith("=======================================\nFile: " + m_Url + "\nDescription: "));
}

TEST_F(Get, JsonStaysValidForAnyRequest) {
    const Tool_Result result = Run_On_Cache({"get", "--json", "\"quoted\"", "not \xFF UTF-8", ""});
    EXPECT_EQ(result.exit_status, 1);
    const Json answers = Json::parse(result.out);
    EXPECT_EQ(answers.at(0).at("request"), "\"quoted\"");
    EXPECT_EQ(answers.at(1).at("request"), "not \xEF\xBF\xBD UTF-8");
    EXPECT_EQ(answers.at(2).at("request"), "");
}

TEST_F(Get, FailsWhenItsResultsCannotBeWritten) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "get", m_Url});
    run.standard_output_path = "/dev/full";
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, "qelfilecache: cannot write the results: No space left on device\n");
}

TEST_F(Get, EndsQuietlyWhenTheReaderOfItsResultsHasGone) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "get", m_Url});
    run.standard_output_without_reader = true;
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 141);
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Get, KeepsItsFilesApartFromAClosedStandardOutput) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "get", m_Url});
    run.standard_output_closed = true;
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, "qelfilecache: cannot write the results: Bad file descriptor\n");
    EXPECT_THAT(Content_Of(Metadata_File()), HasSubstr("entries\n1\n"));
    EXPECT_EQ(Content_Of(Path_In(Run_On_Cache({"get", m_Url}))), "<landscape/>");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /landscape.xml"));
}

TEST_F(Get, TracesIntoTheGivenDirectory) {
    std::filesystem::create_directory(m_Folder / "traces");
    // Relative to the working directory of the run, which is m_Folder.
    const Tool_Result result = Run_On_Cache({"--trace-level", "4", "--trace-dir", "traces", "get", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, IsEmpty());
    const auto traces = Names_In(m_Folder / "traces");
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_THAT(*traces.begin(), ::testing::MatchesRegex("qelfilecache_[0-9]+\\.trc"));
    const std::string trace = Content_Of(m_Folder / "traces" / *traces.begin());
    EXPECT_THAT(trace, HasSubstr("Creating s_instance..."));
    EXPECT_THAT(trace, HasSubstr("HTTP status = 200."));
}

TEST_F(Get, TracesNothingWithoutALevel) {
    const Tool_Result result = Run_On_Cache({"--trace-dir", m_Folder.string(), "get", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "qelfilecache: note: --trace-dir has no effect without --trace-level 1 to 5\n");
    EXPECT_EQ(Names_In(m_Folder), (std::set<std::string>{"cache", "config", "home"}));
}

TEST_F(Get, RefusesATraceDirectoryThatCannotBeUsed) {
    const Tool_Result result = Run_On_Cache({"--trace-level", "4", "--trace-dir", "/nowhere", "get", m_Url});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_EQ(result.err, "qelfilecache: --trace-dir '/nowhere' does not exist; create it or name another one\n");
    EXPECT_THAT(m_Server.Requests(), IsEmpty());
}

TEST_F(Get, RefusesATraceDirectoryThatIsTooLongForTheCache) {
    const auto long_directory = m_Folder / std::string(200, 'a') / std::string(200, 'b');
    std::filesystem::create_directories(long_directory);
    const Tool_Result result =
        Run_On_Cache({"--trace-level", "4", "--trace-dir", long_directory.string(), "get", m_Url});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, ::testing::EndsWith("' is longer than 259 characters\n"));
}

} // namespace
} // namespace QEL::Tests
