#include "tests/support/Hostile_Servers.h"

#include "platform/common/WinInet_Error.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;

constexpr auto Timed_Out = FrontEnd::Platform::Error_Internet_Timeout;
constexpr auto Aborted = FrontEnd::Platform::Error_Internet_Connection_Aborted;
constexpr auto Invalid = FrontEnd::Platform::Error_Http_Invalid_Server_Response;
constexpr auto Insecure = FrontEnd::Platform::Error_Internet_Security_Channel;
constexpr auto Redirected = FrontEnd::Platform::Error_Http_Redirect_Failed;

constexpr auto Tick = 20ms;

/// The failure of a request for the file whose head alone can be had.
Request_Failure In_Body(std::uint32_t error) {
    return {error, true};
}

/// A server that reads the request, sends the text and closes.
Web_Server::Behaviour Respond(std::string text) {
    return [text](Server_Connection& client) {
        client.Read_Request();
        client.Send(text);
    };
}

/// The same, but the connection stays open until the client goes or sends something else.
Web_Server::Behaviour Respond_And_Wait(std::string text) {
    return [text](Server_Connection& client) {
        client.Read_Request();
        client.Send(text);
        client.Read_Request();
    };
}

/// A server that reads the request, sends the text and resets the connection.
Web_Server::Behaviour Respond_And_Reset(std::string text) {
    return [text](Server_Connection& client) {
        const auto request = client.Read_Request();
        client.Send(text);
        // A reset overtakes what is still on its way. A client that gets all that it asked for says nothing until it
        // goes or makes its next request.
        if (request.starts_with("HEAD") && text.find("\r\n\r\n") != std::string::npos) {
            client.Read_Request();
        } else {
            client.Pause(5 * Tick);
        }
        client.Reset();
    };
}

/// A server that sends the head, then the piece again and again.
Web_Server::Behaviour Endless(std::string head, std::string piece, std::chrono::milliseconds interval = 0ms) {
    return [=](Server_Connection& client) {
        client.Read_Request();
        client.Send(head);
        client.Send_Without_End(piece, interval);
    };
}

/// A server that does not wait for a request: what it sends goes into the TLS handshake or before the response.
Web_Server::Behaviour Blurt(std::string text) {
    return [text](Server_Connection& client) {
        client.Send(text);
        client.Wait_For_Client_To_Go();
    };
}

const std::string Ok = "HTTP/1.1 200 OK\r\n";
const std::string Chunked = Ok + "Transfer-Encoding: chunked\r\n\r\n";
const std::string Abc = "Content-Length: 3\r\n\r\nabc"; // the last header and a body
const std::string No_Body = "Content-Length: 0\r\n\r\n";
const std::string Nul(1, '\0');

const Web_Server::Behaviour Silence = [](Server_Connection& client) { client.Wait_For_Client_To_Go(); };

} // namespace

const std::vector<Hostile_Server> Hostile_Http_Servers = {
    // Silence and trickles
    {"NeverResponds", Silence, Timed_Out},
    {"TricklesTheStatusLine", Endless("HTTP/1.1 200 ", "O", Tick), Timed_Out},
    {"TricklesAHeader", Endless(Ok + "X-Slow: ", "a", Tick), Timed_Out},
    {"TricklesHeaders", Endless(Ok, "A: b\r\n", Tick), Timed_Out},
    {"TricklesInterimResponses", Endless("", "HTTP/1.1 102 Processing\r\n\r\n", 60ms), Timed_Out},
    {"TricklesTheBody", Endless(Ok + "Content-Length: 1000000\r\n\r\n", "a", Tick), In_Body(Timed_Out)},
    {"TricklesChunks", Endless(Chunked, "1\r\na\r\n", Tick), In_Body(Timed_Out)},
    {"TricklesAChunkSize", Endless(Chunked, "0", Tick), In_Body(Timed_Out)},
    {"TricklesTrailers", Endless(Chunked + "1\r\na\r\n0\r\n", "A: b\r\n", Tick), In_Body(Timed_Out)},
    {"FallsSilentInTheBody", Respond_And_Wait(Ok + "Content-Length: 10\r\n\r\nabc"), In_Body(Timed_Out)},
    {"FallsSilentBeforeTheLastChunk", Respond_And_Wait(Chunked + "3\r\nabc\r\n"), In_Body(Timed_Out)},

    // Lost connections
    {"ClosesWithoutReading", [](Server_Connection&) {}, Aborted},
    {"ClosesWithoutAResponse", Respond(""), Aborted},
    {"ResetsWithoutAResponse", Respond_And_Reset(""), Aborted},
    {"ClosesInTheStatusLine", Respond("HTTP/1.1 2"), Aborted},
    {"ClosesInTheHeaders", Respond(Ok + "Content-Le"), Aborted},
    {"ClosesAfterAHeader", Respond(Ok + "Content-Length: 3\r\n"), Aborted},
    {"ClosesAfterAnInterimResponse", Respond("HTTP/1.1 100 Continue\r\n\r\n"), Aborted},
    {"ResetsInTheHeaders", Respond_And_Reset(Ok + "Content-Le"), Aborted},
    {"ResetsInTheBody", Respond_And_Reset(Ok + "Content-Length: 10\r\n\r\nabc"), In_Body(Aborted)},
    {"ResetsInABodyWithoutLength", Respond_And_Reset(Ok + "\r\nabc"), In_Body(Aborted)},
    {"SendsLessThanItsContentLength", Respond(Ok + "Content-Length: 10\r\n\r\nabc"), In_Body(Aborted)},
    {"LeavesOutTheLastChunk", Respond(Chunked + "3\r\nabc\r\n"), In_Body(Aborted)},
    {"ClosesInsideAChunk", Respond(Chunked + "5\r\nabc"), In_Body(Aborted)},

    // Responses that are not valid
    {"SpeaksHttp09", Respond("<html>hello</html>"), Invalid},
    {"SendsRubbish", Respond("\x16\x03\x01\x02\xFF\xFE" + Nul + "rubbish\r\n\r\n"), Invalid},
    {"SpeaksIcy", Respond("ICY 200 OK\r\n" + Abc), Invalid},
    {"SpeaksHttp99", Respond("HTTP/9.9 200 OK\r\n" + Abc), Invalid},
    {"SendsNoStatus", Respond("HTTP/1.1\r\n\r\n"), Invalid},
    {"SendsStatusText", Respond("HTTP/1.1 abc OK\r\n\r\n"), Invalid},
    {"SendsNegativeStatus", Respond("HTTP/1.1 -20 OK\r\n\r\n"), Invalid},
    {"SendsStatus000", Respond("HTTP/1.1 000 Zero\r\n" + Abc), Invalid},
    {"SendsStatus2000", Respond("HTTP/1.1 2000 Many\r\n" + Abc), Invalid},
    {"SendsAStatusOfAnErrorNumber", Respond("HTTP/2 12029 Refused\r\n" + Abc), Invalid},
    {"SendsANegativeStatusOfHttp2", Respond("HTTP/2 -200 OK\r\n" + Abc), Invalid},
    {"SendsStatus999", Respond("HTTP/1.1 999 Odd\r\n" + Abc), 0, 999, ""},
    {"SwitchesProtocols", Respond_And_Wait("HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\nabc"), Invalid},
    {"SendsInterimResponsesWithoutEnd", Endless("", "HTTP/1.1 100 Continue\r\n\r\n"), Invalid},
    {"SendsAnInterimResponse", Respond("HTTP/1.1 103 Early Hints\r\nLast-Modified: never\r\n\r\n" + Ok + Abc), 0, 200,
     "abc"},

    // Headers
    {"SendsHeadersWithoutEnd", Endless(Ok, "X-Header: " + std::string(1000, 'x') + "\r\n"), Invalid},
    {"SendsAHeaderWithoutEnd", Endless(Ok + "X-Header: ", std::string(1000, 'x')), Invalid},
    {"SendsALastModifiedOf1MB",
     Respond_And_Wait(Ok + "Content-Length: 0\r\nLast-Modified: " + std::string(1 << 20, 'x') + "\r\n\r\n"), Invalid},
    {"SendsTrailersWithoutEnd", Endless(Chunked + "1\r\na\r\n0\r\n", "X-Trailer: " + std::string(1000, 'x') + "\r\n"),
     In_Body(Invalid)},
    {"SendsNulInAHeader", Respond(Ok + "Content-Length: 3\r\nLast-Modified: a" + Nul + "b\r\n\r\nabc"), Invalid},
    {"SendsCarriageReturnInAHeader", Respond(Ok + "Content-Length: 3\r\nLast-Modified: a\rforged: b\r\n\r\nabc"), 0,
     200, "abc", "a forged: b"},
    {"SendsControlCharactersInAHeader",
     Respond(Ok + "Content-Length: 3\r\nLast-Modified: \x01"
                  "a\x1A"
                  "b\x7F\r\n\r\nabc"),
     0, 200, "abc", "a b"},
    {"FoldsAHeader", Respond(Ok + "Last-Modified: a\r\n  b\r\n\tc\r\n" + Abc), 0, 200, "abc", "a b c"},
    {"FoldsTheFirstHeader", Respond(Ok + " Last-Modified: a\r\n" + Abc), Invalid},
    {"SendsAHeaderWithoutAColon", Respond(Ok + "Last-Modified\r\n" + Abc), Invalid},
    {"RepeatsAHeader", Respond(Ok + "Last-Modified: a\r\nlast-modified: b\r\n" + Abc), 0, 200, "abc", "a"},
    {"EndsLinesWithLineFeeds", Respond("HTTP/1.1 200 OK\nLast-Modified: a\nContent-Length: 3\n\nabc"), 0, 200, "abc",
     "a"},
    {"SendsALastModifiedInATrailer", Respond(Chunked + "3\r\nabc\r\n0\r\nLast-Modified: forged\r\n\r\n"), 0, 200, "abc",
     ""},

    // Lengths and codings
    {"SendsMoreThanItsContentLength", Respond(Ok + "Content-Length: 3\r\n\r\nabcdef"), 0, 200, "abc"},
    {"SendsANegativeLength", Respond(Ok + "Content-Length: -1\r\n\r\nabc"), Invalid},
    {"SendsALengthOfLetters", Respond(Ok + "Content-Length: abc\r\n\r\nabc"), Invalid},
    {"SendsALengthBeyond64Bits", Respond(Ok + "Content-Length: 99999999999999999999\r\n\r\nabc"), Invalid},
    {"SendsALengthBeyondTheDisk", Respond_And_Wait(Ok + "Content-Length: 900000000000000\r\n\r\nabc"),
     In_Body(Invalid)},
    {"SendsALengthOf2GBAndLittleMore", Respond(Ok + "Content-Length: 2147483647\r\n\r\nabc"), In_Body(Aborted)},
    {"SendsTwoLengths", Respond(Ok + "Content-Length: 3\r\nContent-Length: 5\r\n\r\nabcde"), Invalid},
    {"SendsLengthAndChunks",
     Respond(Ok + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"), 0, 200, "abc"},
    {"SendsWrongChunkSizes", Respond(Chunked + "zzz\r\nabc\r\n0\r\n\r\n"), In_Body(Invalid)},
    {"SendsChunksOfAnotherSize", Respond(Chunked + "2\r\nabc\r\n0\r\n\r\n"), In_Body(Invalid)},
    {"SendsAHugeChunkSize", Respond(Chunked + "FFFFFFFFFFFFFFFFF\r\nabc\r\n0\r\n\r\n"), In_Body(Invalid)},
    {"SendsANegativeChunkSize", Respond(Chunked + "-3\r\nabc\r\n0\r\n\r\n"), In_Body(Invalid)},
    {"SendsAChunkExtensionWithoutEnd", Endless(Chunked + "3;", std::string(1000, 'x')), In_Body(Timed_Out)},
    {"CompressesTheBody", Respond(Ok + "Content-Encoding: gzip\r\nContent-Length: 3\r\n\r\n\x1F\x8B\x08"), 0, 200,
     "\x1F\x8B\x08"},
    {"CompressesTheTransfer", Respond(Ok + "Transfer-Encoding: gzip, chunked\r\n\r\n3\r\n\x1F\x8B\x08\r\n0\r\n\r\n"),
     Invalid},
    {"HidesACompressedTransfer",
     Respond(Ok + "Transfer-Encoding: chunked\r\nHTTP/1.1: 200\r\nTransfer-Encoding: gzip\r\n\r\n"
                  "3\r\n\x1F\x8B\x08\r\n0\r\n\r\n"),
     Invalid},
    {"HidesALength", Respond(Ok + "Content-Length: 5\r\nHTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcde"), Invalid},
    {"SendsABodyWith204", Respond("HTTP/1.1 204 No Content\r\n" + Abc), 0, 204, ""},
    {"SendsABodyWith304", Respond("HTTP/1.1 304 Not Modified\r\n" + Abc), 0, 304, ""},

    // Redirects
    {"RedirectsToAFile", Respond("HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd\r\n" + No_Body), 0, 302},
    {"RedirectsToAShare", Respond("HTTP/1.1 302 Found\r\nLocation: file://server/share/x\r\n" + No_Body), 0, 302},
    {"RedirectsToFtp", Respond("HTTP/1.1 301 Moved\r\nLocation: ftp://good.test/x\r\n" + No_Body), 0, 301},
    {"RedirectsToNowhere", Respond("HTTP/1.1 302 Found\r\n" + No_Body), 0, 302},
    {"RedirectsToNoUrl", Respond("HTTP/1.1 302 Found\r\nLocation: http://\r\n" + No_Body), 0, 302},
    {"RedirectsToItself", Respond("HTTP/1.1 302 Found\r\nLocation: /file.xml\r\n" + No_Body), Redirected},
    {"RedirectsWithAMultipleChoice", Respond("HTTP/1.1 300 Choose\r\nLocation: /a\r\n" + No_Body), 0, 300},
};

// The same server with TLS on the client's side: what it sends goes into the handshake.
const std::vector<Hostile_Server> Hostile_Tls_Servers = {
    {"NeverRespondsToTheHandshake", Silence, Timed_Out},
    {"StopsMidHandshake", Blurt("\x16\x03\x03" + Nul + "\x7A\x02"), Timed_Out},
    {"TricklesTheHandshake",
     [](Server_Connection& client) {
         client.Send("\x16\x03\x03\x3F\xFF\x02" + Nul + "\x3F\xFB");
         client.Send_Without_End("a", Tick);
     },
     Timed_Out},
    {"ClosesMidHandshake", [](Server_Connection& client) { client.Send("\x16\x03\x03" + Nul + "\x7A\x02"); }, Insecure},
    {"ResetsMidHandshake",
     [](Server_Connection& client) {
         client.Pause(Tick);
         client.Reset();
     },
     Insecure},
    {"SpeaksPlainHttp", Blurt("HTTP/1.1 400 Bad Request\r\n\r\n"), Insecure},
    {"SendsRubbishForAHandshake", Blurt(std::string(4096, 'r')), Insecure},
    {"RefusesTheTlsVersion", Blurt("\x15\x03\x03" + Nul + "\x02\x02\x46"), Insecure},
    {"RefusesTheHandshake", Blurt("\x15\x03\x03" + Nul + "\x02\x02\x28"), Insecure},
};

} // namespace QEL::Tests
