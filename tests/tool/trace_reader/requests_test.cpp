#include "tests/tool/trace_reader/Written_Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace QEL::Tests {
namespace {

using namespace ::testing;

/// A request up to its classification.
Written_Trace Request(const std::string& url, bool is_local = false, bool is_share = false) {
    Written_Trace trace;
    trace.Call(get, "url='" + url + "'").Call("Cleanup_Obsolete_Cached_Files");
    trace.Data(get, "url_or_path = '" + url + "'.");
    trace.Call("Is_Local", "url='" + url + "'").Return("Is_Local", is_local ? "true" : "false");
    if (is_local) {
        return trace.Data(get, "URL is local.");
    }
    return trace.Call("Is_File_Share", "url='" + url + "'").Return("Is_File_Share", is_share ? "true" : "false");
}

Written_Trace Web_Request() {
    Written_Trace trace = Request("http://s/a.xml");
    return trace.Call("Is_Local", "url='http://s/a.xml'").Return("Is_Local", "false");
}

Written_Trace Share_Request() {
    Written_Trace trace = Request("\\\\s\\x\\a.xml", false, true);
    return trace.Call("Is_Local", "url='\\\\s\\x\\a.xml'")
        .Return("Is_Local", "false")
        .Data(get, "File share URL detected: '\\\\s\\x\\a.xml'.");
}

TEST(Request_In_A_Trace, LocalFile) {
    auto trace = Request("/etc/a.xml", true);
    trace.Data(get, "Local file exists '/etc/a.xml'.").Return(get, "/etc/a.xml");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("local /etc/a.xml -> /etc/a.xml"));
}

TEST(Cache_Object_In_A_Trace, ThatIsMadeForItselfTakesNoOtherRecords) {
    Written_Trace trace;
    trace.Call("CFileCache").Call("Initialize_Mime").Error("Is_Inet_URL", "Its own.").Call("CFileCache");
    trace.Error("Initialize_Mime", "No data.").Call("Clear").Return("Clear", "true");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("done instance", "done instance", "done clear"));
    ASSERT_THAT(read.outside, SizeIs(1));
    EXPECT_THAT(read.outside[0].records, ElementsAre(&read.records[2]));
}

TEST(Request_In_A_Trace, MissingLocalFile) {
    auto trace = Request("/etc/a.xml", true);
    trace.Error(get, "Previously cached local file does not exist '/etc/a.xml'.").Return(get, "''");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("failed /etc/a.xml"));
    EXPECT_THAT(Explanations_In(trace.Text()), ElementsAre("the local file '/etc/a.xml' does not exist"));
}

TEST(Request_In_A_Trace, UnusableFileAddressIsTheCauseAndNotTheEmptyPath) {
    Written_Trace trace;
    trace.Call(get, "url='file:C:/x'").Bug();
    trace.Error("Normalize_if_File_URL", "Unsupported file URL format unexpected at this time: 'file:C:/x'.");
    trace.Data(get, "url_or_path = ''.").Error(get, "Previously cached local file does not exist ''.");
    trace.Return(get, "''");
    EXPECT_THAT(Explanations_In(trace.Text()), ElementsAre(StartsWith("'file:C:/x' is not a usable file address")));
}

TEST(Request_In_A_Trace, NoCacheDirectory) {
    auto trace = Web_Request();
    trace.Error(get, "Cache directory has not been configured.").Return(get, "''");
    EXPECT_THAT(Explanations_In(trace.Text()),
                ElementsAre("the host set no cache directory, or one that does not exist"));
}

TEST(Request_In_A_Trace, OldCopyAsTheDownloadFailed) {
    auto trace = Web_Request();
    trace.Call(policy, "url='http://s/a.xml', expired_f/downloader_f not traced.");
    trace.Call("Is_Inet_URL_Expired", "url='http://s/a.xml'");
    trace.Error("Is_Inet_URL_Expired", "HTTP HEAD request failed with status 500. try to download/read the file "
                                       "directly, therefore expired = true.");
    trace.Return("Is_Inet_URL_Expired", "true");
    trace.Data(policy, "Error(code=1) in determine URL/file Expired, Try to download the remote file 'http://s/a.xml' "
                       "directly.");
    trace.Call("Download_Inet_URL", "url='http://s/a.xml'");
    trace.Error("Download_Inet_URL",
                "HTTP GET request failed with status 503. On HTTP error we cannot download the file.");
    trace.Return("Download_Inet_URL", "''");
    trace.Data(policy, "Cached file '/c/1.xml' for URL 'http://s/a.xml' will be used.");
    trace.Return(policy, "rtn = /c/1.xml").Return(get, "/c/1.xml");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("old_copy http://s/a.xml -> /c/1.xml"));
    EXPECT_THAT(Explanations_In(trace.Text()),
                ElementsAre(AllOf(StartsWith("the server responded to the download with status 503: "),
                                  EndsWith("; the last good copy was served"))));
}

TEST(Request_In_A_Trace, FetchedAgainAsTheServerSendsNoDate) {
    auto trace = Web_Request();
    trace.Call(policy, "url='http://s/a.xml', expired_f/downloader_f not traced.");
    trace.Call("Is_Inet_URL_Expired", "url='http://s/a.xml'");
    trace.Warning("Is_Inet_URL_Expired", "Last-Modified header is empty.").Return("Is_Inet_URL_Expired", "true");
    trace.Data(policy, "Remote file 'http://s/a.xml' is expired. Will be downloaded.");
    trace.Call("Download_Inet_URL", "url='http://s/a.xml'").Return("Download_Inet_URL", "rtn = /c/2.xml");
    trace.Return(policy, "/c/2.xml").Return(get, "/c/2.xml");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("replaced http://s/a.xml -> /c/2.xml"));
    EXPECT_EQ(read.calls[0].worst, Severity::Warning);
    EXPECT_EQ(read.calls[0].explanation, "fetched again, as the server does not say when the file was changed");
}

TEST(Request_In_A_Trace, UnchangedBySecondAttemptIsNoOldCopy) {
    auto trace = Web_Request();
    trace.Call(policy, "url='http://s/a.xml', expired_f/downloader_f not traced.");
    trace.Call("Is_Inet_URL_Expired", "url='http://s/a.xml'");
    trace.Error("Is_Inet_URL_Expired", "COM exception: \n ====\nFile: http://s/a.xml\nDescription: The certificate is "
                                       "bad. Renew it.\n \nWin32 error code: 12037");
    trace.Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'IgnoreAllErrorsMode'.");
    trace.Call("Download_Inet_URL_By_WinInet", "url='http://s/a.xml'");
    trace.Error("Process_Inet_URL_By_WinInet",
                "Download_Inet_URL_By_WinInet: ok: 1, download_error: 0, m_errHTTPFileDownLoad: 0.");
    trace.Return("Is_Inet_URL_Expired", "false");
    trace.Data(policy, "Cached file '/c/1.xml' for URL 'http://s/a.xml' will be used.");
    trace.Return(policy, "rtn = /c/1.xml").Return(get, "/c/1.xml");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("unchanged http://s/a.xml -> /c/1.xml"));
    EXPECT_EQ(read.calls[0].worst, Severity::Error) << "it did meet an error";
}

TEST(Request_In_A_Trace, TransportErrorInTheWordsOfItsDescription) {
    auto trace = Web_Request();
    trace.Call(policy, "url='http://s/a.xml', expired_f/downloader_f not traced.");
    trace.Data(policy, "Remote file 'http://s/a.xml' not found in cache. Will be downloaded.");
    trace.Call("Download_Inet_URL", "url='http://s/a.xml'");
    const std::string exception =
        "COM exception: \n ====\nFile: http://s/a.xml\nDescription: No route. Check it.\n \nWin32 error code: 12029";
    trace.Error("Download_Inet_URL", exception, ""); // the one message that does not end its line
    trace.Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.");
    trace.Return("Download_Inet_URL", "''").Return(policy, "''").Return(get, "''");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("failed http://s/a.xml"));
    EXPECT_EQ(read.calls[0].explanation, "No route (error 12029)");
    EXPECT_EQ(std::count_if(read.records.begin(), read.records.end(),
                            [](const Record& record) { return record.severity == Severity::Error; }),
              1)
        << "the mode is no error";
}

TEST(Request_In_A_Trace, NumberOfAnErrorWithoutDescriptionIsExplained) {
    auto trace = Web_Request();
    trace.Error("Download_Inet_URL",
                "COM exception: \n ====\nFile: http://s/a.xml\nDescription: \n \nWin32 error code: "
                "12007");
    trace.Return(get, "''");
    EXPECT_THAT(Explanations_In(trace.Text()), ElementsAre("the server's name cannot be resolved (error 12007)"));
}

TEST(Request_In_A_Trace, FirstCopyFromAShare) {
    auto trace = Share_Request();
    trace.Call(policy, "url='x', expired_f/downloader_f not traced.");
    trace.Data(policy, "Remote file '\\\\s\\x\\a.xml' not found in cache. Will be downloaded.");
    trace.Call("Download_File_Share", "url='x'");
    trace.Data("Download_File_Share", "Copied file '\\\\s\\x\\a.xml' to the cached file: '/c/1.xml'.");
    trace.Return("Download_File_Share", "'/c/1.xml'").Return(policy, "/c/1.xml").Return(get, "/c/1.xml");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("copied \\\\s\\x\\a.xml -> /c/1.xml"));
}

TEST(Request_In_A_Trace, FailedCopyFromAShare) {
    auto trace = Share_Request();
    trace.Call(policy, "url='x', expired_f/downloader_f not traced.");
    trace.Error("Download_File_Share", "Copy file failed for URL: '\\\\s\\x\\a.xml', cached file: '/c/1.xml' , "
                                       "GetLastError returned 53.");
    Written_Trace unasked = trace;
    trace.Return("Download_File_Share", "''").Return(policy, "''").Return(get, "''");
    EXPECT_THAT(
        Explanations_In(trace.Text()),
        ElementsAre(StartsWith("the file could not be copied from the share (error 53: the server cannot be found")));
    unasked.Error("Download_File_Share", "Description: The server was last tried at noon.");
    unasked.Return("Download_File_Share", "''").Return(policy, "''").Return(get, "''");
    EXPECT_THAT(Explanations_In(unasked.Text()), ElementsAre("The server was last tried at noon."));
}

TEST(Request_In_A_Trace, WritableFileIsLeftOnItsShare) {
    auto trace = Request("\\\\s\\x\\a.xml", false, true);
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("left_in_place \\\\s\\x\\a.xml"));
    trace.Call(get, "url='/b'");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("left_in_place \\\\s\\x\\a.xml", "cut_off /b"));
}

TEST(Request_In_A_Trace, CutOffCountsAsAWarning) {
    const Trace trace = Read({Web_Request().Text()});
    EXPECT_THAT(Calls_Of(trace), ElementsAre("cut_off http://s/a.xml"));
    EXPECT_EQ(trace.calls[0].worst, Severity::Warning);
}

TEST(Request_In_A_Trace, CopyThatWasMissingOnDisk) {
    auto trace = Web_Request();
    trace.Call(policy, "url='http://s/a.xml', expired_f/downloader_f not traced.");
    trace.Data(policy, "Cached file for 'http://s/a.xml' does not exist. Will be downloaded.");
    trace.Return(policy, "/c/2.xml").Return(get, "/c/2.xml");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("downloaded http://s/a.xml -> /c/2.xml"));
    EXPECT_THAT(Explanations_In(trace.Text()), ElementsAre("fetched again: the copy was missing on disk"));
}

TEST(Request_In_A_Trace, DurationIsThatOfItsTimeStamps) {
    Written_Trace trace(7, true);
    trace.At("(31.12.26 23:59:58)").Call(get, "url='http://s/a.xml'");
    trace.At("(01.01.27 00:00:03)").Return(get, "/c/1.xml");
    const Trace read = Read({trace.Text()});
    EXPECT_EQ(read.calls[0].ended - read.calls[0].started, 5);
    EXPECT_THAT(Calls_Of(read), ElementsAre("fresh http://s/a.xml -> /c/1.xml"));
}

TEST(Request_In_A_Trace, ErrorsAreKnownByTheirWordsWhereLinesHaveTimes) {
    Written_Trace trace(7, true);
    trace.Call(get, "url='/a'").Error(get, "Previously cached local file does not exist '/a'.").Return(get, "''");
    const Trace read = Read({trace.Text()});
    EXPECT_EQ(read.records[1].severity, Severity::Error);
    EXPECT_THAT(Calls_Of(read), ElementsAre("failed /a"));
}

TEST(Call_In_A_Trace, SetCacheDirectory) {
    const auto set = [](const std::string& directory) {
        return Written_Trace().Call("Set_Cache_Directory", "absolute_dir_path='" + directory + "'");
    };
    auto loaded = set("/c").Call("Deserialize").Data("Deserialize", "Adding to the cache: entry #0, URL='u', <>");
    EXPECT_THAT(Calls_In(loaded.Return("Set_Cache_Directory", "ok = true").Text()),
                ElementsAre("done set_cache_directory /c"));
    EXPECT_THAT(Explanations_In(loaded.Text()), ElementsAre("1 entry"));

    auto damaged = set("/c").Warning("Deserialize", "Cache metadata file '/c/m' error: Header magic is 'x', expected "
                                                    "'y'.");
    EXPECT_THAT(Calls_In(damaged.Return("Set_Cache_Directory", "ok = false").Text()),
                ElementsAre("failed set_cache_directory /c"));
    EXPECT_THAT(Explanations_In(damaged.Text()), ElementsAre(HasSubstr("metadata file is damaged")));

    auto missing = set("/d").Error("Set_Cache_Directory", "Setting cache directory to non existing "
                                                          "absolute_dir_path='/d'.");
    EXPECT_THAT(Calls_In(missing.Text()), ElementsAre("failed set_cache_directory /d"));

    auto same = set("/c").Data("Set_Cache_Directory", "Cache directory is already the same as absolute_dir_path='/c'.");
    EXPECT_THAT(Calls_In(same.Text()), ElementsAre("done set_cache_directory /c"));
}

TEST(Call_In_A_Trace, ClearAndPurge) {
    Written_Trace trace;
    trace.Call("Clear").Return("Clear", "true").Call("Purge_Cache_Folder").Return("Purge_Cache_Folder", "true");
    trace.Call("Clear").Warning("Remove_From_Cache", "File could not be deleted, url = 'u', cached_file = '/c/1'.");
    trace.Error("Clear", "Entry could not be removed from file cache: u / <>").Return("Clear", "false");
    trace.Call("Purge_Cache_Folder").Warning("Delete_Cached_Files", "Delete_File failed for file '/c/1'.");
    trace.Return("Purge_Cache_Folder", "true");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("done clear", "done purge", "failed clear", "failed purge"));
    EXPECT_THAT(Explanations_In(trace.Text())[2], "'/c/1' could not be deleted");
}

TEST(Call_In_A_Trace, WithoutItsEntryIsKnownByItsExit) {
    Written_Trace trace;
    trace.Error("Download_Inet_URL",
                "HTTP GET request failed with status 503. On HTTP error we cannot download the file.");
    trace.Return("Download_Inet_URL", "''").Return(get, "''");
    trace.Call("Clear").Return("Clear", "true").Return(policy, "/c/1.xml").Return(get, "/c/1.xml");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("failed", "done clear", "not_told -> /c/1.xml"));
    EXPECT_THAT(Explanations_In(trace.Text()), Contains(HasSubstr("status 503")));
    EXPECT_THAT(Read({trace.Text()}).outside, IsEmpty());
}

} // namespace
} // namespace QEL::Tests
