#include "tests/tool/trace_reader/Written_Trace.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using namespace ::testing;

/// A request that downloads a file for the first time.
Written_Trace A_Download(int thread, const std::string& name, bool with_times = false) {
    const std::string url = "http://s/" + name;
    const std::string copy = "/c/" + name;
    Written_Trace trace(thread, with_times);
    trace.Call(get, "url='" + url + "'").Call("Cleanup_Obsolete_Cached_Files");
    trace.Data(get, "url_or_path = '" + url + "'.").Call("Is_Local", "url='" + url + "'").Return("Is_Local", "false");
    trace.Data(get, "Inet URL detected: '" + url + "'.")
        .Call(policy, "url='" + url +
                          "', expired_f/downloader_f not "
                          "traced.");
    trace.Data(policy, "Remote file '" + url + "' not found in cache. Will be downloaded.");
    trace.Call("Download_Inet_URL", "url='" + url + "'").Data("Download_Inet_URL", "Closed file '" + copy + "'.");
    trace.Return("Download_Inet_URL", "rtn = " + copy).Return(policy, copy).Return(get, copy);
    return trace;
}

TEST(Splitting, ThreadsThatTakeTurnsByRecordAreDistinguished) {
    std::istringstream one(A_Download(1, "a").Text());
    std::istringstream other(A_Download(2, "b").Text());
    std::string text;
    for (std::string first, second; std::getline(one, first) && std::getline(other, second);) {
        text += first + "\n" + second + "\n";
    }
    EXPECT_THAT(Calls_In(text), ElementsAre("downloaded http://s/a -> /c/a", "downloaded http://s/b -> /c/b"));
}

TEST(Splitting, PiecesOfTwoThreadsThatAreGluedLoseNoRequest) {
    for (const bool with_times : {false, true}) {
        const std::string text = Mixed(A_Download(1, "a", with_times), A_Download(2, "b", with_times));
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
            left.push_back(A_Download(thread, name).Writes());
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
    Written_Trace trace;
    trace.Call(get, "url='" + forged + "'").Data(get, "url_or_path = '" + forged + "'.").Return(get, "/c/1");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("fresh " + forged + " -> /c/1"));
    EXPECT_THAT(Read({trace.Text()}).records, SizeIs(3));
}

TEST(Splitting, AnAddressOfTheCacheObjectProvesARecordGenuine) {
    Written_Trace trace;
    trace.Call("Clear").Write("TID: 7, QEL::FrontEnd::FileCache::CFileCache::Clear[0x55d0c8a41eb0]/8: cut in the mid");
    trace.Return("Clear", "true").Call("Clear").Return("Clear", "true");
    EXPECT_THAT(Calls_In(trace.Text()), SizeIs(2));
}

TEST(Splitting, AHeadingStartsAfresh) {
    Written_Trace trace;
    trace.Heading().Call(get, "url='/a'").Heading("Error ").Call("Clear").Return("Clear", "true");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("cut_off /a", "done clear"));
    ASSERT_THAT(read.runs, SizeIs(2));
    EXPECT_EQ(read.runs[0].level, "Error, Warning, Developer Notes and additional data");
    EXPECT_EQ(read.runs[1].level, "Error");
    EXPECT_EQ(read.runs[1].program, "/usr/bin/pad");
    EXPECT_EQ(read.runs[1].process, "0100");
    EXPECT_EQ(read.runs[1].line, 9U);
}

TEST(Splitting, AHeadingBehindAMessageWithoutLineEndIsSeen) {
    Written_Trace trace;
    trace.Error("Download_Inet_URL", "COM exception: \n x \nWin32 error code: 12029", "").Heading();
    trace.Call("Clear").Return("Clear", "true");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(read.runs, SizeIs(2));
    EXPECT_EQ(read.records[0].text, "COM exception: \n x \nWin32 error code: 12029");
}

TEST(Splitting, FilesOfSeveralProcessesFallIntoTheOrderOfTime) {
    Written_Trace first(1, true);
    first.At("(21.11.26 10:00:00)").Call("Clear").Return("Clear", "true");
    first.At("(21.11.26 10:00:09)").Call("Purge_Cache_Folder").Return("Purge_Cache_Folder", "true");
    Written_Trace second(2, true);
    second.At("(21.11.26 10:00:05)").Call(get, "url='/a'").Return(get, "/a");
    EXPECT_THAT(Calls_Of(Read({first.Text(), second.Text()})),
                ElementsAre("done clear", "fresh /a -> /a", "done purge"));
    EXPECT_THAT(Calls_Of(Read({first.Text(), second.Text() + Written_Trace().Call("Clear").Text()})),
                ElementsAre("done clear", "done purge", "fresh /a -> /a", "cut_off clear"))
        << "without times, as given";
}

TEST(Splitting, LinesBehindAMessageBelongToIt) {
    Written_Trace trace;
    trace.Call("Clear").Data("Serialize", "Serializing metadata for URL 'u':\n<CacheEntry/>\n");
    trace.Return("Clear", "true");
    const Trace read = Read({trace.Text()});
    ASSERT_THAT(read.records, SizeIs(3));
    EXPECT_EQ(read.records[1].text, "Serializing metadata for URL 'u':\n<CacheEntry/>");
    EXPECT_EQ(read.records[2].line, 5U);
}

TEST(Splitting, GarbageBetweenRecordsDisturbsNone) {
    Written_Trace trace;
    trace.Write(std::string("\0\xFF garbage \x1B[31m\n\n", 16)).Call(get, "url='/a'");
    trace.Write(std::string(3000, '\xA7') + "\nTID: x, QEL::\n").Return(get, "/a").Write("\x01\x02\x03");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("fresh /a -> /a"));
}

TEST(Splitting, ComplaintsOfTheWriterAreKept) {
    Written_Trace trace;
    trace.Call("Clear").Write("ERROR: QELPCTRC, lock holder died\n").Return("Clear", "true");
    const Trace read = Read({trace.Text()});
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
    EXPECT_THAT(Trace_Reader().Add("x", Written_Trace().Heading().Text()), IsEmpty()) << "a heading is enough";
    EXPECT_THAT(Trace_Reader().Add("x", "\xEF\xBB\xBF" + Written_Trace().Call("Clear").Text()), IsEmpty());
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
        repeated(prefix + "CALL\n"),                        // calls
        repeated(Written_Trace().Call("Serialize").Text()), // ever deeper
        repeated("***ERROR***: " + prefix + "COM exception: \n"),
        repeated(Written_Trace().Heading().Text()), // runs
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

} // namespace
} // namespace QEL::Tests
