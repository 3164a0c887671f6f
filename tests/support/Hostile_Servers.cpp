#include "tests/support/Hostile_Servers.h"

#include "platform/common/WinInet_Error.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;

constexpr auto Tick = 20ms;

/// The failure of a request for the file whose head alone can be had.
Request_Failure In_Body(std::uint32_t error) {
    return {error, true};
}

/// A server that reads the request, sends the text and closes.
Misbehaving_Server::Behaviour Answer(std::string text) {
    return [text](Server_Connection& client) {
        client.Read_Request();
        client.Send(text);
    };
}

/// The same, but the connection stays open until the client goes or sends something else.
Misbehaving_Server::Behaviour Answer_And_Wait(std::string text) {
    return [text](Server_Connection& client) {
        client.Read_Request();
        client.Send(text);
        client.Read_Request();
    };
}

/// A server that reads the request, sends the text and resets the connection.
Misbehaving_Server::Behaviour Answer_And_Reset(std::string text) {
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
Misbehaving_Server::Behaviour Endless(std::string head, std::string piece, std::chrono::milliseconds interval = 0ms) {
    return [=](Server_Connection& client) {
        client.Read_Request();
        client.Send(head);
        client.Send_Without_End(piece, interval);
    };
}

/// A server that does not wait for a request: what it sends goes into the TLS handshake or before the answer.
Misbehaving_Server::Behaviour Blurt(std::string text) {
    return [text](Server_Connection& client) {
        client.Send(text);
        client.Wait_For_Client_To_Go();
    };
}

const std::string Ok = "HTTP/1.1 200 OK\r\n";
const std::string Chunked = Ok + "Transfer-Encoding: chunked\r\n\r\n";
const std::string Nul(1, '\0');

const Hostile_Server Http_Servers[] = {
    // Silence and trickles
    {"NeverAnswers", [](Server_Connection& client) { client.Wait_For_Client_To_Go(); }, Error_Internet_Timeout},
    {"TricklesTheStatusLine", Endless("HTTP/1.1 200 ", "O", Tick), Error_Internet_Timeout},
    {"TricklesAHeader", Endless(Ok + "X-Slow: ", "a", Tick), Error_Internet_Timeout},
    {"TricklesHeaders", Endless(Ok, "A: b\r\n", Tick), Error_Internet_Timeout},
    {"TricklesInterimAnswers", Endless("", "HTTP/1.1 102 Processing\r\n\r\n", 60ms), Error_Internet_Timeout},
    {"TricklesTheBody", Endless(Ok + "Content-Length: 1000000\r\n\r\n", "a", Tick), In_Body(Error_Internet_Timeout)},
    {"TricklesChunks", Endless(Chunked, "1\r\na\r\n", Tick), In_Body(Error_Internet_Timeout)},
    {"TricklesAChunkSize", Endless(Chunked, "0", Tick), In_Body(Error_Internet_Timeout)},
    {"TricklesTrailers", Endless(Chunked + "1\r\na\r\n0\r\n", "A: b\r\n", Tick), In_Body(Error_Internet_Timeout)},
    {"FallsSilentInTheBody", Answer_And_Wait(Ok + "Content-Length: 10\r\n\r\nabc"), In_Body(Error_Internet_Timeout)},
    {"FallsSilentBeforeTheLastChunk", Answer_And_Wait(Chunked + "3\r\nabc\r\n"), In_Body(Error_Internet_Timeout)},

    // Lost connections
    {"ClosesWithoutReading", [](Server_Connection&) {}, Error_Internet_Connection_Aborted},
    {"ClosesWithoutAnAnswer", Answer(""), Error_Internet_Connection_Aborted},
    {"ResetsWithoutAnAnswer", Answer_And_Reset(""), Error_Internet_Connection_Aborted},
    {"ClosesInTheStatusLine", Answer("HTTP/1.1 2"), Error_Internet_Connection_Aborted},
    {"ClosesInTheHeaders", Answer(Ok + "Content-Le"), Error_Internet_Connection_Aborted},
    {"ClosesAfterAHeader", Answer(Ok + "Content-Length: 3\r\n"), Error_Internet_Connection_Aborted},
    {"ClosesAfterAnInterimAnswer", Answer("HTTP/1.1 100 Continue\r\n\r\n"), Error_Internet_Connection_Aborted},
    {"ResetsInTheHeaders", Answer_And_Reset(Ok + "Content-Le"), Error_Internet_Connection_Aborted},
    {"ResetsInTheBody", Answer_And_Reset(Ok + "Content-Length: 10\r\n\r\nabc"),
     In_Body(Error_Internet_Connection_Aborted)},
    {"ResetsInABodyWithoutLength", Answer_And_Reset(Ok + "\r\nabc"), In_Body(Error_Internet_Connection_Aborted)},
    {"SendsLessThanPromised", Answer(Ok + "Content-Length: 10\r\n\r\nabc"), In_Body(Error_Internet_Connection_Aborted)},
    {"LeavesOutTheLastChunk", Answer(Chunked + "3\r\nabc\r\n"), In_Body(Error_Internet_Connection_Aborted)},
    {"ClosesInsideAChunk", Answer(Chunked + "5\r\nabc"), In_Body(Error_Internet_Connection_Aborted)},

    // Answers that are none
    {"SpeaksHttp09", Answer("<html>hello</html>"), Error_Http_Invalid_Server_Response},
    {"SendsRubbish", Answer("\x16\x03\x01\x02\xFF\xFE" + Nul + "rubbish\r\n\r\n"), Error_Http_Invalid_Server_Response},
    {"SpeaksIcy", Answer("ICY 200 OK\r\nContent-Length: 3\r\n\r\nabc"), Error_Http_Invalid_Server_Response},
    {"SpeaksHttp99", Answer("HTTP/9.9 200 OK\r\nContent-Length: 3\r\n\r\nabc"), Error_Http_Invalid_Server_Response},
    {"SendsNoStatus", Answer("HTTP/1.1\r\n\r\n"), Error_Http_Invalid_Server_Response},
    {"SendsStatusText", Answer("HTTP/1.1 abc OK\r\n\r\n"), Error_Http_Invalid_Server_Response},
    {"SendsNegativeStatus", Answer("HTTP/1.1 -20 OK\r\n\r\n"), Error_Http_Invalid_Server_Response},
    {"SendsStatus000", Answer("HTTP/1.1 000 Zero\r\nContent-Length: 3\r\n\r\nabc"), Error_Http_Invalid_Server_Response},
    {"SendsStatus2000", Answer("HTTP/1.1 2000 Many\r\nContent-Length: 3\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsAStatusOfAnErrorNumber", Answer("HTTP/2 12029 Refused\r\nContent-Length: 3\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsANegativeStatusOfHttp2", Answer("HTTP/2 -200 OK\r\nContent-Length: 3\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsStatus999", Answer("HTTP/1.1 999 Odd\r\nContent-Length: 3\r\n\r\nabc"), 0, 999, "abc"},
    {"SwitchesProtocols", Answer_And_Wait("HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsInterimAnswersWithoutEnd", Endless("", "HTTP/1.1 100 Continue\r\n\r\n"), Error_Http_Invalid_Server_Response},
    {"SendsAnInterimAnswer",
     Answer("HTTP/1.1 103 Early Hints\r\nLast-Modified: never\r\n\r\n" + Ok + "Content-Length: 3\r\n\r\nabc"), 0, 200,
     "abc"},

    // Headers
    {"SendsHeadersWithoutEnd", Endless(Ok, "X-Header: " + std::string(1000, 'x') + "\r\n"),
     Error_Http_Invalid_Server_Response},
    {"SendsAHeaderWithoutEnd", Endless(Ok + "X-Header: ", std::string(1000, 'x')), Error_Http_Invalid_Server_Response},
    {"SendsALastModifiedOf1MB",
     Answer_And_Wait(Ok + "Content-Length: 0\r\nLast-Modified: " + std::string(1 << 20, 'x') + "\r\n\r\n"),
     Error_Http_Invalid_Server_Response},
    {"SendsTrailersWithoutEnd", Endless(Chunked + "1\r\na\r\n0\r\n", "X-Trailer: " + std::string(1000, 'x') + "\r\n"),
     In_Body(Error_Http_Invalid_Server_Response)},
    {"SendsNulInAHeader", Answer(Ok + "Content-Length: 3\r\nLast-Modified: a" + Nul + "b\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsCarriageReturnInAHeader", Answer(Ok + "Content-Length: 3\r\nLast-Modified: a\rforged: b\r\n\r\nabc"), 0, 200,
     "abc", "a forged: b"},
    {"SendsControlCharactersInAHeader",
     Answer(Ok + "Content-Length: 3\r\nLast-Modified: \x01"
                 "a\x1A"
                 "b\x7F\r\n\r\nabc"),
     0, 200, "abc", "a b"},
    {"FoldsAHeader", Answer(Ok + "Last-Modified: a\r\n  b\r\n\tc\r\nContent-Length: 3\r\n\r\nabc"), 0, 200, "abc",
     "a b c"},
    {"FoldsTheFirstHeader", Answer(Ok + " Last-Modified: a\r\nContent-Length: 3\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"SendsAHeaderWithoutAColon", Answer(Ok + "Last-Modified\r\nContent-Length: 3\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"RepeatsAHeader", Answer(Ok + "Last-Modified: a\r\nlast-modified: b\r\nContent-Length: 3\r\n\r\nabc"), 0, 200,
     "abc", "a"},
    {"EndsLinesWithLineFeeds", Answer("HTTP/1.1 200 OK\nLast-Modified: a\nContent-Length: 3\n\nabc"), 0, 200, "abc",
     "a"},
    {"SendsALastModifiedInATrailer", Answer(Chunked + "3\r\nabc\r\n0\r\nLast-Modified: forged\r\n\r\n"), 0, 200, "abc",
     ""},

    // Lengths and codings
    {"SendsMoreThanPromised", Answer(Ok + "Content-Length: 3\r\n\r\nabcdef"), 0, 200, "abc"},
    {"PromisesANegativeLength", Answer(Ok + "Content-Length: -1\r\n\r\nabc"), Error_Http_Invalid_Server_Response},
    {"PromisesNoNumber", Answer(Ok + "Content-Length: abc\r\n\r\nabc"), Error_Http_Invalid_Server_Response},
    {"PromisesMoreThan64BitsHold", Answer(Ok + "Content-Length: 99999999999999999999\r\n\r\nabc"),
     Error_Http_Invalid_Server_Response},
    {"Promises3GB", Answer_And_Wait(Ok + "Content-Length: 3000000000\r\n\r\nabc"),
     In_Body(Error_Http_Invalid_Server_Response)},
    {"Promises2GBAndSendsLittle", Answer(Ok + "Content-Length: 2147483647\r\n\r\nabc"),
     In_Body(Error_Internet_Connection_Aborted)},
    {"PromisesTwoLengths", Answer(Ok + "Content-Length: 3\r\nContent-Length: 5\r\n\r\nabcde"),
     Error_Http_Invalid_Server_Response},
    {"SendsLengthAndChunks",
     Answer(Ok + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"), 0, 200, "abc"},
    {"SendsWrongChunkSizes", Answer(Chunked + "zzz\r\nabc\r\n0\r\n\r\n"), In_Body(Error_Http_Invalid_Server_Response)},
    {"SendsChunksOfAnotherSize", Answer(Chunked + "2\r\nabc\r\n0\r\n\r\n"),
     In_Body(Error_Http_Invalid_Server_Response)},
    {"SendsAHugeChunkSize", Answer(Chunked + "FFFFFFFFFFFFFFFFF\r\nabc\r\n0\r\n\r\n"),
     In_Body(Error_Http_Invalid_Server_Response)},
    {"SendsANegativeChunkSize", Answer(Chunked + "-3\r\nabc\r\n0\r\n\r\n"),
     In_Body(Error_Http_Invalid_Server_Response)},
    {"SendsAChunkExtensionWithoutEnd", Endless(Chunked + "3;", std::string(1000, 'x')),
     In_Body(Error_Internet_Timeout)},
    {"CompressesTheBody", Answer(Ok + "Content-Encoding: gzip\r\nContent-Length: 3\r\n\r\n\x1F\x8B\x08"), 0, 200,
     "\x1F\x8B\x08"},
    {"CompressesTheTransfer", Answer(Ok + "Transfer-Encoding: gzip, chunked\r\n\r\n3\r\n\x1F\x8B\x08\r\n0\r\n\r\n"),
     Error_Http_Invalid_Server_Response},
    {"HidesACompressedTransfer",
     Answer(Ok + "Transfer-Encoding: chunked\r\nHTTP/1.1: 200\r\nTransfer-Encoding: gzip\r\n\r\n"
                 "3\r\n\x1F\x8B\x08\r\n0\r\n\r\n"),
     Error_Http_Invalid_Server_Response},
    {"HidesALength", Answer(Ok + "Content-Length: 5\r\nHTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcde"),
     Error_Http_Invalid_Server_Response},
    {"SendsABodyWith204", Answer("HTTP/1.1 204 No Content\r\nContent-Length: 3\r\n\r\nabc"), 0, 204, ""},
    {"SendsABodyWith304", Answer("HTTP/1.1 304 Not Modified\r\nContent-Length: 3\r\n\r\nabc"), 0, 304, ""},

    // Redirects
    {"RedirectsToAFile", Answer("HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd\r\nContent-Length: 0\r\n\r\n"), 0,
     302},
    {"RedirectsToAShare", Answer("HTTP/1.1 302 Found\r\nLocation: file://server/share/x\r\nContent-Length: 0\r\n\r\n"),
     0, 302},
    {"RedirectsToFtp", Answer("HTTP/1.1 301 Moved\r\nLocation: ftp://good.test/x\r\nContent-Length: 0\r\n\r\n"), 0,
     301},
    {"RedirectsToNowhere", Answer("HTTP/1.1 302 Found\r\nContent-Length: 0\r\n\r\n"), 0, 302},
    {"RedirectsToNoUrl", Answer("HTTP/1.1 302 Found\r\nLocation: http://\r\nContent-Length: 0\r\n\r\n"), 0, 302},
    {"RedirectsToItself", Answer("HTTP/1.1 302 Found\r\nLocation: /file.xml\r\nContent-Length: 0\r\n\r\n"),
     Error_Http_Redirect_Failed},
    {"RedirectsWithAMultipleChoice", Answer("HTTP/1.1 300 Choose\r\nLocation: /a\r\nContent-Length: 0\r\n\r\n"), 0,
     300},
};

// The same server with TLS on the client's side: what it sends goes into the handshake.
const Hostile_Server Tls_Servers[] = {
    {"NeverAnswersTheHandshake", [](Server_Connection& client) { client.Wait_For_Client_To_Go(); },
     Error_Internet_Timeout},
    {"StopsMidHandshake", Blurt("\x16\x03\x03" + Nul + "\x7A\x02"), Error_Internet_Timeout},
    {"TricklesTheHandshake",
     [](Server_Connection& client) {
         client.Send("\x16\x03\x03\x3F\xFF\x02" + Nul + "\x3F\xFB");
         client.Send_Without_End("a", Tick);
     },
     Error_Internet_Timeout},
    {"ClosesMidHandshake", [](Server_Connection& client) { client.Send("\x16\x03\x03" + Nul + "\x7A\x02"); },
     Error_Internet_Security_Channel},
    {"ResetsMidHandshake",
     [](Server_Connection& client) {
         client.Pause(Tick);
         client.Reset();
     },
     Error_Internet_Security_Channel},
    {"SpeaksPlainHttp", Blurt("HTTP/1.1 400 Bad Request\r\n\r\n"), Error_Internet_Security_Channel},
    {"SendsRubbishForAHandshake", Blurt(std::string(4096, 'r')), Error_Internet_Security_Channel},
    {"RefusesTheTlsVersion", Blurt("\x15\x03\x03" + Nul + "\x02\x02\x46"), Error_Internet_Security_Channel},
    {"RefusesTheHandshake", Blurt("\x15\x03\x03" + Nul + "\x02\x02\x28"), Error_Internet_Security_Channel},
};

} // namespace

std::span<const Hostile_Server> Hostile_Http_Servers() {
    return Http_Servers;
}

std::span<const Hostile_Server> Hostile_Tls_Servers() {
    return Tls_Servers;
}

} // namespace QEL::Tests
