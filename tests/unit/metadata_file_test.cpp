#include "tests/unit/support/Cache_Fixture.h"
#include "util/Non_Copyable.h"

#include <locale>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using namespace testing;

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
    using Texts = std::vector<std::string>;

    Metadata_File() {
        cache.m_Cache_Directory = cache_directory;
        values.insert({{"a", a}, {"b", b}, {"c", c}, {"gone", gone}, {"cleared", "0"}});
        Forget();
    }

    /// The lines of a file of this version that promises so many entries.
    static Texts File(const std::string& version, const std::string& entries, const Texts& lines) {
        Texts all = {Magic_Line, "version", version, "entries", entries};
        all.insert(all.end(), lines.begin(), lines.end());
        return all;
    }

    /// Loads a metadata file of these bytes into an empty cache.
    bool Load(const std::string& bytes) {
        cache.m_Cache_Entries.clear();
        Write_File(Metadata_Path(), bytes);
        Forget();
        return cache.Deserialize();
    }
    bool Load(const Texts& lines) { return Load(Text_File(lines)); }

    /// "URL: copy, stamp, check time; " of each entry.
    std::string Entries() const {
        std::string all;
        for (const auto& [url, entry] : cache.m_Cache_Entries) {
            all += url + ": " + std::filesystem::path(entry.cached_file).filename().string() + ", " +
                   entry.last_modified + ", " + std::to_string(entry.last_checked_remotely) + "; ";
        }
        return all;
    }

    /// Files without entries to read that differ from a sound one in one line: refused, with this record alone.
    void Expect_Refused(std::size_t line_number, const std::string& lines, const std::string& error) {
        std::istringstream all(lines);
        for (std::string line; std::getline(all, line, '|');) {
            Texts file = File("2", "1", {"m", "1", a, "u"});
            file[line_number] = line;
            EXPECT_FALSE(Load(file)) << line;
            values["line"] = line;
            Expect_Records("= load\nW Deserialize: Cache metadata file '{metadata}' error: " + error);
            EXPECT_EQ(Entries(), "");
            EXPECT_THAT(os->calls, IsEmpty());
        }
    }

    const std::string a = Write_File(In_Cache("a.txt"), "a");
    const std::string b = Write_File(In_Cache("b.txt"), "b");
    const std::string c = Write_File(In_Cache("c.txt"), "c");
    const std::string gone = In_Cache("gone.txt");
};

const std::string s_load_start = "= load\nD Deserialize: Processing cache entries. -- Start --\n";
const std::string s_load_end =
    "D Deserialize: Processing cache entries. -- End --\nD Deserialize: return value:(true)\n";
const std::string s_load_new = "D Deserialize: New cache entry.\n";
const std::string s_no_directory = R"(
    D ---- BUG ----
    E Get_Cache_Metadata: Cache directory has not been set, but trying to load cache metadata.
    D Get_Cache_Metadata: return value:('')
)";

/// The records of an entry that is taken, passed over or the end, with its shown form.
std::string Entry_Read(const std::string& said, int number, const std::string& url, const std::string& copy,
                       const std::string& stamp) {
    return s_load_new + said + ": entry #" + std::to_string(number) + ", URL='" + url + "', " +
           Entry_Text(copy, stamp) + "\n";
}
const std::string s_load_added = "D Deserialize: Adding to the cache";
const std::string s_load_ignored = "W Deserialize: Cached file does not exist. Entry ignored";
const std::string s_load_empty = "W Deserialize: Empty URL encountered or empty cache file encountered";

std::string Invalid_Check_Time(int number, const std::string& line) {
    return s_load_new + "W Deserialize: Metadata file: '{metadata}', last_checked_remotely is invalid for entry " +
           std::to_string(number) + ": '" + line + "', expected a number.\nD Deserialize: return value:(false)";
}

// Writing

TEST_F(Metadata_File, OfAnEmptyCacheHasFiveLinesAndIsWrittenFromItsBeginning) {
    Write_File(Metadata_Path(), std::string(100000, 'x'));
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()), Text_File(File("2", "0", {})));
    Expect_Records("= serialize < Serializing\nD Serialize: return value:(true)");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 4) << "no other file is left behind";
}

TEST_F(Metadata_File, HoldsFourLinesForEachEntryInByteOrderOfTheUrls) {
    cache.m_Cache_Entries = {{"http://server/b", {b, "", 0}},
                             {"http://server/B", {gone, "Tue, 01 Jan 2019 10:00:00 GMT", 18446744073709551615U}},
                             {"\\\\server\\share\\\xC3\xA4", {c, "-132", 1}},
                             {"\xC3\xA4", {a, "stamp", 133000000000000000U}}};
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()),
              Text_File(File("2", "4",
                             {"-132", "1", c, "\\\\server\\share\\\xC3\xA4",                                    //
                              "Tue, 01 Jan 2019 10:00:00 GMT", "18446744073709551615", gone, "http://server/B", //
                              "", "0", b, "http://server/b", "stamp", "133000000000000000", a, "\xC3\xA4"})));
    Expect_Records("= serialize < Serializing\n"
                   "D Serialize: Serializing metadata for URL '\\\\server\\share\\\xC3\xA4':\\n" +
                   Entry_Text(c, "-132") + "\\n\nD Serialize: Serializing metadata for URL 'http://server/B':\\n" +
                   Entry_Text(gone, "Tue, 01 Jan 2019 10:00:00 GMT") +
                   "\\n\nD Serialize: Serializing metadata for URL 'http://server/b':\\n" + Entry_Text(b, "") +
                   "\\n\nD Serialize: Serializing metadata for URL '\xC3\xA4':\\n" + Entry_Text(a, "stamp") +
                   "\\n\nD Serialize: return value:(true)");
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
    EXPECT_EQ(cache.m_Cache_Entries["http://server/11233"].last_checked_remotely, 133000000000000000U);
    EXPECT_TRUE(Load(File("2", "1", {"m", "1.000.000", a, "u"})));
    EXPECT_EQ(Entries(), "u: a.txt, m, 1; ");
}

TEST_F(Metadata_File, CannotBeWrittenWithoutADirectoryAndSaysSo) {
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    cache.m_Cache_Directory.clear();
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    EXPECT_TRUE(cache.Serialize());
    std::filesystem::current_path(here);
    Expect_Records("D Serialize: CALL\n" + s_no_directory + R"(
        D Serialize: Cache metadata stored in ''
        D Serialize: Serializing metadata for URL 'u':\n<CacheEntry cached_file="{a}" last_modified="m"/>\n
        D Serialize: return value:(true))");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 3) << "nothing is written";
}

// Reading

TEST_F(Metadata_File, ThatIsMissingOrWithoutACacheDirectoryIsAnEmptyCache) {
    for (const std::string& set_directory : {cache_directory, std::string()}) {
        Forget();
        cache.m_Cache_Directory = set_directory;
        cache.m_Cache_Entries = {{"u", {a, "m", 1}}, {"v", {b, "m", 1}}};
        values["list"] = set_directory.empty() ? "" : Metadata_Path();
        EXPECT_TRUE(cache.Deserialize());
        Expect_Record((set_directory.empty() ? s_no_directory : "") +
                      "D Deserialize: Clearing cache 2 entries...\nD Deserialize: Cache metadata read from '{list}'");
        Expect_Last_Records("D Deserialize: Cache metadata file '{list}' does not exist. Cache is empty.");
        EXPECT_EQ(Entries(), "");
        EXPECT_THAT(os->calls, IsEmpty());
    }
}

TEST_F(Metadata_File, IsLoadedEntryByEntry) {
    EXPECT_TRUE(Load(File("2", "3", {"ma", "10", a, "u", "mx", "11", gone, "v", "", "12", b, "w"})));
    Expect_Records(s_load_start + Entry_Read(s_load_added, 0, "u", a, "ma") +
                   Entry_Read(s_load_ignored, 1, "v", gone, "mx") + Entry_Read(s_load_added, 2, "w", b, "") +
                   s_load_end);
    EXPECT_EQ(Entries(), "u: a.txt, ma, 10; w: b.txt, , 12; ");
    EXPECT_THAT(os->calls,
                ElementsAre("File_Exists(" + a + ")", "File_Exists(" + gone + ")", "File_Exists(" + b + ")"));
}

TEST_F(Metadata_File, OfVersion1HasNoCheckTimesAndIsWrittenAsVersion2) {
    EXPECT_TRUE(Load(File("1", "2", {"ma", a, "u", "17", b, "v"})));
    Expect_Records(s_load_start + Entry_Read(s_load_added, 0, "u", a, "ma") +
                   Entry_Read(s_load_added, 1, "v", b, "17") + s_load_end);
    EXPECT_EQ(Entries(), "u: a.txt, ma, 0; v: b.txt, 17, 0; ");
    cache.Serialize();
    EXPECT_EQ(Content(Metadata_Path()), Text_File(File("2", "2", {"ma", "0", a, "u", "17", "0", b, "v"})));
}

TEST_F(Metadata_File, HoldsWhatItsLinesSay) {
    const std::string x(1000000, 'x');
    const struct {
        Texts file;
        std::string entries;
    } cases[] = {
        // No further than the number of entries
        {File("1", "0", {"ma", a, "u"}), ""},
        {File("2", "0", {"ma", "1", a, "u"}), ""},
        {File("2", "1", {"ma", "1", a, "u", "mb", "2", b, "v"}), "u: a.txt, ma, 1; "},
        // Of one URL the last entry whose copy exists
        {File("2", "3", {"ma", "1", a, "u", "mb", "2", b, "v", "mc", "3", c, "u"}),
         "u: c.txt, mc, 3; v: b.txt, mb, 2; "},
        {File("2", "2", {"ma", "1", a, "u", "mx", "2", gone, "u"}), "u: a.txt, ma, 1; "},
        // URLs that differ in a byte
        {File("2", "4", {"", "1", a, "u", "", "2", a, "U", "", "3", a, "u ", "", "4", a, " u"}),
         " u: a.txt, , 4; U: a.txt, , 2; u: a.txt, , 1; u : a.txt, , 3; "},
        // Long lines
        {File("2", "1", {x, "1", a, "http://server/" + x}), "http://server/" + x + ": a.txt, " + x + ", 1; "},
    };
    for (const auto& [file, entries] : cases) {
        EXPECT_TRUE(Load(file));
        EXPECT_EQ(Entries(), entries);
        EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
    }
    EXPECT_FALSE(Load({x}));
}

TEST_F(Metadata_File, LoadsWithTheLineEndsOfEitherPlatformAndWithoutTheLastOne) {
    for (const std::string line_end : {"\r\n", "\n", "\r\r\n"}) {
        for (const std::string version : {"1", "2"}) {
            const std::string check_time = version == "2" ? "17|" : "";
            std::string bytes;
            for (const char byte : Magic_Line + "|version|" + version + "|entries|2|ma|" + check_time + a + "|u||" +
                                       check_time + b + "|v") {
                bytes += byte == '|' ? line_end : std::string(1, byte);
            }
            const std::string checked = version == "2" ? "17; " : "0; ";
            for (const std::string& end : {line_end, std::string()}) {
                EXPECT_TRUE(Load(bytes + end));
                EXPECT_EQ(Entries(), "u: a.txt, ma, " + checked + "v: b.txt, , " + checked);
            }
        }
    }
}

// Damage in the header

TEST_F(Metadata_File, NeedsTheWordsAndNumbersOfItsHeader) {
    Expect_Refused(0,
                   "|QEL Logon Landscape Cache Metadata | QEL Logon Landscape Cache Metadata|version|"
                   "QEL logon landscape cache metadata|QEL Logon Landscape Cache Metadat|"
                   "\xEF\xBB\xBFQEL Logon Landscape Cache Metadata|QEL Logon Landscape Cache Metadata2",
                   "Header magic is '{line}', expected '" + Magic_Line + "'.");
    Expect_Refused(1, "|Version|version | version|versio|versions|version 2|entries",
                   "Version string is wrong: '{line}', expected 'version'.");
    Expect_Refused(2, "| |two|x2|v2|.2|-|+|- 2|4294967296|4294967298|99999999999999999999999|-4294967296",
                   "Version is invalid: '{line}', expected a number.");
    Expect_Refused(2, "3|0|12|21|-1|-2|2147483647", "Version is wrong: {line}, expected 2.");
    for (const auto& [line, shown] :
         {std::pair{"3x", "3"}, {"0x2", "0"}, {" 4", "4"}, {"4294967295", "-1"}, {"22.5", "22"}}) {
        Expect_Refused(2, line, std::string("Version is wrong: ") + shown + ", expected 2.");
    }
    Expect_Refused(3, "|Entries|entries |entrie|entriess|1", "Entries string is wrong: '{line}', expected 'entries'.");
    Expect_Refused(4, "|one|x1|4294967296|18446744073709551616|-4294967296",
                   "Entries number is invalid: '{line}', expected a number.");
    for (std::string header : {"QEL Logon Landscape Cache Metadata0|version|2|entries|0|",
                               "QEL Logon Landscape Cache Metadata|version0x|2|entries|0|",
                               "QEL Logon Landscape Cache Metadata|version|2|entries0|0|",
                               "QEL Logon Landscape Cache Metadata|version|02|entries|0|"}) {
        header[header.find('0')] = '\0';
        std::replace(header.begin(), header.end(), '|', '\n');
        EXPECT_FALSE(Load(header));
    }
}

TEST_F(Metadata_File, NumbersMayHaveBlanksBeforeAndTextBehindThem) {
    std::string line, checked;
    for (std::istringstream lines("2| 2|\t 2|2 |2abc|2.9|+2|02|0002x|2,1|-4294967294");
         std::getline(lines, line, '|');) {
        EXPECT_TRUE(Load(File(line, " 1 entry", {"m", "  17th", a, "u"}))) << line;
        EXPECT_EQ(Entries(), "u: a.txt, m, 17; ");
    }
    for (std::istringstream lines("1| 1|1abc|1e3|+1|01"); std::getline(lines, line, '|');) {
        EXPECT_TRUE(Load(File(line, "+1", {"m", a, "u"}))) << line;
        EXPECT_EQ(Entries(), "u: a.txt, m, 0; ");
    }
    std::istringstream lines("0=0|18446744073709551615=18446744073709551615|-1=18446744073709551615|  42=42|"
                             "42 minutes=42|0x10=0|010=10|+9=9|1.5=1");
    while (std::getline(lines, line, '=') && std::getline(lines, checked, '|')) {
        EXPECT_TRUE(Load(File("2", "1", {"m", line, a, "u"}))) << line;
        EXPECT_EQ(Entries(), "u: a.txt, m, " + checked + "; ");
    }
}

TEST_F(Metadata_File, WithAHeaderErrorClearsTheEntriesAllTheSame) {
    Write_File(Metadata_Path(), "rubbish");
    cache.m_Cache_Entries["u"] = {a, "m", 1};
    EXPECT_FALSE(cache.Deserialize());
    EXPECT_EQ(Entries(), "");
    EXPECT_EQ(Content(Metadata_Path()), "rubbish") << "reading changes nothing";
    EXPECT_FALSE(Load(""));
}

// Damage in the entries

TEST_F(Metadata_File, WithABadCheckTimeKeepsTheEntriesBeforeIt) {
    for (const std::string line : {"", " ", "never", "x17", "-", "18446744073709551616"}) {
        EXPECT_FALSE(Load(File("2", "3", {"ma", "1", a, "u", "mb", line, b, "v", "mc", "3", c, "w"}))) << line;
        Expect_Records(s_load_start + Entry_Read(s_load_added, 0, "u", a, "ma") + Invalid_Check_Time(1, line));
        EXPECT_EQ(Entries(), "u: a.txt, ma, 1; ");
        EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + a + ")"));
    }
}

TEST_F(Metadata_File, EndsAtAnEntryWithoutUrlOrCopy) {
    EXPECT_TRUE(Load(File("2", "3", {"ma", "1", a, "u", "mb", "2", b, "", "mc", "3", c, "w"})));
    Expect_Records(s_load_start + Entry_Read(s_load_added, 0, "u", a, "ma") + Entry_Read(s_load_empty, 1, "", b, "mb") +
                   s_load_end);
    EXPECT_EQ(Entries(), "u: a.txt, ma, 1; ");
    EXPECT_THAT(os->calls, ElementsAre("File_Exists(" + a + ")"));

    EXPECT_TRUE(Load(File("2", "2", {"ma", "1", "", "u", "mb", "2", b, "v"})));
    Expect_Records(s_load_start + Entry_Read(s_load_empty, 0, "u", "", "ma") + s_load_end);
    EXPECT_EQ(Entries(), "");
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Metadata_File, ThatPromisesMoreEntriesThanItHoldsFailsInVersion2Alone) {
    for (const std::string promised : {"3", "4294967295", "-1"}) {
        const std::string two =
            s_load_start + Entry_Read(s_load_added, 0, "u", a, "ma") + Entry_Read(s_load_added, 1, "v", b, "mb");
        EXPECT_FALSE(Load(File("2", promised, {"ma", "1", a, "u", "mb", "2", b, "v"})));
        Expect_Records(two + Invalid_Check_Time(2, ""));
        EXPECT_EQ(Entries(), "u: a.txt, ma, 1; v: b.txt, mb, 2; ");
        EXPECT_TRUE(Load(File("1", promised, {"ma", a, "u", "mb", b, "v"})));
        Expect_Records(two + Entry_Read(s_load_empty, 2, "", "", "") + s_load_end);
        EXPECT_EQ(Entries(), "u: a.txt, ma, 0; v: b.txt, mb, 0; ");
    }
}

TEST_F(Metadata_File, ReplacesTheEntryOfAUrlWhetherItsCopyCanBeDeletedOrNot) {
    for (const bool can_be_deleted : {false, true}) {
        os->on_delete_file = [=](const std::string& path) { return can_be_deleted && std::filesystem::remove(path); };
        cache.m_Cache_Entries["u"] = {a, "ma", 1};
        cache.Persist_Downloaded_File_Metadata("u", {b, "mb", 2});
        EXPECT_EQ(Entries(), "u: b.txt, mb, 2; ");
        EXPECT_NE(std::filesystem::exists(a), can_be_deleted);
        EXPECT_EQ(Content(b), "b");
        EXPECT_EQ(Content(Metadata_Path()), Text_File(File("2", "1", {"mb", "2", b, "u"})));
    }
}

TEST_F(Metadata_File, IsNeitherReadNorWrittenWhereAPipeIsInItsPlace) {
    Write_File(Metadata_Path(), "not to be touched");
    g_services.pipe = Metadata_Path();
    EXPECT_TRUE(cache.Deserialize()) << "as if it was missing";
    EXPECT_EQ(Entries(), "");
    EXPECT_TRUE(cache.Serialize());
    EXPECT_EQ(Content(Metadata_Path()), "not to be touched");
}

TEST(Cache_Entry, StartsEmptyHoldsItsFieldsInOrderAndPrintsCopyAndStampAsTheyStand) {
    EXPECT_THAT(CacheEntry(), FieldsAre("", "", 0U));
    EXPECT_EQ(CacheEntry{}.To_String(), "<CacheEntry cached_file=\"\" last_modified=\"\"/>");
    const CacheEntry entry = {"a\"b<c>&\\%s", "\"/><CacheEntry \n\xE4", 18446744073709551615U};
    EXPECT_THAT(entry, FieldsAre("a\"b<c>&\\%s", "\"/><CacheEntry \n\xE4", 18446744073709551615U));
    EXPECT_EQ(entry.To_String(), "<CacheEntry cached_file=\"a\"b<c>&\\%s\" last_modified=\"\"/><CacheEntry \n\xE4\"/>");
}

} // namespace
