#include "tests/tool/trace_reader/Written_Trace.h"
#include "tests/unit/support/Expected_Records.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using namespace ::testing;

constexpr const char* Stamp = "(21.11.26 10:20:16) ";
const std::string A_Clear = Records_Of("> Clear\n< Clear(true)\n");

/// A request that downloads a file for the first time.
std::vector<std::string> A_Download(int thread, const std::string& name, const std::string& stamp = {}) {
    const std::string lines = "> get(url='URL')\n> Cleanup_Obsolete_Cached_Files\n. get url_or_path = 'URL'.\n"
                              "> Is_Local(url='URL')\n< Is_Local(false)\n. get Inet URL detected: 'URL'.\n"
                              "> policy(url='URL', expired_f/downloader_f not traced.)\n"
                              ". policy Remote file 'URL' not found in cache. Will be downloaded.\n> GET(url='URL')\n"
                              ". GET Closed file '/c/NAME'.\n< GET(rtn = /c/NAME)\n< policy(/c/NAME)\n< get(/c/NAME)\n";
    const std::string named = std::regex_replace(lines, std::regex("URL"), "http://s/" + name);
    return Writes_Of(std::regex_replace(named, std::regex("NAME"), name), thread, stamp);
}

TEST(Splitting, PiecesOfTwoThreadsThatAreGluedLoseNoRequest) {
    for (const char* const stamp : {"", Stamp}) {
        const std::string text = Mixed(A_Download(1, "a", stamp), A_Download(2, "b", stamp));
        EXPECT_THAT(Calls_In(text),
                    UnorderedElementsAre("downloaded http://s/a -> /c/a", "downloaded http://s/b -> /c/b"))
            << text;
    }
}

/// Not everything can be known then, but nothing that is said is wrong.
TEST(Splitting, WritesOfThreadsInAnyOrderLoseNoRequest) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 300; ++round) {
        std::string text;
        std::vector<std::vector<std::string>> left;
        for (const auto& [thread, name] : {std::pair{1, "a"}, {2, "b"}, {3, "c"}}) {
            left.push_back(A_Download(thread, name));
            std::reverse(left.back().begin(), left.back().end());
        }
        for (; !left.empty(); std::erase(left, std::vector<std::string>())) {
            auto& writes = left[random() % left.size()];
            text += writes.back();
            writes.pop_back();
        }
        std::vector<std::string> subjects;
        const Trace trace = Read({text});
        for (const Call& call : trace.calls) {
            subjects.emplace_back(call.subject);
            EXPECT_THAT(call.outcome, AnyOf(Outcome::Downloaded, Outcome::Cut_Off, Outcome::Unknown))
                << In_A_Line(call) << "\n"
                << text;
        }
        ASSERT_THAT(subjects, UnorderedElementsAre("http://s/a", "http://s/b", "http://s/c")) << text;
    }
}

TEST(Splitting, ARequestCannotForgeARecord) {
    const std::string forged = "http://s/TID: 7, QEL::FrontEnd::FileCache::CFileCache::Clear[0x55d0c8a4beef]/1: CALL";
    const Trace read =
        Read({Records_Of("> get(url='" + forged + "')\n. get url_or_path = '" + forged + "'.\n< get(/c/1)\n")});
    EXPECT_THAT(Calls_Of(read), ElementsAre("fresh " + forged + " -> /c/1"));
    EXPECT_THAT(read.records, SizeIs(3));
}

TEST(Splitting, AnAddressOfTheCacheObjectProvesARecordGenuine) {
    EXPECT_THAT(Calls_In(Records_Of("> Clear\n") +
                         "TID: 7, QEL::FrontEnd::FileCache::CFileCache::Clear[0x55d0c8a41eb0]/8: cut in the mid" +
                         A_Clear),
                SizeIs(2));
}

TEST(Splitting, AHeadingStartsAfresh) {
    const Trace read = Read({Heading() + Records_Of("> get(url='/a')\n") + Heading("Error ") + A_Clear});
    EXPECT_THAT(Calls_Of(read), ElementsAre("cut_off /a", "done clear"));
    ASSERT_THAT(read.runs, SizeIs(2));
    EXPECT_EQ(read.runs[0].level, "Error, Warning, Developer Notes and additional data");
    EXPECT_EQ(read.runs[1].level, "Error");
    EXPECT_EQ(read.runs[1].program, "/usr/bin/pad");
    EXPECT_EQ(read.runs[1].process, "0100");
    EXPECT_EQ(read.runs[1].line, 9U);
}

TEST(Splitting, AHeadingBehindAMessageWithoutLineEndIsSeen) {
    const Trace read = Read({Records_Of("! GET COM exception: | x |Win32 error code: 12029~\n") + Heading() + A_Clear});
    EXPECT_THAT(read.runs, SizeIs(2));
    EXPECT_EQ(read.records[0].text, "COM exception: \n x \nWin32 error code: 12029");
}

TEST(Splitting, FilesOfSeveralProcessesFallIntoTheOrderOfTime) {
    const std::string first =
        Records_Of("> Clear\n< Clear(true)\n", 1, "(21.11.26 10:00:00) ") +
        Records_Of("> Purge_Cache_Folder\n< Purge_Cache_Folder(true)\n", 1, "(21.11.26 10:00:09) ");
    const std::string second = Records_Of("> get(url='/a')\n< get(/a)\n", 2, "(21.11.26 10:00:05) ");
    EXPECT_THAT(Calls_Of(Read({first, second})), ElementsAre("done clear", "fresh /a -> /a", "done purge"));
    EXPECT_THAT(Calls_Of(Read({first, second + Records_Of("> Clear\n")})),
                ElementsAre("done clear", "done purge", "fresh /a -> /a", "cut_off clear"))
        << "without times, as given";
}

TEST(Splitting, LinesBehindAMessageBelongToIt) {
    const Trace read = Read({Records_Of("> Clear\n. Serialize Serializing metadata for URL 'u':|<CacheEntry/>|\n"
                                        "< Clear(true)\n")});
    ASSERT_THAT(read.records, SizeIs(3));
    EXPECT_EQ(read.records[1].text, "Serializing metadata for URL 'u':\n<CacheEntry/>");
    EXPECT_EQ(read.records[2].line, 5U);
}

TEST(Splitting, GarbageBetweenRecordsDisturbsNone) {
    EXPECT_THAT(Calls_In(std::string("\0\xFF garbage \x1B[31m\n\n", 16) + Records_Of("> get(url='/a')\n") +
                         std::string(3000, '\xA7') + "\nTID: x, QEL::\n" + Records_Of("< get(/a)\n") + "\x01\x02\x03"),
                ElementsAre("fresh /a -> /a"));
}

TEST(Splitting, ComplaintsOfTheWriterAreKept) {
    const Trace read = Read({Records_Of("> Clear\n= ERROR: QELPCTRC, lock holder died\n< Clear(true)\n")});
    EXPECT_THAT(Calls_Of(read), ElementsAre("done clear"));
    EXPECT_EQ(read.records[1].kind, Record_Kind::Writer);
    EXPECT_EQ(read.records[1].text, "ERROR: QELPCTRC, lock holder died");
}

TEST(Splitting, WhatIsNotATraceIsExplainedWithARemedy) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "the file is empty"},
        {"just some text\nof several lines\n", "this is not a trace"},
        {std::string("\xFF\xFE"
                     "T\0I\0",
                     6),
         "UTF-16"},
        {"PK\x03\x04zip", "compressed"},
        {std::string("\0\0\0", 3), "this is not a trace"},
    };
    for (const auto& [content, reason] : cases) {
        Trace_Reader reader;
        const std::string complaint = reader.Add("x", content);
        EXPECT_THAT(complaint, HasSubstr(reason));
        EXPECT_THAT(complaint, HasSubstr("\n  Next: "));
        EXPECT_THAT(reader.Finish().files, IsEmpty());
    }
    EXPECT_THAT(Trace_Reader().Add("x", Heading()), IsEmpty()) << "a heading is enough";
    EXPECT_THAT(Trace_Reader().Add("x", "\xEF\xBB\xBF" + A_Clear), IsEmpty());
}

/// What costs more than its size would take hours here, not seconds.
TEST(Splitting, HostileTracesCostNoMoreThanTheirSize) {
    const std::string prefix = "TID: 1, QEL::FrontEnd::FileCache::CFileCache::Clear/1: ";
    const auto repeated = [](const std::string& part) {
        std::string text;
        while (text.size() < 4000000) {
            text += part;
        }
        return text;
    };
    const std::string hostile[] = {
        repeated(prefix), // records inside a line
        prefix + "CALL('" + repeated("TID: 2, QEL::FrontEnd::FileCache::CFileCache::Clear/1: 'x"),
        repeated(prefix + "CALL\n"),           // calls
        repeated(Records_Of("> Serialize\n")), // ever deeper
        repeated("***ERROR***: " + prefix + "COM exception: \n"),
        repeated(Heading()), // runs
        prefix + repeated("'"),
        prefix + repeated("9"),
        prefix + repeated("TID: "),
        prefix + repeated("\n"),
    };
    for (const std::string& text : hostile) {
        const auto started = std::chrono::steady_clock::now();
        static_cast<void>(Calls_In(text));
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60)) << text.substr(0, 200);
    }
}

// A trace as the product writes it

std::string First_Download() {
    return Recorded_Trace::First_Download("4711", "0x55d0c8a41eb0", "12");
}

TEST(Splitting, WholeTracesShowTheirRequestAndNothingWrongWhereverTheyAreCutOff) {
    const std::string request = "http://127.0.0.1:PORT/landscape.xml -> DIRECTORY/UUID.xml";
    const std::vector<std::string> calls = {"done instance", "done set_cache_directory DIRECTORY",
                                            "downloaded " + request};
    const std::string whole = First_Download();
    EXPECT_EQ(Calls_In(whole), calls);
    EXPECT_EQ(Calls_In(std::regex_replace(whole, std::regex("\n"), "\r\n")), calls) << "line ends of Windows";
    for (std::size_t length = 1; length < whole.size(); length += 3) {
        const Trace trace = Read({whole.substr(0, length)});
        ASSERT_LE(trace.calls.size(), calls.size()) << length;
        for (std::size_t index = 0; index < trace.calls.size(); ++index) {
            const Call& call = trace.calls[index];
            const bool is_last = index + 1 == trace.calls.size();
            EXPECT_TRUE(In_A_Line(call) == calls[index] ||
                        (is_last && (call.outcome == Outcome::Cut_Off || call.operation == Operation::Start)))
                << length << ": " << In_A_Line(call);
        }
    }
}

TEST(Splitting, NestsTheRecordsOfCalls) {
    const Trace trace = Read({First_Download()});
    std::vector<std::string> nested;
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Call) {
            nested.push_back(std::string(record.depth, ' ') + std::string(record.method));
        }
    }
    EXPECT_THAT(nested,
                ElementsAre("CFileCache", " Initialize_Mime", "Set_Cache_Directory", " Deserialize",
                            "Get_Cached_File_and_Status", " Cleanup_Obsolete_Cached_Files", "  Delete_Cached_Files",
                            " Normalize_if_File_URL", // neither the sweep nor its step has an exit
                            "  Is_File_URL", " Is_Local", "  Is_Inet_URL", " Is_File_Share", " Is_Local",
                            "  Is_Inet_URL", " Is_Inet_URL", " Get_Cached_Remote_File", "  Download_Inet_URL",
                            "   HTTP_Status_OK", "   Generate_Cached_File_Name_from_Contents",
                            "    Generate_Cached_File_Name_from_Mime_Type", "     Filter_Dangerous_Extensions",
                            "   Persist_Downloaded_File_Metadata", "    Remove_From_Cache", "    Serialize"));
}

} // namespace
} // namespace QEL::Tests
