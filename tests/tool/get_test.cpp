#include "tests/tool/support/Tool_Fixture.h"

using namespace QEL::Tests;

namespace {

using namespace ::testing;
using Json = nlohmann::ordered_json;

using Get = Tool_Test;

TEST_F(Get, PrintsThePathOfTheCopyAndNothingElse) {
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    const std::filesystem::path path = result.out.substr(0, result.out.find('\n'));
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, (m_Cache / path.filename()).string() + "\n");
    EXPECT_EQ(Content_Of(path), "<a/>");
    EXPECT_EQ(Get_Copy(m_Url), path) << "a copy that has not expired needs no request";
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml"));
}

TEST_F(Get, PrintsOneLineForEachRequestInTheirOrderAndTheErrorOfEach) {
    Write_File(m_Folder / "local.xml", "");
    const std::string missing = m_Server.Url("/missing");
    Web_Server stopped;
    stopped.Stop();
    const Tool_Result result =
        Run_On_Cache({"get", "missing.xml", "local.xml", stopped.Url("/first"), missing, "./local.xml"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.out, "\nlocal.xml\n\n\n./local.xml\n");
    EXPECT_THAT(
        result.err,
        AllOf(StartsWith("qelfilecache: 'missing.xml': there is no such local file\n  Next: check the path.\n"
                         "qelfilecache: '" +
                         stopped.Url("/first") + "': "),
              HasSubstr("Connection refused (error 12029)\n  Next: "),
              EndsWith("\nqelfilecache: '" + missing +
                       "': the server responds with status 404 (not found)\n  Next: check the address, letter case "
                       "too, and whether the file is published.\n")));
}

TEST_F(Get, ServesTheLastGoodCopyWithANoticeWhileTheServerIsDown) {
    const std::string copy = Get_Copy(m_Url);
    Set_Expiry_Period(0);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, copy + "\n");
    EXPECT_THAT(result.err, AllOf(StartsWith("qelfilecache: notice: '" + m_Url + "': "),
                                  HasSubstr("Connection refused (error 12029); this is the last good copy\n  Next: "),
                                  HasSubstr("check that it runs")));

    const Tool_Result as_json = Run_On_Cache({"get", "--json", m_Url});
    EXPECT_EQ(as_json.exit_status, 0);
    const Json request = Json::parse(as_json.out).at(0);
    EXPECT_EQ(request.at("path"), copy);
    EXPECT_EQ(request.at("download_error"), true);
    EXPECT_EQ(request.at("http_error"), 2);
    EXPECT_EQ(request.at("http_status"), nullptr);
    EXPECT_EQ(request.at("system_error"), 12029);
    EXPECT_THAT(request.at("additional_error_info").get<std::string>(),
                StartsWith("=======================================\nFile: " + m_Url + "\nDescription: "));
}

TEST_F(Get, SaysOnATerminalWhomItWaitsFor) {
    Web_Server slow([](Server_Connection& connection) {
        while (!connection.Read_Request().empty()) {
            connection.Pause(std::chrono::milliseconds(1500));
            connection.Send(Web_Server::Empty_Response);
        }
    });
    const std::string note =
        "qelfilecache: waiting for '" + slow.Url("", "127.0.0.1") + "' or a server that it redirects to ...";
    for (const Words& arguments :
         {Words{"get", slow.Url("/x", "127.0.0.1")}, {"explain", "--check", slow.Url("/x", "127.0.0.1")}}) {
        EXPECT_THAT(Run_On_Cache(arguments).err, Not(HasSubstr("waiting")));
        Set_Expiry_Period(0);
        EXPECT_THAT(Run_On_Terminal(200, arguments).out, HasSubstr(note));
    }
    const std::string proxy = "127.0.0.1:" + std::to_string(slow.Port());
    EXPECT_THAT(Run_On_Terminal(200, {"get", "http://behind.test/x"}, {{"http_proxy", proxy}}).out,
                HasSubstr("waiting for 'http://behind.test' or a server that it redirects to, through the proxy " +
                          proxy + " (http_proxy) ..."));
    EXPECT_THAT(Run_On_Terminal(200, {"get", m_Url}).out, Not(HasSubstr("waiting")));
}

TEST_F(Get, SaysOnATerminalForWhichRunItWaits) {
    Web_Server slow([](Server_Connection& connection) {
        connection.Read_Request();
        connection.Pause(std::chrono::seconds(3));
        connection.Send(Web_Server::Empty_Response);
    });
    std::thread other([&] { Run_On_Cache({"get", slow.Url("/x", "127.0.0.1")}); });
    while (slow.Connections() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_THAT(Run_On_Terminal(0, {"get", m_Url}).out,
                ContainsRegex("waiting for process [0-9]+ \\(qelfilecache\\), which uses the directory \\.\\.\\."));
    other.join();
}

TEST_F(Get, ReadsAServersNameByTheLocale) {
    for (const auto& [locale, message] : {std::pair{"C.UTF-8", "responds with status 404"},
                                          {"C", "did you mean 'http://xn--mnchen-3ya.example/b.xml'?"}}) {
        const auto run = [&, locale = locale](const char* command) {
            return Run_On_Cache({command, "http://m\xC3\xBCnchen.example/b.xml"},
                                {{"http_proxy", "127.0.0.1:" + std::to_string(m_Server.Port())}, {"LC_ALL", locale}});
        };
        EXPECT_THAT(run("get").err, HasSubstr(message));
        const Tool_Result explained = run("explain");
        EXPECT_EQ(explained.exit_status, std::string("C") == locale ? 1 : 0);
        EXPECT_THAT(explained.out, HasSubstr(" 'http://xn--mnchen-3ya.example/b.xml'"));
    }
}

TEST_F(Get, RefusesControlCharactersAndShowsThemVisibly) {
    for (const std::string& request : {m_Url + "\n/x", m_Url + "\r", std::string("\x1b[31mred\n"), m_Url + "\t"}) {
        const Tool_Result result = Run_On_Cache({"get", request});
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_EQ(result.out, "\n");
        EXPECT_THAT(result.err, AllOf(HasSubstr("': the request contains a control character\n"), HasSubstr("\\x")));
        EXPECT_EQ(result.err.find_first_of("\r\t\x1b"), std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(Metadata_File()));
}

TEST_F(Get, JsonHoldsEverythingAboutEachRequest) {
    const std::string missing = m_Server.Url("/missing");
    const Tool_Result result = Run_On_Cache({"get", "--json", m_Url, missing, "not \xFF UTF-8"});
    EXPECT_EQ(result.exit_status, 1);
    const Json requests = Json::parse(result.out);
    const std::string path = requests.at(0).at("path");
    const auto expected = [](const std::string& request, const std::string& copy, const Json& http_error,
                             const Json& status) {
        return Json{{"request", request},
                    {"path", copy},
                    {"download_error", http_error == 2},
                    {"http_error", http_error},
                    {"file_share_error", nullptr},
                    {"http_status", status},
                    {"system_error", nullptr},
                    {"additional_error_info", ""},
                    {"schema", 1}};
    };
    EXPECT_EQ(requests, (Json{expected(m_Url, path, 0, 200), expected(missing, "", 2, 404),
                              expected("not \xEF\xBF\xBD UTF-8", "", nullptr, nullptr)}));
}

TEST_F(Get, FailsWhenItsResultsCannotBeWrittenAndKeepsItsFilesApart) {
    ASSERT_EQ(::mkfifo((m_Folder / "pipe").c_str(), 0600), 0);
    const auto redirected = [this](const Words& arguments, const std::string& redirections) {
        Tool_Run run = A_Run_On_Cache(arguments);
        run.redirections = redirections;
        return Run_Tool(run);
    };
    for (const Words& arguments : {Words{"get", m_Url}, {"--help"}, {"--version"}}) {
        Expect_Message(redirected(arguments, ">/dev/full"), 1, "cannot write the results: No space left on device");
    }
    // Without a reader.
    Expect_Message(redirected({"get", m_Url}, "3<>pipe >pipe 3<&-"), 141, "");
    Run_On_Cache({"clear"});

    Expect_Message(redirected({"get", m_Url}, ">&-"), 1, "cannot write the results: Bad file descriptor");
    EXPECT_THAT(Content_Of(Metadata_File()), HasSubstr("entries\n1\n"));
    EXPECT_EQ(Content_Of(Get_Copy(m_Url)), "<a/>");
    EXPECT_THAT(m_Server.Requests(), ElementsAre("GET /a.xml", "GET /a.xml"));
}

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
