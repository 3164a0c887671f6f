#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"
#include "util/Non_Copyable.h"

#include <algorithm>
#include <locale>
#include <sstream>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string Magic_Line = "QEL Logon Landscape Cache Metadata";

/// A global locale that groups digits in threes, for the life of the object.
class Grouping_Locale : private QEL::FrontEnd::Util::Non_Copyable {
public:
    Grouping_Locale() : m_Before(std::locale::global(std::locale(std::locale::classic(), new Thousands))) {}
    ~Grouping_Locale() { std::locale::global(m_Before); }

private:
    struct Thousands : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale m_Before;
};

class Metadata_File : public Cache_Fixture {
protected:
    Metadata_File() {
        cache.m_Cache_Directory = cache_directory;
        Forget();
    }

    using Lines = std::vector<std::string>;

    static Lines Header(const std::string& version, const std::string& entries) {
        return {Magic_Line, "version", version, "entries", entries};
    }

    static Lines With(Lines lines, const Lines& more) {
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    }

    /// Loads a metadata file of these bytes into an empty cache.
    bool Load(const std::string& bytes) {
        cache.m_Cache_Entries.clear();
        Write_File(Metadata_Path(), bytes);
        Forget();
        return cache.Deserialize();
    }
    bool Load(const Lines& lines) { return Load(Text_File(lines)); }

    Records Begin_Loading(std::size_t cleared = 0) const {
        return Call("Deserialize") +
               Data("Deserialize", "Clearing cache " + std::to_string(cleared) + " entries...\n") +
               Return("Get_Cache_Metadata", "'" + Metadata_Path() + "'") +
               Data("Deserialize", "Cache metadata read from '" + Metadata_Path() + "'\n");
    }
    static Records No_Directory() {
        return Bug() +
               Error("Get_Cache_Metadata", "Cache directory has not been set, but trying to load cache metadata.\n") +
               Return("Get_Cache_Metadata", "''");
    }
    static Records Start() { return Data("Deserialize", "Processing cache entries. -- Start --\n"); }
    static Records End() {
        return Data("Deserialize", "Processing cache entries. -- End --\n") + Return("Deserialize", "true");
    }
    static std::string Shown_Entry(int number, const std::string& url, const std::string& entry) {
        return ": entry #" + std::to_string(number) + ", URL='" + url + "', " + entry + "\n";
    }
    static Records New_Entry() { return Data("Deserialize", "New cache entry.\n"); }
    static Records Added(int number, const std::string& url, const std::string& entry) {
        return New_Entry() + Data("Deserialize", "Adding to the cache" + Shown_Entry(number, url, entry));
    }
    static Records Ignored(int number, const std::string& url, const std::string& entry) {
        return New_Entry() +
               Warning("Deserialize", "Cached file does not exist. Entry ignored" + Shown_Entry(number, url, entry));
    }
    static Records Empty_Entry(int number, const std::string& url, const std::string& entry) {
        return New_Entry() + Warning("Deserialize", "Empty URL encountered or empty cache file encountered" +
                                                        Shown_Entry(number, url, entry));
    }
    Records Invalid_Check_Time(int number, const std::string& line) const {
        return New_Entry() +
               Warning("Deserialize", "Metadata file: '" + Metadata_Path() +
                                          "', last_checked_remotely is invalid for entry " + std::to_string(number) +
                                          ": '" + line + "', expected a number.\n") +
               Return("Deserialize", "false");
    }

    /// A file without entries to read that differs from a sound one in one line: refused, with this record alone.
    void Expect_Refused(std::size_t line_number, const std::string& line, const std::string& error) {
        Lines lines = {Magic_Line, "version", "2", "entries", "1", "m", "1", a, "u"};
        lines[line_number] = line;
        EXPECT_FALSE(Load(lines)) << line;
        EXPECT_EQ(All(), Begin_Loading() + Warning("Deserialize", "Cache metadata file '" + Metadata_Path() +
                                                                      "' error: " + error + "\n"));
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
        EXPECT_THAT(os->calls, IsEmpty());
    }

    void Expect_Entry(const std::string& url, const std::string& cached_file, const std::string& last_modified,
                      std::uint64_t last_checked_remotely) {
        ASSERT_EQ(cache.m_Cache_Entries.count(url), 1U) << url;
        const CacheEntry& entry = cache.m_Cache_Entries.at(url);
        EXPECT_EQ(entry.cached_file, cached_file);
        EXPECT_EQ(entry.last_modified, last_modified);
        EXPECT_EQ(entry.last_checked_remotely, last_checked_remotely);
    }

    const std::string a = Write_File(In_Cache("a.txt"), "a");
    const std::string b = Write_File(In_Cache("b.txt"), "b");
    const std::string c = Write_File(In_Cache("c.txt"), "c");
};

// Where the file is

TEST_F(Metadata_File, LiesInTheCacheDirectory) {
    EXPECT_EQ(cache.Get_Cache_Metadata(), Metadata_Path());
    EXPECT_EQ(All(), Return("Get_Cache_Metadata", "'" + Metadata_Path() + "'"));
    cache.m_Cache_Directory = "C:\\cache\\";
    EXPECT_EQ(cache.Get_Cache_Metadata(), "C:\\cache\\\\qelfilecache_Metadata.txt") << "whatever its end";
}

TEST_F(Metadata_File, HasNoPathWithoutACacheDirectory) {
    cache.m_Cache_Directory.clear();
    EXPECT_EQ(cache.Get_Cache_Metadata(), "");
    EXPECT_EQ(All(), No_Directory());
}

// Writing

TEST_F(Metadata_File, OfAnEmptyCacheHasFiveLinesAndIsWrittenFromItsBeginning) {
    Write_File(Metadata_Path(), std::string(100000, 'x'));
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()), Text_File({Magic_Line, "version", "2", "entries", "0"}));
    EXPECT_EQ(All(), Call("Serialize") + Return("Get_Cache_Metadata", "'" + Metadata_Path() + "'") +
                         Data("Serialize", "Cache metadata stored in '" + Metadata_Path() + "'\n") +
                         Return("Serialize", "true"));
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 4) << "no other file is left behind";
}

TEST_F(Metadata_File, HoldsFourLinesForEachEntryInByteOrderOfTheUrls) {
    cache.m_Cache_Entries["http://server/b"] = {b, "", 0};
    cache.m_Cache_Entries["http://server/B"] = {"missing.txt", "Tue, 01 Jan 2019 10:00:00 GMT", 18446744073709551615U};
    cache.m_Cache_Entries["\\\\server\\share\\\xC3\xA4"] = {c, "-132", 1};
    cache.m_Cache_Entries["\xC3\xA4"] = {a, "stamp", 133000000000000000U};
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()),
              Text_File(With(Header("2", "4"), {"-132", "1", c, "\\\\server\\share\\\xC3\xA4", //
                                                "Tue, 01 Jan 2019 10:00:00 GMT", "18446744073709551615", "missing.txt",
                                                "http://server/B",             //
                                                "", "0", b, "http://server/b", //
                                                "stamp", "133000000000000000", a, "\xC3\xA4"})));
    const auto serializing = [](const std::string& url, const std::string& entry) {
        return Data("Serialize", "Serializing metadata for URL '" + url + "':\n" + entry + "\n\n");
    };
    EXPECT_EQ(All(), Call("Serialize") + Return("Get_Cache_Metadata", "'" + Metadata_Path() + "'") +
                         Data("Serialize", "Cache metadata stored in '" + Metadata_Path() + "'\n") +
                         serializing("\\\\server\\share\\\xC3\xA4", Entry_Text(c, "-132")) +
                         serializing("http://server/B", Entry_Text("missing.txt", "Tue, 01 Jan 2019 10:00:00 GMT")) +
                         serializing("http://server/b", Entry_Text(b, "")) +
                         serializing("\xC3\xA4", Entry_Text(a, "stamp")) + Return("Serialize", "true"));
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Metadata_File, HoldsPlainNumbersWhateverTheGlobalLocale) {
    for (int i = 0; i < 1234; ++i) {
        cache.m_Cache_Entries["http://server/" + std::to_string(10000 + i)] = {a, "m", 133000000000000000U};
    }
    cache.Serialize();
    const std::string expected = Content(Metadata_Path());
    EXPECT_NE(expected.find(Text_File({"entries", "1234", "m", "133000000000000000", a})), std::string::npos);

    const Grouping_Locale grouping;
    cache.Serialize();
    EXPECT_EQ(Content(Metadata_Path()), expected);
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1234U);
    Expect_Entry("http://server/11233", a, "m", 133000000000000000U);
}

TEST_F(Metadata_File, IsReadAlikeWhateverTheGlobalLocale) {
    const Grouping_Locale grouping;
    EXPECT_TRUE(Load(With(Header("2", "1"), {"m", "1.000.000", a, "u"})));
    Expect_Entry("u", a, "m", 1);
}

TEST_F(Metadata_File, CannotBeWrittenWithoutADirectoryAndSaysSo) {
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    cache.m_Cache_Directory.clear();
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    EXPECT_TRUE(cache.Serialize());
    std::filesystem::current_path(here);
    EXPECT_EQ(All(), Call("Serialize") + No_Directory() + Data("Serialize", "Cache metadata stored in ''\n") +
                         Data("Serialize", "Serializing metadata for URL 'u':\n" + Entry_Text(a, "m") + "\n\n") +
                         Return("Serialize", "true"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 3) << "nothing is written";
}

TEST_F(Metadata_File, ThatCannotBeWrittenIsNotAFailure) {
    cache.m_Cache_Directory = In_Cache("missing");
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Of({"Serialize"}).back(), (Record{4, ")\n"}));
    EXPECT_FALSE(std::filesystem::exists(In_Cache("missing")));

    std::filesystem::create_directories(Metadata_Path());
    cache.m_Cache_Directory = cache_directory;
    EXPECT_TRUE(cache.Serialize());
    EXPECT_TRUE(std::filesystem::is_directory(Metadata_Path()));
}

// Reading

TEST_F(Metadata_File, ThatIsMissingIsAnEmptyCache) {
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    cache.m_Cache_Entries["v"] = {b, "m", 1};
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_EQ(All(), Begin_Loading(2) + Data("Deserialize", "Cache metadata file '" + Metadata_Path() +
                                                                "' does not exist. Cache is empty.\n"));
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Metadata_File, WithoutACacheDirectoryCountsAsMissing) {
    cache.m_Cache_Directory.clear();
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_EQ(All(), Call("Deserialize") + Data("Deserialize", "Clearing cache 1 entries...\n") + No_Directory() +
                         Data("Deserialize", "Cache metadata read from ''\n") +
                         Data("Deserialize", "Cache metadata file '' does not exist. Cache is empty.\n"));
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
}

TEST_F(Metadata_File, ComesBackAsItWasWritten) {
    const std::map<std::string, CacheEntry> written = {
        {"http://server/a", {a, "Tue, 01 Jan 2019 10:00:00 GMT", 133000000000000000U}},
        {"http://server/A", {b, "", 0}},
        {"\\\\server\\share\\c ", {c, "  blanks  ", 18446744073709551615U}},
    };
    cache.m_Cache_Entries = written;
    cache.Serialize();
    const std::string bytes = Content(Metadata_Path());
    cache.m_Cache_Entries = {{"other", {}}};
    EXPECT_TRUE(cache.Deserialize());
    ASSERT_EQ(cache.m_Cache_Entries.size(), written.size());
    for (const auto& [url, entry] : written) {
        Expect_Entry(url, entry.cached_file, entry.last_modified, entry.last_checked_remotely);
    }
    cache.Serialize();
    EXPECT_EQ(Content(Metadata_Path()), bytes);
}

TEST_F(Metadata_File, IsLoadedEntryByEntry) {
    cache.m_Cache_Entries = {{"1", {}}, {"2", {}}, {"3", {}}};
    Write_File(Metadata_Path(), Text_File(With(Header("2", "3"), {"ma", "10", a, "http://server/a",                 //
                                                                  "mx", "11", In_Cache("x.txt"), "http://server/x", //
                                                                  "", "12", b, "http://server/b"})));
    EXPECT_TRUE(cache.Deserialize());
    EXPECT_EQ(All(), Begin_Loading(3) + Start() + Added(0, "http://server/a", Entry_Text(a, "ma")) +
                         Ignored(1, "http://server/x", Entry_Text(In_Cache("x.txt"), "mx")) +
                         Added(2, "http://server/b", Entry_Text(b, "")) + End());
    EXPECT_THAT(Urls(), ElementsAre("http://server/a", "http://server/b"));
    Expect_Entry("http://server/a", a, "ma", 10);
    Expect_Entry("http://server/b", b, "", 12);
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + a + ")", "File_Exists(" + In_Cache("x.txt") + ")",
                                       "File_Exists(" + b + ")"));
}

TEST_F(Metadata_File, OfVersion1HasNoCheckTimesAndIsWrittenAsVersion2) {
    EXPECT_TRUE(Load(With(Header("1", "2"), {"ma", a, "http://server/a", "17", b, "http://server/b"})));
    EXPECT_EQ(All(), Begin_Loading() + Start() + Added(0, "http://server/a", Entry_Text(a, "ma")) +
                         Added(1, "http://server/b", Entry_Text(b, "17")) + End());
    Expect_Entry("http://server/a", a, "ma", 0);
    Expect_Entry("http://server/b", b, "17", 0);

    cache.Serialize();
    EXPECT_EQ(Content(Metadata_Path()), Text_File(With(Header("2", "2"), {"ma", "0", a, "http://server/a", //
                                                                          "17", "0", b, "http://server/b"})));
}

TEST_F(Metadata_File, IsReadNoFurtherThanItsEntryCount) {
    for (const char* const version : {"1", "2"}) {
        EXPECT_TRUE(Load(With(Header(version, "0"), {"ma", "1", a, "http://server/a"})));
        EXPECT_EQ(All(), Begin_Loading() + Start() + End());
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    }
    EXPECT_TRUE(Load(With(Header("2", "1"), {"ma", "1", a, "http://server/a", "mb", "2", b, "http://server/b"})));
    EXPECT_THAT(Urls(), ElementsAre("http://server/a"));
}

TEST_F(Metadata_File, LoadsWithTheLineEndsOfEitherPlatform) {
    for (const std::string line_end : {"\r\n", "\n", "\r\r\n"}) {
        for (const std::string version : {"1", "2"}) {
            const std::string check_time = version == "2" ? "17" + line_end : "";
            EXPECT_TRUE(Load(Magic_Line + line_end + "version" + line_end + version + line_end + "entries" + line_end +
                             "2" + line_end +                                                           //
                             "ma" + line_end + check_time + a + line_end + "http://server/a" + line_end //
                             + "" + line_end + check_time + b + line_end + "http://server/b" + line_end));
            EXPECT_THAT(Urls(), ElementsAre("http://server/a", "http://server/b"));
            Expect_Entry("http://server/a", a, "ma", version == "2" ? 17 : 0);
            Expect_Entry("http://server/b", b, "", version == "2" ? 17 : 0);
        }
    }
}

TEST_F(Metadata_File, LoadsWithoutALineEndBehindTheLastLine) {
    std::string bytes = Text_File(With(Header("2", "1"), {"ma", "1", a, "http://server/a"}));
    bytes.resize(bytes.find_last_not_of("\r\n") + 1);
    EXPECT_TRUE(Load(bytes));
    EXPECT_THAT(Urls(), ElementsAre("http://server/a"));
}

TEST_F(Metadata_File, KeepsTheLaterOfTwoEntriesOfOneUrl) {
    EXPECT_TRUE(Load(With(Header("2", "3"), {"ma", "1", a, "u", "mb", "2", b, "v", "mc", "3", c, "u"})));
    EXPECT_THAT(Urls(), ElementsAre("u", "v"));
    Expect_Entry("u", c, "mc", 3);
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
    EXPECT_TRUE(Load(With(Header("2", "2"), {"ma", "1", a, "u", "mx", "2", In_Cache("x.txt"), "u"})));
    Expect_Entry("u", a, "ma", 1); // the copy of the later one is gone
}

TEST_F(Metadata_File, DistinguishesUrlsByEveryByte) {
    EXPECT_TRUE(Load(With(Header("2", "4"), {"", "1", a, "http://server/a", "", "2", a, "http://server/A", "", "3", a,
                                             "http://server/a ", "", "4", a, " http://server/a"})));
    EXPECT_EQ(cache.m_Cache_Entries.size(), 4U);
}

// Damage in the header

TEST_F(Metadata_File, NeedsTheWordsOfItsHeaderLetterForLetter) {
    for (const std::string line :
         {"", "QEL Logon Landscape Cache Metadata ", " QEL Logon Landscape Cache Metadata",
          "QEL logon landscape cache metadata", "QEL Logon Landscape Cache Metadat", "version",
          "\xEF\xBB\xBFQEL Logon Landscape Cache Metadata", "QEL Logon Landscape Cache Metadata2"}) {
        Expect_Refused(0, line, "Header magic is '" + line + "', expected '" + Magic_Line + "'.");
    }
    for (const std::string line :
         {"", "Version", "version ", " version", "versio", "versions", "version 2", "entries"}) {
        Expect_Refused(1, line, "Version string is wrong: '" + line + "', expected 'version'.");
    }
    for (const std::string line : {"", "Entries", "entries ", "entrie", "entriess", "1"}) {
        Expect_Refused(3, line, "Entries string is wrong: '" + line + "', expected 'entries'.");
    }
}

TEST_F(Metadata_File, NeedsNumbersAsItsVersionAndEntries) {
    for (const std::string line : {"", " ", "two", "x2", "v2", ".2", "-", "+", "- 2", "4294967296", "4294967298",
                                   "99999999999999999999999", "-4294967296"}) {
        Expect_Refused(2, line, "Version is invalid: '" + line + "', expected a number.");
    }
    for (const std::string line : {"", "one", "x1", "4294967296", "18446744073709551616", "-4294967296"}) {
        Expect_Refused(4, line, "Entries number is invalid: '" + line + "', expected a number.");
    }
}

TEST_F(Metadata_File, OfAnotherVersionIsRefused) {
    const std::pair<std::string, std::string> versions[] = {
        {"3", "3"},   {"0", "0"},   {"12", "12"}, {"21", "21"},         {"3x", "3"},    {"0x2", "0"},
        {"-1", "-1"}, {"-2", "-2"}, {" 4", "4"},  {"4294967295", "-1"}, {"22.5", "22"}, {"2147483647", "2147483647"},
    };
    for (const auto& [line, shown] : versions) {
        Expect_Refused(2, line, "Version is wrong: " + shown + ", expected 2.");
    }
}

TEST_F(Metadata_File, NumbersMayHaveBlanksBeforeAndTextBehindThem) {
    for (const std::string line : {"2", " 2", "\t 2", "2 ", "2abc", "2.9", "+2", "02", "0002x", "2,1", "-4294967294"}) {
        EXPECT_TRUE(Load({Magic_Line, "version", line, "entries", " 1 entry", "m", "  17th", a, "u"})) << line;
        Expect_Entry("u", a, "m", 17);
    }
    for (const std::string line : {"1", " 1", "1abc", "1e3", "+1", "01"}) {
        EXPECT_TRUE(Load({Magic_Line, "version", line, "entries", "+1", "m", a, "u"})) << line;
        Expect_Entry("u", a, "m", 0);
    }
}

TEST_F(Metadata_File, WithAHeaderErrorClearsTheEntriesAllTheSame) {
    Write_File(Metadata_Path(), "rubbish");
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    EXPECT_FALSE(cache.Deserialize());
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_EQ(Content(Metadata_Path()), "rubbish") << "reading changes nothing";
    EXPECT_FALSE(Load(""));
}

// Damage in the entries

TEST_F(Metadata_File, WithABadCheckTimeKeepsTheEntriesBeforeIt) {
    for (const std::string line : {"", " ", "never", "x17", "-", "18446744073709551616"}) {
        EXPECT_FALSE(Load(With(Header("2", "3"), {"ma", "1", a, "u", "mb", line, b, "v", "mc", "3", c, "w"}))) << line;
        EXPECT_EQ(All(), Begin_Loading() + Start() + Added(0, "u", Entry_Text(a, "ma")) + Invalid_Check_Time(1, line));
        EXPECT_THAT(Urls(), ElementsAre("u"));
        EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + a + ")"));
    }
}

TEST_F(Metadata_File, ReadsCheckTimesAsAStreamDoes) {
    const std::pair<std::string, std::uint64_t> times[] = {{"0", 0},
                                                           {"18446744073709551615", 18446744073709551615U},
                                                           {"-1", 18446744073709551615U},
                                                           {"  42", 42},
                                                           {"42 minutes", 42},
                                                           {"0x10", 0},
                                                           {"010", 10},
                                                           {"+9", 9},
                                                           {"1.5", 1}};
    for (const auto& [line, expected] : times) {
        EXPECT_TRUE(Load(With(Header("2", "1"), {"m", line, a, "u"}))) << line;
        Expect_Entry("u", a, "m", expected);
    }
}

TEST_F(Metadata_File, EndsAtAnEntryWithoutUrl) {
    EXPECT_TRUE(Load(With(Header("2", "3"), {"ma", "1", a, "u", "mb", "2", b, "", "mc", "3", c, "w"})));
    EXPECT_EQ(All(), Begin_Loading() + Start() + Added(0, "u", Entry_Text(a, "ma")) +
                         Empty_Entry(1, "", Entry_Text(b, "mb")) + End());
    EXPECT_THAT(Urls(), ElementsAre("u"));
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + a + ")"));
}

TEST_F(Metadata_File, EndsAtAnEntryWithoutCopy) {
    EXPECT_TRUE(Load(With(Header("2", "2"), {"ma", "1", "", "u", "mb", "2", b, "v"})));
    EXPECT_EQ(All(), Begin_Loading() + Start() + Empty_Entry(0, "u", Entry_Text("", "ma")) + End());
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Metadata_File, ThatPromisesMoreEntriesThanItHoldsFailsInVersion2Alone) {
    for (const std::string promised : {"3", "4294967295", "-1"}) {
        const Records two =
            Begin_Loading() + Start() + Added(0, "u", Entry_Text(a, "ma")) + Added(1, "v", Entry_Text(b, "mb"));
        EXPECT_FALSE(Load(With(Header("2", promised), {"ma", "1", a, "u", "mb", "2", b, "v"})));
        EXPECT_EQ(All(), two + Invalid_Check_Time(2, ""));
        EXPECT_THAT(Urls(), ElementsAre("u", "v"));
        EXPECT_TRUE(Load(With(Header("1", promised), {"ma", a, "u", "mb", b, "v"})));
        EXPECT_EQ(All(), two + Empty_Entry(2, "", Entry_Text("", "")) + End());
        EXPECT_THAT(Urls(), ElementsAre("u", "v"));
    }
}

/// What a cut-off file of version 1 or 2 holds, by the rules of the format. `lines` are those that
/// are left, the last one perhaps a part of a line.
struct Cut_File {
    bool loads = false;
    std::map<std::string, std::string> copies; ///< by URL
};

Cut_File Read_Cut_File(const std::vector<std::string>& lines, const std::vector<std::string>& existing_files) {
    std::size_t next = 0;
    const auto line = [&] { return next < lines.size() ? lines[next++] : std::string(); };
    const auto is_number = [](const std::string& text) { return !text.empty() && text[0] >= '0' && text[0] <= '9'; };

    Cut_File result;
    if (line() != Magic_Line || line() != "version") {
        return result;
    }
    const std::string version = line();
    if ((version != "1" && version != "2") || line() != "entries") {
        return result;
    }
    const std::string entries = line();
    if (!is_number(entries)) {
        return result;
    }
    for (int left = std::stoi(entries); left > 0; --left) {
        line();
        if (version == "2" && !is_number(line())) {
            return result;
        }
        const std::string cached_file = line();
        const std::string url = line();
        if (cached_file.empty() || url.empty()) {
            break;
        }
        if (std::find(existing_files.begin(), existing_files.end(), cached_file) != existing_files.end()) {
            result.copies[url] = cached_file;
        }
    }
    result.loads = true;
    return result;
}

TEST_F(Metadata_File, CutOffAnywhereKeepsWhatIsWhole) {
    int loaded = 0;
    for (const Lines& lines : {With(Header("2", "3"), {"ma", "17", a, "http://server/a", "", "4711", In_Cache("x.txt"),
                                                       "http://server/x", "mb", "18", b, "http://server/b"}),
                               With(Header("1", "3"), {"ma", a, "http://server/a", "", In_Cache("x.txt"),
                                                       "http://server/x", "mb", b, "http://server/b"}),
                               Header("2", "0")}) {
        const std::string whole = Text_File(lines);
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::string cut = whole.substr(0, length);
            if (cut.ends_with('\r')) {
                continue; // between the two bytes of a line end
            }
            Lines left;
            std::string text = cut;
            std::erase(text, '\r');
            for (std::istringstream stream(text); std::getline(stream, text);) {
                left.push_back(text);
            }
            const Cut_File expected = Read_Cut_File(left, {a, b, c});
            EXPECT_EQ(Load(cut), expected.loads) << "cut after " << length << " bytes:\n" << cut;
            ASSERT_EQ(cache.m_Cache_Entries.size(), expected.copies.size()) << cut;
            for (const auto& [url, cached_file] : expected.copies) {
                ASSERT_EQ(cache.m_Cache_Entries.count(url), 1U) << cut;
                EXPECT_EQ(cache.m_Cache_Entries[url].cached_file, cached_file);
            }
            EXPECT_EQ(Above_Additional_Data().empty(), expected.loads && lines.size() == 5)
                << "each cut is reported, and so is the missing copy";
            loaded += expected.loads ? 1 : 0;
        }
    }
    EXPECT_GT(loaded, 10);
}

TEST_F(Metadata_File, OfRandomBytesGainsNoEntry) {
    for (const std::size_t size : {1U, 2U, 35U, 36U, 100U, 1000U, 100000U}) {
        EXPECT_FALSE(Load(QEL::Tests::Rubbish(size)));
        EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
        EXPECT_EQ(Above_Additional_Data().size(), 1U);
    }
    const std::string rubbish = QEL::Tests::Rubbish(20000);
    for (std::size_t begin = 0; begin < rubbish.size(); begin += 200) {
        for (const char* const version : {"1", "2"}) {
            Load(Text_File(Header(version, "4294967295")) + rubbish.substr(begin));
            EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
            EXPECT_FALSE(Above_Additional_Data().empty());
        }
    }
}

TEST_F(Metadata_File, WithNulBytesInAKeywordIsRefused) {
    EXPECT_FALSE(Load(Magic_Line + std::string("\0\n", 2) + "version\n2\nentries\n0\n"));
    EXPECT_FALSE(Load(Magic_Line + "\nversion" + std::string("\0x\n", 3) + "2\nentries\n0\n"));
    EXPECT_FALSE(Load(Magic_Line + "\nversion\n2\nentries" + std::string("\0\n", 2) + "0\n"));
    EXPECT_FALSE(Load(Magic_Line + "\nversion\n" + std::string("\0", 1) + "2\nentries\n0\n"));
}

TEST_F(Metadata_File, MayHoldVeryLongLines) {
    const std::string long_text(1000000, 'x');
    EXPECT_TRUE(Load(With(Header("2", "1"), {long_text, "1", a, "http://server/" + long_text})));
    Expect_Entry("http://server/" + long_text, a, long_text, 1);
    EXPECT_FALSE(Load({long_text}));
}

// Recording a copy

TEST_F(Metadata_File, RecordsANewEntryAndIsWritten) {
    cache.m_Cache_Entries["http://server/b"] = {b, "mb", 2};
    cache.Persist_Downloaded_File_Metadata("http://server/a", {a, "ma", 17});
    EXPECT_EQ(Content(Metadata_Path()), Text_File(With(Header("2", "2"), {"ma", "17", a, "http://server/a", //
                                                                          "mb", "2", b, "http://server/b"})));
    Expect_Entry("http://server/a", a, "ma", 17);
    Expect_Entry("http://server/b", b, "mb", 2);
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Metadata_File, RecordsInAFixedOrder) {
    cache.Persist_Downloaded_File_Metadata("u", {a, "ma", 17});
    values.insert({{"url", "u"}, {"entry", Entry_Text(a, "ma")}, {"removal", "remove_unknown"}});
    Expect_Records("persist");
}

TEST_F(Metadata_File, ReplacesTheEntryOfAUrlWhetherItsCopyCanBeDeletedOrNot) {
    for (const bool can_be_deleted : {false, true}) {
        os->on_delete_file = [=](const std::string& path) { return can_be_deleted && std::filesystem::remove(path); };
        cache.m_Cache_Entries["u"] = {a, "ma", 1};
        cache.Persist_Downloaded_File_Metadata("u", {b, "mb", 2});
        Expect_Entry("u", b, "mb", 2);
        EXPECT_NE(std::filesystem::exists(a), can_be_deleted);
        EXPECT_EQ(Content(b), "b");
        EXPECT_EQ(Content(Metadata_Path()), Text_File(With(Header("2", "1"), {"mb", "2", b, "u"})));
    }
}

TEST_F(Metadata_File, IsNeitherReadNorWrittenWhereAPipeIsInItsPlace) {
    Write_File(Metadata_Path(), "not to be touched");
    g_services.pipe = Metadata_Path();
    EXPECT_TRUE(cache.Deserialize()) << "as if it was missing";
    EXPECT_THAT(cache.m_Cache_Entries, IsEmpty());
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()), "not to be touched");
}

} // namespace
