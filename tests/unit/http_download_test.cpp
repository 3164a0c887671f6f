// What the download alone does with a response: the claims of its body, the name of the copy, the entry.

#include "tests/unit/support/Http_Fixture.h"

using namespace Recorded_Trace;
using namespace testing;

namespace {

class Http_Download : public Http_Fixture {
protected:
    std::string Download() { return cache.Download_Inet_URL(url, download_error); }

    std::string Download_After(bool flag) {
        Forget();
        download_error = flag;
        cache.m_errHTTPFileDownLoad = 0;
        return Download();
    }

    /// The body between these bounds, as the request object claims it.
    std::string Download_Bounded(std::int64_t lower, std::int64_t upper) {
        Script().change_body = [=, this](Response_Body& claimed) {
            claimed.data = body.data();
            claimed.lower_bound = lower;
            claimed.upper_bound = upper;
        };
        return Content(Download());
    }

    /// Expects these texts in records of the download.
    void Expect_Note(const std::string& text) const { Expect_Record("D Download_Inet_URL: " + text); }

    void Expect_Failure() const {
        EXPECT_TRUE(download_error);
        EXPECT_EQ(cache.m_errHTTPFileDownLoad, 2);
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
        EXPECT_THAT(Files_In_Cache(), IsEmpty());
    }

    bool download_error = true;
};

TEST_F(Http_Download, WritesTheBodyAndRecordsTheEntry) {
    cache.m_errHTTPFileDownLoad = 3;
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 3);
    EXPECT_EQ(Content(Copy_Path()), body);
    EXPECT_THAT(cache.m_Cache_Entries, ElementsAre(Pair(url, FieldsAre(Copy_Path(), stamp, os->current_time))));
    EXPECT_TRUE(std::filesystem::exists(Metadata_Path()));
}

TEST_F(Http_Download, StoresTheLastModifiedHeaderAsItStands) {
    for (const std::string sent : {"  not a date, \"quoted\"  ", ""}) {
        Script().headers["Last-Modified"] = sent;
        Download();
        EXPECT_EQ(cache.m_Cache_Entries.at(url).last_modified, sent);
        Expect_Note("Last-Modified header: '" + sent + "'.");
    }
}

TEST_F(Http_Download, GivesAnEmptyBodyAnEmptyFile) {
    body.clear();
    Script().headers.erase("Content-Type");
    g_services.type_for_data = "";
    EXPECT_EQ(Download(), Copy_Path(".cached"));
    EXPECT_TRUE(std::filesystem::is_empty(Copy_Path(".cached")));
    EXPECT_FALSE(download_error);
    EXPECT_THAT(g_services.magic_calls, ElementsAre("Get_Mime_Type_For_Data()", "Get_Extension_From_Mime_Type()"));
    Expect_Note("lbound = 0, ubound = 0");
}

TEST_F(Http_Download, WritesATextFileOfThePlatformInThePlaceOfAnother) {
    for (const auto& [sent, written] : {std::pair{std::string("a\0b\0\0c", 6), std::string("a\0b\0\0c", 6)},
                                        {std::string("first\nsecond\n"), Text_File({"first", "second"})}}) {
        Write_File(Copy_Path(), "something much longer than the body");
        g_services.uuids = {uuid};
        cache.m_Cache_Entries.clear();
        body = sent;
        Download();
        EXPECT_EQ(Content(Copy_Path()), written);
    }
}

TEST_F(Http_Download, TakesTheLengthFromBothBounds) {
    constexpr std::int64_t greatest = std::numeric_limits<std::int32_t>::max();
    struct Case {
        std::int64_t lower;
        std::int64_t upper;
        std::size_t length;
        std::string traced;
    };
    for (const Case& bounds : {Case{5, 9, 5, "lbound = 5, ubound = 10"}, Case{-3, 3, 7, "lbound = -3, ubound = 4"},
                               Case{greatest - 2, greatest, 3, "lbound = 2147483645, ubound = -2147483648"},
                               Case{2 * greatest + 2, 2 * greatest + 6, 5, "lbound = 0, ubound = 5"},
                               Case{4, -4, 0, "lbound = 4, ubound = -3"}}) {
        g_services.uuids = {uuid};
        cache.m_Cache_Entries.clear();
        EXPECT_EQ(Download_Bounded(bounds.lower, bounds.upper), body.substr(0, bounds.length));
        EXPECT_TRUE(std::filesystem::exists(Copy_Path()));
        Expect_Note(bounds.traced);
    }
}

TEST_F(Http_Download, IgnoresThatTheFileCannotBeWritten) {
    g_services.uuids = {"missing_folder/" + uuid};
    const std::string unwritable = Download();
    EXPECT_THAT(unwritable, EndsWith("missing_folder/" + uuid + ".xml"));
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_Cache_Entries.at(url).cached_file, unwritable);
    Expect_Note("Closed file '" + unwritable + "'.");
}

TEST_F(Http_Download, LeavesTheCopyToThePlatformWhereThatPublishesBodies) {
    std::string published;
    Script().change_body = [&published](Response_Body& claimed) {
        claimed.publish = [&published](const std::string& path) { published = path; };
    };
    EXPECT_EQ(Download(), Copy_Path());
    EXPECT_EQ(published, Copy_Path());
    EXPECT_FALSE(std::filesystem::exists(published));
    Expect_Note("Closed file '" + published + "'.");
}

/// What a request object claims of its body, a record of a success that is not written, and the error.
struct Odd_Body {
    void (*change)(QEL::FrontEnd::FileCache::Response_Body& claimed);
    std::string next_record;
    std::string error;
};

const std::string s_wrong_type = ", expecting byte array (8209).";
const Odd_Body s_odd_bodies[] = {
    {[](auto& claimed) { claimed.type = 0; }, "Response body", "Wrong variant type 0" + s_wrong_type},
    {[](auto& claimed) { claimed.type = 8; }, "Response body", "Wrong variant type 8" + s_wrong_type},
    {[](auto& claimed) { claimed.type = 8204; }, "Response body", "Wrong variant type 8204" + s_wrong_type},
    {[](auto& claimed) { claimed.type = 8209 | 16384; }, "Response body", "Wrong variant type 24593" + s_wrong_type},
    {[](auto& claimed) { claimed.dimensions = 0; }, "lbound =", "Wrong dimensions - 0, expecting 1."},
    {[](auto& claimed) { claimed.dimensions = 2; }, "lbound =", "Wrong dimensions - 2, expecting 1."},
    {[](auto& claimed) { claimed.lower_bound_result = -2147352566; },
     "lbound =", "Cannot get lbound or ubound, ec1 = -2147352566, ec2 = 0."},
    {[](auto& claimed) { claimed.upper_bound_result = -1; },
     "lbound =", "Cannot get lbound or ubound, ec1 = 0, ec2 = -1."},
    {[](auto& claimed) { claimed.access_result = -2147024809; }, "Generate_Cached_File_Name",
     "Cannot access safe array, ec3 = -2147024809."},
};

TEST_F(Http_Download, RefusesAnOddBody) {
    for (const auto& [change, next_record, error] : s_odd_bodies) {
        SCOPED_TRACE(error);
        Script().change_body = [&, change = change](Response_Body& claimed) {
            claimed.data = body.data();
            claimed.upper_bound = 11;
            change(claimed);
            values["dims"] = std::to_string(claimed.dimensions);
        };
        for (const bool before : {false, true}) {
            cache.m_Cert_Error_Detected = true;
            EXPECT_EQ(Download_After(before), "");
            EXPECT_FALSE(cache.m_Cert_Error_Detected);
            Expect_Last_Records("E Download_Inet_URL: " + error + "\nD Download_Inet_URL: return value:('')");
            EXPECT_THAT(Shown(All()), Not(Contains(HasSubstr(next_record))));
            Expect_Record(next_record == "Response body" ? "" : "D Download_Inet_URL: dims = {dims}");
            EXPECT_THAT(g_services.client_calls, IsEmpty());
            EXPECT_THAT(g_services.magic_calls, IsEmpty());
            EXPECT_EQ(os->Calls_Of("Get_Current_Time"), 0U);
            Expect_Failure();
        }
    }
}

TEST_F(Http_Download, FailsWhenTheCopyCannotBeNamed) {
    g_services.uuid_throws = true;
    for (const bool before : {false, true}) {
        EXPECT_EQ(Download_After(before), "");
        Expect_Records("= http_get < Generate_Cached_File_Name\nE Download_Inet_URL: Downloading from URL '{url}' "
                       "failed.\nD Download_Inet_URL: return value:('')",
                       Of({"Download_Inet_URL", "HTTP_Status_OK"}));
        EXPECT_EQ(g_services.request_calls.back(), "Release");
        EXPECT_THAT(g_services.client_calls, IsEmpty());
        Expect_Failure();
    }
}

TEST_F(Http_Download, RecordsWhatTheSecondClientFetchedBetweenItsRecordsAndTheReturn) {
    Script().send = Certificate_Error;
    cache.m_errHTTPFileDownLoad = 1;
    const std::string copy = Copy_Path(".txt");
    EXPECT_EQ(Download(), copy);
    EXPECT_EQ(Content(copy), second_body);
    EXPECT_FALSE(download_error);
    EXPECT_EQ(cache.m_errHTTPFileDownLoad, 0);
    EXPECT_EQ(cache.m_Additional_Error_Info, "");
    EXPECT_THAT(cache.m_Cache_Entries, ElementsAre(Pair(url, FieldsAre(copy, second_stamp, os->current_time))));
    values["entry"] = Entry_Text(copy, second_stamp);
    values["copy"] = copy;
    Expect_Last_Records("E Process_Inet_URL_By_WinInet: Download_Inet_URL_By_WinInet: ok: 1, download_error: 0, "
                        "m_errHTTPFileDownLoad: 2.\n"
                        "D Persist_Downloaded_File_Metadata: CALL(url='{url}', cache_entry={entry})\n"
                        "D Download_Inet_URL: return value:(rtn = {copy})",
                        Of({"Download_Inet_URL", "Process_Inet_URL_By_WinInet", "Persist_Downloaded_File_Metadata"}));
}

} // namespace
