// Requests of a host for files of a real web server, on both platforms, and the trace of one: the records that the
// tests of the product by itself expect.

#include "tests/faults/support/Amount.h"
#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

using namespace QEL::Tests;

namespace {

using namespace testing;

class Web_Cache : public Web_Cache_Fixture {
protected:
    Web_Cache() { Publish("landscape.xml", "<landscape/>"); }

    void Expect_Good(const Served& served, const std::string& content) {
        EXPECT_EQ(Content_Of(served.path), content);
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.http_error, 0);
        EXPECT_EQ(served.file_share_error, Served::Unwritten);
        EXPECT_THAT(Copies(), Contains(served.path));
    }
    static void Expect_Error(const Served& served, const std::string& path = "") {
        EXPECT_EQ(served.path, path);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    }

    const std::string m_Url = Url("/landscape.xml");
};

TEST_F(Web_Cache, FollowsAFileFromItsFirstDownloadToItsEnd) {
    const Served first = Get(m_Url);
    EXPECT_THAT(first.path, AllOf(StartsWith(In_Cache("")), EndsWith(".xml")));
    Expect_Good(first, "<landscape/>");
    EXPECT_THAT(Requests(1), ElementsAre("GET /landscape.xml"));

    const std::string metadata = Content_Of(Metadata_Path());
    const Served unchanged = Get(m_Url);
    EXPECT_EQ(unchanged.path, first.path);
    Expect_Good(unchanged, "<landscape/>");
    EXPECT_THAT(Requests(1), ElementsAre("HEAD /landscape.xml"));
    EXPECT_NE(Content_Of(Metadata_Path()), metadata) << "the age does not start anew";

    Publish("landscape.xml", "<new/>", Second_Of_February_2020);
    const Served changed = Get(m_Url);
    Expect_Good(changed, "<new/>");
    EXPECT_THAT(Copies(), ElementsAre(changed.path));
    EXPECT_THAT(Requests(2), ElementsAre("HEAD /landscape.xml", "GET /landscape.xml"));

    Unpublish("landscape.xml");
    Expect_Error(Get(m_Url), changed.path);
    EXPECT_EQ(Content_Of(changed.path), "<new/>");
    EXPECT_THAT(Requests(2), ElementsAre("HEAD /landscape.xml", "GET /landscape.xml"));
}

TEST_F(Web_Cache, CopyIsServedUnaskedWithinTheExpiryPeriodByLaterHostsToo) {
    Set_Expiry_Minutes(60);
    const std::string copy = Get(m_Url).path;
    Requests(1);
    for (int host = 0; host < 2; ++host) {
        const Served again = Get(m_Url);
        EXPECT_EQ(again.path, copy);
        EXPECT_FALSE(again.download_error);
        EXPECT_EQ(again.http_error, Served::Unwritten);
        m_Home.Write("cache/12345678-1234-1234-1234-123456789012.xml", "nobody's");
        Restart_Host();
    }
    EXPECT_EQ(Get(m_Url).path, copy);
    EXPECT_THAT(Copies(), ElementsAre(copy)) << "what no entry names is swept";
    EXPECT_THAT(Requests(0), IsEmpty());

    Set_Expiry_Minutes(0);
    Get(m_Url);
    EXPECT_THAT(Requests(1), ElementsAre("HEAD /landscape.xml")) << "the period is read anew for each request";
}

TEST_F(Web_Cache, MissingFileIsAnErrorOfTheDownload) {
    Expect_Error(Get(Url("/missing.xml")));
    EXPECT_THAT(Requests(1), ElementsAre("GET /missing.xml"));
    EXPECT_THAT(Copies(), IsEmpty());
}

TEST_F(Web_Cache, UrlWithControlCharactersReachesNoServer) {
    using namespace std::string_literals;
    for (const auto& evil : {"/a\nb.xml"s, "/a\rb.xml"s, "/a\tb.xml"s, "/a\0b.xml"s}) {
        Expect_Error(Get(Url(evil)));
    }
    EXPECT_THAT(Requests(0), IsEmpty());
}

TEST_F(Web_Cache, ClearAndPurgeEmptyTheDirectory) {
    Set_Expiry_Minutes(60);
    for (const auto empty :
         {&QEL::FrontEnd::FileCache::CFileCache::Clear, &QEL::FrontEnd::FileCache::CFileCache::Purge_Cache_Folder}) {
        Get(m_Url);
        EXPECT_THAT(Copies(), SizeIs(1));
        EXPECT_TRUE((*cache.*empty)());
        EXPECT_THAT(Copies(), IsEmpty());
    }
    EXPECT_EQ(Content_Of(Get(m_Url).path), "<landscape/>") << "an entry without its copy is fetched again";
}

#ifndef _WIN32

TEST_F(Web_Cache, BodiesAreWhole) {
    const std::string dots(100000, '.');
    const std::pair<std::string, std::string> bodies[] = {
        {"empty.xml", ""}, {"nuls.txt", std::string("a\0b\0\0", 5) + dots + "\0end"}, {"large.txt", Rubbish(50 << 20)}};
    for (const auto& [name, body] : bodies) {
        Publish(name, body);
        const Served served = Get(Url("/" + name));
        EXPECT_TRUE(Content_Of(served.path) == body) << name;
        EXPECT_EQ(std::filesystem::path(served.path).extension(), std::filesystem::path(name).extension());
    }
    Publish("chunked", dots + "old" + dots);
    EXPECT_TRUE(Content_Of(Get(Url("/chunked")).path) == dots + "new" + dots);
}

/// Longer than a number of 31 bits says; a hole on the server, but not in the copy.
TEST_F(Web_Cache, BodyOfGigabytesIsWhole) {
    const auto size = static_cast<std::uintmax_t>(Amount("QEL_LARGE_FILE_GB", 3)) << 30;
    if (std::filesystem::space(Home()).available < size * 5 / 2) {
        GTEST_SKIP() << "the disk has no room for " << size << " bytes, and as much again and a half";
    }
    Publish("large.txt", "begin");
    std::filesystem::resize_file(server.Files() / "large.txt", size - 3);
    std::ofstream(server.Files() / "large.txt", std::ios::app) << "end";

    const std::string copy = Get(Url("/large.txt")).path;
    ASSERT_EQ(std::filesystem::file_size(copy), size);
    std::ifstream content(copy);
    std::string text(5, ' ');
    content.read(text.data(), 5);
    EXPECT_EQ(text, "begin");
    content.seekg(-3, std::ios::end).read(text.data(), 3);
    EXPECT_EQ(text, "endin");
}

#endif

/// A trace without what differs from run to run and from platform to platform: thread ids, addresses, line numbers,
/// UUIDs and the program's path are each replaced by a fixed word.
std::string Normalised(std::string trace) {
    for (const auto& [pattern, word] : std::initializer_list<std::pair<const char*, const char*>>{
             {"TID: [0-9]+", "TID: #"},
             {R"(\[[0-9A-Fa-fx]+\]/[0-9]+: )", "[@]/#: "},
             {"(FileCache::[A-Za-z_0-9]+)/[0-9]+: ", "$1/#: "},
             {"(file_contents=|returned |INVALID_HANDLE_VALUE=|s_instance = )[0-9A-Fa-fx]{8,}", "$1@"},
             {"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}", "UUID"},
             {R"(\*\* Program: \t[^\n]*)", "** Program: \tPROGRAM"}}) {
        trace = std::regex_replace(trace, std::regex(pattern), word);
    }
    return trace;
}

TEST_F(Web_Cache_Fixture, TracesItsStartAndFirstDownload) {
    Publish("landscape.xml", "<landscape/>");
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Restart_Host();
    Get(Url("/landscape.xml"));
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);

    std::ostringstream content;
    content << std::ifstream(Trace_File()).rdbuf();
    std::string trace = content.str();
    Recorded_Trace::Replace_All(trace, Cache_Directory() + "\\", "DIRECTORY/");
    Recorded_Trace::Replace_All(trace, Cache_Directory(), "DIRECTORY");
    const std::string origin = Url("");
    Recorded_Trace::Replace_All(trace, origin.substr(origin.rfind(':')) + "/", ":PORT/");
    EXPECT_EQ(Normalised(trace), Recorded_Trace::First_Download("#", "@", "#"));
}

} // namespace
