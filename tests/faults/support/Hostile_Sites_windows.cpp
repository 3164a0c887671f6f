// The servers are a program beside the test, see tests/windows/with_http_servers.py: it leaves their
// list in a file.

#include "tests/faults/support/Hostile_Sites.h"

namespace QEL::Tests {

namespace {

/// What the system's clients may take for a file, or not: they do not say how a response was framed.
struct Doubtful_Response {
    const char* name;
    const char* body;
};

constexpr Doubtful_Response Doubtful_Responses[] = {
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

/// Wine's request object ignores time-outs, and once in a while misses a reset: these requests end when their
/// servers let go of them, or never. The servers whose responses time out elsewhere are left out with them.
const std::set<std::string> Endless_Requests = {
    "SwitchesProtocols",        "SendsALengthBeyondTheDisk",  "SendsInterimResponsesWithoutEnd",
    "SendsHeadersWithoutEnd",   "SendsAHeaderWithoutEnd",     "SendsTrailersWithoutEnd",
    "ResetsInTheBody",          "ResetsInABodyWithoutLength", "SpeaksPlainHttp",
    "SendsRubbishForAHandshake"};

constexpr std::string_view To_The_Check_Alone = "ToTheCheckAlone";

/// The name of a server, in whatever it is hostile.
std::string Server_Name(const Hostile_Site& site) {
    return site.name.substr(0, site.name.find(To_The_Check_Alone));
}

void Remove_Endless_Requests(std::vector<Hostile_Site>& sites) {
    auto endless = Endless_Requests;
    for (const auto& site : sites) {
        if (site.head == Ending::Timed_Out || site.file == Ending::Timed_Out) {
            endless.insert(Server_Name(site));
        }
    }
    std::erase_if(sites, [&](const Hostile_Site& site) { return endless.contains(Server_Name(site)); });
}

/// The site as the clients of this platform may see it.
void Make_Lenient(Hostile_Site& site) {
    site.head = Ending::Doubtful;
    if (site.name.ends_with(To_The_Check_Alone)) {
        // The good file is asked for on the connection of the check. Whether its end is noticed before
        // that, and another connection made, is a matter of microseconds.
        site.file = Ending::Doubtful;
    }
    for (const auto& response : Doubtful_Responses) {
        if (site.name == response.name) {
            site.file = Ending::Doubtful;
            site.body = response.body;
        }
    }
}

std::vector<Hostile_Site> Read_Sites() {
    const char* const list = std::getenv("QEL_TEST_HOSTILE_SERVERS");
    std::ifstream file(std::string("Z:") + (list == nullptr ? "" : list), std::ios::binary);
    std::vector<Hostile_Site> sites(std::istream_iterator<Hostile_Site>(file), {});
    Remove_Endless_Requests(sites);
    std::for_each(sites.begin(), sites.end(), Make_Lenient);
    return sites;
}

} // namespace

const std::chrono::seconds Longest_Exchange{60}; // once in a while Wine takes half a minute for a redirect

const std::vector<Hostile_Site>& Hostile_Sites() {
    static const std::vector<Hostile_Site> sites = Read_Sites();
    return sites;
}

void Be_Impatient_With(const Hostile_Site&) {}

} // namespace QEL::Tests
