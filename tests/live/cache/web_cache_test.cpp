#include "tests/live/cache/Web_Cache_Fixture.h"

#include "tests/support/Child_Process.h"

using namespace QEL::Tests;
using namespace testing;

namespace {

class Web_Cache : public Web_Cache_Fixture {};

TEST_F(Web_Cache, FirstRequestDownloadsOnce) {
    server.Write("landscape.xml", "<landscape/>");
    const Served served = Get(Url("/landscape.xml"));
    EXPECT_THAT(served.path, StartsWith(Cache_Directory() + "/"));
    EXPECT_THAT(served.path, EndsWith(".xml"));
    EXPECT_EQ(Content_Of(served.path), "<landscape/>");
    EXPECT_FALSE(served.download_error);
    EXPECT_EQ(served.http_error, 0);
    EXPECT_EQ(served.file_share_error, Served::Unwritten);
    EXPECT_THAT(Requests(1), ElementsAre("GET /landscape.xml 200"));
}

TEST_F(Web_Cache, FreshCopyIsServedWithoutARequest) {
    Set_Expiry_Minutes(60);
    server.Write("landscape.xml", "<landscape/>");
    const std::string first = Get(Url("/landscape.xml")).path;
    Requests(1);

    const Served again = Get(Url("/landscape.xml"));
    EXPECT_EQ(again.path, first);
    EXPECT_EQ(again.http_error, Served::Unwritten);
    EXPECT_THAT(Requests(0), IsEmpty());
}

TEST_F(Web_Cache, ConfiguredExpiryPeriodIsReadAnewForEachRequest) {
    Set_Expiry_Minutes(60);
    server.Write("landscape.xml", "<landscape/>");
    Get(Url("/landscape.xml"));
    Get(Url("/landscape.xml"));
    EXPECT_THAT(Requests(1), ElementsAre("GET /landscape.xml 200"));

    Set_Expiry_Minutes(0);
    Get(Url("/landscape.xml"));
    EXPECT_THAT(Requests(1), ElementsAre("HEAD /landscape.xml 200"));
}

TEST_F(Web_Cache, UnchangedFileIsCheckedButNotFetched) {
    server.Write("landscape.xml", "<landscape/>");
    const std::string first = Get(Url("/landscape.xml")).path;
    const std::string metadata = Content_Of(Cache_Directory() + "/qelfilecache_Metadata.txt");

    const Served again = Get(Url("/landscape.xml"));
    EXPECT_EQ(again.path, first);
    EXPECT_FALSE(again.download_error);
    EXPECT_EQ(again.http_error, 0);
    EXPECT_THAT(Requests(2), ElementsAre("GET /landscape.xml 200", "HEAD /landscape.xml 200"));
    EXPECT_NE(Content_Of(Cache_Directory() + "/qelfilecache_Metadata.txt"), metadata) << "the age does not start anew";
}

TEST_F(Web_Cache, ChangedFileReplacesItsCopy) {
    server.Write("landscape.xml", "<old/>");
    const std::string first = Get(Url("/landscape.xml")).path;
    Publish_Change("landscape.xml", "<new/>");

    const Served again = Get(Url("/landscape.xml"));
    EXPECT_NE(again.path, first);
    EXPECT_EQ(Content_Of(again.path), "<new/>");
    EXPECT_FALSE(again.download_error);
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_THAT(Copies(), ElementsAre(again.path));
    EXPECT_THAT(Requests(3),
                ElementsAre("GET /landscape.xml 200", "HEAD /landscape.xml 200", "GET /landscape.xml 200"));
}

TEST_F(Web_Cache, CheckAndDownloadShareOneConnection) {
    server.Write("landscape.xml", "<old/>");
    Get(Url("/landscape.xml"));
    Publish_Change("landscape.xml", "<new/>");
    Get(Url("/landscape.xml"));
    std::vector<std::string> connections;
    for (const std::string& request : server.Requests(3)) {
        connections.push_back(request.substr(0, request.find(' ')));
    }
    EXPECT_THAT(connections, ElementsAre(connections.front(), connections.front(), connections.front()));
}

TEST_F(Web_Cache, MissingFileIsAnErrorOfTheDownload) {
    const Served served = Get(Url("/missing.xml"));
    EXPECT_EQ(served.path, "");
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.http_error, 2);
    EXPECT_THAT(Requests(1), ElementsAre("GET /missing.xml 404"));
    EXPECT_THAT(Copies(), IsEmpty());
}

TEST_F(Web_Cache, FileThatIsGoneFromTheServerIsServedFromItsCopy) {
    server.Write("landscape.xml", "<landscape/>");
    const std::string first = Get(Url("/landscape.xml")).path;
    std::filesystem::remove(server.Files() / "landscape.xml");

    const Served again = Get(Url("/landscape.xml"));
    EXPECT_EQ(again.path, first);
    EXPECT_TRUE(again.download_error);
    EXPECT_EQ(again.http_error, 2);
    EXPECT_EQ(Content_Of(first), "<landscape/>");
    EXPECT_THAT(Requests(3),
                ElementsAre("GET /landscape.xml 200", "HEAD /landscape.xml 404", "GET /landscape.xml 404"));
}

TEST_F(Web_Cache, ServerThatRefusesHeadIsAskedForTheFileEachTime) {
    server.Write("no-head/a.xml", "<a/>");
    const std::string first = Get(Url("/no-head/a.xml")).path;
    const Served again = Get(Url("/no-head/a.xml"));
    EXPECT_NE(again.path, first);
    EXPECT_EQ(Content_Of(again.path), "<a/>");
    EXPECT_FALSE(again.download_error);
    EXPECT_EQ(again.http_error, 1) << "the code of the check stays visible";
    EXPECT_THAT(Copies(), ElementsAre(again.path));
    EXPECT_THAT(Requests(3),
                ElementsAre("GET /no-head/a.xml 200", "HEAD /no-head/a.xml 405", "GET /no-head/a.xml 200"));
}

TEST_F(Web_Cache, FileWithoutLastModifiedIsFetchedEachTime) {
    server.Write("unstamped/a.xml", "<a/>");
    const std::string first = Get(Url("/unstamped/a.xml")).path;
    const Served again = Get(Url("/unstamped/a.xml"));
    EXPECT_NE(again.path, first);
    EXPECT_FALSE(again.download_error);
    EXPECT_EQ(again.http_error, 0);
    EXPECT_THAT(Requests(3),
                ElementsAre("GET /unstamped/a.xml 200", "HEAD /unstamped/a.xml 200", "GET /unstamped/a.xml 200"));
}

TEST_F(Web_Cache, RedirectLeadsToTheFile) {
    server.Write("a.xml", "<a/>");
    const Served served = Get(Url("/moved/a.xml"));
    EXPECT_EQ(Content_Of(served.path), "<a/>");
    EXPECT_EQ(served.http_error, 0);
    const Served again = Get(Url("/moved/a.xml"));
    EXPECT_EQ(again.path, served.path);
    EXPECT_THAT(Requests(4),
                ElementsAre("GET /moved/a.xml 302", "GET /a.xml 200", "HEAD /moved/a.xml 302", "HEAD /a.xml 200"));
}

TEST_F(Web_Cache, ChunkedBodyIsWhole) {
    server.Write("chunked/a.txt", std::string(100000, '.') + "old" + std::string(100000, '.'));
    const Served served = Get(Url("/chunked/a.txt"));
    EXPECT_EQ(Content_Of(served.path), std::string(100000, '.') + "new" + std::string(100000, '.'));
}

TEST_F(Web_Cache, EmptyBodyIsAnEmptyFile) {
    server.Write("empty.xml", "");
    const Served served = Get(Url("/empty.xml"));
    ASSERT_THAT(served.path, EndsWith(".xml"));
    EXPECT_EQ(std::filesystem::file_size(served.path), 0U);
}

TEST_F(Web_Cache, BodyWithNulsIsWhole) {
    const std::string body = std::string("a\0b\0\0", 5) + std::string(3000, '\0') + "end";
    server.Write("nuls.txt", body);
    EXPECT_EQ(Content_Of(Get(Url("/nuls.txt")).path), body);
}

TEST_F(Web_Cache, LargeBodyIsWhole) {
    std::string body(50 * 1024 * 1024, ' ');
    std::uint32_t state = 1;
    for (char& byte : body) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    server.Write("large.txt", body);
    EXPECT_TRUE(Content_Of(Get(Url("/large.txt")).path) == body);
}

TEST_F(Web_Cache, ParametersOfTheContentTypeDoNotMatter) {
    server.Write("typed/landscape", "<landscape/>");
    EXPECT_THAT(Get(Url("/typed/landscape")).path, EndsWith(".xml"));
}

TEST_F(Web_Cache, DeadServerWithoutACopyIsAnError) {
    server.Stop();
    const Served served = Get(Url("/landscape.xml"));
    EXPECT_EQ(served.path, "");
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.http_error, 2);
}

TEST_F(Web_Cache, DeadServerIsReplacedByTheLastCopy) {
    server.Write("landscape.xml", "<landscape/>");
    const std::string first = Get(Url("/landscape.xml")).path;
    server.Stop();

    const Served again = Get(Url("/landscape.xml"));
    EXPECT_EQ(again.path, first);
    EXPECT_TRUE(again.download_error);
    EXPECT_EQ(again.http_error, 2);
    EXPECT_EQ(Content_Of(first), "<landscape/>");
}

TEST_F(Web_Cache, CopiesOutliveTheHost) {
    Set_Expiry_Minutes(60);
    server.Write("a.xml", "<a/>");
    server.Write("b.xml", "<b/>");
    const std::string a = Get(Url("/a.xml")).path;
    const std::string b = Get(Url("/b.xml")).path;
    Requests(2);
    std::ofstream(Cache_Directory() + "/12345678-1234-1234-1234-123456789012.xml") << "nobody's";

    Restart_Host();
    EXPECT_EQ(Get(Url("/a.xml")).path, a);
    EXPECT_EQ(Get(Url("/b.xml")).path, b);
    EXPECT_THAT(Requests(0), IsEmpty());
    EXPECT_THAT(Copies(), testing::UnorderedElementsAre(a, b)) << "what no entry names is swept";
}

TEST_F(Web_Cache, CopyDeletedBehindTheCachesBackIsFetchedAgain) {
    server.Write("a.xml", "<a/>");
    std::filesystem::remove(Get(Url("/a.xml")).path);
    const Served again = Get(Url("/a.xml"));
    EXPECT_EQ(Content_Of(again.path), "<a/>");
    EXPECT_FALSE(again.download_error);
    EXPECT_THAT(Requests(3), ElementsAre("GET /a.xml 200", "HEAD /a.xml 200", "GET /a.xml 200"));
}

TEST_F(Web_Cache, UrlWithControlCharactersReachesNoServer) {
    for (const char* evil : {"/a\nb.xml", "/a\rb.xml", "/a\tb.xml"}) {
        const Served served = Get(Url(evil));
        EXPECT_EQ(served.path, "");
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    }
    EXPECT_EQ(Get(Url(std::string("/a\0b.xml", 8))).path, "");
    EXPECT_THAT(Requests(0), IsEmpty());
}

TEST_F(Web_Cache, ClearAndPurgeEmptyTheDirectory) {
    Set_Expiry_Minutes(60);
    server.Write("a.xml", "<a/>");
    Get(Url("/a.xml"));
    EXPECT_TRUE(cache->Clear());
    EXPECT_THAT(Copies(), IsEmpty());

    Get(Url("/a.xml"));
    EXPECT_THAT(Copies(), SizeIs(1));
    EXPECT_TRUE(cache->Purge_Cache_Folder());
    EXPECT_THAT(Copies(), IsEmpty());
    EXPECT_THAT(Content_Of(Get(Url("/a.xml")).path), "<a/>") << "an entry without its copy is fetched again";
}

} // namespace
