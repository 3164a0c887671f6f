// The whole cache on a live file server: the result of a request, what it leaves behind and what
// it traces.

#include "tests/live/share/Bad_Lines.h"
#include "tests/live/share/Share_Fixture.h"
#include "tests/support/Cache_Host.h"
#include "tests/unit/support/Recorded_Trace.h"

#include <chrono>
#include <memory>
#include <regex>
#include <thread>
#include <vector>

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace Recorded_Trace;
using FrontEnd::FileCache::CacheEntry;
using FrontEnd::FileCache::CFileCache;
using FrontEnd::OSWRAPI::IOSWrapper;
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
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
        cache = std::make_unique<CFileCache>(IOSWrapper::Create());
        ASSERT_TRUE(cache->Set_Cache_Directory(cache_folder.string()));
    }

    /// Makes a request and keeps just its trace.
    Served Get(const std::string& request, int request_kind = 213) {
        Forget();
        const Served served = Request(*cache, request, request_kind);
        EXPECT_EQ(served.http_error, Served::Unwritten);
        return served;
    }

    /// Makes a request that has to be served; returns the copy.
    std::string Copy_Of(const std::string& request, int request_kind = 213) {
        const Served served = Get(request, request_kind);
        EXPECT_NE(served.path, "");
        EXPECT_FALSE(served.download_error);
        return served.path;
    }

    static constexpr std::int64_t Some_Time = 133497123451234567;

    static fs::path Publish_At(const std::string& name, const std::string& content, std::int64_t time) {
        const auto path = Publish(name, content);
        Set_Modification_Time(path, time);
        return path;
    }

    /// The files in the cache directory but for the metadata.
    std::vector<std::string> Cached_Files() const {
        std::vector<std::string> files;
        for (const auto& entry : fs::directory_iterator(cache_folder)) {
            if (entry.path().filename() != "qelfilecache_Metadata.txt") {
                files.push_back(entry.path().string());
            }
        }
        return files;
    }

    std::string Metadata() const { return Content_Of(cache_folder / "qelfilecache_Metadata.txt"); }

    const CacheEntry& Entry(const std::string& url) const { return cache->m_Cache_Entries.at(url); }

    static Records Copied(const std::string& url, const std::string& copy) {
        return Note("Download_File_Share", "Copied file '" + url + "' to the cached file: '" + copy + "'.\n");
    }

    /// The records of a request that could not be served anew. The name of the copy that failed is
    /// taken from the trace: nobody else knows it.
    static Records Failure(const std::string& url, int stat_error, int copy_error, bool has_copy) {
        const std::string code = std::to_string(stat_error);
        const Records check =
            Warning("Is_File_Share_Expired", "File share URL cannot be stat-ed: '" + url + "', error code " + code +
                                                 ". try to download the shared file directly.\n");
        const Records download =
            Warning("Download_File_Share", "Trying to download a file share URL that cannot be stat-ed: '" + url +
                                               "', error code " + code + ".\n");
        const Records copy =
            Error("Download_File_Share", "Copy file failed for URL: '" + url + "', cached file: '" + Failed_Copy() +
                                             "' , GetLastError returned " + std::to_string(copy_error) + ".\n");
        return (has_copy ? check : Records()) + download + copy;
    }

    static std::string Failed_Copy() {
        static const std::regex pattern("cached file: '([^']*)' , GetLastError");
        for (const Record& record : All()) {
            std::smatch match;
            if (std::regex_search(record.text, match, pattern)) {
                return match[1];
            }
        }
        return "no failed copy in the trace";
    }

    const fs::path cache_folder = home / "cache";
    std::unique_ptr<CFileCache> cache;
    const std::string landscape = Samba_Server::Path("landscape.xml");
};

TEST_F(Share_Cache, CopiesAFileOnTheFirstRequest) {
    Publish_At("landscape.xml", "<landscape/>", Some_Time);

    const Served served = Get(landscape);

    EXPECT_FALSE(served.download_error);
    EXPECT_EQ(served.file_share_error, 0);
    EXPECT_TRUE(std::regex_match(served.path, std::regex(cache_folder.string() + "/[0-9a-f-]{36}\\.xml")))
        << served.path;
    EXPECT_EQ(Content_Of(served.path), "<landscape/>");
    EXPECT_THAT(Cached_Files(), ElementsAre(served.path));
    EXPECT_EQ(Above_Additional_Data(), Copied(landscape, served.path));
    EXPECT_EQ(cache->m_errFileShareDownLoad, 0);
    ASSERT_EQ(cache->m_Cache_Entries.size(), 1u);
    EXPECT_EQ(Entry(landscape).cached_file, served.path);
    EXPECT_EQ(Entry(landscape).last_modified, std::to_string(Some_Time));
    EXPECT_NE(Entry(landscape).last_checked_remotely, 0u);
    EXPECT_THAT(Metadata(), testing::HasSubstr(landscape));
}

TEST_F(Share_Cache, ServesAnUnchangedFileWithoutCopyingIt) {
    Publish_At("landscape.xml", "<landscape/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    const auto checked = Entry(landscape).last_checked_remotely;
    const std::string metadata = Metadata();

    const Served served = Get(landscape);

    EXPECT_EQ(served.path, copy);
    EXPECT_FALSE(served.download_error);
    EXPECT_EQ(served.file_share_error, 0);
    EXPECT_THAT(Of({"Download_File_Share"}), IsEmpty());
    EXPECT_THAT(Above_Additional_Data(), IsEmpty());
    EXPECT_GT(Entry(landscape).last_checked_remotely, checked);
    EXPECT_NE(Metadata(), metadata);
    EXPECT_THAT(Cached_Files(), ElementsAre(copy));
}

TEST_F(Share_Cache, ServesACopyOfAnEarlierRun) {
    Publish_At("landscape.xml", "<landscape/>", Some_Time);
    const std::string copy = Copy_Of(landscape);

    Restart_Host();

    EXPECT_EQ(Copy_Of(landscape), copy);
    EXPECT_THAT(Of({"Download_File_Share"}), IsEmpty());
}

TEST_F(Share_Cache, DoesNotAskTheServerWithinTheExpiryPeriod) {
    Publish_At("landscape.xml", "<landscape/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    Publish_At("landscape.xml", "<changed/>", Some_Time + 1);
    Set_Options("", 60);

    const Served served = Get(landscape);

    EXPECT_EQ(served.path, copy);
    EXPECT_EQ(served.file_share_error, Served::Unwritten);
    EXPECT_THAT(Of({"Is_File_Share_Expired", "Download_File_Share"}), IsEmpty());
}

TEST_F(Share_Cache, ReplacesTheCopyOfAFileThatChangedToAnyOtherTime) {
    Publish_At("landscape.xml", "<first/>", Some_Time);
    std::string copy = Copy_Of(landscape);
    for (const std::int64_t step : {1, 10000000, -20000000}) {
        const std::string content = "<changed by=\"" + std::to_string(step) + "\"/>";
        Publish_At("landscape.xml", content, Some_Time + step);

        const Served served = Get(landscape);

        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.file_share_error, 0);
        EXPECT_NE(served.path, copy);
        EXPECT_EQ(Content_Of(served.path), content);
        EXPECT_THAT(Cached_Files(), ElementsAre(served.path));
        EXPECT_EQ(Above_Additional_Data(), Copied(landscape, served.path));
        EXPECT_EQ(Entry(landscape).last_modified, std::to_string(Some_Time + step));
        copy = served.path;
    }
}

TEST_F(Share_Cache, ServesTheCopyOfAFileThatWasDeleted) {
    const auto published = Publish_At("landscape.xml", "<landscape/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    fs::remove(published);

    const Served served = Get(landscape);

    EXPECT_EQ(served.path, copy);
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.file_share_error, 2);
    EXPECT_EQ(Above_Additional_Data(), Failure(landscape, 2, 2, true));
    EXPECT_EQ(Content_Of(copy), "<landscape/>");
    EXPECT_THAT(Cached_Files(), ElementsAre(copy));
}

TEST_F(Share_Cache, ServesNothingWhereThereIsNothing) {
    struct Case {
        std::string url;
        int stat_error;
        int copy_error;
    };
    const std::vector<Case> cases = {{Samba_Server::Path("other.xml"), 2, 2},
                                     {Samba_Server::Path("other\\other.xml"), 3, 3},
                                     {Samba_Server::Path("landscape.xml", "nothing"), 67, 67},
                                     {Samba_Server::Path("landscape.xml", "closed"), 5, 5},
                                     {"\\\\no-such-server.invalid\\share\\landscape.xml", 53, 53},
                                     {"\\\\127.0.0.1", 53, 53},
                                     {"Z:\\landscape.xml", 2, 2}};
    for (const Case& test_case : cases) {
        const Served served = Get(test_case.url);

        EXPECT_EQ(served.path, "");
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.file_share_error, 2);
        EXPECT_EQ(Above_Additional_Data(), Failure(test_case.url, test_case.stat_error, test_case.copy_error, false));
        EXPECT_THAT(cache->m_Cache_Entries, IsEmpty());
        EXPECT_THAT(Cached_Files(), IsEmpty());
    }
}

TEST_F(Share_Cache, ServesNothingOfWhatMayNotBeRead) {
    fs::permissions(Publish("secret.xml", "secret"), fs::perms(0));
    const std::string secret = Samba_Server::Path("secret.xml");

    const Served served = Get(secret);

    EXPECT_EQ(served.path, "");
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.file_share_error, 2);
    // Anyone may ask for the time of a file.
    EXPECT_EQ(Above_Additional_Data(),
              Error("Download_File_Share", "Copy file failed for URL: '" + secret + "', cached file: '" +
                                               Failed_Copy() + "' , GetLastError returned 5.\n"));
    EXPECT_THAT(Cached_Files(), IsEmpty());
}

TEST_F(Share_Cache, TypesAFileWithoutExtensionByItsContent) {
    Publish("document", "%PDF-1.7\n1 0 obj\n");
    Publish("picture", std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16));
    Publish("landscape", "<?xml version=\"1.0\"?><landscape/>");
    Publish("nothing", "");

    EXPECT_EQ(fs::path(Copy_Of(Samba_Server::Path("document"))).extension(), ".pdf");
    EXPECT_EQ(fs::path(Copy_Of(Samba_Server::Path("picture"))).extension(), ".png");
    EXPECT_EQ(fs::path(Copy_Of(Samba_Server::Path("landscape"))).extension(), ".xml");
    EXPECT_FALSE(fs::path(Copy_Of(Samba_Server::Path("nothing"))).extension().empty());
}

TEST_F(Share_Cache, KeepsNoExtensionThatWouldRun) {
    Publish("run.BAT", "@echo off");
    Publish("setup.exe", "MZ");

    for (const char* const name : {"run.BAT", "setup.exe"}) {
        EXPECT_EQ(fs::path(Copy_Of(Samba_Server::Path(name))).extension(), ".cached") << name;
    }
}

TEST_F(Share_Cache, ServesNamesWithBlanksAndLettersOfAllLanguages) {
    for (const std::string name : {"my landscape.xml", "K\xC3\xB6ln \xE6\x97\xA5\xE6\x9C\xAC 100%.xml"}) {
        const auto published = Publish(name, "content of " + name);

        const std::string copy = Copy_Of(Samba_Server::Path(name));
        EXPECT_EQ(Content_Of(copy), "content of " + name);
        EXPECT_EQ(Copy_Of(Samba_Server::Path(name)), copy);

        Restart_Host();
        EXPECT_EQ(Copy_Of(Samba_Server::Path(name)), copy);
        fs::remove(published);
    }
}

TEST_F(Share_Cache, TakesAFileUrlForThePathItNames) {
    Publish("landscape.xml", "<landscape/>");

    const std::string copy = Copy_Of("file://127.0.0.1/share/landscape.xml");

    EXPECT_EQ(Content_Of(copy), "<landscape/>");
    EXPECT_EQ(Entry(landscape).cached_file, copy);
    EXPECT_EQ(Copy_Of(landscape), copy);
}

TEST_F(Share_Cache, ServesAReadOnlyFileForEveryKindOfRequestAndReplacesItsCopy) {
    const auto published = Publish_At("landscape.xml", "first", Some_Time);
    fs::permissions(published, fs::perms(0444));
    std::string copy;
    for (const int request_kind : {200, 201, 202, 213}) {
        copy = Copy_Of(landscape, request_kind);
        EXPECT_EQ(Content_Of(copy), "first");
        EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0400));
    }

    fs::remove(published);
    Publish_At("landscape.xml", "second", Some_Time + 1);
    fs::permissions(published, fs::perms(0444));

    const std::string new_copy = Copy_Of(landscape, 201);
    EXPECT_EQ(Content_Of(new_copy), "second");
    EXPECT_THAT(Cached_Files(), ElementsAre(new_copy));
}

TEST_F(Share_Cache, LeavesAWritableFileToTheHostThatWantsTheOriginal) {
    Publish("landscape.xml", "<landscape/>");
    for (const int request_kind : {201, 202}) {
        const Served served = Get(landscape, request_kind);

        EXPECT_EQ(served.path, "");
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.file_share_error, Served::Unwritten);
        EXPECT_THAT(Of({"Download_File_Share", "Is_File_Share_Expired"}), IsEmpty());
        EXPECT_THAT(Above_Additional_Data(), IsEmpty());
        EXPECT_THAT(Cached_Files(), IsEmpty());
    }
    EXPECT_EQ(Content_Of(Copy_Of(landscape, 200)), "<landscape/>");
}

TEST_F(Share_Cache, ServesTwoHundredMegabytes) {
    const std::string content = Random_Bytes(std::size_t{200} << 20);
    Publish("large.bin", content);

    EXPECT_TRUE(Content_Of(Copy_Of(Samba_Server::Path("large.bin"))) == content);
}

TEST_F(Share_Cache, ServesTheOldCopyWhenTheServerDiesInTheMiddle) {
    const auto published = Publish_At("landscape.xml", "<old/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    fs::resize_file(published, std::uintmax_t{20} << 30); // takes a while to copy
    std::thread killer([this, copy] {
        const auto has_data = [&](const std::string& file) {
            std::error_code gone;
            const auto size = fs::file_size(file, gone);
            return file != copy && !gone && size > 0;
        };
        const auto end = std::chrono::steady_clock::now() + 20s;
        while (std::ranges::none_of(Cached_Files(), has_data) && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
        }
        server().Kill();
    });

    const Served served = Get(landscape);
    killer.join();
    server().Restart();

    EXPECT_EQ(served.path, copy);
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.file_share_error, 2);
    EXPECT_EQ(Above_Additional_Data(),
              Error("Download_File_Share", "Copy file failed for URL: '" + landscape + "', cached file: '" +
                                               Failed_Copy() + "' , GetLastError returned 64.\n"));
    EXPECT_EQ(Content_Of(copy), "<old/>");
    EXPECT_THAT(Cached_Files(), ElementsAre(copy));
}

TEST_F(Share_Cache, ServesTheOldCopyWhenTheServerNeverResponds) {
    Publish_At("landscape.xml", "<old/>", Some_Time);
    const std::string copy = Copy_Of(landscape);
    const Silent_Port silent;
    Set_Options("Timeout = 1\n", 0, silent.Port());
    const auto start = std::chrono::steady_clock::now();

    const Served served = Get(landscape);

    // The check costs a time-out, the stat and the copy of the download nothing. The SMB library alone would take ten
    // seconds for each.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
    EXPECT_EQ(served.path, copy);
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.file_share_error, 2);
    Records records = Above_Additional_Data();
    ASSERT_FALSE(records.empty());
    EXPECT_THAT(records.back().text, HasSubstr("Description: The server 127.0.0.1 could not be reached. Check that it "
                                               "runs, and the network. The server was last tried at "));
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                testing::AllOf(HasSubstr("\nFile: " + landscape + "\n"), HasSubstr("The server was last tried at ")));
    records.pop_back();
    EXPECT_EQ(records, Failure(landscape, 121, 121, true)) << "but for the description as without the memory";
    EXPECT_THAT(Cached_Files(), ElementsAre(copy));
}

TEST_F(Share_Cache, ReportsAMissingLibraryInTheTrace) {
    Publish("landscape.xml", "<landscape/>");
    directory.Write("libraries/libsmbclient.so.0", ""); // the loader takes this for the library, which it is not
    ::setenv("LD_LIBRARY_PATH", (home / "libraries").c_str(), 1);
    Set_Options("Timeout = 17\n"); // no agent runs with these settings yet

    testing::internal::CaptureStderr();
    const Served served = Get(landscape);
    const std::string said = testing::internal::GetCapturedStderr();
    ::unsetenv("LD_LIBRARY_PATH");

    EXPECT_EQ(served.path, "");
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(Above_Additional_Data(), Failure(landscape, 126, 126, false));
    EXPECT_THAT(said, testing::HasSubstr("(package libsmbclient) cannot be loaded"));
}

} // namespace

} // namespace QEL::Tests
