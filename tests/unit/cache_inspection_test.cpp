#include "filecache/inspection/Cache_Inspection.h"

#include "filecache/inspection/Read_Only_OS_Wrapper.h"
#include "tests/unit/support/Http_Fixture.h"

using QEL::FrontEnd::FileCache::Cache_Inspection;
using QEL::FrontEnd::FileCache::Inspected_Entry;
using QEL::FrontEnd::FileCache::Inspected_Setting;
using QEL::FrontEnd::FileCache::Remote_Answer;
using QEL::FrontEnd::FileCache::Request_Explanation;
using namespace testing;

namespace {

constexpr std::uint64_t minute = 600000000;
constexpr std::uint64_t now = 133000000000000000;

using Kind = Request_Explanation::Kind;
using Attempt = Remote_Answer::Second_Attempt;

/// A cache directory with one fresh entry; what is done to it is done by an inspection alone.
class Inspection : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        os->expiry_minutes = 10;
        copy = Cache_Copy(url, uuid + ".xml", stamp, now - 3 * minute);
        cache.Serialize();
        Forget();
    }

    /// Puts a further entry into the metadata file.
    void List(const std::string& entry_url, const std::string& path) {
        cache.m_Cache_Entries[entry_url] = {path, stamp, now - 3 * minute};
        cache.Serialize();
    }

    Cache_Inspection Open() const { return Cache_Inspection(cache_directory, os); }

    std::string copy;
};

TEST_F(Inspection, SaysWhatEntriesHoldAndWhoseCopyIsGone) {
    const std::string gone_url = "https://server/gone.xml";
    List(gone_url, In_Cache("gone.xml"));
    const Cache_Inspection inspection = Open();
    const auto entries = inspection.Entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].url, gone_url);
    EXPECT_FALSE(entries[0].copy_exists || entries[0].fresh);
    EXPECT_EQ(std::tie(entries[1].url, entries[1].copy, entries[1].last_modified), std::tie(url, copy, stamp));
    EXPECT_EQ(entries[1].last_checked_remotely, now - 3 * minute);
    EXPECT_EQ(entries[1].fresh_until, now + 7 * minute);
    EXPECT_TRUE(entries[1].copy_exists && entries[1].fresh);
    ASSERT_TRUE(inspection.Explain(gone_url).entry);
    EXPECT_FALSE(inspection.Explain(gone_url).entry->copy_exists);
}

TEST_F(Inspection, NamesTheCopiesThatTheSweepWouldDeleteInOrder) {
    const std::string names[] = {"01234567-89ab-cdef-0123-456789abcde1.xml",
                                 "01234567-89ab-cdef-0123-456789abcde0.xml"};
    os->on_find = [&](const std::string&) { return std::vector<std::string>{names[0], names[1], uuid + ".xml"}; };
    EXPECT_THAT(Open().Unreferenced_Copies(), ElementsAre(In_Cache(names[1]), In_Cache(names[0])));
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
    EXPECT_EQ(os->Calls_Of("FindClose"), 1U);
    EXPECT_EQ(Open().Now(), os->current_time);
}

TEST_F(Inspection, SaysThatTheMetadataFileIsDamagedAndFindsAnEmptyCacheInAMissingDirectory) {
    EXPECT_TRUE(Open().Metadata_Is_Sound());
    Write_File(Metadata_Path(), "rubbish");
    EXPECT_FALSE(Open().Metadata_Is_Sound());
    EXPECT_THAT(Open().Entries(), IsEmpty());
    for (const std::string& missing : {std::string(), In_Cache("missing")}) {
        const Cache_Inspection inspection(missing, os);
        EXPECT_TRUE(inspection.Metadata_Is_Sound());
        EXPECT_THAT(inspection.Entries(), IsEmpty());
        EXPECT_THAT(inspection.Unreferenced_Copies(), IsEmpty());
        EXPECT_FALSE(inspection.Explain(url).entry);
    }
}

TEST_F(Inspection, TellsTheKindsApart) {
    const Cache_Inspection inspection = Open();
    for (const auto& [request, kind] : {std::pair<std::string, Kind>{url, Kind::Web},
                                        {"\\\\server\\share\\file", Kind::Share},
                                        {"file://server/share/file", Kind::Share},
                                        {"file:/server", Kind::Unusable},
                                        {"", Kind::Local},
                                        {copy, Kind::Local}}) {
        EXPECT_EQ(inspection.Explain(request).kind, kind) << request;
    }
    EXPECT_EQ(inspection.Explain("file://server/share/file").normalised, "\\\\server\\share\\file");
    EXPECT_TRUE(inspection.Explain(copy).local_file_exists);
    EXPECT_FALSE(inspection.Explain(In_Cache("missing")).local_file_exists);
    EXPECT_FALSE(inspection.Ask_Remote_Side(inspection.Explain(copy)).answered) << "nothing is asked for a local path";
    EXPECT_THAT(g_services.request_calls, IsEmpty());
    EXPECT_EQ(os->Calls_Of("Stat_File"), 0U);

    // The type of a drive is asked for, and may change meanwhile.
    os->on_get_drive_type = [](const std::string&) { return 4U; };
    EXPECT_EQ(inspection.Explain("z:\\file").kind, Kind::Share);
    os->calls.clear();
    os->on_get_drive_type = [this](const std::string&) { return os->Calls_Of("Get_Drive_Type") == 1 ? 4U : 3U; };
    EXPECT_EQ(inspection.Explain("z:\\file").kind, Kind::Unusable);
}

TEST_F(Inspection, KnowsWhoseCertificateErrorsAreIgnored) {
    const std::tuple<int, std::vector<std::string>, bool> cases[] = {
        {0, {url}, false}, {1, {"https://other"}, false}, {1, {url}, true}, {2, {}, true}, {3, {url}, false}};
    for (const auto& [mode, white_list, ignored] : cases) {
        g_services.cert_mode = mode;
        g_services.white_list = white_list;
        const auto handling = Open().Explain(url).certificate;
        EXPECT_EQ(handling.mode, mode);
        EXPECT_EQ(handling.errors_are_ignored, ignored) << mode;
        EXPECT_EQ(handling.listed, white_list == std::vector<std::string>{url});
    }
}

TEST_F(Inspection, TellsEachSettingWithItsPlace) {
    os->expiry_minutes = 60;
    g_services.connect_timeout_seconds = 5;
    g_services.server_retry_seconds = 20;
    g_services.cert_mode = 1;
    g_services.white_list = {"https://a", "https://b"};
    g_services.trace_directory = "/traces";
    g_services.authorities = {{"SSL_CERT_DIR", "/authorities"}};
    g_services.configured = {
        {"LandscapeCacheExpiryPeriod", "0x3C"}, {"LandscapeServerRetryAfter", "20"}, {"CertErrorHandlingMode", "1"}};
    g_services.configuration_problem = "a file: no access";
    g_services.largest_file_megabytes = -5;
    const auto settings = Open().Settings();
    const std::tuple<const char*, const char*, const char*, const char*> expected[] = {
        {"LandscapeCacheExpiryPeriod", "60", "the place", "0x3C"},
        {"LandscapeServerFileConnectTimeout", "5", "", ""},
        {"LandscapeServerRetryAfter", "20", "the place", "20"},
        {"CertErrorHandlingMode", "1", "the place", "1"},
        {"CertErrorWhiteList", "https://a\nhttps://b", "", ""},
        {"TraceDirectory", "/traces", "the place", "/traces"},
        {"LandscapeLargestFile", "0", "", ""},
        {"SSL_CERT_DIR", "/authorities", "environment variable SSL_CERT_DIR", "/authorities"}};
    ASSERT_EQ(settings.size(), std::size(expected));
    for (std::size_t i = 0; i < settings.size(); ++i) {
        EXPECT_EQ(std::tie(settings[i].name, settings[i].value, settings[i].source, settings[i].written), expected[i]);
    }
    EXPECT_EQ(Open().Configuration_Problem(), "a file: no access");
    EXPECT_THAT(Cache_Inspection::Configuration_Faults(), ElementsAre("a file: no access"));

    g_services.largest_file_megabytes.reset(); // the platform has no limit
    g_services.trace_directory.clear();        // none can be used
    for (const auto& [written, seconds, value] : {std::tuple{"-1", -1, "120"},
                                                  {"4294967295", -1, "3600"},
                                                  {"0xFFFFFFFF", -1, "3600"},
                                                  {"4294967295x", -1, "120"},
                                                  {"0X1F", 31, "31"},
                                                  {"9999", 9999, "3600"}}) {
        g_services.configured["LandscapeServerRetryAfter"] = written;
        g_services.server_retry_seconds = seconds;
        EXPECT_EQ(Open().Settings()[2].value, value) << written;
    }
    EXPECT_EQ(Open().Settings()[6].name, "SSL_CERT_DIR");
    const auto trace_directory = Open().Settings()[5];
    EXPECT_EQ(trace_directory.value, "");
    EXPECT_EQ(trace_directory.source, "");
}

TEST_F(Inspection, ReportsWhatElseTheResponseSays) {
    const auto details = [this] {
        QEL::FrontEnd::FileCache::Response_Details of_response;
        const Cache_Inspection inspection = Open();
        inspection.Ask_Remote_Side(inspection.Explain(url), of_response);
        return of_response;
    };
    Script().headers.insert({{"Content-Length", "12"}, {"Age", "7"}, {"Via", "1.1 near"}});
    const auto plain = details();
    EXPECT_EQ(std::tuple(plain.content_type, plain.content_length, plain.age, plain.via, plain.final_url),
              std::tuple("text/xml", 12U, "7", "1.1 near", ""));
    const Cache_Inspection inspection = Open();
    const Remote_Answer of_unlisted = inspection.Ask_Remote_Side(inspection.Explain("https://server/unlisted.xml"));
    EXPECT_EQ(of_unlisted.last_modified, stamp);
    EXPECT_FALSE(of_unlisted.unchanged);
    Script().headers["Content-Encoding"] = "gzip";
    EXPECT_FALSE(details().content_length) << "not the file's";
    Script().send = Result_Of(0x80072F0D);
    g_services.client.headers = {{"Content-Type", "text/html"}, {"Content-Length", "9"}, {"Age", "8"}, {"Via", "far"}};
    g_services.client.final_url = "https://login";
    const auto second = details();
    EXPECT_EQ(std::tuple(second.content_type, second.content_length, second.age, second.via, second.final_url),
              std::tuple("text/html", 9U, "8", "far", "https://login"));
    g_services.client.headers["Content-Encoding"] = "gzip";
    EXPECT_FALSE(details().content_length) << "not the file's";

    EXPECT_FALSE(Cache_Inspection::Proxy_For(url)) << "the system does not say";
    g_services.proxy = {"http_proxy", "proxy:3128"};
    EXPECT_EQ(Cache_Inspection::Proxy_For(url)->value, "proxy:3128");
    EXPECT_EQ(Cache_Inspection::Proxy_For(url)->source, "http_proxy");
    EXPECT_THAT(Cache_Inspection::Addresses_Of(url), ElementsAre("the address of " + url));
}

TEST_F(Inspection, AsksTheAddressThatIsWanted) {
    std::vector<std::string> connected;
    Script().during_send = [&connected] {
        const auto* const wanted = QEL::FrontEnd::FileCache::New_Connections::Current();
        connected.push_back(wanted->Url() + " " + wanted->Address());
    };
    const Cache_Inspection inspection = Open();
    QEL::FrontEnd::FileCache::Response_Details details;
    inspection.Ask_Remote_Side(inspection.Explain(url), details, "10.0.0.2");
    inspection.Ask_Remote_Side(inspection.Explain(url), details);
    EXPECT_THAT(connected, ElementsAre(url + " 10.0.0.2", url + " "));
    EXPECT_EQ(QEL::FrontEnd::FileCache::New_Connections::Current(), nullptr);
}

TEST_F(Inspection, RecordsOnlyTheTestOfTheStatus) {
    using namespace Recorded_Trace;
    const Cache_Inspection inspection = Open();
    const auto explained = inspection.Explain(url);
    for (const HResult of_header : {HResult{0}, Access_Denied}) {
        Script().get_header["Last-Modified"] = of_header;
        Script().status = {404};
        Forget();
        inspection.Ask_Remote_Side(explained);
        Expect_Records("= http_status status=404 ok=false");
    }
    Script().send = Access_Denied;
    Forget();
    inspection.Ask_Remote_Side(explained);
    EXPECT_THAT(All(), IsEmpty());
    Script().creation_fails = true;
    inspection.Ask_Remote_Side(explained);
    EXPECT_EQ(All().size(), Is_Off() ? 0U : 1U);
}

TEST_F(Inspection, UsesTheSystemsServicesUnlessItIsGivenSomeAndCopiesNothingByThem) {
    const int created = g_services.os_created;
    const Cache_Inspection inspection(cache_directory);
    EXPECT_EQ(g_services.os_created, created + 1);
    EXPECT_EQ(inspection.Entries().size(), 1U);
    Forget();
    EXPECT_EQ(QEL::FrontEnd::FileCache::Read_Only_OS_Wrapper(os).Copy_File("from", "to", 0), 0);
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Inspection, AsksTheRequestObjectWhetherAnAddressIsValid) {
    EXPECT_TRUE(Cache_Inspection::Is_Valid("http://server/a b.xml"));
    Script().open = Result_Of(0x80072EE5);
    EXPECT_FALSE(Cache_Inspection::Is_Valid(url));
    Script().creation_fails = true;
    EXPECT_TRUE(Cache_Inspection::Is_Valid(url)) << "it cannot be asked";
    EXPECT_THAT(g_services.request_calls, Contains("Open(HEAD, " + url + ")"));
    EXPECT_THAT(g_services.request_calls, Not(Contains("Send")));
    EXPECT_THAT(Recorded_Trace::All(), IsEmpty());
}

TEST_F(Inspection, FindsNoPathValidThatHoldsALineBreakOrNul) {
    for (const std::string valid :
         {"", "a\tb", "\\\\server\\share\\file", "file://server/share/file", "file:///c:/file"}) {
        EXPECT_TRUE(Cache_Inspection::Is_Valid(valid)) << valid;
    }
    for (const std::string& invalid : {std::string("a\nb"), std::string("a\rb"), std::string("a\0b", 3),
                                       std::string("file:///a\nb"), std::string("file:/x"), std::string("file:///")}) {
        EXPECT_FALSE(Cache_Inspection::Is_Valid(invalid)) << invalid;
    }
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

TEST_F(Inspection, FindsWhatIsLeftInPlace) {
    const std::string share = "\\\\server\\share\\file";
    g_services.on_path_exists = [&](const std::string& path) { return path == share; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    EXPECT_TRUE(Cache_Inspection::Is_Left_In_Place(share, 201));
    EXPECT_TRUE(Cache_Inspection::Is_Left_In_Place("file://server/share/file", 202));
    EXPECT_FALSE(Cache_Inspection::Is_Left_In_Place(share, 213));
    EXPECT_FALSE(Cache_Inspection::Is_Left_In_Place(copy, 201)) << "a local file";
    g_services.on_get_file_attributes = [](const std::string&) { return 1U; };
    EXPECT_FALSE(Cache_Inspection::Is_Left_In_Place(share, 201)) << "it is read-only";
    EXPECT_THAT(Recorded_Trace::All(), IsEmpty());
}

TEST_F(Inspection, ComparesTheTimeOfAShareFile) {
    const std::string share = "\\\\server\\share\\file.xml";
    List(share, copy);
    cache.m_Cache_Entries[share].last_modified = "4711";
    cache.Serialize();
    os->on_stat_file = [](const std::string&, std::int64_t& time) {
        time = 4711;
        return 0;
    };
    const Cache_Inspection inspection = Open();
    g_services.file_length = 9;
    g_services.room = 8;
    QEL::FrontEnd::FileCache::Response_Details details;
    Remote_Answer answer = inspection.Ask_Remote_Side(inspection.Explain(share), details);
    EXPECT_EQ(details.content_length, 9U);
    EXPECT_EQ(details.refusal, 112U);
    EXPECT_TRUE(answer.answered);
    EXPECT_TRUE(answer.unchanged);
    EXPECT_EQ(answer.last_modified, "4711");
    g_services.file_unreadable = true;
    answer = inspection.Ask_Remote_Side(inspection.Explain(share));
    EXPECT_FALSE(answer.answered) << "it can be listed, and not read";
    EXPECT_EQ(answer.error, 5U);
    EXPECT_TRUE(answer.unchanged) << "the cache asks for no more";

    os->on_stat_file = [](const std::string&, std::int64_t&) { return 53; };
    answer = inspection.Ask_Remote_Side(inspection.Explain(share));
    EXPECT_FALSE(answer.answered);
    EXPECT_EQ(answer.error, 53U);
    EXPECT_EQ(answer.last_modified, "");
    EXPECT_THAT(g_services.request_calls, IsEmpty());
}

/// What a server does, what the configuration allows, and what the inspection says of it.
struct Situation {
    const char* name;
    long status = 200;
    std::uint32_t open = 0, send = 0, header = 0; ///< results of the first client's calls
    bool creation_fails = false;
    std::string stamp = "Tue, 01 Jan 2019 10:00:00 GMT"; ///< the one of the entry
    int mode = 0;
    bool listed = false;
    unsigned long other_status = 200; ///< of the second client

    bool answered = false;
    std::uint32_t error = 0;
    Attempt second = Attempt::Not_Needed;
    std::string text = error == 0 ? "" : "What the system says.";
};

constexpr auto Succeeded = Attempt::Succeeded;
constexpr auto Not_Allowed = Attempt::Not_Allowed;
constexpr auto Failed = Attempt::Failed;
const Situation s_situations[] = {
    {.name = "unchanged", .answered = true},
    {.name = "changed", .stamp = "Tue, 01 Jan 2019 10:00:01 GMT", .answered = true},
    {.name = "no stamp", .stamp = "", .answered = true},
    {.name = "missing", .status = 404},
    {.name = "redirect", .status = 302, .stamp = ""},
    {.name = "header unreadable", .header = 0x80070005, .answered = true, .error = 5},
    {.name = "header of a refusal unreadable", .status = 404, .header = 0x80070005, .error = 5},
    {.name = "URL refused", .open = 0x80072EE5, .error = 12005},
    {.name = "no object", .creation_fails = true, .text = "The system provides no object for HTTP requests."},
    {.name = "status of an error",
     .status = 12029,
     .other_status = 12029,
     .error = 12029,
     .second = Failed,
     .text = ""},
    {.name = "passing error", .send = 0x80072EFD, .answered = true, .error = 12029, .second = Succeeded},
    {.name = "no connection", .send = 0x80072EFD, .other_status = 12029, .error = 12029, .second = Failed},
    {.name = "not listed", .send = 0x80072F0D, .mode = 1, .error = 12045, .second = Not_Allowed},
    {.name = "listed",
     .send = 0x80072F0D,
     .mode = 1,
     .listed = true,
     .answered = true,
     .error = 12045,
     .second = Succeeded},
    {.name = "ignored", .send = 0x80072F0D, .mode = 2, .answered = true, .error = 12045, .second = Succeeded},
    {.name = "not ignored", .send = 0x80072F0D, .mode = 2, .other_status = 12045, .error = 12045, .second = Failed},
    {.name = "ignored, and missing",
     .send = 0x80072F0D,
     .mode = 2,
     .other_status = 404,
     .error = 12045,
     .second = Failed},
    {.name = "ignored, and closed",
     .send = 0x80072F0D,
     .mode = 2,
     .other_status = 12030,
     .error = 12030,
     .second = Failed,
     .text = ""},
    {.name = "odd mode", .send = 0x80072F0D, .mode = 7, .listed = true, .error = 12045, .second = Not_Allowed},
    // The second client's number, where the first names none; the cache would not ask it.
    {.name = "number of the second client", .send = 0x800C0019, .other_status = 12037, .error = 12037},
    {.name = "no number of either", .send = 0x800C0019, .error = 1003},
};

/// The inspection and the freshness check of a real request come to the same result, and the
/// inspection leaves everything as it is.
TEST_F(Inspection, ForetellsWhatTheFreshnessCheckFinds) {
    for (const Situation& situation : s_situations) {
        SCOPED_TRACE(situation.name);
        Script().status = {situation.status};
        Script().creation_fails = situation.creation_fails;
        Script().open = Result_Of(situation.open);
        Script().send = Result_Of(situation.send);
        Script().get_header["Last-Modified"] = Result_Of(situation.header);
        Script().headers["Last-Modified"] = situation.stamp;
        g_services.cert_mode = situation.mode;
        g_services.white_list = situation.listed ? std::vector{url} : std::vector<std::string>{};
        g_services.client.status = situation.other_status;
        g_services.client.headers["Last-Modified"] = stamp;
        cache.m_Cache_Entries[url].last_checked_remotely = now - 3 * minute;
        cache.Serialize();
        Forget();

        const auto before = Everything_On_Disk();
        const Cache_Inspection inspection = Open();
        const Remote_Answer answer = inspection.Ask_Remote_Side(inspection.Explain(url));
        EXPECT_EQ(Everything_On_Disk(), before);
        EXPECT_EQ(os->Calls_Of("Delete_File") + os->Calls_Of("Copy_File"), 0U);
        EXPECT_EQ(answer.answered, situation.answered);
        EXPECT_EQ(answer.unchanged, situation.answered && situation.header == 0 && situation.stamp == stamp);
        const bool has_status =
            situation.status < 12000 && situation.open == 0 && situation.send == 0 && !situation.creation_fails;
        const bool second_responds = situation.second == Succeeded || situation.other_status == 404;
        const auto status = second_responds ? static_cast<long>(situation.other_status) : 0;
        EXPECT_EQ(answer.status, has_status ? situation.status : status);
        const bool has_stamp = situation.header == 0 && (has_status || second_responds);
        EXPECT_EQ(answer.last_modified, has_stamp ? situation.stamp : "");
        EXPECT_EQ(answer.error, situation.error);
        EXPECT_EQ(answer.error_text, situation.text);
        EXPECT_EQ(answer.second, situation.second);
        EXPECT_THAT(g_services.request_calls, Not(Contains("Open(GET, " + url + ")")));
        const bool asks_second = situation.send != 0 || situation.header != 0 || situation.status == 12029;
        EXPECT_EQ(g_services.client_calls.empty(), !asks_second || situation.second == Attempt::Not_Allowed);

        bool check_error = false;
        const bool expired = cache.Is_Inet_URL_Expired(url, check_error);
        EXPECT_EQ(answer.unchanged, !expired);
    }
}

} // namespace
