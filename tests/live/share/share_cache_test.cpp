// The whole cache on a live file server: the result of a request, what it leaves behind, and the platform's error
// number, which stands in the trace alone. The records of such requests as a whole are a test of the product by itself.

#include "tests/live/share/Share_Fixture.h"
#include "tests/support/Cache_Host.h"
#include "tests/support/Marking_Process.h"
#include "tests/unit/support/Recorded_Trace.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using QEL::FrontEnd::FileCache::CFileCache;
using namespace testing;

class Share_Cache : public Share_Fixture {
protected:
    Share_Cache() {
        Set_Options("");
        Restart_Host();
    }

    /// Configures further lines of [Shares], and for how long a copy is served unasked.
    void Set_Options(const std::string& share_lines, int expiry_minutes = 0) {
        Configure_Server(share_lines + "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod = " +
                         std::to_string(expiry_minutes) + "\n");
    }

    /// A cache object as the next run of a host has it.
    void Restart_Host() {
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_DEVELOPER_NOTE);
        cache = std::make_unique<CFileCache>(os);
        ASSERT_TRUE(cache->Set_Cache_Directory(cache_folder));
    }

    /// Makes a request that has to be served; returns the copy, which is the only one.
    std::string Copy_Of_Landscape() {
        const Served served = Request(*cache, landscape);
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.http_error, Served::Unwritten);
        EXPECT_EQ(served.file_share_error, 0);
        EXPECT_THAT(Copies(), ElementsAre(served.path));
        return served.path;
    }

    /// A request that is served from this copy, and the system's number of the error.
    void Expect_Failure(const std::string& copy, int error) {
        Recorded_Trace::Forget();
        const Served served = Request(*cache, landscape);
        EXPECT_EQ(served.path, copy);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.file_share_error, 2);
        EXPECT_THAT(Traced(), HasSubstr("GetLastError returned " + std::to_string(error) + ".\n"));
        EXPECT_THAT(Copies(), ElementsAre(copy));
    }

    static std::string Traced() {
        std::string text;
        for (const auto& record : Recorded_Trace::All()) {
            text += record.text;
        }
        return text;
    }

    void Publish_At(const std::string& content, std::int64_t time) const {
        Set_Modification_Time(Publish("landscape", content), time);
    }

    /// The files in the cache directory but for the metadata.
    std::vector<std::string> Copies() const {
        std::vector<std::string> files = Names_In(cache_folder);
        std::erase(files, "qelfilecache_Metadata.txt");
        std::ranges::transform(files, files.begin(), [this](const auto& name) { return cache_folder + "/" + name; });
        return files;
    }

    const std::string cache_folder = directory.Make_Directory("cache");
    const std::string landscape = Samba_Server::Path("landscape");
    std::unique_ptr<CFileCache> cache;
};

TEST_F(Share_Cache, FollowsAFileFromItsFirstCopyToItsEnd) {
    constexpr std::int64_t some_time = 133497123451234567;
    Publish_At("<landscape/>", some_time);
    const std::string first = Copy_Of_Landscape();
    EXPECT_THAT(first, EndsWith(".xml")) << "by its content";
    EXPECT_EQ(Content_Of(first), "<landscape/>");
    EXPECT_THAT(Traced(), HasSubstr("Copied file '" + landscape + "' to the cached file: '" + first + "'.\n"));
    auto& entry = cache->m_Cache_Entries.at(landscape);
    EXPECT_EQ(entry.last_modified, std::to_string(some_time));

    entry.last_checked_remotely = 1;
    EXPECT_EQ(Copy_Of_Landscape(), first) << "unchanged";
    EXPECT_GT(entry.last_checked_remotely, 1U);
    Restart_Host();
    EXPECT_EQ(Copy_Of_Landscape(), first) << "of an earlier run";

    Publish_At("<changed/>", some_time - 1);
    Set_Options("", 60);
    const Served unasked = Request(*cache, landscape);
    EXPECT_EQ(unasked.path, first);
    EXPECT_EQ(unasked.file_share_error, Served::Unwritten);

    Set_Options("");
    const std::string changed = Copy_Of_Landscape();
    EXPECT_EQ(Content_Of(changed), "<changed/>");

    fs::remove(server().Files() / "landscape");
    Expect_Failure(changed, 2);
    EXPECT_EQ(Content_Of(changed), "<changed/>");
}

TEST_F(Share_Cache, ServesTheLastGoodCopyWhenTheServerNeverResponds) {
    Publish("landscape", "<old/>");
    const std::string copy = Copy_Of_Landscape();
    server().Freeze();
    Set_Options("Timeout = 1\n");
    const auto start = std::chrono::steady_clock::now();
    Expect_Failure(copy, 121);
    // The check costs a time-out, the stat and the copy of the download nothing. The SMB library alone would take ten
    // seconds for each.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
    server().Thaw();
    EXPECT_THAT(Traced(), HasSubstr("Description: The server 127.0.0.1 could not be reached. Check that it runs, and "
                                    "the network. The server was last tried at "));
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                AllOf(HasSubstr("\nFile: " + landscape + "\n"), HasSubstr("The server was last tried at ")));
}

/// The command-line tool, whose library finds its agent.
TEST_F(Share_Cache, IsExplainedByTheTool) {
    cache.reset(); // the tool changes no directory in use
    const auto output = [&](const std::string& command, const char* option = "", int status = 0) {
        EXPECT_EQ(Run_Beside_The_Tests("qelfilecache",
                                       {"--cache-dir", cache_folder, command, "file://127.0.0.1/share/landscape"},
                                       std::string(option) + " > " + directory / "output"),
                  status);
        return Content_Of(home / "output");
    };
    const auto published = Publish("landscape", "content");
    EXPECT_THAT(output("explain", "--check"), EndsWith("=> The request would be served from a new copy.\n"));
    const std::string copy = output("get");
    EXPECT_THAT(output("explain", "--check"), EndsWith("the time of change is the same.\n"));
    Set_Modification_Time(published, 133497123451234567);
    EXPECT_THAT(output("explain", "--check", 3), EndsWith("because the share has another version.\n"));
    fs::remove(published);
    EXPECT_THAT(
        output("explain", "--check"),
        AllOf(HasSubstr("Error 2: The file cannot be found"),
              HasSubstr("the check failed: the file cannot be found (error 2); when that fails as well, the copy")));
    Configure_Server("Signing = required\n");
    EXPECT_THAT(output("explain", "--check"), HasSubstr("a guest's, which cannot sign (error 1326)"));
    EXPECT_EQ(output("get"), copy);
    EXPECT_EQ(Content_Of(copy.substr(0, copy.find('\n'))), "content");
}

} // namespace
