#include "tests/support/Standard_Library.h"
#include "util/Error_Meaning.h"
#include "util/HttpClient.h"
#include "util/Http_Status.h"

#include <gtest/gtest.h>

namespace QEL::FrontEnd::Util {
namespace {

TEST(Error_Meaning, HasACauseAndWhatToDoUnlessItsNumberIsUnknown) {
    EXPECT_EQ(Meaning_Of_Error(12099).cause, "");
    EXPECT_EQ(Meaning_Of_Error(12099).remedy, "");
    EXPECT_EQ(Meaning_Of_Error(5).cause, "access is denied");
    EXPECT_EQ(Meaning_Of_Error(12007).cause, "the server's name cannot be resolved");
    for (std::uint32_t number = 12175; number <= 12192; ++number) {
        EXPECT_EQ(Meaning_Of_Error(number).cause.empty(), number == 12189) << number << ", of which 12189 is reserved";
    }
    for (const std::uint32_t number : {2u, 53u, 12002u, 12007u, 12029u, 12037u, 12038u, 12045u, 12157u, 12170u}) {
        EXPECT_NE(Meaning_Of_Error(number).remedy, "") << number;
    }
}

TEST(Error_Meaning, InSentencesNamesTheServer) {
    const std::string server = "server h (port 80)";
    EXPECT_EQ(
        Sentences_On_Error(12029, server, ": Connection refused"),
        "The server h (port 80) cannot be connected to: Connection refused. Check that it runs, its port, and the "
        "firewalls between.");
    EXPECT_EQ(Sentences_On_Error(12007, "proxy p:3128", ""),
              "The name of the proxy p:3128 cannot be resolved. Check its spelling, the name service and the network.");
    EXPECT_EQ(
        Sentences_On_Error(12170, server, " (revoked)"),
        "The certificate of the server h (port 80) has been revoked (revoked). Do not trust this server until it has "
        "a new one.");
    EXPECT_EQ(Sentences_On_Error(87, server, ""), "A parameter is not valid.");
    EXPECT_EQ(Sentences_On_Error(12099, server, ": why"), "The request failed: why.");
    EXPECT_EQ(Sentences("no such host", "did you mean \"a\"?"), "No such host. Did you mean \"a\"?");
}

TEST(Error_Meaning, SaysWhichErrorsAreTheCertificates) {
    for (std::uint32_t number = 12000; number < 12200; ++number) {
        const bool is_named = Meaning_Of_Error(number).cause.starts_with("the server's certificate");
        EXPECT_EQ(Is_Certificate_Error(number), is_named || number == 12057) << number;
    }
}

TEST(Error_Range, HoldsTheWinInetTransportErrors) {
    for (const std::uint32_t error : {12001U, 12002U, 12045U, 12192U}) {
        EXPECT_TRUE(HttpWinInet::HttpClient::IsErrorInRange(error)) << error;
    }
    for (const std::uint32_t error : {0U, 200U, 12000U, 12193U, 0x80072EE1U}) {
        EXPECT_FALSE(HttpWinInet::HttpClient::IsErrorInRange(error)) << error;
    }
}

TEST(Http_Status, HasAMeaning) {
    EXPECT_EQ(Meaning_Of_Status(404), "not found");
    EXPECT_EQ(Meaning_Of_Status(503), "the service is not available");
    const auto expect_from_to = [](long first, long last, std::string_view meaning) {
        EXPECT_EQ(Meaning_Of_Status(first), meaning) << first;
        EXPECT_EQ(Meaning_Of_Status(last), meaning) << last;
    };
    expect_from_to(150, 199, "the server refuses the request");
    expect_from_to(200, 299, "success");
    EXPECT_EQ(Meaning_Of_Status(204), "no content: the response holds no file");
    EXPECT_EQ(Meaning_Of_Status(206), "a part of the file, not the file");
    EXPECT_EQ(
        Sentences_On_Status(404, "server h"),
        "The server h responds with status 404 (not found). Check the address, letter case too, and whether the file "
        "is published.");
    EXPECT_EQ(Sentences_On_Status(299, "server h", "; more"), "The server h responds with status 299 (success); more.");
    EXPECT_EQ(Redirection("http://a b", "http://a%20b/#c"), "");
    EXPECT_EQ(Redirection("http://a/", ""), "");
    EXPECT_NE(Redirection("http://a/%2", "http://a/%2x"), "") << "no characters";
    EXPECT_EQ(Redirection("http://a/", "http://a/b"), "; the request was redirected to 'http://a/b'");
    EXPECT_EQ(Sentences_On_Status(299, "server h"), "The server h responds with status 299 (success).");
    EXPECT_EQ(Cause_Of_Status(407, "proxy p:1"), "the proxy p:1 requires a login (status 407)");
    EXPECT_EQ(Cause_Of_Status(407, "server h"), "the server h responds with status 407 (the proxy requires a login)");
    EXPECT_EQ(Cause_Of_Status(403, "proxy p:1"), "the proxy p:1 responds with status 403 (forbidden)");
    expect_from_to(300, 399, "a redirect that is not followed");
    expect_from_to(418, 499, "the server refuses the request");
    expect_from_to(500, 599, "internal error of the server");
    expect_from_to(600, 999, "no valid status");
    EXPECT_EQ(Remedy_For_Status(511), "log in to the network with a browser");
    std::set<std::string_view> meanings;
    for (const long status :
         {304, 400, 401, 403, 404, 405, 407, 408, 410, 416, 421, 429, 499, 500, 502, 503, 504, 505, 511}) {
        EXPECT_TRUE(meanings.insert(Meaning_Of_Status(status)).second) << status;
    }
}

TEST(Http_Status, KnowsRedirectsAndRefusalsOfHead) {
    for (long status = 100; status < 600; ++status) {
        const bool redirects = (status >= 301 && status <= 303) || status == 307 || status == 308;
        EXPECT_EQ(Is_Redirect(status), redirects) << status;
        EXPECT_EQ(Refuses_Head_Alone(status), status == 405 || status == 501) << status;
    }
}

} // namespace
} // namespace QEL::FrontEnd::Util
