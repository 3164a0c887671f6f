#include "tests/support/Certificates.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace ::testing;

constexpr const char* first_stamp = "Mon, 01 Jan 2024 12:00:00 GMT";
constexpr const char* second_stamp = "Tue, 02 Jan 2024 12:00:00 GMT";

/// The last line of an explanation without its arrow.
std::string Verdict(const Tool_Result& result) {
    const auto start = result.out.rfind("\n  => The request ");
    return start == std::string::npos ? "no verdict in: " + result.out + result.err
                                      : result.out.substr(start + std::string("\n  => The request ").size());
}

class Explain : public Tool_Test {
protected:
    Explain() { m_Server.Publish("/a.xml", "<a/>", first_stamp); }

    void Fetch() {
        const Tool_Result result = Run_On_Cache({"get", m_Url});
        ASSERT_EQ(result.exit_status, 0) << result.err;
        m_Copy = result.out.substr(0, result.out.size() - 1);
    }

    void Configure(const std::string& lines) const {
        Write_File(m_Configuration, "[Software\\QEL\\QELLogon\\Options]\n" + lines);
    }

    Web_Server m_Server;
    const std::string m_Url = m_Server.Url("/a.xml");
    const fs::path m_Configuration = m_Folder / "config" / "qel" / "qel.ini";
    std::string m_Copy;
};

TEST_F(Explain, SaysWhyAnOldFileIsShownWhileTheServerIsDown) {
    Fetch();
    Set_Expiry_Period(0);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"explain", "--check", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_THAT(result.out, AllOf(StartsWith(m_Url + "\n  1. It is a web address"), HasSubstr("'" + m_Copy + "', 4 B"),
                                  HasSubstr("last changed at '" + std::string(first_stamp) + "'"),
                                  HasSubstr("Error 12029: the server cannot be connected to; check that it runs")));
    EXPECT_THAT(
        Verdict(result),
        ContainsRegex("^would make the cache try a download next, as the check failed: the server cannot be "
                      "connected to \\(error 12029\\); when that fails as well, the copy that was last known to "
                      "be current at 20[0-9-]+ [0-9:]+ is served\\.\n$"));
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).out, m_Copy + "\n");
}

TEST_F(Explain, SaysThatAFreshCopyHidesAChange) {
    Fetch();
    m_Server.Publish("/a.xml", "<new/>", second_stamp);
    Tool_Result result = Run_On_Cache({"explain", m_Url});
    EXPECT_THAT(result.out, HasSubstr("A copy counts as fresh for 60 minutes (LandscapeCacheExpiryPeriod in " +
                                      m_Configuration.string() + ")."));
    EXPECT_THAT(
        Verdict(result),
        ContainsRegex("^would be served from the copy without asking the server until 20[0-9-]+ [0-9:]+\\.\n$"));
    result = Run_On_Cache({"explain", "--check", m_Url});
    EXPECT_THAT(result.out, HasSubstr("'" + std::string(second_stamp) + "', the copy's version is another one"));
    EXPECT_THAT(Verdict(result), HasSubstr("; the copy is out of date until then."));
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).out, m_Copy + "\n");
}

TEST_F(Explain, SaysThatTheServerWouldBeAsked) {
    Fetch();
    Set_Expiry_Period(0);
    EXPECT_THAT(Verdict(Run_On_Cache({"explain", m_Url})),
                ContainsRegex("^would make the cache ask the server; when neither that nor a download succeeds, the "
                              "copy that was last known to be current at 20[0-9-]+ [0-9:]+ is served\\.\n$"));
    EXPECT_EQ(Verdict(Run_On_Cache({"explain", "--check", m_Url})),
              "would be served from the copy, because the server has the same version.\n");
    m_Server.Publish("/a.xml", "<new/>", second_stamp);
    EXPECT_EQ(Verdict(Run_On_Cache({"explain", "--check", m_Url})),
              "would be served from a new copy, because the server has another version.\n");
    EXPECT_NE(Run_On_Cache({"get", m_Url}).out, m_Copy + "\n");
}

TEST_F(Explain, ShowsThatARequestIsNotCachedYet) {
    EXPECT_EQ(Verdict(Run_On_Cache({"explain", m_Url})),
              "would be served from a new copy, if the server hands the file out; otherwise not at all.\n");
    Tool_Result result = Run_On_Cache({"explain", "--check", m_Url});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(Verdict(result), "would be served from a new copy.\n");
    result = Run_On_Cache({"explain", "--check", m_Server.Url("/missing.xml")});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.out, HasSubstr("status 404: not found."));
    EXPECT_EQ(Verdict(result), "would not be served: there is no copy, and the server responds with status 404, "
                               "unless a download succeeds all the same.\n");
}

TEST_F(Explain, AgreesWithGetOnBlanksAndLettersBeyondAscii) {
    for (const char* const name : {"/a b.xml", "/\xC3\xA4.xml"}) {
        const std::string url = m_Server.Url(name);
        const json foretold = json::parse(Run_On_Cache({"explain", "--json", "--check", url}).out);
        EXPECT_EQ(foretold[0]["remote"]["status"], 404);
        EXPECT_EQ(foretold[0]["expected"], "failed");
        EXPECT_THAT(Run_On_Cache({"get", url}).err, HasSubstr("the server responded with an error status"));
    }
}

TEST_F(Explain, SaysThatTheCopyIsGone) {
    Fetch();
    fs::remove(m_Copy);
    const Tool_Result result = Run_On_Cache({"explain", m_Url});
    EXPECT_THAT(result.out, HasSubstr("The cache has an entry for it, but its copy '" + m_Copy + "' is gone"));
    EXPECT_THAT(Verdict(result), StartsWith("would be served from a new copy, if the server"));
}

TEST_F(Explain, AsksNobodyWithoutCheck) {
    Fetch();
    Set_Expiry_Period(0);
    Run_On_Cache({"explain", m_Url});
    EXPECT_EQ(m_Server.Requests(), (std::vector<std::string>{"GET /a.xml"}));
    Run_On_Cache({"explain", "--check", m_Url});
    EXPECT_EQ(m_Server.Requests(), (std::vector<std::string>{"GET /a.xml", "HEAD /a.xml"}));
}

TEST_F(Explain, ChangesNothing) {
    Fetch();
    Set_Expiry_Period(0);
    Write_File(m_Cache / "01234567-89ab-cdef-0123-456789abcdef.xml", "");
    const auto before = Everything_In_Cache();
    for (const std::string stamp : {first_stamp, second_stamp}) {
        m_Server.Publish("/a.xml", "<a/>", stamp);
        Run_On_Cache({"explain", "--check", m_Url, m_Server.Url("/other.xml")});
        EXPECT_EQ(Everything_In_Cache(), before);
    }
    m_Server.Stop();
    Run_On_Cache({"explain", "--check", m_Url});
    EXPECT_EQ(Everything_In_Cache(), before);
    EXPECT_EQ(Run({"explain", m_Url}).exit_status, 0);
    EXPECT_FALSE(fs::exists(m_Folder / "home" / ".cache"));
}

TEST_F(Explain, SaysWhereTheExpiryPeriodComesFrom) {
    Fetch();
    const auto period = [this](const std::string& configuration) {
        Configure(configuration);
        const std::string out = Run_On_Cache({"explain", m_Url}).out;
        const auto start = out.find("A copy counts as fresh for ");
        return out.substr(start, out.find(").", start) - start + 1);
    };
    EXPECT_EQ(period(""), "A copy counts as fresh for 0 minutes (LandscapeCacheExpiryPeriod is not configured)");
    EXPECT_EQ(period("LandscapeCacheExpiryPeriod = soon\n"),
              "A copy counts as fresh for 0 minutes (LandscapeCacheExpiryPeriod in " + m_Configuration.string() +
                  " holds 'soon', which is no such number)");
    EXPECT_EQ(period("LandscapeCacheExpiryPeriod = 0x10\n"),
              "A copy counts as fresh for 16 minutes (LandscapeCacheExpiryPeriod in " + m_Configuration.string() +
                  " holds '0x10')");
}

TEST_F(Explain, WarnsOfAConfigurationFileThatCannotBeUsed) {
    Write_File(m_Configuration, std::string("\0", 1));
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).err,
                HasSubstr("warning: a part of the configuration cannot be used and does not count: " +
                          m_Configuration.string() + ": not a text file\n  Next: "));
}

TEST_F(Explain, WarnsOfALineOfTheConfigurationThatIsPassedOver) {
    Write_File(m_Configuration, "[Software\\QEL\\QELLogon\\Options\nLandscapeCacheExpiryPeriod = 5\n");
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).err,
                HasSubstr(m_Configuration.string() + ": line 1: the section has no ']' at its end\n  Next: "));
}

TEST_F(Explain, SaysThatTheClockWasSetBack) {
    Fetch();
    std::string metadata = Content_Of(Metadata_File());
    const auto start = metadata.find(first_stamp) + std::string(first_stamp).size() + 1;
    Write_File(Metadata_File(), metadata.replace(start, 3, "200"));
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).out, HasSubstr("which lies in the future: the clock of this machine"));
}

TEST_F(Explain, OfLocalPathsAndRequestsThatCannotBeServed) {
    Write_File(m_Folder / "local.xml", "");
    const Tool_Result local = Run_On_Cache({"explain", "local.xml"});
    EXPECT_EQ(local.exit_status, 0);
    EXPECT_EQ(Verdict(local), "would return the path itself.\n");
    Write_File(m_Folder / "tab\t.xml", "");
    const Tool_Result with_tab = Run_On_Cache({"explain", "tab\t.xml"});
    EXPECT_EQ(with_tab.exit_status, Run_On_Cache({"get", "tab\t.xml"}).exit_status);
    EXPECT_EQ(Verdict(with_tab), "would return the path itself.\n");
    const std::pair<const char*, const char*> hopeless[] = {
        {"missing.xml", "there is no such local file"},
        {"HTTP://server/a", "'HTTP' is not a scheme that the cache serves; it took the request for a local path"},
        {"file:/x", "this form of file URL is not supported"},
        {"http:///x", "the address is not valid"},
        {"http://server/\n", "the request holds a control character that is never served"},
        {"http://server/\t", "the request holds a control character that is never served"},
        {"local\n.xml", "the request holds a control character that is never served"},
        {"missing\t.xml", "there is no such local file"},
        {"", "the request is empty"}};
    for (const auto& [request, cause] : hopeless) {
        const Tool_Result result = Run_On_Cache({"explain", "--", request});
        EXPECT_EQ(result.exit_status, 1) << request;
        EXPECT_THAT(result.out, HasSubstr(std::string("But ") + cause + ". Next: "));
        EXPECT_EQ(Verdict(result), std::string("would not be served: ") + cause + ".\n");
    }
}

TEST_F(Explain, SaysThatTheDirectoryCannotBeWritten) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "explain", m_Url});
    run.with_ordinary_rights = true;
    EXPECT_EQ(Run_Tool(run).exit_status, 0);
    fs::permissions(m_Cache, fs::perms::owner_read | fs::perms::owner_exec);
    Tool_Result result = Run_Tool(run);
    fs::permissions(m_Cache, fs::perms::owner_all);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(Verdict(result),
              "would not be served: the cache directory '" + m_Cache.string() + "' is not writable for this user.\n");

    run.arguments = {"explain", m_Url};
    EXPECT_EQ(Run_Tool(run).exit_status, 0);
    const fs::path home = m_Folder / "home";
    fs::create_directories(home);
    fs::permissions(home, fs::perms::owner_read | fs::perms::owner_exec);
    result = Run_Tool(run);
    fs::permissions(home, fs::perms::owner_all);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(Verdict(result), "would not be served: the default cache directory '" +
                                   (home / ".cache" / "qel" / "landscape").string() + "' cannot be created: '" +
                                   home.string() + "' is not writable for this user.\n");
}

TEST_F(Explain, ShowsTheNormalisedFormOfAShareUrl) {
    EXPECT_THAT(Run_On_Cache({"explain", "file://server/share/a.xml"}).out,
                AllOf(HasSubstr("It names a file on a share"),
                      HasSubstr("The cache knows it as '\\\\server\\share\\a.xml'."),
                      HasSubstr("would be served from a new copy, if the share hands the file out")));
}

TEST_F(Explain, AsJsonHoldsAllThatIsKnown) {
    Fetch();
    const Tool_Result result = Run_On_Cache({"explain", "--json", "--check", m_Url, "missing.xml"});
    EXPECT_EQ(result.exit_status, 1);
    const json answers = json::parse(result.out);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0]["expected"], "fresh");
    EXPECT_EQ(answers[1]["expected"], "failed");
    EXPECT_EQ(answers[0]["request"], m_Url);
    EXPECT_EQ(answers[0]["kind"], "web");
    EXPECT_EQ(answers[0]["entry"]["copy"], m_Copy);
    EXPECT_EQ(answers[0]["entry"]["fresh"], true);
    EXPECT_EQ(answers[0]["remote"]["status"], 200);
    EXPECT_EQ(answers[0]["remote"]["unchanged"], true);
    EXPECT_EQ(answers[0]["remote"]["error"], nullptr);
    EXPECT_EQ(answers[0]["certificate"]["mode"], 0);
    EXPECT_EQ(answers[0]["settings"][0]["name"], "LandscapeCacheExpiryPeriod");
    EXPECT_EQ(answers[0]["settings"][0]["source"], m_Configuration.string());
    EXPECT_EQ(answers[0]["served"], true);
    EXPECT_THAT(answers[0]["verdict"].get<std::string>(), StartsWith("would be served from the copy without asking"));
    EXPECT_EQ(answers[1]["kind"], "local");
    EXPECT_EQ(answers[1]["entry"], nullptr);
    EXPECT_EQ(answers[1]["served"], false);
}

TEST_F(Explain, WrapsItsStepsToTheTerminal) {
    Fetch();
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "explain", m_Url});
    run.environment["COLUMNS"] = "60";
    std::istringstream lines(Run_Tool(run).out);
    int wrapped = 0;
    for (std::string line; std::getline(lines, line);) {
        const bool is_whole = line.find('/') != std::string::npos;
        EXPECT_TRUE(is_whole || line.size() <= 60) << line;
        wrapped += line.starts_with("     ") ? 1 : 0;
    }
    EXPECT_GT(wrapped, 5);
}

/// What the program says of a request with --check, does with it then, and finds in the trace of that, for random
/// states: QEL_FORETOLD_STATES of them, from QEL_SEED on.
TEST_F(Explain, ForetellsWhatGetDoesAndTraceReports) {
    const auto number_in = [](const char* name, unsigned int otherwise) {
        const char* const text = std::getenv(name);
        return text != nullptr ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : otherwise;
    };
    const unsigned int first = number_in("QEL_SEED", std::random_device()());
    const unsigned int states = number_in("QEL_FORETOLD_STATES", 5);
    std::cout << "seed: QEL_SEED=" << first << '\n';
    for (unsigned int seed = first; seed != first + states && !HasFailure(); ++seed) {
        SCOPED_TRACE("QEL_SEED=" + std::to_string(seed));
        std::mt19937 random(seed);
        const auto one_of = [&random](const std::vector<std::string>& texts) { return texts[random() % texts.size()]; };
        for (const auto& file : fs::directory_iterator(m_Cache)) {
            fs::remove(file.path());
        }
        Web_Server server;
        server.Publish("/a.xml", "<a/>", first_stamp);
        const std::string url = server.Url("/a.xml");
        if (random() % 4 != 0) {
            m_Copy = Run_On_Cache({"get", url}).out;
            m_Copy.pop_back();
            if (random() % 4 == 0) {
                fs::remove(m_Copy);
            }
        }
        Set_Expiry_Period(random() % 4 == 0 ? 60 : 0);
        switch (random() % 4) {
        case 0:
            server.Stop();
            break;
        case 1:
            server.Publish("/a.xml", "<new/>", second_stamp);
            break;
        case 2:
            server.Respond_With(one_of({"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n",
                                        "HTTP/1.1 405 Method Not Allowed\r\nContent-Length: 0\r\n\r\n",
                                        "HTTP/1.1 302 Found\r\nLocation: " + m_Url + "\r\nContent-Length: 0\r\n\r\n",
                                        "HTTP/1.1 302 Found\r\nLocation: " + url + "\r\nContent-Length: 0\r\n\r\n",
                                        "no HTTP\r\n\r\n", Web_Server::Empty_Response}));
            break;
        default:
            break;
        }
        Write_File(m_Folder / "local.xml", "");
        const std::string request =
            random() % 4 != 0 ? url
                              : one_of({"local.xml", "missing.xml", "http:///x", "file:/x", "a\nb", url + "/b c"});

        const auto before = Everything_In_Cache();
        const json foretold = json::parse(Run_On_Cache({"explain", "--json", "--check", "--", request}).out)[0];
        EXPECT_EQ(Everything_In_Cache(), before);

        const fs::path traces = m_Folder / ("traces" + std::to_string(seed));
        fs::create_directories(traces);
        const Tool_Result got = Run({"--trace-level", "4", "--trace-dir", traces.string(), "--cache-dir",
                                     m_Cache.string(), "get", "--", request});
        const json calls =
            json::parse(Run({"trace", "--json", (traces / *Names_In(traces).begin()).string()}).out)["calls"];
        const std::string outcome = calls.back()["outcome"];
        EXPECT_EQ(calls.back()["operation"], "get");
        EXPECT_EQ(got.exit_status, outcome == "failed" ? 1 : 0);
        const std::string expected = foretold["expected"];
        if (expected == "depends") { // on the download alone, as the server refuses HEAD
            EXPECT_EQ(foretold["remote"]["status"], 405) << foretold;
        } else {
            EXPECT_EQ(outcome, expected) << foretold << calls.back();
        }
    }
}

/// A web server with a certificate of the test's own authority, which the tool trusts.
class Explain_Certificate : public Tool_Test {
protected:
    void Start(const Certificate_Options& options) {
        Nginx_Site site;
        site.tls = m_Authority.Issue("server", options);
        m_Server = std::make_unique<Nginx_Server>(std::vector{site});
        m_Server->Write("a.xml", "<a/>");
        m_Url = m_Server->Site().Url("/a.xml", "localhost");
    }

    Tool_Result Check(const std::string& mode) const {
        Write_File(m_Folder / "config" / "qel" / "qel.ini", "[Software\\QEL\\QELLogon\\Options]\n" + mode);
        Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "explain", "--check", m_Url});
        run.environment["SSL_CERT_FILE"] = m_Authority.File().string();
        return Run_Tool(run);
    }

    const Certificate_Authority m_Authority{m_Folder, "authority"};
    std::unique_ptr<Nginx_Server> m_Server;
    std::string m_Url;
};

TEST_F(Explain_Certificate, ThatIsValidIsReported) {
    Certificate_Options options;
    options.name = "localhost";
    Start(options);
    const Tool_Result result = Check("");
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, HasSubstr("status 200: success. Its certificate is valid."));
    EXPECT_THAT(result.out, HasSubstr("the request fails: certificate errors are never overlooked "
                                      "(CertErrorHandlingMode is not configured)."));
}

TEST_F(Explain_Certificate, ThatHasExpiredIsReportedWithItsNumber) {
    Certificate_Options options;
    options.name = "localhost";
    options.ends = std::chrono::hours(-1);
    options.begins = std::chrono::hours(-48);
    Start(options);
    Tool_Result result = Check("");
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_THAT(result.out, HasSubstr("Error 12037: the server's certificate has expired or is not yet valid; "));
    EXPECT_THAT(result.out, HasSubstr("So its certificate is not valid. A second attempt failed too."));
    EXPECT_EQ(Verdict(result), "would not be served: there is no copy, and the server's certificate has expired or is "
                               "not yet valid (error 12037).\n");

    result = Check("CertErrorHandlingMode = 1\n");
    EXPECT_THAT(result.out, HasSubstr("the address is not on the white list"));
    EXPECT_THAT(result.out, HasSubstr("There is no second attempt: the configuration does not allow one."));
    EXPECT_EQ(result.exit_status, 1);

    result = Check("CertErrorHandlingMode = 1\nCertErrorWhiteList = " + m_Url + "\n");
    EXPECT_THAT(result.out, HasSubstr("Error 12037: "));
    EXPECT_THAT(result.out, HasSubstr("A second attempt overlooked that and succeeded."));
    EXPECT_EQ(Verdict(result), "would be served from a new copy.\n");
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(Check("CertErrorHandlingMode = 2\n").out, HasSubstr("overlooked for every address: mode 2"));
}

TEST_F(Explain_Certificate, ForAnotherNameIsReportedWithItsNumber) {
    Start(Certificate_Options());
    EXPECT_THAT(Check("").out, HasSubstr("Error 12038: the server's certificate was issued for another name"));
}

} // namespace
} // namespace QEL::Tests
