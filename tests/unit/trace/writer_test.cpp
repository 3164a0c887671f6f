#include "tests/unit/trace/support/Trace_Fixture.h"

using QEL::FrontEnd::Util::Tracing::System_Mutex;
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

/// How the header names the level of the process.
const std::string s_everything = "Error, Warning, Developer Notes and additional data ";
const std::string s_modes[] = {s_everything, "Error ", "Error and Warning ", "Error, Warning and Developer notes ",
                               s_everything};

/// What the levels up to `level` write, without the mode of the time stamps.
std::string Up_To(int level) {
    return std::string(level >= 1 ? Error_Text : "") + (level >= 2 ? Warning_Text : "") +
           (level >= 3 ? Note_Text : "") + (level >= 4 ? Data_Text : "");
}

class Trace_Writer : public Trace_Fixture {
protected:
    /// A clock that goes on by a second with each look.
    static void Start_Clock() {
        g_services.local_time = [second = 16]() mutable { return Time(126, 10, 16, 4, 38, second++); };
    }
    static std::tm Time(int year, int month, int day, int hour, int minute, int second) {
        std::tm time{};
        std::tie(time.tm_year, time.tm_mon, time.tm_mday) = std::tuple(year, month, day);
        std::tie(time.tm_hour, time.tm_min, time.tm_sec) = std::tuple(hour, minute, second);
        return time;
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

TEST_F(Trace_Writer, CreatesItsFileWithTheFirstMessageThatItWrites) {
    CQelPcTrc silent = Unlocked_Writer(0);
    Write_One_Of_Each(silent);
    CQelPcTrc writer = Unlocked_Writer(1);
    writer.Log_Warning("warning\n");
    writer.Log_Developer_Note("note\n");
    writer.Log_Additional_Data("data\n");
    EXPECT_TRUE(Is_Directory_Empty());
    EXPECT_THAT(g_services.directory_calls, IsEmpty());
    std::ofstream(directory / "writer.trc") << std::string(10000, 'x');
    writer.Log_Error("first\n");
    writer.Log_Error("second\n");
    EXPECT_THAT(g_services.directory_calls, ElementsAre("InitBuffer", "InitTraceDir"));
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: first\n***ERROR***: second\n"));
}

TEST_F(Trace_Writer, CompletesTheFileWithEachMessageAndAddsNeitherLineEndNorBlank) {
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Additional_Data("call");
    EXPECT_EQ(Content(), On_Disk(Header() + "call"));
    writer.Log_Additional_Data("(");
    EXPECT_EQ(Content(), On_Disk(Header() + "call("));
    writer.Log_Error("%s", "problem");
    writer.Log_Warning("%s", "");
    writer.Log_Developer_Note("\n");
    writer.Log_Additional_Data(")\n");
    writer.Log_Additional_Data("%s|%d|%c|100%%|%s\n", "100% %s %n", -1, 'x', std::string(10000, 'l').c_str());
    EXPECT_EQ(Content(), On_Disk(Header() + "call(***ERROR***: problem***WARNING*: \n)\n100% %s %n|-1|x|100%|" +
                                 std::string(10000, 'l') + "\n"));
}

TEST_F(Trace_Writer, WritesWhatItsOwnLevelOrThatOfTheProcessLetsThrough) {
    for (int main_level = 0; main_level <= 4; ++main_level) {
        for (const int level : {0, 1, 2, 3, 4, 6}) {
            SCOPED_TRACE(std::to_string(main_level) + ", " + std::to_string(level));
            CQelPcTrc::s_Main_Trace_Level = main_level;
            const int written = std::max(main_level, level);
            CQelPcTrc writer = Unlocked_Writer(level);
            for (int message_level = 1; message_level <= 4; ++message_level) {
                EXPECT_EQ(writer.Is_Enabled(message_level), written >= message_level) << message_level;
            }
            Write_One_Of_Each(writer);
            if (written > 0) {
                EXPECT_EQ(Content(), On_Disk(Header("", s_modes[main_level]) + Up_To(written)));
            }
        }
    }
}

TEST_F(Trace_Writer, StampsOnlyByItsOwnLevelAndNamesAnyOtherLevelOfTheProcessAsTheHighest) {
    Start_Clock();
    for (const int main_level : {5, -1}) {
        CQelPcTrc::s_Main_Trace_Level = main_level;
        CQelPcTrc writer = Unlocked_Writer(main_level == 5 ? 0 : 4);
        Write_One_Of_Each(writer);
        EXPECT_EQ(Content(), On_Disk(Header() + Up_To(4))) << main_level;
    }
}

TEST_F(Trace_Writer, NamesTheProgramAsFarAsItIsKnownAndFits) {
    for (const auto& [path, shown] :
         {std::pair{std::string(511, 'p') + "qr", std::string(511, 'p') + "q"}, {std::string(), std::string()}}) {
        g_services.program_path = path;
        CQelPcTrc writer = Unlocked_Writer(4);
        writer.Log_Error("e");
        g_services.program_path = shown;
        EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: e"));
    }
}

TEST_F(Trace_Writer, PutsTheStampOfTwoDigitsEachBehindALeadingLineEndWhichStaysWithoutOne) {
    Start_Clock();
    CQelPcTrc writer = Unlocked_Writer(5);
    writer.Log_Error("\nerror %d\n", 1);
    writer.Log_Warning("\n\nwarning");
    writer.Log_Developer_Note("\n");
    writer.Log_Additional_Data("%s", "\nno format");
    EXPECT_EQ(Content(), On_Disk(Header(Stamp(16)) + "\n" + Stamp(17) + "error 1\n" + "\n" + Stamp(18) + "\nwarning" +
                                 "\n" + Stamp(19) + Stamp(20) + "\nno format"));
    CQelPcTrc unstamped = Unlocked_Writer(4);
    unstamped.Log_Error("\nerror\n");
    unstamped.Log_Additional_Data("\ndata\n");
    EXPECT_EQ(Content(), On_Disk(Header() + "***ERROR***: \nerror\n\ndata\n"));
    g_services.local_time = [] { return Time(105, 0, 2, 3, 4, 5); };
    CQelPcTrc of_small_numbers = Unlocked_Writer(5);
    of_small_numbers.Log_Error("e");
    EXPECT_EQ(Content(), On_Disk(Header("(02.01.05 03:04:05) ") + "(02.01.05 03:04:05) e"));
}

TEST_F(Trace_Writer, WritesToTheCurrentDirectoryOnlyWithoutATraceDirectory) {
    const auto here = std::filesystem::current_path();
    std::filesystem::create_directory(directory / "current");
    std::filesystem::current_path(directory / "current");
    CQelPcTrc writer = Unlocked_Writer(4);
    writer.Log_Error("e");
    EXPECT_TRUE(std::filesystem::exists(directory / "writer.trc"));
    EXPECT_TRUE(std::filesystem::is_empty(directory / "current"));
    g_services.trace_directory.clear();
    CQelPcTrc another = Unlocked_Writer(4);
    another.Log_Error("e");
    std::filesystem::current_path(here);
    EXPECT_EQ(Content("current/writer.trc"), On_Disk(Header() + "***ERROR***: e"));
}

TEST_F(Trace_Writer, CutsAPathThatIsTooLong) {
    const std::string long_directory = Directory_Of_Length(245);
    g_services.trace_directory = long_directory;
    const std::string whole = (std::filesystem::path(long_directory) / "qelfilecache_0007.trc").string();
    ASSERT_GT(whole.size(), 259U);
    const CQelPcTrc with_long_name(std::string(300, 'n').c_str(), QELPCTRC_ERROR, 0, nullptr);
    EXPECT_EQ(std::strlen(with_long_name.m_File_Name.data()), 259U);

    CQelPcTrc writer("qelfilecache_0007.trc", QELPCTRC_ERROR, 0, nullptr);
    writer.Log_Error("e");
    std::ifstream file(whole.substr(0, 259), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(content, On_Disk(Header() + "***ERROR***: e"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(long_directory), {}), 1);
}

TEST_F(Trace_Writer, WritesToStandardErrorWhenTheFileCannotBeOpened) {
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    for (const bool has_directory : {true, false}) {
        g_services.trace_directory = has_directory ? (directory / "missing").string() : "";
        if (!has_directory) { // where the file would be in the current directory
            std::filesystem::create_directory("writer.trc");
        }
        g_services.directory_calls.clear();
        Captured_Stderr standard_error;
        {
            CQelPcTrc writer = Unlocked_Writer(2);
            Write_One_Of_Each(writer);
        }
        std::fputs("still open\n", stderr);
        EXPECT_EQ(standard_error.Take(), Header() + Up_To(2) + "still open\n");
        EXPECT_EQ(Is_Directory_Empty(), has_directory);
        EXPECT_EQ(g_services.directory_calls.size(), 2U) << "it is tried once";
    }
    std::filesystem::current_path(here);
}

class Trace_Lock : public Trace_Fixture {
protected:
    CQelPcTrc Locked_Writer(QELPCTRC_LEVEL level = QELPCTRC_ADDITIONAL_DATA) const {
        return CQelPcTrc("writer.trc", level, CQelPcTrc::Option_System_Lock, mutex);
    }

    /// Writes one message; returns what the standard error stream received.
    static std::string Complaint_About(CQelPcTrc& writer) {
        Captured_Stderr standard_error;
        writer.Log_Additional_Data("message\n");
        return standard_error.Take();
    }

    const std::string complete = On_Disk(Header() + "message\n");
};

TEST_F(Trace_Lock, IsTakenBeforeTheWriteAndGivenBackBehindIt) {
    std::string content_at_wait = "not asked";
    std::string content_at_release;
    bool file_at_wait = true;
    mutex->during_wait = [&] {
        file_at_wait = std::filesystem::exists(directory / "writer.trc");
        content_at_wait = Content();
    };
    mutex->during_release = [&] { content_at_release = Content(); };
    CQelPcTrc writer = Locked_Writer();
    EXPECT_EQ(Complaint_About(writer), "");
    EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release"));
    EXPECT_FALSE(file_at_wait) << "the file is opened under the lock";
    EXPECT_EQ(content_at_release, complete) << "and flushed under it";

    EXPECT_EQ(Complaint_About(writer), "");
    EXPECT_EQ(content_at_wait, complete);
    EXPECT_EQ(content_at_release, complete + On_Disk("message\n"));
}

TEST_F(Trace_Lock, IsTakenForEachMessageThatIsWrittenWhateverTheOtherOptions) {
    CQelPcTrc writer("writer.trc", QELPCTRC_DEVELOPER_NOTE, 0xFFFFFFFFU, mutex);
    writer.Log_Additional_Data("never");
    EXPECT_THAT(mutex->calls, IsEmpty());
    writer.Log_Error("a");
    writer.Log_Warning("b");
    writer.Log_Developer_Note("c");
    EXPECT_THAT(mutex->calls,
                ElementsAre("Wait(60000)", "Release", "Wait(60000)", "Release", "Wait(60000)", "Release"));
}

TEST_F(Trace_Lock, IsLeftAloneWithoutTheOption) {
    for (const std::uint32_t options : {0U, 2U, 0xFFFFFFFEU}) {
        CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, options, mutex);
        EXPECT_EQ(Complaint_About(writer), "");
        EXPECT_EQ(Content(), complete);
    }
    EXPECT_THAT(mutex->calls, IsEmpty());

    CQelPcTrc without_mutex("writer.trc", QELPCTRC_ADDITIONAL_DATA, 0, nullptr);
    EXPECT_EQ(Complaint_About(without_mutex), "");
}

TEST_F(Trace_Lock, ThatIsNotHadIsReportedAndTheLineWritten) {
    mutex->last_error = 6;
    for (const auto& [result, complaint] : {std::pair{System_Mutex::Wait_Result::Abandoned, "lock holder died"},
                                            {System_Mutex::Wait_Result::Timed_Out, "MUTEX timed out"},
                                            {System_Mutex::Wait_Result::Failed, "lock problem (6)"}}) {
        mutex->wait_result = result;
        mutex->calls.clear();
        CQelPcTrc writer = Locked_Writer();
        EXPECT_EQ(Complaint_About(writer), std::string("ERROR: QELPCTRC, ") + complaint + "\n");
        EXPECT_EQ(Content(), complete);
        EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release"));
        Captured_Stderr ignored;
        EXPECT_FALSE(writer.SetLock()) << "its caller is told";
    }
}

TEST_F(Trace_Lock, ThatIsMissingIsReportedOnceAMessageAndToItsCaller) {
    EXPECT_TRUE(Locked_Writer().SetLock());
    CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, CQelPcTrc::Option_System_Lock, nullptr);
    const std::string complaint = "ERROR: QELPCTRC, invalid SetLock call (MUTEX is null)\n";
    EXPECT_EQ(Complaint_About(writer), complaint);
    EXPECT_EQ(Complaint_About(writer), complaint);
    EXPECT_EQ(Content(), complete + On_Disk("message\n"));
    Captured_Stderr standard_error;
    EXPECT_FALSE(writer.SetLock());
    writer.ResetLock();
    EXPECT_EQ(standard_error.Take(), complaint);
}

TEST_F(Trace_Lock, ThatFailsBothWaysIsReportedAroundEachMessage) {
    g_services.trace_directory = (directory / "missing").string(); // to standard error
    mutex->wait_result = System_Mutex::Wait_Result::Timed_Out;
    mutex->release_result = false;
    mutex->last_error = 288;
    CQelPcTrc writer = Locked_Writer();
    for (const std::string& header : {Header(), std::string()}) {
        EXPECT_EQ(Complaint_About(writer), "ERROR: QELPCTRC, MUTEX timed out\n" + header +
                                               "message\nERROR: QELPCTRC, lock reset failed (288)\n");
    }
}

} // namespace
