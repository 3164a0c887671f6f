#include "tools/qelfilecache/Request_Outcome.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <ostream>

namespace QEL::FrontEnd::Tool {
namespace {

using namespace ::testing;

const std::string Share = "\\\\server\\share\\file";
const std::string Web = "https://server/file";
const std::string Ask_Explain =
    "ask 'qelfilecache explain --check REQUEST', which shows the server's status or the error's number";
const std::string No_Cause =
    "the download failed: the server responded with an error status, or the copy could not be written\n  Next: " +
    Ask_Explain + "; if that finds no fault, see every step with --trace-level 4 --trace-dir DIR.";

Request_Outcome Unserved(const std::string& request) {
    Request_Outcome outcome;
    outcome.request = request;
    return outcome;
}

Request_Outcome Of_The_Share(int code) {
    Request_Outcome outcome = Unserved(Share);
    outcome.file_share_error = code;
    return outcome;
}

Request_Outcome Of_The_Web(int code, const std::string& description = {}, const std::string& url = Web) {
    Request_Outcome outcome = Unserved(Web);
    outcome.http_error = code;
    outcome.additional_error_info = description.empty() ? "" : "===\nFile: " + url + "\nDescription: " + description;
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

struct Expected_Advice {
    const char* name;
    Request_Outcome outcome;
    std::string beginning; ///< of cause and remedy
};

void PrintTo(const Expected_Advice& advice, std::ostream* out) {
    *out << advice.name;
}

const Expected_Advice Advices[] = {
    {"EmptyRequest", Unserved(""),
     "the request is empty\n  Next: name a web address, a file on a share, or a local path."},
    {"ShareError0", Of_The_Share(0), "the file on the share could not be served\n  Next: "},
    {"ShareError1", Of_The_Share(1), "the file on the share could not be examined\n  Next: "},
    {"ShareError2", Of_The_Share(2), "the file could not be copied from the share\n  Next: "},
    {"ShareError3", Of_The_Share(3), "the file was copied, but the cache found no name for its copy\n  Next: "},
    {"ShareError4", Of_The_Share(4), "the file was copied, but the copy is gone\n  Next: "},
    {"UnnamedDownload", Of_The_Web(3), "the file was downloaded, but the cache found no name for its copy\n"},
    {"TransportError", Of_The_Web(2, "The certificate has expired.\r\n\n"),
     "The certificate has expired\n  Next: check the server's name and port, the network, and for https the "
     "certificate; " +
         Ask_Explain + "."},
    {"TransportErrorWithARemedy", Of_The_Web(2, "It expired. Renew it.\n"), "It expired\n  Next: Renew it."},
    {"TransportErrorOfAnotherRequest", Of_The_Web(2, "It expired. Renew it.\n", Web + "2"), No_Cause},
    {"NoCauseKept", Of_The_Web(2), No_Cause},
    {"Directory", Unserved(std::filesystem::current_path().string()), "it is a directory\n  Next: name a file in it."},
    {"WritableShare", Left_In_Place(), "the file is writable on its share"},
    {"SchemeFtp", Unserved("ftp://server/file"), "'ftp' is not a scheme that the cache serves"},
    {"SchemeInCapitals", Unserved("HTTP://server/file"), "'HTTP' is not a scheme that the cache serves"},
    {"SchemeWithACapital", Unserved("Https://server/file"), "'Https' is not a scheme that the cache serves"},
    {"MissingFileOfAUrl", Unserved("file:///C:/missing"), "the file URL names no file that exists"},
    {"FileUrlWithoutADrive", Unserved("file:///etc/hostname"),
     "a drive is expected behind \"file:///\", as in file:///C:/folder/file, so the URL names no file\n"
     "  Next: give the path without \"file://\"."},
    {"ShareWithSlashes", Unserved("//server/share/file"), "there is no such local file\n"},
    {"MalformedAddress", Not_Valid("http://server/a b"), "the address is not valid\n  Next: check its spelling; "},
    {"AddressWithoutSlashes", Not_Valid("http:"), "the address is not valid\n  Next: check its spelling; "},
    {"NoServer", Not_Valid("http:///x"), "the address names no server\n  Next: check its spelling; "},
    {"NoServerButAPort", Not_Valid("http://:80/x"), "the address names no server\n"},
    {"NoServerButAUser", Not_Valid("http://user@/x"), "the address names no server\n"},
    {"PortOutOfRange", Not_Valid("http://user:p@server:65536/x"), "the address has an invalid port number, '65536'\n"},
    {"PortOfLetters", Not_Valid("https://[::1]:8o?x"), "the address has an invalid port number, '8o'\n"},
    {"GoodPort", Not_Valid("http://[::1]:65535/ "), "the address is not valid\n"},
    {"ControlCharacter", Not_Valid("http://server/\n"),
     "the request holds a control character that is never served\n  Next: remove it."},
    {"OddFileUrl", Not_Valid("file:C:/x.xml"),
     "this form of file URL is not supported\n  Next: write file://server/share/file"},
};

class Failure_Advice : public TestWithParam<Expected_Advice> {};

TEST_P(Failure_Advice, HasACauseAndARemedy) {
    const std::string advice = Explain_Failure(GetParam().outcome);
    EXPECT_THAT(advice, StartsWith(GetParam().beginning));
    EXPECT_EQ(advice.ends_with("."), true) << advice;
    EXPECT_THAT(advice, HasSubstr("\n  Next: "));
}

INSTANTIATE_TEST_SUITE_P(Table, Failure_Advice, ValuesIn(Advices),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Failure_Advice_Of_A_Share, ShowsHowItIsWritten) {
    EXPECT_THAT(Explain_Failure(Unserved("//server/share/file")),
                HasSubstr("write a share with backslashes: \\\\server\\share\\file"));
}

TEST(Failure_Advice_Of_A_Share, SaysWhyItsServerWasNotAsked) {
    for (const auto& request : {Share, std::string("file://server/share/file")}) {
        Request_Outcome outcome = Unserved(request);
        outcome.file_share_error = 2;
        outcome.additional_error_info = "===\nFile: " + Share +
                                        "\nDescription: The server could not be reached. The server was last tried at "
                                        "noon.\n";
        EXPECT_EQ(Explain_Failure(outcome),
                  "The server could not be reached\n  Next: The server was last tried at noon.");
    }
}

TEST(Failure_Advice_Of_An_Old_Copy, HasCauseAndRemedyToo) {
    EXPECT_THAT(Explain_Old_Copy(Of_The_Web(2)),
                HasSubstr("could not be written; this is the copy of an earlier download\n  Next: " + Ask_Explain));
    EXPECT_EQ(Explain_Old_Copy(Of_The_Web(2, "It expired. Renew it.\n")),
              "It expired; this is the copy of an earlier download\n  Next: Renew it.");
    EXPECT_THAT(Explain_Old_Copy(Of_The_Share(2)),
                StartsWith("the file could not be copied from the share; this is "
                           "the copy of an earlier download\n  Next: check the server"));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
