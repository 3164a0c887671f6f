#include "tests/tool/words/present.h"
#include "tools/qelfilecache/inspecting/explanation.h"
#include "tools/qelfilecache/inspecting/times.h"

#include <gmock/gmock.h>

namespace QEL::FrontEnd::Tool {
namespace {

using FileCache::Inspected_Entry;
using FileCache::Remote_Answer;
using FileCache::Request_Explanation;
using namespace ::testing;
using Trace_Reading::Outcome;
using Kind = Request_Explanation::Kind;
using Second_Attempt = Remote_Answer::Second_Attempt;

Inspected_Entry An_Entry(bool fresh) {
    const std::uint64_t fresh_until = present + (fresh ? 57 : -3) * minute;
    return {"https://server/a.xml", "/cache/copy.xml", "stamp", present - 3 * minute, fresh_until, fresh, true};
}

Remote_Answer A_Response(long status, const std::string& stamp) {
    Remote_Answer response;
    response.status = status;
    response.answered = status == 200;
    response.last_modified = stamp;
    response.unchanged = response.answered && stamp == "stamp";
    return response;
}

Remote_Answer A_Failure(std::uint32_t error, Second_Attempt second, const std::string& text = {}) {
    Remote_Answer response;
    response.error = error;
    response.second = second;
    response.error_text = text;
    return response;
}

/// A request for a web file, to be changed before it is explained.
Explained_Request A_Request(std::optional<Inspected_Entry> entry, std::optional<Remote_Answer> remote = {}) {
    Explained_Request explained;
    explained.request.request = "https://server/a.xml";
    explained.request.normalised = explained.request.request;
    explained.request.kind = Kind::Web;
    explained.request.entry = std::move(entry);
    explained.request.now = present;
    explained.remote = std::move(remote);
    explained.expiry_period = {"LandscapeCacheExpiryPeriod", "60", "the file", "60"};
    explained.server_retry = {"LandscapeServerRetryAfter", "120", "", ""};
    explained.certificate_mode = {"CertErrorHandlingMode", "0", "", ""};
    return explained;
}

const std::string Last_Good_Copy =
    "the copy that was last known to be current at " + Local_Time_Text(present - 3 * minute);

std::string Steps(const Explained_Request& explained) {
    std::string text;
    for (const std::string& step : Explain(explained).steps) {
        text += step + "\n";
    }
    return text;
}

TEST(Explanation, HasAVerdict) {
    const auto fresh = [](const std::optional<Remote_Answer>& check) { return A_Request(An_Entry(true), check); };
    const auto stale = [](const std::optional<Remote_Answer>& check) { return A_Request(An_Entry(false), check); };
    const auto missing = [](const Remote_Answer& check) { return A_Request({}, check); };
    const auto fails_with = [](std::uint32_t error) { return A_Failure(error, Second_Attempt::Failed); };
    const std::string until =
        "would be served from the copy without asking the server until " + Local_Time_Text(present + 57 * minute);
    const std::string try_download = "would make the cache try a download next, as the check failed: ";
    const std::string or_old_copy = "; when that fails as well, " + Last_Good_Copy + " is served.";
    const std::string no_copy = "would not be served: there is no copy, and ";
    const std::string nevertheless = ", unless a download succeeds nevertheless.";
    const std::string no_head =
        "would be served from a new copy if a download succeeds, otherwise not at all: there is no copy, and to "
        "HEAD the server responds with status 501 (the server does not support this kind of request).";
    const auto directly = [](Explained_Request explained) {
        explained.proxy.emplace();
        return explained;
    };
    const auto ends_at = [](Explained_Request explained, const std::string& url, const std::string& type = {}) {
        explained.details.final_url = url;
        explained.details.content_type = type;
        return explained;
    };
    const std::string page = "; but that is a page (HTML) in place of an XML file.";
    const std::string elsewhere = "; the request was redirected to 'http://h/'";
    const std::pair<Explained_Request, std::string> verdicts[] = {
        {ends_at(fresh(A_Response(200, "other")), "", "text/html"), until + "; the server has another version" + page},
        {ends_at(fresh(A_Response(200, "")), "", "text/html"),
         until + "; the server does not say whether its file has changed" + page},
        {ends_at(missing(A_Failure(12029, Second_Attempt::Failed,
                                   "The proxy p. cannot be connected to; the request was redirected through it. Do.")),
                 "http://h/"),
         no_copy + "the proxy p. cannot be connected to" + elsewhere + " through it (error 12029)" + nevertheless},
        {missing(fails_with(12156)),
         no_copy + "the server redirects the request too often, or from https to http (error 12156)" + nevertheless},
        {missing(A_Response(407, "")), no_copy + "the server responds with status 407 (the proxy requires a login)."},
        {directly(missing(A_Response(407, ""))),
         no_copy + "the server asks for a proxy's login, although the request goes through none (status 407)" +
             nevertheless},
        {missing(A_Failure(12007, Second_Attempt::Failed, "The name of the server h. (port 80) is unknown. Check it.")),
         no_copy + "the name of the server h. (port 80) is unknown (error 12007)."},
        {fresh({}), until + "."},
        {fresh(A_Response(200, "stamp")), until + "; Last-Modified is the same."},
        {fresh(A_Response(200, "other")), until + "; the copy is out of date until then."},
        {fresh(A_Response(200, "")), until + "; the server does not say whether its file has changed."},
        {fresh(A_Response(404, "")), until + "; at the moment the server responds with status 404 (not found)."},
        {stale({}),
         "would make the cache ask the server; if that and a download fail, " + Last_Good_Copy + " is served."},
        {stale(A_Response(200, "")),
         "would be served from a new copy, because the server does not say whether its file has changed."},
        {stale(A_Response(500, "")),
         try_download + "the server responds with status 500 (internal error of the server)" + or_old_copy},
        {stale(fails_with(12029)), try_download + "the server cannot be connected to (error 12029)" + or_old_copy},
        {stale(fails_with(0)), try_download + "the request could not be sent" + or_old_copy},
        {missing(fails_with(12002)), no_copy + "the server did not respond in time (error 12002)" + nevertheless},
        {missing(fails_with(12152)), no_copy + "the server's response is not valid HTTP (error 12152)" + nevertheless},
        {missing(fails_with(12007)), no_copy + "the server's name cannot be resolved (error 12007)."},
        {missing(A_Response(501, "")), no_head}};
    for (const auto& [explained, verdict] : verdicts) {
        EXPECT_EQ(Explain(explained).verdict, verdict);
    }
    EXPECT_EQ(Explain(missing(A_Response(501, ""))).expected, Expected_Outcome());
    auto of_unknown_age = stale({});
    of_unknown_age.request.entry->last_checked_remotely = 0;
    EXPECT_THAT(Explain(of_unknown_age).verdict, EndsWith("fail, the copy, of unknown age, is served."));
    EXPECT_THAT(Steps(stale({})), HasSubstr("Otherwise, or without a response, it downloads the file again; if that "
                                            "fails, it serves the last good copy, however old that is."));
}

TEST(Explanation, ComparesNoLengthThatIsNotTheFiles) {
    auto explained = A_Request(An_Entry(false), A_Response(200, "stamp"));
    explained.copy_length = 4;
    for (const auto& [status, length] : {std::pair(200, 0U), {200, 5U}, {206, 5U}, {206, 0U}, {204, 5U}}) {
        explained.remote->status = status;
        explained.details.content_length = length;
        EXPECT_EQ(Is_Out_Of_Date(explained), status == 200 && length == 5) << status;
        EXPECT_THAT(Steps(explained).find(" says 0 bytes to HEAD, as some do for every file") != std::string::npos,
                    status == 200 && length == 0);
    }
}

TEST(Explanation, SaysThatACopyHasNoStampToCompare) {
    auto explained = A_Request(An_Entry(false), A_Response(200, "other"));
    explained.request.entry->last_modified.clear();
    const std::string why = "the copy has no Last-Modified to compare.";
    EXPECT_EQ(Explain(explained).verdict, "would be served from a new copy, because " + why);
    EXPECT_THAT(Steps(explained), HasSubstr(" at 'other'. The copy has no Last-Modified to compare, so it is unknown "
                                            "whether it is current."));
    EXPECT_FALSE(Is_Out_Of_Date(explained));
    EXPECT_EQ(Explain(explained).expected, Outcome::Replaced);
    explained.request.entry->fresh = true;
    EXPECT_THAT(Explain(explained).verdict, EndsWith("; " + why));
}

TEST(Explanation, SaysThatAnotherResponseShowsTheCopyOutOfDate) {
    auto explained = A_Request(An_Entry(false), A_Response(200, "stamp"));
    explained.asked = {{"", *explained.remote, {}}, {"", A_Response(200, "other"), {}}};
    EXPECT_THAT(Explain(explained).verdict,
                EndsWith(" can become a download. By another of its responses, the copy is out of date."));
}

TEST(Explanation, SaysForHowLongADeadServerIsNotAsked) {
    auto explained = A_Request({});
    EXPECT_THAT(
        Steps(explained),
        HasSubstr("does not ask the server again for 120 seconds (LandscapeServerRetryAfter is not configured), or "
                  "ten times as long as the time-out if that is shorter."));
    explained.server_retry = {"LandscapeServerRetryAfter", "1", "the file", "1"};
    EXPECT_THAT(Steps(explained), HasSubstr("for 1 second (LandscapeServerRetryAfter in the file), or"));
    explained.server_retry = {"LandscapeServerRetryAfter", "0", "the file", "0"};
    EXPECT_THAT(Steps(explained), HasSubstr("asked again with every request, and may cost a time-out each time "
                                            "(LandscapeServerRetryAfter in the file)."));
    explained.request.kind = Kind::Share;
    EXPECT_THAT(Steps(explained), HasSubstr("LandscapeServerRetryAfter"));
}

TEST(Explanation, OfACopyCheckedInTheFutureNamesWhatHelps) {
    auto explained = A_Request(An_Entry(true));
    EXPECT_THAT(Steps(explained), HasSubstr("A shorter period shows it sooner; 0 checks with every request."));
    explained.request.entry->last_checked_remotely = present + 50 * minute;
    for (const char* const period : {"0", "60"}) {
        explained.expiry_period.value = period;
        EXPECT_THAT(
            Steps(explained),
            AllOf(HasSubstr("which lies in the future"), Not(HasSubstr("shows it sooner")),
                  HasSubstr("Until " + Local_Time_Text(present + 50 * minute) +
                            " a shorter period changes nothing. 'qelfilecache clear REQUEST' deletes the copy")));
    }
    explained.request.entry->last_checked_remotely = present;
    explained.expiry_period.value = "0";
    EXPECT_THAT(Steps(explained), Not(HasSubstr("horter period")));
}

TEST(Explanation, SaysThatNoNewCopyCanBeWritten) {
    const auto without_room = [](Explained_Request explained) {
        explained.directory_problem = {"the cache directory '/c' is not writable for this user", "no copy fits"};
        return explained;
    };
    const auto missing = without_room(A_Request({}, A_Response(200, "stamp")));
    EXPECT_EQ(Explain(missing).expected, Outcome::Failed);
    EXPECT_THAT(Steps(missing), HasSubstr("But the cache directory '/c' is not writable for this user: no copy fits."));
    const Explanation stale = Explain(without_room(A_Request(An_Entry(false), A_Response(200, "other"))));
    EXPECT_EQ(stale.expected, Outcome::Old_Copy);
    EXPECT_EQ(stale.verdict, "would be served from " + Last_Good_Copy +
                                 ", because the cache directory '/c' is not writable for this user.");
    EXPECT_EQ(Explain(without_room(A_Request(An_Entry(false)))).expected, Expected_Outcome());
    EXPECT_THAT(Explain(without_room(A_Request(An_Entry(true)))).verdict, HasSubstr("without asking the server until"));
    EXPECT_THAT(Explain(without_room(A_Request(An_Entry(false), A_Response(200, "stamp")))).verdict,
                HasSubstr("Last-Modified is the same"));
}

TEST(Explanation, SaysThatNoTimeOfChangeIsKnown) {
    auto explained = A_Request(An_Entry(true));
    explained.request.entry->last_modified.clear();
    EXPECT_THAT(Steps(explained), AllOf(HasSubstr("unknown when its file was last changed (no Last-Modified)."),
                                        Not(HasSubstr("last changed at"))));
}

TEST(Explanation, NamesNoCulpritForAMissingCopy) {
    auto explained = A_Request(An_Entry(false));
    explained.request.entry->copy_exists = false;
    EXPECT_THAT(Steps(explained),
                AllOf(HasSubstr("The cache has an entry for it, but its copy '/cache/copy.xml' is gone"),
                      HasSubstr("'qelfilecache clear' or another program has deleted it"), Not(HasSubstr("somebody"))));
    EXPECT_THAT(Explain(explained).verdict, StartsWith("would be served from a new copy, if the server"));
}

TEST(Explanation, SaysWhatACertificateErrorLeadsTo) {
    auto explained = A_Request(An_Entry(false), A_Failure(12045, Second_Attempt::Not_Allowed, "The text.\r\n"));
    explained.request.certificate = {2, false, true};
    explained.certificate_mode = {"CertErrorHandlingMode", "2", "the file", "2"};
    EXPECT_THAT(Steps(explained),
                AllOf(HasSubstr("it is accepted all the same, for every address: mode 2 (CertErrorHandlingMode in the "
                                "file). Anybody"),
                      HasSubstr("Error 12045: The server's certificate comes from an authority"),
                      HasSubstr("; the system says: the text. Install the authority's certificate, "
                                "or have the server send its chain. There")));
    // As Linux words it: said once.
    explained.remote->error_text = "The certificate of the server h (port 1) comes from nobody (no issuer). Install "
                                   "the authority's certificate, or have the server send its chain.";
    EXPECT_THAT(Steps(explained), AllOf(HasSubstr(" Error 12045: The certificate of the server h (port 1) comes from "),
                                        Not(HasSubstr("The system says"))));
    explained.remote->second = Second_Attempt::Failed;
    explained.remote->status = 404;
    EXPECT_THAT(Steps(explained),
                AllOf(HasSubstr(" A second attempt ignored the certificate error. The server responds "
                                "with status 404 (not found). Check the address"),
                      Not(HasSubstr("is valid."))));
    EXPECT_THAT(Explain(explained).verdict, HasSubstr("the check failed: the server responds with status 404"));
    explained.remote->second = Second_Attempt::Succeeded;
    explained.remote->status = 200;
    explained.remote->answered = true;
    explained.details.content_type = "text/html";
    EXPECT_THAT(Steps(explained), HasSubstr("The response has the Content-Type 'text/html'. But that is a page"));
    EXPECT_THAT(Steps(explained), HasSubstr("an authority that this machine trusts. If it is not valid, it is"));
    explained.request.certificate = {7, false, false};
    explained.authorities = {{"SSL_CERT_FILE", "/a.pem", "environment variable SSL_CERT_FILE", "/a.pem"},
                             {"SSL_CERT_DIR", "/certs", "environment variable SSL_CERT_DIR", "/certs"}};
    EXPECT_THAT(
        Steps(explained),
        AllOf(HasSubstr("mode 7 is not known"), HasSubstr("the error was temporary"),
              HasSubstr("must come from an authority that '/a.pem' (environment variable SSL_CERT_FILE) or "
                        "'/certs' (environment variable SSL_CERT_DIR) holds; this machine's own are not trusted.")));
}

TEST(Explanation, DistinguishesAConnectionErrorFromACertificateError) {
    EXPECT_THAT(Steps(A_Request({}, A_Failure(12029, Second_Attempt::Failed))),
                HasSubstr(" The server's certificate is not the cause. A second attempt failed too."));
    auto plain = A_Request({}, A_Failure(12029, Second_Attempt::Failed));
    plain.request.normalised = plain.request.request = "http://server/a.xml";
    EXPECT_THAT(Steps(plain), Not(HasSubstr("certificate")));
    EXPECT_THAT(Steps(A_Request({}, A_Failure(12175, Second_Attempt::Failed))),
                AllOf(HasSubstr("or its certificate is not valid"), Not(HasSubstr("is not the cause"))));
    EXPECT_THAT(Steps(A_Request({}, A_Failure(12044, Second_Attempt::Failed))), HasSubstr("is not the cause"));
}

TEST(Explanation, OfAShareSaysTheTimeOfTheFile) {
    auto explained = A_Request(An_Entry(false));
    explained.request.kind = Kind::Share;
    explained.request.request = "file://server/share/a.xml";
    explained.request.normalised = "\\\\server\\share\\a.xml";
    explained.request.entry->last_modified = std::to_string(present);
    EXPECT_THAT(Steps(explained),
                AllOf(HasSubstr("It is a file on a share"),
                      HasSubstr("last changed at " + Local_Time_Text(present) + "."),
                      HasSubstr("The cache knows it as '\\\\server\\share\\a.xml'."), Not(HasSubstr("certificate"))));
    explained.remote = A_Failure(53, Second_Attempt::Not_Needed);
    EXPECT_THAT(Steps(explained),
                HasSubstr("the share does not deliver the file. Error 53: The server cannot be found"));
    EXPECT_THAT(Explain(explained).verdict,
                HasSubstr("would make the cache try copying the file next, as the check failed: the server cannot be "
                          "found or does not respond (error 53); when that fails as well, the copy"));
}

TEST(Explanation, OfAShareServesTheCopyOfAnUnchangedFileThatCannotBeRead) {
    auto explained = A_Request(An_Entry(false), A_Failure(5, Second_Attempt::Not_Needed));
    explained.request.kind = Kind::Share;
    explained.remote->unchanged = true;
    EXPECT_EQ(Explain(explained).expected, Outcome::Unchanged);
    EXPECT_EQ(Explain(explained).verdict, "would be served from the copy: the time of change is the same; but the file "
                                          "itself cannot be read: access is denied (error 5).");
}

TEST(Explanation, OfAShareComparesLengthsToo) {
    auto explained = A_Request(An_Entry(false), A_Response(200, "stamp"));
    explained.request.kind = Kind::Share;
    explained.remote->status = 0;
    explained.details.content_length = 9;
    explained.copy_length = 4;
    EXPECT_TRUE(Is_Out_Of_Date(explained));
    EXPECT_THAT(Steps(explained), HasSubstr("The time of change is the same; the cache compares nothing else. But the "
                                            "share's file has 9 bytes and the copy 4: publish "
                                            "the file with a new time of change. If only this "
                                            "machine's copy is damaged: 'qelfilecache clear REQUEST' deletes the copy, "
                                            "and the next request fetches the file again."));
    EXPECT_EQ(Explain(explained).verdict, "would be served from the copy: the time of change is the same; but its "
                                          "length differs, so the copy is out of date.");
}

TEST(Explanation, OfAFileThatIsLeftInPlaceSaysThatItIsNotServed) {
    auto explained = A_Request(An_Entry(true));
    explained.request.kind = Kind::Share;
    explained.left_in_place = true;
    EXPECT_EQ(Explain(explained).expected, Outcome::Left_In_Place);
    EXPECT_THAT(Explain(explained).verdict, HasSubstr("would not be served: the file is writable on its share"));
}

TEST(Explanation, OfARequestThatIsRefusedServesTheCopyThatThereIs) {
    auto explained = A_Request(An_Entry(false), A_Failure(12005, Second_Attempt::Not_Needed));
    explained.is_valid = false;
    EXPECT_EQ(Explain(explained).expected, Outcome::Old_Copy);
    explained.request.entry->fresh = true;
    EXPECT_EQ(Explain(explained).expected, Outcome::Fresh);
    explained.request.entry.reset();
    EXPECT_EQ(Explain(explained).verdict, "would not be served: the address is not valid.");
}

TEST(Explanation, SteersNoTerminal) {
    auto explained = A_Request(An_Entry(false), A_Response(200, "\x1B[2J"));
    explained.request.entry->copy = "/cache/\x1B[1m";
    const Explanation explanation = Explain(explained);
    EXPECT_THAT(Steps(explained) + explanation.verdict, AllOf(Not(HasSubstr("\x1B")), HasSubstr("\\x1B[2J")));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
