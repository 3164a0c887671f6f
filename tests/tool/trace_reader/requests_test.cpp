#include "tests/tool/trace_reader/Written_Trace.h"
#include "tools/trace_reader/messages.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using namespace ::testing;
using Lines = std::vector<std::string>;

/// A request up to its classification.
std::string Request(const std::string& url, bool is_local = false, bool is_share = false) {
    const std::string begin = "> get(url='" + url + "')\n> Cleanup_Obsolete_Cached_Files\n. get url_or_path = '" + url +
                              "'.\n> Is_Local(url='" + url + "')\n";
    if (is_local) {
        return begin + "< Is_Local(true)\n. get URL is local.\n";
    }
    return begin + "< Is_Local(false)\n> Is_File_Share(url='" + url + "')\n< Is_File_Share(" +
           (is_share ? "true" : "false") + ")\n";
}

const std::string Policy =
    "> Is_Local(url='x')\n< Is_Local(false)\n> policy(url='x', expired_f/downloader_f not traced.)\n";
const std::string Web = Request("http://s/a.xml") + Policy;
const std::string Share =
    Request("\\\\s\\x\\a.xml", false, true) + ". get File share URL detected: '\\\\s\\x\\a.xml'.\n" + Policy;
const std::string Failed = "< policy('')\n< get('')\n";

/// Records as Records_Of() takes them, and what is read from them.
struct Row {
    const char* name;
    std::string records;
    Lines calls;
    Lines explanations;                 ///< how they begin and end, with "..." between
    std::optional<Severity> worst = {}; ///< of the first call
};

const Row Rows[] = {
    {"CutOff", Web, {"cut_off http://s/a.xml"}, {"..."}, Severity::Warning},
    {"LocalFile",
     Request("/etc/a.xml", true) + ". get Local file exists '/etc/a.xml'.\n< get(/etc/a.xml)\n",
     {"local /etc/a.xml -> /etc/a.xml"},
     {"a local path, returned unchanged"}},
    {"MissingLocalFile",
     Request("/etc/a.xml", true) + "! get Previously cached local file does not exist '/etc/a.xml'.\n< get('')\n",
     {"failed /etc/a.xml"},
     {"the local file '/etc/a.xml' does not exist"}},
    {"UnusableFileAddressIsTheCauseAndNotTheEmptyPath",
     "> get(url='file:C:/x')\nB\n! Normalize_if_File_URL Unsupported file URL format unexpected at this time: "
     "'file:C:/x'.\n. get url_or_path = ''.\n! get Previously cached local file does not exist ''.\n< get('')\n",
     {"failed file:C:/x"},
     {"'file:C:/x' is not a usable file address..."}},
    {"NoCacheDirectory",
     Request("http://s/a.xml") + "! get Cache directory has not been configured.\n< get('')\n",
     {"failed http://s/a.xml"},
     {"the host set no cache directory, or one that does not exist"}},
    {"OldCopyAsTheDownloadFailed",
     Web + "> HEAD(url='x')\n! HEAD HTTP HEAD request failed with status 500. try to download/read the file directly, "
           "therefore expired = true.\n< HEAD(true)\n. policy Error(code=1) in determine URL/file Expired, Try to "
           "download the remote file 'http://s/a.xml' directly.\n> GET(url='x')\n! GET HTTP GET request failed with "
           "status 503. On HTTP error we cannot download the file.\n< GET('')\n. policy Cached file '/c/1.xml' for URL "
           "'http://s/a.xml' will be used.\n< policy(rtn = /c/1.xml)\n< get(/c/1.xml)\n",
     {"old_copy http://s/a.xml -> /c/1.xml"},
     {"the server responded to the download with status 503: ...; the last good copy was served"}},
    {"TheProxysLoginIsNotTheServers",
     "! GET HTTP GET request failed with status 407. On HTTP error we cannot download the file.\n< GET('')\n< "
     "get('')\n",
     {"failed"},
     {"a proxy responded to the download with status 407: the proxy requires a login; if one is configured, "
      "'qelfilecache explain' names it"}},
    {"FetchedAgainAsTheServerSendsNoDate",
     Web + "> HEAD(url='x')\n? HEAD Last-Modified header is empty.\n< HEAD(true)\n. policy Remote file "
           "'http://s/a.xml' is expired. Will be downloaded.\n> GET(url='x')\n< GET(rtn = /c/2.xml)\n"
           "< policy(/c/2.xml)\n< get(/c/2.xml)\n",
     {"replaced http://s/a.xml -> /c/2.xml"},
     {"fetched again, as the server does not say when the file was changed"},
     Severity::Warning},
    {"UnchangedBySecondAttemptIsNoOldCopy",
     Web + "> HEAD(url='x')\n! HEAD COM exception: | ====|File: http://s/a.xml|Description: The certificate is bad. "
           "Renew it.| |Win32 error code: 12037\n! Process_Inet_URL_By_WinInet CertErrorHandlingMode: "
           "'IgnoreAllErrorsMode'.\n> Download_Inet_URL_By_WinInet(url='x')\n! Process_Inet_URL_By_WinInet "
           "Download_Inet_URL_By_WinInet: ok: 1, download_error: 0, m_errHTTPFileDownLoad: 0.\n< HEAD(false)\n"
           ". policy Cached file '/c/1.xml' for URL 'http://s/a.xml' will be used.\n< policy(rtn = /c/1.xml)\n"
           "< get(/c/1.xml)\n",
     {"unchanged http://s/a.xml -> /c/1.xml"},
     {"..."},
     Severity::Error},
    {"TransportErrorInTheWordsOfItsDescription",
     Web +
         "> GET(url='x')\n! GET COM exception: | ====|File: http://s/a.xml|Description: The name of s. (port 80) "
         "is unknown. Check it.| |Win32 error code: 12029~\n! Process_Inet_URL_By_WinInet CertErrorHandlingMode: "
         "'Default'.\n< GET('')\n" +
         Failed,
     {"failed http://s/a.xml"},
     {"The name of s. (port 80) is unknown (error 12029)"}},
    {"NumberOfAnErrorWithoutDescriptionIsExplained",
     Web + "! GET COM exception: | ====|File: http://s/a.xml|Description: | |Win32 error code: 12007\n" + Failed,
     {"failed http://s/a.xml"},
     {"the server's name cannot be resolved (error 12007)"}},
    {"FirstCopyFromAShare",
     Share + ". policy Remote file '\\\\s\\x\\a.xml' not found in cache. Will be downloaded.\n> Download_File_Share("
             "url='x')\n. Download_File_Share Copied file '\\\\s\\x\\a.xml' to the cached file: '/c/1.xml'.\n"
             "< Download_File_Share('/c/1.xml')\n< policy(/c/1.xml)\n< get(/c/1.xml)\n",
     {"copied \\\\s\\x\\a.xml -> /c/1.xml"},
     {"..."}},
    {"FailedCopyFromAShare",
     Share +
         "! Download_File_Share Copy file failed for URL: '\\\\s\\x\\a.xml', cached file: '/c/1.xml' , "
         "GetLastError returned 53.\n< Download_File_Share('')\n" +
         Failed,
     {"failed \\\\s\\x\\a.xml"},
     {"the file could not be copied from the share (error 53: the server cannot be found..."}},
    {"CopyOfAShareThatWasNotAsked",
     Share +
         "! Download_File_Share Copy file failed for URL: '\\\\s\\x\\a.xml', cached file: '/c/1.xml' , "
         "GetLastError returned 53.\n! Download_File_Share Description: The server was last tried at noon.\n"
         "< Download_File_Share('')\n" +
         Failed,
     {"failed \\\\s\\x\\a.xml"},
     {"The server was last tried at noon."}},
    {"WritableFileIsLeftOnItsShare",
     Request("\\\\s\\x\\a.xml", false, true) + "> get(url='/b')\n",
     {"left_in_place \\\\s\\x\\a.xml", "cut_off /b"},
     {"...", "..."}},
    {"CopyThatWasMissingOnDisk",
     Web + ". policy Cached file for 'http://s/a.xml' does not exist. Will be downloaded.\n< policy(/c/2.xml)\n"
           "< get(/c/2.xml)\n",
     {"downloaded http://s/a.xml -> /c/2.xml"},
     {"fetched again: the copy was missing on disk"}},
    {"LoadedDirectory",
     "> Set_Cache_Directory(absolute_dir_path='/c')\n> Deserialize\n. Deserialize Adding to the cache: entry #0, "
     "URL='u', <>\n< Set_Cache_Directory(ok = true)\n",
     {"done set_cache_directory /c"},
     {"1 entry"}},
    {"DirectoryWithADamagedList",
     "> Set_Cache_Directory(absolute_dir_path='/c')\n? Deserialize Cache metadata file '/c/m' error: Header magic is "
     "'x', expected 'y'.\n< Set_Cache_Directory(ok = false)\n",
     {"failed set_cache_directory /c"},
     {"...metadata file is damaged..."}},
    {"MissingDirectory",
     "> Set_Cache_Directory(absolute_dir_path='/d')\n! Set_Cache_Directory Setting cache directory to non existing "
     "absolute_dir_path='/d'.\n",
     {"failed set_cache_directory /d"},
     {"..."}},
    {"SameDirectory",
     "> Set_Cache_Directory(absolute_dir_path='/c')\n. Set_Cache_Directory Cache directory is already the same as "
     "absolute_dir_path='/c'.\n",
     {"done set_cache_directory /c"},
     {"..."}},
    {"ClearAndPurge",
     "> Clear\n< Clear(true)\n> Purge_Cache_Folder\n< Purge_Cache_Folder(true)\n> Clear\n? Remove_From_Cache File "
     "could "
     "not be deleted, url = 'u', cached_file = '/c/1'.\n! Clear Entry could not be removed from file cache: u / <>\n"
     "< Clear(false)\n> Purge_Cache_Folder\n? Delete_Cached_Files Delete_File failed for file '/c/1'.\n"
     "< Purge_Cache_Folder(true)\n",
     {"done clear", "done purge", "failed clear", "failed purge"},
     {"...", "...", "'/c/1' could not be deleted", "..."}},
    {"WithoutItsEntryKnownByItsExit",
     "! GET HTTP GET request failed with status 503. On HTTP error we cannot download the file.\n< GET('')\n< get('')\n"
     "> Clear\n< Clear(true)\n< policy(/c/1.xml)\n< get(/c/1.xml)\n",
     {"failed", "done clear", "not_told -> /c/1.xml"},
     {"...status 503...", "...", "..."}},
};

TEST(Request_In_A_Trace, IsReadAndExplained) {
    for (const auto& [name, records, calls, explanations, worst] : Rows) {
        SCOPED_TRACE(name);
        const Trace trace = Read({Records_Of(records)});
        EXPECT_EQ(Calls_Of(trace), calls);
        ASSERT_THAT(trace.calls, SizeIs(explanations.size()));
        EXPECT_EQ(trace.calls[0].worst, worst.value_or(trace.calls[0].worst));
        for (std::size_t call = 0; call < trace.calls.size(); ++call) {
            const auto literally = std::regex_replace(explanations[call], std::regex("[^a-zA-Z0-9 ]"), "\\$&");
            const auto pattern = std::regex_replace(literally, std::regex("(\\\\\\.){3}"), ".*");
            const std::string explanation(trace.calls[call].explanation);
            EXPECT_TRUE(std::regex_match(explanation, std::regex(pattern))) << explanation;
        }
    }
}

TEST(Call_In_A_Trace, OfANoteInTheShapeOfAnErrorHasNoError) {
    const Trace read = Read({Records_Of("! Process_Inet_URL_By_WinInet CertErrorHandlingMode: 'Default'.\n")});
    EXPECT_LT(read.records.at(0).severity, Severity::Error);
}

TEST(Call_In_A_Trace, OfACacheObjectThatIsMadeTakesNoOtherRecords) {
    const Trace read = Read({Records_Of("> CFileCache\n> Initialize_Mime\n! Is_Inet_URL Its own.\n> CFileCache\n"
                                        "! Initialize_Mime No data.\n> Clear\n< Clear(true)\n")});
    EXPECT_THAT(Calls_Of(read), ElementsAre("done instance", "done instance", "done clear"));
    ASSERT_THAT(read.outside, SizeIs(1));
    EXPECT_THAT(read.outside[0].records, ElementsAre(&read.records[2]));
    EXPECT_TRUE(read.runs[0].has_entries);
}

TEST(Call_In_A_Trace, HasTheDurationOfItsTimeStampsAndErrorsByTheirWords) {
    const Trace read = Read({Records_Of("> get(url='/a')\n! get Previously cached local file does not exist '/a'.\n", 7,
                                        "(31.12.26 23:59:58) ") +
                             Records_Of("< get('')\n", 7, "(01.01.27 00:00:03) ")});
    EXPECT_EQ(read.calls[0].ended - read.calls[0].started, 5);
    EXPECT_EQ(read.records[1].severity, Severity::Error);
    EXPECT_THAT(Calls_Of(read), ElementsAre("failed /a"));
}

TEST(Following, GivesTheCallsOfTheWholeTraceOnceHoweverItGrows) {
    const auto of_thread = [](int thread, const std::string& name) {
        std::string lines;
        for (const std::string& path : {name + "/a", name + "/b", name}) {
            lines += "> get(url='" + path + "')\n. get url_or_path = '" + path +
                     "'.\n! get Previously cached local file does not exist '" + name + "'.|With a second line.\n" +
                     (path == name ? "" : "< get('')\n");
        }
        return Writes_Of(lines, thread);
    };
    const auto one = of_thread(1, "/one");
    const auto two = of_thread(2, "/two");
    for (const std::string& content : {Mixed(one, {}) + Mixed(two, {}), Mixed(one, two)}) {
        const auto shown = [](const Trace& trace, std::vector<std::string>& calls) {
            for (const Call& call : trace.calls) {
                calls.push_back(In_A_Line(call) + " of line " + std::to_string(call.records.front()->line) + " to " +
                                std::to_string(call.records.back()->line));
            }
        };
        std::vector<std::string> whole;
        shown(Read({content}), whole);
        for (std::size_t lines = 1; lines < 8; ++lines) {
            Trace_Follower follower;
            std::vector<std::string> followed;
            for (std::size_t begin = 0, end = 0; begin < content.size(); begin = end) {
                for (std::size_t line = 0; line < lines && end < content.size(); ++line) {
                    end = std::min(content.find('\n', end), content.size() - 1) + 1;
                }
                EXPECT_EQ(follower.Add("a.trc", content.substr(begin, end - begin)), "");
                shown(follower.Take(), followed);
            }
            EXPECT_THAT(followed, SizeIs(whole.size() - 2)) << "two are under way";
            follower.Begin_Again("a.trc");
            shown(follower.Take(), followed);
            EXPECT_THAT(followed, UnorderedElementsAreArray(whole)) << lines;
        }
    }
}

TEST(Following, ShowsAFileLeftOnItsShareOnceNothingFollows) {
    const std::string url = "\\\\s\\x\\a.xml";
    Trace_Follower follower;
    const auto polls = [&follower](const std::string& records, int times) {
        Lines shown;
        for (std::string lines = Records_Of(records); times > 0; --times, lines.clear()) {
            EXPECT_EQ(follower.Add("a.trc", lines), "");
            std::ranges::copy(Calls_Of(follower.Take()), std::back_inserter(shown));
        }
        return shown;
    };
    const std::string begin = Request(url, false, true);
    EXPECT_THAT(polls(begin, 4), IsEmpty()) << "the share may be slow";
    EXPECT_THAT(polls("", 9), ElementsAre("left_in_place " + url));
    EXPECT_THAT(polls(begin, 9), ElementsAre("left_in_place " + url));
    EXPECT_THAT(polls("< get(/c/1.xml)\n", 1), ElementsAre("fresh " + url + " -> /c/1.xml")) << "it was slow";
}

TEST(Product_Messages, AreTakenFromTheProduct) {
    std::size_t count[4] = {};
    for (const Product_Message& message : Product_Messages()) {
        ++count[static_cast<std::size_t>(message.severity)];
        EXPECT_FALSE(message.format.ends_with("\n")) << message.format;
    }
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Error)], 40U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Warning)], 10U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Note)], 0U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Data)], 40U);
}

TEST(Product_Messages, AreRecognisedAndEachProblemIsExplained) {
    for (const Product_Message& message : Product_Messages()) {
        std::string text = std::regex_replace(std::string(message.format), std::regex("%[dp]"), "12");
        text = std::regex_replace(text, std::regex("%s"), "/some where/it's.xml");
        const auto recognised = Recognise(text);
        ASSERT_NE(recognised.message, nullptr) << text;
        EXPECT_EQ(recognised.message->format, message.format);
        EXPECT_EQ(recognised.Cause().find_first_of("{}"), std::string::npos) << recognised.Cause();
        if (message.severity >= Severity::Warning) {
            EXPECT_FALSE(recognised.Cause().empty()) << text;
        }
    }
    EXPECT_EQ(Recognise("No message of the product").message, nullptr);
}

} // namespace
} // namespace QEL::Tests
