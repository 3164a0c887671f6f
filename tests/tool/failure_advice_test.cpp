#include "tools/qelfilecache/Request_Outcome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace QEL::FrontEnd::Tool {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

Request_Outcome Unserved(const std::string& request) {
    Request_Outcome outcome;
    outcome.request = request;
    return outcome;
}

TEST(Failure_Advice, HasACauseAndARemedy) {
    EXPECT_EQ(Explain_Failure(Unserved("")),
              "the request is empty\n  Next: name a web address, a file on a share, or a local path.");
}

TEST(Failure_Advice, NamesTheShareErrorByItsCode) {
    const char* const causes[] = {
        "the file on the share could not be served", "the file on the share could not be examined",
        "the file could not be copied from the share", "the file was copied, but the cache found no name for its copy",
        "the file was copied, but the copy is gone"};
    for (int code = 0; code <= 4; ++code) {
        Request_Outcome outcome = Unserved("\\\\server\\share\\file");
        outcome.file_share_error = code;
        EXPECT_THAT(Explain_Failure(outcome), StartsWith(std::string(causes[code]) + "\n  Next: "));
    }
}

TEST(Failure_Advice, SaysWhyTheServerOfAShareWasNotAsked) {
    for (const char* const request : {"\\\\server\\share\\file", "file://server/share/file"}) {
        Request_Outcome outcome = Unserved(request);
        outcome.file_share_error = 2;
        outcome.additional_error_info = "===\nFile: \\\\server\\share\\file\nDescription: The server could not be "
                                        "reached. The server was last tried at noon.\n";
        EXPECT_EQ(Explain_Failure(outcome),
                  "The server could not be reached\n  Next: The server was last tried at noon.");
    }
}

TEST(Failure_Advice, NamesTheMissingNameOfADownload) {
    Request_Outcome outcome = Unserved("http://server/file");
    outcome.http_error = 3;
    EXPECT_THAT(Explain_Failure(outcome),
                StartsWith("the file was downloaded, but the cache found no name for its copy\n"));
}

TEST(Failure_Advice, TakesTheCauseFromTheTransportError) {
    Request_Outcome outcome = Unserved("https://server/file");
    outcome.http_error = 2;
    outcome.additional_error_info = "===\nFile: https://server/file\nDescription: The certificate has expired.\r\n\n";
    EXPECT_EQ(Explain_Failure(outcome),
              "The certificate has expired\n"
              "  Next: check the server's name and port, the network, and for https the certificate; ask 'qelfilecache "
              "explain --check REQUEST', which shows the server's status or the error's number.");
}

TEST(Failure_Advice, SendsToTheCheckWhereTheCacheKeepsNoCause) {
    Request_Outcome outcome = Unserved("https://server/file");
    outcome.http_error = 2;
    EXPECT_EQ(Explain_Failure(outcome),
              "the download failed: the server responded with an error status, or the copy could not be written\n"
              "  Next: ask 'qelfilecache explain --check REQUEST', which shows the server's status or the error's "
              "number; if that finds no fault, see every step with --trace-level 4 --trace-dir DIR.");
}

TEST(Failure_Advice, OfAnOldCopyHasCauseAndRemedyToo) {
    Request_Outcome outcome = Unserved("https://server/file");
    outcome.path = "/cache/copy.xml";
    outcome.http_error = 2;
    EXPECT_THAT(Explain_Old_Copy(outcome), HasSubstr("could not be written; this is the copy of an earlier download\n"
                                                     "  Next: ask 'qelfilecache explain --check REQUEST'"));
    outcome.additional_error_info = "===\nFile: https://server/file\nDescription: It expired. Renew it.\n";
    EXPECT_EQ(Explain_Old_Copy(outcome), "It expired; this is the copy of an earlier download\n  Next: Renew it.");
    outcome = Unserved("\\\\server\\share\\file");
    outcome.file_share_error = 2;
    EXPECT_THAT(Explain_Old_Copy(outcome),
                StartsWith("the file could not be copied from the share; this is the copy of "
                           "an earlier download\n  Next: check the server"));
}

TEST(Failure_Advice, DistinguishesADirectoryFromAMissingFile) {
    const std::string directory = std::filesystem::current_path().string();
    EXPECT_EQ(Explain_Failure(Unserved(directory)), "it is a directory\n  Next: name a file in it.");
}

TEST(Failure_Advice, TakesTheRemedyFromTheTransportErrorToo) {
    Request_Outcome outcome = Unserved("https://server/file");
    outcome.http_error = 2;
    outcome.additional_error_info = "===\nFile: https://server/file\nDescription: It expired. Renew it.\n";
    EXPECT_EQ(Explain_Failure(outcome), "It expired\n  Next: Renew it.");
}

TEST(Failure_Advice, LeavesTheTransportErrorOfAnotherRequestAside) {
    Request_Outcome outcome = Unserved("https://server/file");
    outcome.http_error = 2;
    outcome.additional_error_info = "===\nFile: https://server/file2\nDescription: It expired. Renew it.\n";
    EXPECT_THAT(Explain_Failure(outcome), StartsWith("the download failed"));
}

TEST(Failure_Advice, SaysThatAKindLeavesWritableSharesUncached) {
    Request_Outcome outcome = Unserved("\\\\server\\share\\file");
    outcome.left_in_place = true;
    EXPECT_THAT(Explain_Failure(outcome), StartsWith("the file is writable on its share"));
}

TEST(Failure_Advice, NamesASchemeThatIsNotServed) {
    for (const std::string scheme : {"ftp", "HTTP", "Https"}) {
        EXPECT_THAT(Explain_Failure(Unserved(scheme + "://server/file")),
                    StartsWith("'" + scheme + "' is not a scheme that the cache serves"));
    }
}

TEST(Failure_Advice, ShowsHowAFileUrlIsWritten) {
    EXPECT_THAT(Explain_Failure(Unserved("file:///C:/missing")), StartsWith("the file URL names no file that exists"));
    EXPECT_EQ(Explain_Failure(Unserved("file:///etc/hostname")),
              "a drive is expected behind \"file:///\", as in file:///C:/folder/file, so the URL names no file\n"
              "  Next: give the path without \"file://\".");
}

TEST(Failure_Advice, ShowsHowAShareIsWritten) {
    EXPECT_THAT(Explain_Failure(Unserved("//server/share/file")),
                HasSubstr("write a share with backslashes: \\\\server\\share\\file"));
}

TEST(Failure_Advice, SaysWhichFormsAreRefused) {
    const std::pair<const char*, const char*> cases[] = {
        {"http:///x", "the address is not valid\n  Next: check its spelling; "},
        {"http://server/\n", "the request holds a control character that is never served\n  Next: remove it."},
        {"file:C:/x.xml", "this form of file URL is not supported\n  Next: write file://server/share/file"}};
    for (const auto& [request, cause] : cases) {
        Request_Outcome outcome = Unserved(request);
        outcome.is_valid = false;
        EXPECT_THAT(Explain_Failure(outcome), StartsWith(cause));
    }
}

} // namespace
} // namespace QEL::FrontEnd::Tool
