// A host of Windows that has a copy of a file meets a hostile server when it asks whether the file has changed, and
// when it fetches the file anew. What each client of Linux makes of the same servers is a test of the clients by
// themselves.

#include "tests/faults/support/Cache_Home.h"

#include <iomanip>

using namespace QEL::Tests;

namespace {

/// What the system's clients may take for a file, or not: they do not say how a response was framed.
const std::map<std::string, std::string> Doubtful_Responses = {
    // Whole. Where no length can be read, the file ends with the connection.
    {"SpeaksHttp99", "abc"},
    {"SendsAnInterimResponse", "abc"},
    {"SendsALastModifiedOf1MB", ""},
    {"SendsNulInAHeader", "abc"},
    {"SendsAHeaderWithoutAColon", "abc"},
    {"FoldsTheFirstHeader", "abc"},
    {"SendsANegativeLength", "abc"},
    {"SendsALengthOfLetters", "abc"},
    {"SendsALengthBeyond64Bits", "abc"},
    {"SendsTwoLengths", "abcde"},
    {"SendsLengthAndChunks", "abc"},
    {"HidesALength", "abcde"},

    // Not whole, and Wine hands it over all the same: the headers or the chunks end early,
    {"ClosesInTheHeaders", ""},
    {"ResetsInTheHeaders", ""},
    {"LeavesOutTheLastChunk", "abc"},
    {"ClosesInsideAChunk", "abc"},
    // the chunks have sizes that are not valid,
    {"SendsWrongChunkSizes", ""},
    {"SendsChunksOfAnotherSize", "ab"},
    {"SendsAHugeChunkSize", "abc\r\r\n0\r\r\n\r\r\n"}, // written as text
    {"SendsANegativeChunkSize", "abc"},
    // the response holds more than the file,
    {"SendsMoreThanItsContentLength", "abcdef"},
    {"SendsABodyWith204", "abc"},
    // it is compressed,
    {"CompressesTheBody", ""},
    {"CompressesTheTransfer", "3\r\r\n\x1F\x8B\b\r\r\n0\r\r\n\r\r\n"},
    {"HidesACompressedTransfer", "\x1F\x8B\b"},
    // or it is not HTTP.
    {"SendsRubbish", "\r\r\n"},
    {"SpeaksIcy", "Content-Length: 3\r\r\n\r\r\nabc"},
};

/// Wine's request object ignores time-outs, and once in a while misses a reset: these requests end when their servers
/// let go of them, or never.
const std::set<std::string> Endless_Requests = {
    "SwitchesProtocols",        "SendsALengthBeyondTheDisk",  "SendsInterimResponsesWithoutEnd",
    "SendsHeadersWithoutEnd",   "SendsAHeaderWithoutEnd",     "SendsTrailersWithoutEnd",
    "ResetsInTheBody",          "ResetsInABodyWithoutLength", "SpeaksPlainHttp",
    "SendsRubbishForAHandshake"};

constexpr std::chrono::seconds Longest_Exchange{60}; // once in a while Wine takes half a minute for a redirect

struct Hostile_Site {
    std::string name;
    std::string url;
    bool is_served = false; ///< surely
    std::string body;       ///< of a file that is served, or may be
};

void PrintTo(const Hostile_Site& site, std::ostream* out) {
    *out << site.name;
}

/// The servers are a program beside the test, see tests/windows/with_http_servers.py: it leaves their list in a file.
std::vector<Hostile_Site> Hostile_Sites() {
    const char* const list = std::getenv("QEL_TEST_HOSTILE_SERVERS");
    std::ifstream file(std::string("Z:") + (list == nullptr ? "" : list), std::ios::binary);
    std::vector<Hostile_Site> sites;
    for (Hostile_Site site; file >> site.name >> site.url >> site.is_served >> std::quoted(site.body);) {
        if (const auto doubtful = Doubtful_Responses.find(site.name); doubtful != Doubtful_Responses.end()) {
            site.is_served = false;
            site.body = doubtful->second;
        }
        if (!Endless_Requests.contains(site.name)) {
            sites.push_back(site);
        }
    }
    return sites;
}

class Hostile_Servers : public Cache_Home, public testing::WithParamInterface<Hostile_Site> {};

TEST_P(Hostile_Servers, LeaveAWholeCopy) {
    constexpr const char* old_content = "<old/>";
    const Hostile_Site& site = GetParam();
    Restart_Host();
    // A copy of what the server had when it was well.
    QEL::FrontEnd::FileCache::CacheEntry entry;
    entry.cached_file = cache->Generate_Cached_File_Name_from_Contents("text/xml", old_content, 6);
    entry.last_modified = "Wed, 21 Oct 2015 07:28:00 GMT";
    std::ofstream(entry.cached_file, std::ios::binary) << old_content;
    cache->Persist_Downloaded_File_Metadata(site.url, entry);

    const auto begin = std::chrono::steady_clock::now();
    const Served served = Get(site.url);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, Longest_Exchange);
    if (served.path == entry.cached_file) {
        EXPECT_FALSE(site.is_served);
        EXPECT_EQ(Content_Of(served.path), old_content);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    } else {
        EXPECT_TRUE(site.is_served || Doubtful_Responses.contains(site.name));
        EXPECT_EQ(Content_Of(served.path), site.body);
        EXPECT_FALSE(served.download_error);
        EXPECT_THAT(served.http_error, testing::AnyOf(0, 1, 2)) << "a check that failed is reported";
    }
    EXPECT_THAT(Copies(), testing::ElementsAre(served.path));
    EXPECT_EQ(cache->m_Cache_Entries.at(site.url).cached_file, served.path);
    Expect_Equal(Loaded(), cache->m_Cache_Entries);
}

INSTANTIATE_TEST_SUITE_P(Table, Hostile_Servers, testing::ValuesIn(Hostile_Sites()),
                         [](const auto& site) { return site.param.name; });

TEST(Hostile_Servers_Table, IsThere) {
    EXPECT_GE(Hostile_Sites().size(), 60U);
}

} // namespace
