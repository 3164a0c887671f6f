#include "tests/support/Standard_Library.h"
#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/host.h"

#include <gmock/gmock.h>

namespace QEL::FrontEnd::Tool {
namespace {

using namespace ::testing;

const std::string Share = "\\\\server\\share\\file";
const std::string Web = "https://server/file";
constexpr bool Has_Drives = std::filesystem::path::preferred_separator == '\\';
const std::string See_Every_Step = "\n  Next: check that the cache directory still exists; see every step with ";

Request_Outcome Unserved(const std::string& request) {
    Request_Outcome outcome;
    outcome.request = request;
    return outcome;
}

Request_Outcome Of_The_Share(int code, const FileCache::Last_Request_Info& last = {},
                             const std::string& request = Share) {
    Request_Outcome outcome = Unserved(request);
    outcome.file_share_error = code;
    outcome.last = last;
    return outcome;
}

Request_Outcome Of_The_Web(int code, const FileCache::Last_Request_Info& last = {}) {
    Request_Outcome outcome = Unserved(Web);
    outcome.http_error = code;
    outcome.last = last;
    return outcome;
}

Request_Outcome Through_A_Proxy(const FileCache::Last_Request_Info& last,
                                const std::string& request = "http://server/file") {
    Request_Outcome outcome = Of_The_Web(2, last);
    outcome.request = request;
    outcome.proxy = {"proxy", "10.0.0.1:3128", "http_proxy", ""};
    return outcome;
}

Request_Outcome Directly(const FileCache::Last_Request_Info& last) {
    Request_Outcome outcome = Of_The_Web(2, last);
    outcome.proxy.emplace();
    return outcome;
}

Request_Outcome Not_Valid(const std::string& request) {
    Request_Outcome outcome = Unserved(request);
    outcome.is_valid = false;
    return outcome;
}

Request_Outcome Left_In_Place() {
    Request_Outcome outcome = Unserved(Share);
    outcome.left_in_place = true;
    return outcome;
}

TEST(Failure_Advice, HasACauseAndARemedy) {
    const std::pair<Request_Outcome, std::string> cases[] = {
        {Unserved(""), "the request is empty\n  Next: name a web address, a file on a share, or a local path."},
        {Of_The_Share(0), "the file on the share could not be served\n  Next: "},
        {Of_The_Share(1), "the file on the share could not be examined\n  Next: "},
        {Of_The_Share(2), "the file could not be copied from the share\n  Next: "},
        {Of_The_Share(3), "the file was copied, but the cache found no name for its copy\n  Next: "},
        {Of_The_Share(4), "the file was copied, but the copy is gone\n  Next: "},
        {Of_The_Share(2, {0, 1326, ""}),
         "the file could not be copied from the share: the server refuses the user or the password (error 1326)\n"
         "  Next: check the user and the password for the share: those of this user, or of [Shares] in qel.ini."},
        {Of_The_Share(2, {0, 53, ""}, "\\\\server"),
         "the file could not be copied from the share: the request names no "
         "file on a share (error 53)\n  Next: write \\\\server\\share\\file."},
        {Of_The_Share(2, {0, 2, ""}, "C:\\a\\b.xml"),
         Has_Drives ? "the file could not be copied from the share: the file cannot be found (error 2)"
                    : "the file could not be copied from the share: a path with a drive letter names a file on Windows "
                      "only (error 2)\n  Next: give the path that the file has on this machine."},
        {Of_The_Share(2, {0, 5, ""}, "\\\\server\\share\\"),
         "the file could not be copied from the share: the request "},
        {Of_The_Share(2, {0, 5, ""}, "file://server/share"),
         "the file could not be copied from the share: the request "},
        {Of_The_Share(2, {0, 5, ""}), "the file could not be copied from the share: access is denied (error 5)\n"
                                      "  Next: check that it is a file, and that this user may read it."},
        {Of_The_Web(3), "the file was downloaded, but the cache found no name for its copy\n"},
        {Of_The_Web(2, {0, 12037, "It is old.\r\n\n"}),
         "the server's certificate has expired or is not yet valid; the system says: it is old (error 12037)\n"
         "  Next: renew it, or correct this machine's date."},
        {Of_The_Web(2, {0, 12037, "It expired. Renew it."}), "it expired (error 12037)\n  Next: renew it."},
        {Of_The_Web(2, {0, 223, "The file is too large: LandscapeLargestFile allows 1 MB."}),
         "the file is too large: LandscapeLargestFile allows 1 MB (error 223)\n  Next: compare its size with "
         "LandscapeLargestFile."},
        {Of_The_Web(2, {0, 12099, ""}), "the request failed (error 12099)\n  Next: run"},
        {Of_The_Web(2, {403, 0, ""}), "the server responds with status 403 (forbidden)\n  Next: let this"},
        {Through_A_Proxy({407, 0, ""}),
         "the proxy 10.0.0.1:3128 (http_proxy) requires a login (status 407)\n  Next: have the proxy"},
        {Through_A_Proxy({0, 12029, ""}),
         "the proxy 10.0.0.1:3128 (http_proxy) cannot be connected to (error 12029)\n  Next: check that it runs"},
        {Through_A_Proxy({0, 12002, ""}),
         "the proxy 10.0.0.1:3128 (http_proxy), or the server behind it, did not respond in time (error 12002)\n  "
         "Next: "},
        {Through_A_Proxy({0, 12152, ""}),
         "the response of the proxy 10.0.0.1:3128 (http_proxy), or the server behind it, is not valid HTTP (error "
         "12152)\n"},
        {Through_A_Proxy({403, 0, ""}),
         "the proxy 10.0.0.1:3128 (http_proxy), or the server behind it, responds with "
         "status 403 (forbidden)\n  Next: let this machine read the file, or have the proxy "
         "allow this server."},
        {Directly({407, 0, ""}),
         "the server asks for a proxy's login, although the request goes through none (status 407)\n"
         "  Next: check the address, and the server."},
        {Through_A_Proxy({500, 0, ""}), "the proxy 10.0.0.1:3128 (http_proxy), or the server behind it, responds"},
        {Through_A_Proxy({404, 0, ""}), "the server responds with status 404 (not found)\n"},
        {Through_A_Proxy({502, 0, ""}, Web), "the server responds with status 502 (bad gateway)\n"},
        {Of_The_Web(2, {404, 0, "It responds; the request was redirected to 'http://a.b/c'. Check the address."}),
         "the server responds with status 404 (not found); the request was redirected to 'http://a.b/c'\n  Next: "},
        {Of_The_Web(2, {404, 0, "It responds; the request was redirected to 'http://long"}),
         "the server responds with status 404 (not found); the request was redirected to 'http://long\n  Next: "},
        {Of_The_Web(2, {302, 0, "It responds; the request was redirected to 'ftp://a/b'. Use."}),
         "the server responds with status 302 (a redirect that is not followed); the request was redirected to "
         "'ftp://a/b'\n  Next: let the server redirect to an address with http: or https:."},
        {Of_The_Web(2, {302, 0, "It responds; the request was redirected to 'http://a/b'. Use."}),
         "the server responds with status 302 (a redirect that is not followed); the request was redirected to "
         "'http://a/b', from https to http\n  Next: let the server redirect to an address with https:."},
        {Of_The_Web(2, {302, 0, "It responds. Use."}),
         std::string("the server responds with status 302 (a redirect that is not followed)") +
             (Has_Drives ? "\n  Next: use" : ", without a Location\n  Next: correct the server's redirect.")},
        {Through_A_Proxy({0, 12029, "The server h cannot be connected to. Look."}),
         "the server h cannot be connected to (error 12029)\n  Next: look."},
        {Of_The_Web(2, {200, 0, ""}), "the file was downloaded, but its copy could not be saved" + See_Every_Step},
        {Of_The_Web(2), "the download failed, and the system does not say why" + See_Every_Step},
        {Unserved(std::filesystem::current_path().string()), "it is a directory\n  Next: name a file in it."},
        {Left_In_Place(), "the file is writable on its share"},
        {Unserved(" http://server/x"),
         "the request begins or ends with a blank\n  Next: did you mean 'http://server/x'?"},
        {Unserved(" "), "the request is empty\n"},
        {Unserved("https//server/x"), "there is no such local file\n  Next: did you mean 'https://server/x'?"},
        {Not_Valid("http:/server/x"), "the address is not valid\n  Next: did you mean 'http://server/x'?"},
        {Not_Valid("http:\\\\server:80\\x"), "the address is not valid\n  Next: did you mean 'http://server:80/x'?"},
        {Unserved("\"C:/x\""), "there is no such local file\n  Next: did you mean 'C:/x'?"},
        {Unserved("server:80/x"), "there is no such local file\n  Next: did you mean 'http://server:80/x'?"},
        {Unserved("www.server/x"), "there is no such local file\n  Next: did you mean 'http://www.server/x'?"},
        {Unserved("C:/x"), "there is no such local file\n  Next: check the path."},
        {Unserved("smb://u:p@server/share/file"),
         "'smb' is not a scheme that the cache serves\n  Next: did you mean '\\\\server\\share\\file'?"},
        {Unserved("CIFS://server/share"),
         "'CIFS' is not a scheme that the cache serves\n  Next: did you mean '\\\\server"},
        {Unserved("\\server\\share\\file"), Has_Drives ? "there is no such local file\n  Next: check the path."
                                                       : "there is no such local file\n  Next: did you mean "
                                                         "'\\\\server\\share\\file'? Write it in single quotes."},
        {Unserved("\\serversharefile"),
         Has_Drives
             ? "there is no such local file\n  Next: check the path."
             : "there is no such local file\n  Next: a shell removes backslashes: write '\\\\server\\share\\file' in"},
        {Unserved("gone/01234567-89ab-cdef-0123-456789abcdef.xml"),
         "it is named like a copy of the cache, but there is no such file: a copy may have been replaced or deleted\n"
         "  Next: ask for its address again; "},
        {Not_Valid("file:/etc/x"), Has_Drives
                                       ? "this form of file URL is not supported\n  Next: write file://server"
                                       : "this form of file URL is not supported\n  Next: did you mean '/etc/x'?"},
        {Unserved("ftp://server/file"), "'ftp' is not a scheme that the cache serves"},
        {Unserved("HTTP://server/file"), "'HTTP' is not a scheme that the cache serves"},
        {Unserved("Https://server/file"), "'Https' is not a scheme that the cache serves"},
        {Unserved("file:///C:/missing"), "the file URL names no file that exists"},
        {Unserved("file:///etc/hostname"),
         !Has_Drives
             ? "this form of file URL is not supported\n  Next: did you mean '/etc/hostname'?"
             : "a drive is expected after \"file:///\", as in file:///C:/folder/file, so the URL names no file\n"
               "  Next: give the path without \"file://\"."},
        {Unserved("//server/share/file"),
         "there is no such local file\n  Next: write a share with backslashes: \\\\server\\share\\file"},
        {Not_Valid("http://server/a b"), "the address is not valid\n  Next: check its spelling; "},
        {Not_Valid("http:"), "the address is not valid\n  Next: check its spelling; "},
        {Not_Valid("http:///x"), "the address names no server\n  Next: check its spelling; "},
        {Not_Valid("http://:80/x"), "the address names no server\n"},
        {Not_Valid("http://user@/x"), "the address names no server\n"},
        {Not_Valid("http://user:p@server:65536/x"), "the address has an invalid port number, '65536'\n"},
        {Not_Valid("https://[::1]:8o?x"), "the address has an invalid port number, '8o'\n"},
        {Not_Valid("http://[::1]:65535/ "), "the address is not valid\n"},
        {Not_Valid("http://server/\n"), "the request contains a control character\n  Next: remove it."},
        {Not_Valid("file:C:/x.xml"),
         std::string("this form of file URL is not supported\n  Next: write file://server/share/file for a share, ") +
             (Has_Drives ? "file:///C:/folder/file for a drive." : "the plain path for a local file.")},
    };

    for (const auto& [outcome, beginning] : cases) {
        const std::string advice = Explain_Failure(outcome);
        EXPECT_THAT(advice, StartsWith(beginning));
        EXPECT_TRUE(advice.ends_with(".") || advice.ends_with("?")) << advice;
        EXPECT_THAT(advice, HasSubstr("\n  Next: "));
    }
}

TEST(Failure_Advice_Of_A_Share, SaysWhyItsServerWasNotAsked) {
    auto outcome = Of_The_Share(2, {0, 53, "The server could not be reached. The server was last tried at noon."});
    for (const auto& request : {Share, std::string("file://server/share/file")}) {
        outcome.request = request;
        EXPECT_EQ(Explain_Failure(outcome), "the file could not be copied from the share: the server could not be "
                                            "reached (error 53)\n  Next: the server was last tried at noon.");
    }
}

TEST(Failure_Advice_Of_A_Name_Beyond_Ascii, ShowsTheFormOfTheNameService) {
    const bool has_hint = std::filesystem::path::preferred_separator == '/'; // the client of Windows takes such names
    auto outcome = Of_The_Web(2, {0, 12005, "It is not valid. Look."});
    for (const auto& [request, remedy] :
         {std::pair<std::string, std::string>{"http://www.M\xC3\xBCller.example:80/\xC3\xBC",
                                              "did you mean 'http://www.xn--mller-kva.example:80/\xC3\xBC'?"},
          {"http://\xE4\xBE\x8B\xE3\x81\x88.\xC3\xA4\xC3\xB6\xC3\xBC", "did you mean 'http://xn--r8jz45g.xn--4ca0bs'?"},
          {"http://\xFF/", "look."}}) {
        outcome.request = request;
        EXPECT_EQ(Explain_Failure(outcome), "it is not valid (error 12005)\n  Next: " + (has_hint ? remedy : "look."));
    }
}

TEST(Failure_Advice_Of_An_Old_Copy, HasCauseAndRemedyToo) {
    EXPECT_EQ(Explain_Old_Copy(Of_The_Web(2, {0, 12037, "It expired. Renew it."})),
              "it expired (error 12037); this is the last good copy\n  Next: renew it.");
    EXPECT_THAT(Explain_Old_Copy(Of_The_Share(2)), StartsWith("the file could not be copied from the share; this is "
                                                              "the last good copy\n  Next: check the server"));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
