// The whole cache on a live file server: the result of a request, what it leaves behind, and the platform's error
// number, which stands in the trace alone. The records of such requests as a whole are a test of the product by itself.

#include "tests/live/share/Share_Fixture.h"
#include "tests/support/Cache_Host.h"
#include "tests/support/Marking_Process.h"
#include "tests/support/Socket.h"
#include "tests/unit/support/Recorded_Trace.h"

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using FrontEnd::FileCache::CFileCache;
using namespace testing;

class Share_Cache : public Share_Fixture {
protected:
    Share_Cache() {
        fs::create_directory(cache_folder);
        Set_Options("");
        Restart_Host();
    }

    /// Configures further lines of [Shares], and for how long a copy is served unasked.
    void Set_Options(const std::string& share_lines, int expiry_minutes = 0, int port = 0) {
        Configure("Port = " + std::to_string(port == 0 ? server().Port() : port) + "\n" + share_lines +
                  "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod = " + std::to_string(expiry_minutes) +
                  "\n");
    }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_DEVELOPER_NOTE);
        cache = std::make_unique<CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(cache_folder.string()));
    }

    /// Makes a request and keeps just its trace.
    Served Get(const std::string& request) {
        Recorded_Trace::Forget();
        const Served served = Request(*cache, request);
        EXPECT_EQ(served.http_error, Served::Unwritten);
        return served;
    }

    /// Makes a request that has to be served; returns the copy.
    std::string Copy_Of(const std::string& request) {
        const Served served = Get(request);
        EXPECT_NE(served.path, "");
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.file_share_error, 0);
        return served.path;
    }

    /// A request that is served from this copy, if any, and the system's number of the error.
    void Expect_Failure(const Served& served, const std::string& copy, int error) const {
        EXPECT_EQ(served.path, copy);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.file_share_error, 2);
        EXPECT_THAT(Traced(), HasSubstr("GetLastError returned " + std::to_string(error) + ".\n"));
        EXPECT_THAT(Cached_Files(),
                    UnorderedElementsAreArray(copy.empty() ? std::vector<std::string>() : std::vector{copy}));
    }

    /// The last request's records.
    static std::string Traced() {
        std::string text;
        for (const auto& record : Recorded_Trace::All()) {
            text += record.text;
        }
        return text;
    }

    static constexpr std::int64_t Some_Time = 133497123451234567;

    static fs::path Publish_At(const std::string& name, const std::string& content, std::int64_t time) {
        const auto path = Publish(name, content);
        Set_Modification_Time(path, time);
        return path;
    }

    /// The files in the cache directory but for the metadata.
    std::vector<std::string> Cached_Files() const {
        std::vector<std::string> files = Names_In(cache_folder);
        std::erase(files, "qelfilecache_Metadata.txt");
        std::ranges::transform(files, files.begin(), [this](const auto& name) { return cache_folder / name; });
        return files;
    }

    const fs::path cache_folder = home / "cache";
    std::unique_ptr<CFileCache> cache;
    const std::string landscape = Samba_Server::Path("landscape.xml");
};

TEST_F(Share_Cache, CopiesAFileOnTheFirstRequestAlone) {
    Publish_At("landscape.xml", "<landscape/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    EXPECT_TRUE(std::regex_match(copy, std::regex(cache_folder.string() + "/[0-9a-f-]{36}\\.xml"))) << copy;
    EXPECT_EQ(Content_Of(copy), "<landscape/>");
    EXPECT_THAT(Traced(), HasSubstr("Copied file '" + landscape + "' to the cached file: '" + copy + "'.\n"));
    EXPECT_EQ(cache->m_Cache_Entries.at(landscape).last_modified, std::to_string(Some_Time));
    const auto checked = cache->m_Cache_Entries.at(landscape).last_checked_remotely;

    EXPECT_EQ(Copy_Of(landscape), copy) << "unchanged";
    EXPECT_EQ(Traced(), "");
    EXPECT_GT(cache->m_Cache_Entries.at(landscape).last_checked_remotely, checked);

    Restart_Host();
    EXPECT_EQ(Copy_Of(landscape), copy) << "of an earlier run";

    Publish_At("landscape.xml", "<changed/>", Some_Time + 1);
    Set_Options("", 60);
    const Served unasked = Get(landscape);
    EXPECT_EQ(unasked.path, copy);
    EXPECT_EQ(unasked.file_share_error, Served::Unwritten);
    EXPECT_THAT(Cached_Files(), ElementsAre(copy));
}

TEST_F(Share_Cache, ReplacesTheCopyOfAFileThatChangedToAnyOtherTimeAndServesTheLastOneOnceItIsDeleted) {
    Publish_At("landscape.xml", "<first/>", Some_Time);
    std::string copy = Copy_Of(landscape);
    std::string content;
    for (const std::int64_t step : {1, 10000000, -20000000}) {
        content = "<changed by=\"" + std::to_string(step) + "\"/>";
        Publish_At("landscape.xml", content, Some_Time + step);
        const std::string next = Copy_Of(landscape);
        EXPECT_NE(next, copy);
        EXPECT_EQ(Content_Of(next), content);
        EXPECT_THAT(Cached_Files(), ElementsAre(next));
        EXPECT_EQ(cache->m_Cache_Entries.at(landscape).last_modified, std::to_string(Some_Time + step));
        copy = next;
    }
    fs::remove(server().Files() / "landscape.xml");
    Expect_Failure(Get(landscape), copy, 2);
    EXPECT_EQ(Content_Of(copy), content);
}

TEST_F(Share_Cache, ServesNothingWhereThereIsNothing) {
    for (const auto& [url, error] : {std::pair{Samba_Server::Path("other.xml"), 2},
                                     {std::string("\\\\no-such-server.invalid\\share\\landscape.xml"), 53},
                                     {std::string("Z:\\landscape.xml"), 2}}) {
        Expect_Failure(Get(url), "", error);
        EXPECT_THAT(cache->m_Cache_Entries, IsEmpty()) << url;
    }
}

TEST_F(Share_Cache, NamesACopyByTheFileOrItsContentAndKeepsNoExtensionThatWouldRun) {
    for (const auto& [name, content, extension] :
         {std::tuple{"picture", std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16), ".png"},
          {"run.BAT", std::string("@echo off"), ".cached"}}) {
        Publish(name, content);
        EXPECT_EQ(fs::path(Copy_Of(Samba_Server::Path(name))).extension(), extension) << name;
    }
    Publish("nothing", "");
    EXPECT_FALSE(fs::path(Copy_Of(Samba_Server::Path("nothing"))).extension().empty());
}

TEST_F(Share_Cache, ServesTheLastGoodCopyWhenTheServerNeverResponds) {
    Publish_At("landscape.xml", "<old/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    const Socket silent = Listen_On_Free_Port(16);
    Set_Options("Timeout = 1\n", 0, Port_Of(silent));
    const auto start = std::chrono::steady_clock::now();
    Expect_Failure(Get(landscape), copy, 121);
    // The check costs a time-out, the stat and the copy of the download nothing. The SMB library alone would take ten
    // seconds for each.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
    EXPECT_THAT(Traced(), HasSubstr("Description: The server 127.0.0.1 could not be reached. Check that it runs, and "
                                    "the network. The server was last tried at "));
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                AllOf(HasSubstr("\nFile: " + landscape + "\n"), HasSubstr("The server was last tried at ")));
}

TEST_F(Share_Cache, LeavesTheSameRecordsWhetherTheServerIsAskedOrRememberedButForADescription) {
    Publish_At("landscape.xml", "<old/>", Some_Time);
    Copy_Of(landscape);
    const Socket silent = Listen_On_Free_Port(16);
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    for (const auto& request : {landscape, Samba_Server::Path("no-copy.xml")}) {
        const auto records = [&](const std::string& retry_after) {
            Set_Options("Timeout = 1\n[Software\\QEL\\QELLogon\\Options]\nLandscapeServerRetryAfter = " + retry_after +
                            "\n",
                        0, Port_Of(silent));
            Get(request);
            const std::regex name("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}");
            return std::regex_replace(Traced(), name, "#");
        };
        const auto asked = records("0");
        EXPECT_THAT(asked, HasSubstr("GetLastError returned 121.\n"));
        const auto remembered = records("120");
        const std::regex description(R"([^\n]*: Description: [^\n]* The server was last tried at [^\n]*\n)");
        EXPECT_EQ(std::regex_replace(remembered, description, "", std::regex_constants::format_first_only), asked);
        EXPECT_NE(remembered, asked);
    }
}

/// The command-line tool, whose library finds its agent.
TEST_F(Share_Cache, IsExplainedByTheTool) {
    cache.reset(); // the tool changes no directory in use
    const auto output = [&](const std::string& command, const char* option = "", int status = 0) {
        EXPECT_EQ(Run_Beside_The_Tests(
                      "qelfilecache",
                      {"--cache-dir", cache_folder.string(), command, "file://127.0.0.1/share/landscape.xml"},
                      std::string(option) + " > " + directory / "output"),
                  status);
        return Content_Of(home / "output");
    };
    const auto published = Publish("landscape.xml", "content");
    EXPECT_THAT(output("explain", "--check"), EndsWith("=> The request would be served from a new copy.\n"));
    const std::string copy = output("get");
    EXPECT_THAT(output("explain", "--check"), EndsWith("the time of change is the same.\n"));
    Set_Modification_Time(published, Some_Time);
    EXPECT_THAT(output("explain", "--check", 3), EndsWith("because the share has another version.\n"));
    fs::remove(published);
    EXPECT_THAT(
        output("explain", "--check"),
        AllOf(HasSubstr("Error 2: The file cannot be found"),
              HasSubstr("the check failed: the file cannot be found (error 2); when that fails as well, the copy")));
    EXPECT_EQ(output("get"), copy);
    EXPECT_EQ(Content_Of(copy.substr(0, copy.find('\n'))), "content");
}

} // namespace

} // namespace QEL::Tests
