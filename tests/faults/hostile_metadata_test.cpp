// Metadata files that nobody's cache wrote, on the real disk: paths of every kind, any bytes, and any size. What each
// error in the format comes to is a test of the product by itself.

#include "tests/support/Counted_Allocations.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/unit/support/Recorded_Trace.h"

#include "filecache/CFileCache.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::FileCache::CFileCache;

/// "<a>" stands for a copy in the cache directory, "<d>" for the directory with its separator, "<h>" for the
/// one above it, "<o>" for a file there, "<s>" for the separator.
std::string With_Paths(std::string text, const Scratch_Directory& home) {
    const std::string cache = home / "cache";
    const std::string separator = (home / "").substr(home.Path().string().size());
    for (const auto& [mark, path] : {std::pair{std::string("<a>"), cache + separator + "a.xml"},
                                     {"<d>", cache + separator},
                                     {"<o>", home / "outside.xml"},
                                     {"<h>", home.Path().string()},
                                     {"<s>", separator}}) {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + path.size())) {
            text.replace(at, mark.size(), path);
        }
    }
    return text;
}

const std::string Magic = "QEL Logon Landscape Cache Metadata\n";
const std::string A = "monday\n17\n<a>\nhttp://h/a\n";
const std::string Nul(1, '\0');
const std::string Huge(1 << 20, 'x');

std::string Header(const std::string& entries) {
    return Magic + "version\n2\nentries\n" + entries + "\n";
}

struct Row {
    const char* name;
    std::string file;
    bool loads;                       ///< what Set_Cache_Directory returns
    std::vector<std::string> entries; ///< each as it stands in the file
    std::string warning;              ///< part of the one warning; empty: there is none

    friend void PrintTo(const Row& row, std::ostream* stream) { *stream << row.name; }
};

const std::string No_Magic = "Header magic is";
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

/// A list of one entry that is taken as it stands.
Row Taken(const char* name, const std::string& entry) {
    return {name, Header("1") + entry, true, {entry}, ""};
}

/// A list of one entry that is ignored.
Row Passed_Over(const char* name, const std::string& entry, const std::string& warning = Ignored) {
    return {name, Header("1") + entry, true, None, warning};
}

/// The same for the path of its copy.
Row No_Copy(const char* name, const std::string& path) {
    return Passed_Over(name, Entry("http://h/a", path));
}

const Row Rows[] = {
    // Any size
    {"MagicOfAMegabyte", Huge + Header("1") + A, false, None, No_Magic},
    {"NumberOfFourThousandMillion", Header("4294967295") + A, false, {A}, No_Time},
    Taken("StampOfAMegabyte", Entry("http://h/a", "<a>", Huge)),
    No_Copy("PathOfAMegabyte", Huge),
    Taken("UrlOfAMegabyte", Entry(Huge)),
    {"ZerosOfAMegabyte", std::string(1 << 20, '\0'), false, None, No_Magic},
    {"LineFeedsOfAMegabyte", Header("4294967295") + std::string(1 << 20, '\n'), false, None, No_Time},

    // Any bytes
    {"NumberWithNulBehindIt", Header("1" + Nul + "9") + A, true, {A}, ""},
    Taken("StampOfBinary", Entry("http://h/a", "<a>", Nul + "\x01\xFF")),
    {"TimeBehindNul", Header("1") + Entry("http://h/a", "<a>", "monday", Nul + "17"), false, None, No_Time},
    Taken("UrlWithNul", Entry("http://h/a" + Nul)),
    Taken("UrlWithCarriageReturns", Entry("http://h/\r\ra")),
    Passed_Over("UrlOfACarriageReturn", Entry("\r"), Empty),
    Taken("UrlOfBinary", Entry("\x01\x80\xFF")),

    // Any path
    No_Copy("PathOfTheCacheDirectory", "<d>"),
    No_Copy("PathOfTheDirectoryAbove", "<d>.."),
    No_Copy("PathOfADirectory", "<h>"),
    No_Copy("PathWithNul", "<a>" + Nul),
    No_Copy("PathWithNulAndMore", "<a>" + Nul + ".xml"),
    No_Copy("PathWithCarriageReturn", "<a>\r.xml"),
    No_Copy("PathOfBinary", "\x01\x80\xFF"),
    No_Copy("PathWithWildcard", "<d>*.xml"),
    No_Copy("PathOfAUrl", "http://h/a"),
#ifdef _WIN32
    No_Copy("PathOfADevice", "NUL"),
    No_Copy("PathOfADeviceInTheDirectory", "<d>CON"),
    No_Copy("PathOfADrive", "C:"),
#else
    No_Copy("PathOfADevice", "/dev/zero"),
    No_Copy("PathOfATerminal", "/dev/tty"),
    No_Copy("PathOfTheRoot", "/"),
#endif
    // Believed, see the limits: the metadata file is the user's own.
    Taken("PathOutside", Entry("http://h/a", "<o>")),
    Taken("PathOutsideThroughTheDirectoryAbove", Entry("http://h/a", "<d>..<s>outside.xml")),
    Taken("PathOfTheMetadataFile", Entry("http://h/a", "<d>qelfilecache_Metadata.txt")),
};

class Hostile_Metadata : public testing::TestWithParam<Row> {
protected:
    Hostile_Metadata() {
        home.Make_Directory("cache");
        home.Write("outside.xml");
        home.Write("cache/a.xml");
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_WARNING);
    }
    ~Hostile_Metadata() override { QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF); }

    /// The entries that a metadata file loads to, in order and as they stand in a file.
    Texts Load(const std::string& content, bool expected) {
        home.Write("cache/qelfilecache_Metadata.txt", With_Paths(content, home));
        Recorded_Trace::Forget();
        CFileCache cache(QEL::FrontEnd::OSWRAPI::IOSWrapper::Create());
        const Counted_Allocations allocations;
        EXPECT_EQ(cache.Set_Cache_Directory(cache_directory), expected);
        memory_to_load = allocations.Most_Held();
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
    const std::string path = With_Paths("<a>", home);
    std::string list = Header("100000");
    for (int number = 0; number < 100000; ++number) {
        list += Entry("http://h/" + std::to_string(number), path);
    }
    EXPECT_EQ(Load(list, true).size(), 100000U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

} // namespace
