// Metadata files that nobody's cache wrote: what each of them loads to, and what is said of it.

#include "tests/faults/support/Peak_Memory.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/unit/support/Recorded_Trace.h"

#include "filecache/CFileCache.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

namespace QEL::Tests {

namespace {

using FrontEnd::FileCache::CFileCache;

/// "<a>", "<b>", "<c>" stand for copies in the cache directory, "<d>" for the directory with its
/// separator, "<o>" for a file outside of it.
std::string With_Paths(std::string text, const Scratch_Directory& home) {
    const std::string cache = home / "cache";
    const std::string separator = (home / "").substr(home.Path().string().size());
    const std::pair<std::string, std::string> places[] = {
        {"<a>", cache + separator + "a.xml"},
        {"<b>", cache + separator + "b.xml"},
        {"<c>", cache + separator + "c.xml"},
        {"<d>", cache + separator},
        {"<o>", home / "outside.xml"},
        {"<h>", home.Path().string()},
        {"<s>", separator},
    };
    for (const auto& [mark, path] : places) {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + path.size())) {
            text.replace(at, mark.size(), path);
        }
    }
    return text;
}

const std::string Magic = "QEL Logon Landscape Cache Metadata\n";
const std::string A = "monday\n17\n<a>\nhttp://h/a\n";
const std::string B = "tuesday\n18\n<b>\nhttp://h/b\n";
const std::string Gone = "friday\n19\n<d>gone.xml\nhttp://h/gone\n";

std::string Header(const std::string& entries, const std::string& version = "2") {
    return Magic + "version\n" + version + "\nentries\n" + entries + "\n";
}

std::string With_Line_Ends(const std::string& text, const std::string& line_end) {
    std::string result;
    for (const char byte : text) {
        result += byte == '\n' ? line_end : std::string(1, byte);
    }
    return result;
}

/// A text with its first occurrence of another replaced.
std::string With(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

std::string Many_Entries(int count, const std::string& copy) {
    std::string text = Header(std::to_string(count));
    for (int number = 0; number < count; ++number) {
        text += "monday\n17\n" + copy + "\nhttp://h/" + std::to_string(number) + "\n";
    }
    return text;
}

const std::string Nul(1, '\0');
const std::string Huge(1 << 20, 'x');

struct Row {
    const char* name;
    std::string file;
    bool loads;                       ///< what Set_Cache_Directory returns
    std::vector<std::string> entries; ///< each as it stands in the file
    std::string warning;              ///< part of the one warning; empty: there is none

    friend void PrintTo(const Row& row, std::ostream* stream) { *stream << row.name; }
};

const std::string No_Magic = "Header magic is";
const std::string No_Keyword = "Version string is wrong";
const std::string No_Version = "Version is invalid";
const std::string Bad_Version = "Version is wrong";
const std::string No_Entries = "Entries string is wrong";
const std::string No_Number = "Entries number is invalid";
const std::string No_Time = "last_checked_remotely is invalid";
const std::string Empty = "Empty URL encountered";
const std::string Ignored = "Cached file does not exist";

/// An entry that is sound but for what is given.
std::string Entry(const std::string& url, const std::string& path = "<a>", const std::string& stamp = "monday",
                  const std::string& time = "17") {
    return stamp + "\n" + time + "\n" + path + "\n" + url + "\n";
}

using Texts = std::vector<std::string>;
const Texts None;
const Texts Only_A = {A};
const Texts Both = {A, B};

/// A list of one entry that is taken as it stands.
Row Taken(const char* name, const std::string& entry) {
    return {name, Header("1") + entry, true, {entry}, ""};
}

/// A list of one entry that is ignored.
Row Passed_Over(const char* name, const std::string& entry, const std::string& warning = Ignored) {
    return {name, Header("1") + entry, true, None, warning};
}

const Row Rows[] = {
    // The header
    {"Sound", Header("2") + A + B, true, Both, ""},
    {"NoBytes", "", false, None, No_Magic},
    {"OneNul", Nul, false, None, No_Magic},
    {"OnlyMagic", Magic, false, None, No_Keyword},
    {"MagicMissing", With(Header("1") + A, Magic, ""), false, None, No_Magic},
    {"MagicDoubled", Magic + Header("1") + A, false, None, No_Keyword},
    {"MagicWithNulBehindIt", With(Header("1") + A, "Metadata\n", "Metadata" + Nul + "\n"), false, None, No_Magic},
    {"MagicOfAMegabyte", With(Header("1") + A, "QEL", Huge), false, None, No_Magic},
    {"MagicInUtf16", With_Line_Ends("Q" + Nul + "E" + Nul + "L" + Nul, "\n"), false, None, No_Magic},
    {"MagicBehindAByteOrderMark", "\xEF\xBB\xBF" + Header("1") + A, false, None, No_Magic},
    {"VersionKeywordMissing", With(Header("1") + A, "version\n", ""), false, None, No_Keyword},
    {"VersionKeywordDoubled", With(Header("1") + A, "version\n", "version\nversion\n"), false, None, No_Version},
    {"VersionKeywordWithBlank", With(Header("1") + A, "version\n", "version \n"), false, None, No_Keyword},
    {"VersionMissing", Magic + "version\nentries\n1\n" + A, false, None, No_Version},
    {"VersionDoubled", With(Header("1") + A, "\n2\n", "\n2\n2\n"), false, None, No_Entries},
    {"VersionZero", Header("1", "0") + A, false, None, Bad_Version},
    {"VersionThree", Header("1", "3") + A, false, None, Bad_Version},
    {"VersionNegative", Header("1", "-1") + A, false, None, Bad_Version},
    {"VersionThatWrapsToTwo", Header("1", "-4294967294") + A, true, Only_A, ""},
    {"VersionBeyond32Bits", Header("1", "4294967298") + A, false, None, No_Version},
    {"VersionOfAThousandDigits", Header("1", std::string(1000, '2')) + A, false, None, No_Version},
    {"VersionOfManyZerosAndATwo", Header("1", std::string(1000, '0') + "2") + A, true, Only_A, ""},
    {"VersionHexadecimal", Header("1", "0x2") + A, false, None, Bad_Version},
    {"VersionWithTextBehindIt", Header("1", "2.7 beta") + A, true, Only_A, ""},
    {"VersionOfBinary", Header("1", "\xFF\xFE\x02") + A, false, None, No_Version},
    {"EntriesKeywordMissing", With(Header("1") + A, "entries\n", ""), false, None, No_Entries},
    {"EntriesKeywordDoubled", With(Header("1") + A, "entries\n", "entries\nentries\n"), false, None, No_Number},
    {"EntriesKeywordInCapitals", With(Header("1") + A, "entries\n", "ENTRIES\n"), false, None, No_Entries},
    {"NumberMissing", With(Header("1") + A, "entries\n1\n", "entries\n"), false, None, No_Number},
    {"NumberOfBinary", Header("\x01\x02\xFF") + A, false, None, No_Number},
    {"NumberBehindNul", Header(Nul + "1") + A, false, None, No_Number},
    {"NumberWithNulBehindIt", Header("1" + Nul + "9") + A, true, Only_A, ""},
    {"NumberZero", Header("0") + A, true, None, ""},
    {"NumberTooSmall", Header("1") + A + B, true, Only_A, ""},
    {"NumberTooGreat", Header("3") + A + B, false, Both, No_Time},
    {"NumberMinusOne", Header("-1") + A, false, Only_A, No_Time},
    {"NumberOfFourThousandMillion", Header("4294967295") + A + B, false, Both, No_Time},
    {"NumberOfFourThousandMillionInVersion1",
     Header("4294967295", "1") + "monday\n<a>\nhttp://h/a\n",
     true,
     {Entry("http://h/a", "<a>", "monday", "0")},
     Empty},
    {"NumberBeyond32Bits", Header("4294967296") + A, false, None, No_Number},

    // The entries
    {"StampMissing", Header("2") + With(A, "monday\n", "") + B, false, None, No_Time},
    Taken("StampEmpty", Entry("http://h/a", "<a>", "")),
    {"StampDoubled", Header("1") + With(A, "monday\n", "monday\nmonday\n"), false, None, No_Time},
    Taken("StampOfAMegabyte", Entry("http://h/a", "<a>", Huge)),
    Taken("StampOfBinary", Entry("http://h/a", "<a>", Nul + "\x01\xFF")),
    {"TimeMissing", Header("2") + With(A, "17\n", "") + B, false, None, No_Time},
    {"TimeEmpty", Header("2") + A + Entry("http://h/b", "<b>", "tuesday", ""), false, Only_A, No_Time},
    {"TimeDoubled", Header("1") + With(A, "17\n", "17\n17\n"), true, None, Ignored},
    {"TimeOfLetters", Header("1") + Entry("http://h/a", "<a>", "monday", "now"), false, None, No_Time},
    {"TimeNegative",
     Header("1") + Entry("http://h/a", "<a>", "monday", "-17"),
     true,
     {Entry("http://h/a", "<a>", "monday", "18446744073709551599")},
     ""},
    Taken("TimeGreatest", Entry("http://h/a", "<a>", "monday", "18446744073709551615")),
    {"TimeBeyond64Bits", Header("1") + Entry("http://h/a", "<a>", "monday", "18446744073709551616"), false, None,
     No_Time},
    {"TimeBehindNul", Header("1") + Entry("http://h/a", "<a>", "monday", Nul + "17"), false, None, No_Time},
    {"PathMissing", Header("1") + With(A, "<a>\n", ""), true, None, Empty},
    {"PathMissingBeforeAnother", Header("1") + With(A, "<a>\n", "") + B, true, None, Ignored},
    {"PathEmpty", Header("2") + Entry("http://h/a", "") + B, true, None, Empty},
    {"PathOfNothing", Header("2") + Gone + A, true, Only_A, Ignored},
    Passed_Over("PathOfTheCacheDirectory", Entry("http://h/a", "<d>")),
    Passed_Over("PathOfTheDirectoryAbove", Entry("http://h/a", "<d>..")),
    Passed_Over("PathOfADirectory", Entry("http://h/a", "<h>")),
    Passed_Over("PathOfAMegabyte", Entry("http://h/a", Huge)),
    Passed_Over("PathWithNul", Entry("http://h/a", "<a>" + Nul)),
    Passed_Over("PathWithNulAndMore", Entry("http://h/a", "<a>" + Nul + ".xml")),
    Passed_Over("PathWithCarriageReturn", Entry("http://h/a", "<a>\r.xml")),
    Passed_Over("PathOfBinary", Entry("http://h/a", "\x01\x80\xFF")),
    Passed_Over("PathWithWildcard", Entry("http://h/a", "<d>*.xml")),
    Passed_Over("PathOfAUrl", Entry("http://h/a", "http://h/a")),
#ifdef _WIN32
    Passed_Over("PathOfADevice", Entry("http://h/a", "NUL")),
    Passed_Over("PathOfADeviceInTheDirectory", Entry("http://h/a", "<d>CON")),
    Passed_Over("PathOfADrive", Entry("http://h/a", "C:")),
#else
    Passed_Over("PathOfADevice", Entry("http://h/a", "/dev/zero")),
    Passed_Over("PathOfATerminal", Entry("http://h/a", "/dev/tty")),
    Passed_Over("PathOfTheRoot", Entry("http://h/a", "/")),
#endif
    // Believed, see the limits: the metadata file is the user's own.
    Taken("PathOutside", Entry("http://h/a", "<o>")),
    Taken("PathOutsideThroughTheDirectoryAbove", Entry("http://h/a", "<d>..<s>outside.xml")),
    Taken("PathOfTheMetadataFile", Entry("http://h/a", "<d>qelfilecache_Metadata.txt")),
    {"OneCopyForTwo", Header("2") + A + Entry("http://h/b"), true, {A, Entry("http://h/b")}, ""},
    {"UrlMissing", Header("1") + With(A, "http://h/a\n", ""), true, None, Empty},
    {"UrlMissingBeforeAnother", Header("2") + With(A, "http://h/a\n", "") + B, false, {Entry("tuesday")}, No_Time},
    {"UrlEmpty", Header("2") + Entry("") + B, true, None, Empty},
    {"UrlDoubled", Header("2") + A + A, true, Only_A, ""},
    Taken("UrlOfAMegabyte", Entry(Huge)),
    Taken("UrlWithNul", Entry("http://h/a" + Nul)),
    Taken("UrlWithCarriageReturns", Entry("http://h/\r\ra")),
    Passed_Over("UrlOfACarriageReturn", Entry("\r"), Empty),
    Taken("UrlOfBinary", Entry("\x01\x80\xFF")),
    {"UrlWithoutLineEnd", With(Header("1") + A, "http://h/a\n", "http://h/a"), true, Only_A, ""},

    // The whole
    {"LineEndsOfWindows", With_Line_Ends(Header("2") + A + B, "\r\n"), true, Both, ""},
    {"LineEndsOfCarriageReturnsAlone", With_Line_Ends(Header("2") + A + B, "\r"), false, None, No_Magic},
    {"LineEndsDoubled", With_Line_Ends(Header("2") + A + B, "\n\n"), false, None, No_Keyword},
    {"LineEndsMissing", With_Line_Ends(Header("2") + A + B, ""), false, None, No_Magic},
    {"BlankLineBeforeTheEntries", Header("1") + "\n" + A, false, None, No_Time},
    {"RubbishBehindTheEntries", Header("1") + A + Huge, true, Only_A, ""},
    {"HeaderTwice", Header("2") + A + Header("1") + B, false, Only_A, No_Time},
    {"ZerosOfAMegabyte", std::string(1 << 20, '\0'), false, None, No_Magic},
    {"LineFeedsOfAMegabyte", Header("4294967295") + std::string(1 << 20, '\n'), false, None, No_Time},
};

class Hostile_Metadata : public testing::TestWithParam<Row> {
protected:
    Hostile_Metadata() {
        home.Make_Directory("cache");
        home.Write("outside.xml");
        for (const char* const name : {"a.xml", "b.xml", "c.xml"}) {
            std::ofstream(std::filesystem::path(cache_directory) / name) << name;
        }
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_WARNING);
    }
    ~Hostile_Metadata() override { FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    /// The entries that a metadata file loads to, in order and as they stand in a file.
    Texts Load(const std::string& content, bool expected) {
        std::ofstream(std::filesystem::path(cache_directory) / "qelfilecache_Metadata.txt", std::ios::binary)
            << With_Paths(content, home);
        Recorded_Trace::Forget();
        CFileCache cache(FrontEnd::OSWRAPI::IOSWrapper::Create());
        const Peak_Memory memory;
        EXPECT_EQ(cache.Set_Cache_Directory(cache_directory), expected);
        memory_to_load = memory.In_Bytes();
        EXPECT_EQ(cache.m_Cache_Directory, cache_directory) << "set in any case";
        Texts entries;
        for (const auto& [url, entry] : cache.m_Cache_Entries) {
            entries.push_back(
                Entry(url, entry.cached_file, entry.last_modified, std::to_string(entry.last_checked_remotely)));
        }
        return entries;
    }

    /// What a row expects, with this test's paths.
    Texts Expected() const {
        Texts entries;
        for (const std::string& entry : GetParam().entries) {
            entries.push_back(With_Paths(entry, home));
        }
        return entries;
    }

    const Scratch_Directory home;
    const std::string cache_directory = home / "cache";
    std::size_t memory_to_load = 0;
};

INSTANTIATE_TEST_SUITE_P(Rows, Hostile_Metadata, testing::ValuesIn(Rows),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Hostile_Metadata, LoadsToWhatIsSoundAndSaysWhatIsNot) {
    const auto begin = std::chrono::steady_clock::now();
    const Texts entries = Load(GetParam().file, GetParam().loads);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_TRUE(entries == Expected()) << testing::PrintToString(entries).substr(0, 600);
    // A line, of a megabyte in some files, is held while it is read, in its entry, and in the message about it.
    // The number of entries that it gives takes nothing.
    EXPECT_LT(memory_to_load, 128 * 1024 + 8 * GetParam().file.size());
    RecordProperty("memory", std::to_string(memory_to_load));

    const auto records = Recorded_Trace::Above_Additional_Data();
    if (GetParam().warning.empty()) {
        EXPECT_TRUE(records.empty()) << records.front().text.substr(0, 300);
    } else {
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records.front().level, QELPCTRC_WARNING);
        EXPECT_TRUE(records.front().text.find(GetParam().warning) != std::string::npos)
            << records.front().text.substr(0, 300);
    }
}

TEST_F(Hostile_Metadata, OfAHundredThousandEntriesIsReadInTime) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Load(Many_Entries(100000, With_Paths("<a>", home)), true).size(), 100000U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

} // namespace

} // namespace QEL::Tests
