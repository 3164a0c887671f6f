#include "tests/unit/trace/support/Trace_Fixture.h"

#include <cstring>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* Error_Text = "***ERROR***: error 1\n";
constexpr const char* Warning_Text = "***WARNING*: warning 2\n";
constexpr const char* Note_Text = "note 3\n";
constexpr const char* Data_Text = "data 4\n";

void Write_One_Of_Each(CQelPcTrc& writer) {
    writer.Log_Error("error %d\n", 1);
    writer.Log_Warning("warning %d\n", 2);
    writer.Log_Developer_Note("note %d\n", 3);
    writer.Log_Additional_Data("data %d\n", 4);
}

/// What the levels up to `level` write, without the mode of the time stamps.
std::string Up_To(int level) {
    return std::string(level >= 1 ? Error_Text : "") + (level >= 2 ? Warning_Text : "") +
           (level >= 3 ? Note_Text : "") + (level >= 4 ? Data_Text : "");
}

class Trace_Writer : public Trace_Fixture {
protected:
    /// A clock that goes on by a second with each look.
    static void Start_Clock() {
        g_trace_services.local_time = [second = 16]() mutable {
            std::tm time{};
            time.tm_year = 126;
            time.tm_mon = 10;
            time.tm_mday = 16;
            time.tm_hour = 4;
            time.tm_min = 38;
            time.tm_sec = second++;
            return time;
        };
    }
    static std::string Stamp(int second) { return "(16.11.26 04:38:" + std::to_string(second) + ") "; }

    /// A directory whose path has this length, below the test's own.
    std::string Directory_Of_Length(std::size_t length) const {
        std::string path = directory.string();
        while (path.size() < length) {
            const std::size_t missing = length - path.size() - 1;
            const std::size_t name_length = missing > 100 ? 90 : missing;
            path += static_cast<char>(std::filesystem::path::preferred_separator) + std::string(name_length, 'd');
        }
        std::filesystem::create_directories(path);
        return path;
    }
};

// Levels and marks

TEST_F(Trace_Writer, WritesWhatItsLevelLetsThrough) {
    for (int level = 1; level <= 4; ++level) {
        CQelPcTrc writer = Unlocked_Writer(level);
        Write_One_Of_Each(writer);
        EXPECT_EQ(Content(), On_Disk(Header() + Up_To(level))) << "level " << level;
    }
}

TEST_F(Trace_Writer, IsEnabledUpToItsLevel) {
    for (int level = 0; level <= 5; ++level) {
        const CQelPcTrc writer = Unlocked_Writer(level);
        for (int message_level = 1; message_level <= 4; ++message_level) {
            EXPECT_EQ(writer.Is_Enabled(message_level), level >= message_level) << level << ", " << message_level;
        }
    }
}

TEST_F(Trace_Writer, CreatesNoFileAtLevel0) {
    CQelPcTrc writer = Unlocked_Writer(0);
    Write_One_Of_Each(writer);
    EXPECT_TRUE(Is_Directory_Empty());
    EXPECT_THAT(g_trace_services.directory_calls, IsEmpty());
}

TEST_F(Trace_Writer, CreatesNoFileForMessagesAboveItsLevel) {
    CQelPcTrc writer = Unlocked_Writer(1);
    writer.Log_Warning("warning\n");
    writer.Log_Developer_Note("note\n");
    writer.Log_Additional_Data("data\n");
    EXPECT_TRUE(Is_Directory_Empty());
}

TEST_F(Trace_Writer, WritesEverythingWithoutStampsAboveLevel5) {
    CQelPcTrc writer = Unlocked_Writer(6);
    Write_One_Of_Each(writer);
    EXPECT_EQ(Content(), On_Disk(Header() + Up_To(4)));
}

TEST_F(Trace_Writer, StartsItsFileAtTheFirstMessage) {
    CQelPcTrc writer = Unlocked_Writer(4);
    EXPECT_TRUE(Is_Directory_Empty());
    EXPECT_THAT(g_trace_services.directory_calls, IsEmpty());
    writer.Log_Error("first\n");
    writer.Log_Error("second\n");
    EXPECT_THAT(g_trace_services.directory_calls, ElementsAre("InitBuffer", "InitTraceDir"));
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: first\n***ERROR***: second\n"));
}

TEST_F(Trace_Writer, CompletesTheFileWithEachMessage) {
    CQelPcTrc writer = Unlocked_Writer(4);
    std::string expected = Header();
    for (int i = 0; i < 20; ++i) {
        writer.Log_Additional_Data("piece %d ", i);
        expected += "piece " + std::to_string(i) + " ";
        EXPECT_EQ(Content(), On_Disk(expected));
    }
}

TEST_F(Trace_Writer, AddsNeitherLineEndNorBlank) {
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Additional_Data("call");
    writer.Log_Additional_Data("(");
    writer.Log_Error("%s", "problem");
    writer.Log_Warning("%s", "");
    writer.Log_Developer_Note("\n");
    writer.Log_Additional_Data(")\n");
    EXPECT_EQ(Content(), On_Disk(Header() + "call(***ERROR***: problem***WARNING*: \n)\n"));
}

TEST_F(Trace_Writer, FormatsArgumentsOfEveryKind) {
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Additional_Data("%s|%d|%c|100%%|%s\n", "100% %s %n", -1, 'x', std::string(10000, 'l').c_str());
    EXPECT_EQ(Content(), On_Disk(Header() + "100% %s %n|-1|x|100%|" + std::string(10000, 'l') + "\n"));
}

// The level of the process

TEST_F(Trace_Writer, AlsoWritesWhatTheLevelOfTheProcessLetsThrough) {
    for (int main_level = 1; main_level <= 4; ++main_level) {
        for (int level = 0; level <= 4; ++level) {
            CQelPcTrc::s_Main_Trace_Level = main_level;
            CQelPcTrc writer = Unlocked_Writer(level);
            Write_One_Of_Each(writer);
            const std::string content = Content();
            const std::string messages = On_Disk(Up_To(std::max(main_level, level)));
            EXPECT_TRUE(content.ends_with(On_Disk(std::string(80, '*') + "\n\n") + messages))
                << main_level << ", " << level << ":\n"
                << content;
        }
    }
}

TEST_F(Trace_Writer, StampsOnlyByItsOwnLevel) {
    Start_Clock();
    CQelPcTrc::s_Main_Trace_Level = 5;
    CQelPcTrc writer = Unlocked_Writer(0);
    Write_One_Of_Each(writer);
    EXPECT_EQ(Content(), On_Disk(Header() + Up_To(4)));
}

TEST_F(Trace_Writer, NamesTheLevelOfTheProcessInItsHeader) {
    const std::vector<std::pair<int, std::string>> modes = {
        {0, "Error, Warning, Developer Notes and additional data "},
        {1, "Error "},
        {2, "Error and Warning "},
        {3, "Error, Warning and Developer notes "},
        {4, "Error, Warning, Developer Notes and additional data "},
        {5, "Error, Warning, Developer Notes and additional data "},
        {-1, "Error, Warning, Developer Notes and additional data "},
    };
    for (const auto& [main_level, mode] : modes) {
        CQelPcTrc::s_Main_Trace_Level = main_level;
        CQelPcTrc writer = Unlocked_Writer(4);
        writer.Log_Error("e");
        EXPECT_EQ(Content(), On_Disk(Header("", mode) + "***ERROR***: e")) << main_level;
    }
}

TEST_F(Trace_Writer, DoesNotNameItsOwnLevelInItsHeader) {
    for (int level = 1; level <= 4; ++level) {
        CQelPcTrc writer = Unlocked_Writer(level);
        writer.Log_Error("e");
        EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e")) << level;
    }
}

TEST_F(Trace_Writer, CutsThePathOfTheProgramAt512Characters) {
    const std::string path = std::string(511, 'p') + "qr";
    g_trace_services.program_path = path;
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    g_trace_services.program_path = path.substr(0, 512);
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e"));
}

TEST_F(Trace_Writer, MayNotKnowThePathOfTheProgram) {
    g_trace_services.program_path.clear();
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e"));
}

// Time stamps

TEST_F(Trace_Writer, StampsEachMessageAtLevel5InPlaceOfItsMark) {
    Start_Clock();
    CQelPcTrc writer = Unlocked_Writer(5);
    Write_One_Of_Each(writer);
    EXPECT_EQ(Content(), On_Disk(Header(Stamp(16)) + Stamp(17) + "error 1\n" + Stamp(18) + "warning 2\n" + Stamp(19) +
                                 "note 3\n" + Stamp(20) + "data 4\n"));
}

TEST_F(Trace_Writer, PutsTheStampBehindALeadingLineEnd) {
    Start_Clock();
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Error("\nerror %d\n", 1);
    writer.Log_Warning("\n\nwarning");
    writer.Log_Developer_Note("\n");
    writer.Log_Additional_Data("%s", "\nno format");
    EXPECT_EQ(Content(), On_Disk(Header(Stamp(16)) + "\n" + Stamp(17) + "error 1\n" + "\n" + Stamp(18) + "\nwarning" +
                                 "\n" + Stamp(19) + Stamp(20) + "\nno format"));
}

TEST_F(Trace_Writer, LeavesALeadingLineEndWithoutStamps) {
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("\nerror\n");
    writer.Log_Additional_Data("\ndata\n");
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: \nerror\n\ndata\n"));
}

TEST_F(Trace_Writer, StampsEachPieceOfARecord) {
    Start_Clock();
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Additional_Data("CALL");
    writer.Log_Additional_Data("(");
    writer.Log_Additional_Data(")\n");
    EXPECT_EQ(Content(), On_Disk(Header(Stamp(16)) + Stamp(17) + "CALL" + Stamp(18) + "(" + Stamp(19) + ")\n"));
}

TEST_F(Trace_Writer, StampsAnEmptyFormatToo) {
    Start_Clock();
    const std::string empty;
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Additional_Data(empty.c_str(), 0);
    EXPECT_EQ(Content(), On_Disk(Header(Stamp(16)) + Stamp(17)));
}

TEST_F(Trace_Writer, WritesStampsWithTwoDigitsEach) {
    g_trace_services.local_time = [] {
        std::tm time{};
        time.tm_year = 105;
        time.tm_mon = 0;
        time.tm_mday = 2;
        time.tm_hour = 3;
        time.tm_min = 4;
        time.tm_sec = 5;
        return time;
    };
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Error("e");
    EXPECT_EQ(Content(), On_Disk(Header("(02.01.05 03:04:05) ") + "(02.01.05 03:04:05) e"));
}

// Where the file is

TEST_F(Trace_Writer, WritesToTheCurrentDirectoryWithoutATraceDirectory) {
    g_trace_services.trace_directory.clear();
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    std::filesystem::current_path(here);
    EXPECT_THAT(g_trace_services.directory_calls, ElementsAre("InitBuffer", "InitTraceDir"));
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e"));
}

TEST_F(Trace_Writer, PrefersTheTraceDirectoryToTheCurrentOne) {
    const auto here = std::filesystem::current_path();
    std::filesystem::create_directory(directory / "current");
    std::filesystem::current_path(directory / "current");
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    std::filesystem::current_path(here);
    EXPECT_TRUE(std::filesystem::exists(directory / "writer.trc"));
    EXPECT_TRUE(std::filesystem::is_empty(directory / "current"));
}

TEST_F(Trace_Writer, StartsAnExistingFileAfresh) {
    std::ofstream(directory / "writer.trc") << std::string(10000, 'x');
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e"));
}

TEST_F(Trace_Writer, CutsAPathThatIsTooLong) {
    const std::string long_directory = Directory_Of_Length(245);
    g_trace_services.trace_directory = long_directory;
    const std::string whole = (std::filesystem::path(long_directory) / "qelfilecache_0007.trc").string();
    ASSERT_GT(whole.size(), 259U);

    CQelPcTrc writer("qelfilecache_0007.trc", QELPCTRC_ERROR, 0, nullptr);
    writer.Log_Error("e");
    std::ifstream file(whole.substr(0, 259), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(content, On_Disk(Header() + "***ERROR***: e"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(long_directory), {}), 1);
}

TEST_F(Trace_Writer, CutsAFileNameThatIsTooLong) {
    const CQelPcTrc writer(std::string(300, 'n').c_str(), QELPCTRC_ERROR, 0, nullptr);
    EXPECT_EQ(std::strlen(writer.m_File_Name.data()), 259U);
}

TEST_F(Trace_Writer, WritesToStandardErrorWhenTheFileCannotBeOpened) {
    g_trace_services.trace_directory = (directory / "missing").string();
    Captured_Stderr standard_error;
    {
        CQelPcTrc writer = Unlocked_Writer(2);
        Write_One_Of_Each(writer);
    }
    std::fputs("still open\n", stderr);
    EXPECT_EQ(standard_error.Take(), Header() + Up_To(2) + "still open\n");
    EXPECT_TRUE(Is_Directory_Empty());
    EXPECT_EQ(g_trace_services.directory_calls.size(), 2U) << "it is tried once";
}

TEST_F(Trace_Writer, WritesStampsToStandardErrorToo) {
    Start_Clock();
    g_trace_services.trace_directory = (directory / "missing").string();
    Captured_Stderr standard_error;
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Error("e\n");
    EXPECT_EQ(standard_error.Take(), Header(Stamp(16)) + Stamp(17) + "e\n");
}

} // namespace
