// The file operations of the services object but for searching and copying; the file that a trace is written to; marks
// on directories, as other processes see them.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Marking_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Directory_Mark.h"
#include "util/File_Extension.h"
#include "util/File_Head.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"
#include "util/Trace_File.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Util::FileSystem;
using QEL::FrontEnd::OSWRAPI::IOSWrapper;
using namespace testing;
using QEL::FrontEnd::Util::Tracing::Open_Trace_File;

constexpr std::int64_t Second = 10000000;

class Files : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    std::int64_t Time_Of(const std::string& path) const {
        std::int64_t time = 0;
        EXPECT_EQ(services->Stat_File(path, time), 0) << path;
        return time;
    }

    static void Move_Time(const std::string& path, std::chrono::seconds difference) {
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + difference);
    }
};

TEST_F(Files, StatGivesTheTimeOnTheScaleOfTheClock) {
    const auto before = static_cast<std::int64_t>(services->Get_Current_Time());
    const std::string path = scratch.Write("file.xml");
    const auto after = static_cast<std::int64_t>(services->Get_Current_Time());

    // A file system's clock may lag behind by a step.
    EXPECT_GE(Time_Of(path), before - 3 * Second);
    EXPECT_LE(Time_Of(path), after);
}

TEST_F(Files, StatCountsInHundredNanosecondsAndKeepsFractionsOfASecond) {
    const std::string path = scratch.Write("file.xml");
    Move_Time(path, std::chrono::seconds(0)); // cuts what the standard library cannot set
    const std::int64_t time = Time_Of(path);
    Move_Time(path, std::chrono::hours(1));
    EXPECT_EQ(Time_Of(path), time + 3600 * Second);
    Move_Time(path, std::chrono::hours(-3));
    EXPECT_EQ(Time_Of(path), time - 2 * 3600 * Second);
    bool has_fraction = false;
    for (int attempt = 0; attempt < 5 && !has_fraction; ++attempt) {
        has_fraction = Time_Of(scratch.Write("file" + std::to_string(attempt))) % Second != 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
    }
    EXPECT_TRUE(has_fraction);
}

TEST_F(Files, StatOfWhatIsNotThereReturnsTheErrorCodeAndLeavesTheTime) {
    for (const auto& [path, error] :
         {std::pair{scratch / "missing.xml", 2}, {Join_Path(scratch / "missing", "file.xml"), 3}, {"", 3}}) {
        std::int64_t time = 0;
        EXPECT_EQ(services->Stat_File(path, time), error) << path;
        EXPECT_EQ(time, 0);
    }
}

TEST_F(Files, NothingIsFoundReadOrDeletedUnderANameThatForgesLines) {
    scratch.Write("a");
    for (const auto& name : {std::string("a\nb"), std::string("a\rb"), std::string("a\0b", 3), std::string("a\n"),
                             std::string("\0", 1), std::string("a\0", 2)}) {
        const std::string path = scratch / name;
        std::int64_t time = 0;
        EXPECT_EQ(services->Stat_File(path, time), 123);
        EXPECT_EQ(time, 0);
        EXPECT_FALSE(services->File_Exists(path));
        EXPECT_FALSE(services->Directory_Exists(path));
        EXPECT_FALSE(Path_Exists(path));
        EXPECT_EQ(Get_File_Attributes(path), Invalid_Attributes);
        EXPECT_EQ(File_Length(path), std::nullopt);
        EXPECT_FALSE(services->Delete_File(path));
        EXPECT_THROW(Read_File_Head(path, 10), std::runtime_error);
    }
    EXPECT_EQ(scratch.Names(), std::vector<std::string>{"a"});
}

TEST_F(Files, TheClockCountsHundredNanosecondsSince1601) {
    constexpr std::uint64_t from_1601_to_1970 = 116444736000000000;
    using Ticks = std::chrono::duration<std::uint64_t, std::ratio<1, Second>>;
    const auto now = std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
    const std::uint64_t time = services->Get_Current_Time();
    EXPECT_GE(time, now + from_1601_to_1970 - static_cast<std::uint64_t>(Second) / 10);
    EXPECT_LE(time, now + from_1601_to_1970 + 10 * static_cast<std::uint64_t>(Second));
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_GE(services->Get_Current_Time(), time + 20 * static_cast<std::uint64_t>(Second) / 1000) << "it goes on";
}

TEST_F(Files, FilesAndDirectoriesExistAsWhatTheyAre) {
    const std::tuple<std::string, bool, bool> cases[] = {{scratch.Write("file.xml"), true, false},
                                                         {scratch.Write("empty", ""), true, false},
                                                         {scratch.Path().string(), false, true},
                                                         {scratch / "missing.xml", false, false},
                                                         {"", false, false}};
    for (const auto& [path, is_file, is_directory] : cases) {
        EXPECT_EQ(services->File_Exists(path), is_file) << path;
        EXPECT_EQ(services->Directory_Exists(path), is_directory) << path;
        EXPECT_EQ(Path_Exists(path), is_file || is_directory) << path;
    }
}

TEST_F(Files, DeletesAFileReadOnlyOrNotButNeitherADirectoryNorWhatIsNotThere) {
    for (const bool is_read_only : {false, true}) {
        const std::string path = scratch.Write("file.xml");
        if (is_read_only) {
            Make_Read_Only(path);
        }
        EXPECT_TRUE(services->Delete_File(path));
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    const std::string directory = scratch.Make_Directory("directory");
    for (const std::string& path :
         {directory, scratch / "missing.xml", Join_Path(scratch / "missing", "file.xml"), std::string()}) {
        EXPECT_FALSE(services->Delete_File(path)) << path;
    }
    EXPECT_TRUE(std::filesystem::is_directory(directory));
}

TEST_F(Files, ADriveLetterHasANumberAndAnyOtherPathNone) {
    for (const auto& [path, number] :
         {std::pair{"A:", 0}, {"C:\\file.xml", 2}, {"Z:", 25}, {"a:", 0}, {"z:/file.xml", 25}, {"c:relative.xml", 2}}) {
        EXPECT_EQ(services->Get_Drive_Number(path), number) << path;
    }
    for (const char* path : {"", "C", ":", "C\\", "@:", "[:", "`:", "{:", "1:\\", "\\\\server\\share\\file.xml",
                             "/home/file.xml", "file.xml", " C:", "CC:", "\xC4:"}) {
        EXPECT_EQ(services->Get_Drive_Number(path), -1) << path;
    }
}

TEST_F(Files, AttributesTellOfReadOnlyFilesAndDirectories) {
    constexpr std::uint32_t directory = 0x10;
    const std::string path = scratch.Write("file.xml");
    EXPECT_EQ(Get_File_Attributes(path) & (Attribute_Read_Only | directory), 0u);
    Make_Read_Only(path);
    ASSERT_NE(Get_File_Attributes(path), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(path) & Attribute_Read_Only, Attribute_Read_Only);
    ASSERT_NE(Get_File_Attributes(scratch.Path().string()), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(scratch.Path().string()) & directory, directory);
    EXPECT_EQ(Get_File_Attributes(scratch / "missing.xml"), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(""), Invalid_Attributes);
}

TEST_F(Files, TheHeadIsTheFirstBytesAsTheyAre) {
    const std::string content = "a\r\nb\n\x1A\r" + Rubbish(100000);
    const std::string path = scratch.Write("file.bin", content);
    for (const std::size_t length : {std::size_t{0}, std::size_t{1445}, content.size() - 1, content.size(),
                                     content.size() + 1, static_cast<std::size_t>(-1)}) {
        EXPECT_EQ(Read_File_Head(path, length), content.substr(0, length)) << length;
    }
    EXPECT_EQ(Read_File_Head(scratch.Write("empty", ""), 1445), "");
    EXPECT_EQ(File_Length(path), content.size());
}

TEST_F(Files, AnUnreadableHeadThrowsWithThePath) {
    for (const auto& path :
         {scratch / "missing.xml", scratch.Path().string(), Join_Path(scratch / "missing", "file.xml")}) {
        try {
            Read_File_Head(path, 10);
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(path));
            EXPECT_GT(std::string(error.what()).size(), path.size() + 3) << "the reason is missing";
        }
    }
}

TEST(Path_Separator, ABackslashJoinsWindowsPaths) {
    EXPECT_EQ(Path_Separator("C:\\cache"), '\\');
    EXPECT_EQ(Path_Separator("\\\\server\\share"), '\\');
    EXPECT_EQ(Path_Separator("c:cache"), '\\');
    EXPECT_EQ(Join_Path("C:\\cache", "file.xml"), "C:\\cache\\file.xml");
}

void Expect_Extension(const std::string& extension, const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        EXPECT_EQ(File_Extension(path), extension) << path;
    }
}

TEST(Extensions, FollowTheLastDotOfTheLastComponent) {
    Expect_Extension("xml", {"file.xml", "C:\\dir.d\\file.xml", "C:file.xml", "C:.xml"});
    Expect_Extension("XmL", {"file.XmL"});
    Expect_Extension("c", {"a.b.c"});
    Expect_Extension("gz", {"file.tar.gz"});
    Expect_Extension("profile", {".profile"});
    Expect_Extension("a b", {"two words.a b"});
    Expect_Extension("txt", {"/dir.d/file.txt"});
}

TEST(Extensions, MayBeNone) {
    Expect_Extension("", {"", "file", "file.", ".", "..", "...", " ", "C:", "/", "\\", "C:\\dir.d\\file", "/dir.d/file",
                          "dir.d/", "\\\\server.example\\share\\file", "dir.d\\mixed/file", "C:file"});
}

TEST(Extensions, AreWhatTheFileSystemTakesThemForWithoutEndsAndStreams) {
    Expect_Extension("exe", {"run.exe.", "run.exe ", "run.exe. . ..", "run.exe:stream", "run.exe:stream.txt",
                             "run.exe::$DATA", "run.exe. :x.y", "C:\\dir\\run.exe:stream", "C:run.exe:stream"});
    Expect_Extension(" exe", {"run. exe"});
    Expect_Extension("txt", {"dir:x.y\\file.txt"});
    Expect_Extension("", {"file .", "file:stream.txt"});
}

class Trace_File : public testing::Test {
protected:
    Scratch_Directory scratch;

    /// Writes a line to the trace file of this name; false when there is none to write to.
    bool Writes(const std::string& name) const {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(Open_Trace_File(scratch / name), std::fclose);
        return file && std::fputs("line\n", file.get()) >= 0;
    }
};

#ifdef _WIN32
constexpr const char* Line_On_Disk = "line\r\n";
#else
constexpr const char* Line_On_Disk = "line\n";
#endif

TEST_F(Trace_File, IsMadeOrStartsAfresh) {
    scratch.Write("old.trc", "a long record of a process that ended long ago\n");
    for (const char* const name : {"new.trc", "old.trc"}) {
        EXPECT_TRUE(Writes(name));
        EXPECT_EQ(Content_Of(scratch / name), Line_On_Disk);
    }
}

TEST_F(Trace_File, IsNeitherADirectoryNorInAMissingOneNorAFileWithASecondName) {
    scratch.Make_Directory("directory.trc");
    const std::string other = scratch.Write("precious");
    std::filesystem::create_hard_link(other, scratch / "link.trc");
    for (const char* const name : {"directory.trc", "missing/new.trc", "link.trc"}) {
        EXPECT_FALSE(Writes(name)) << name;
    }
    EXPECT_EQ(Content_Of(other), "content");
}

class Directory_Marks : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::string directory = scratch.Make_Directory("cache");
};

TEST_F(Directory_Marks, AreNoneAtFirstAndThoseOfThisProcessDoNotCount) {
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
    const Directory_Mark mark(directory);
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, OfOtherProcessesNameThemAndAreAllSeen) {
    const Directory_Mark own(directory); // which writes no file
    const Other_Marking_Process one(directory);
    const auto is_named = Field(&Marking_Process::program, StartsWith("other_process"));
    EXPECT_THAT(Other_Processes_On(directory), ElementsAre(is_named));
    const Other_Marking_Process another(directory);
    EXPECT_THAT(Other_Processes_On(directory), ElementsAre(is_named, is_named));
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(Directory_Marks, AreOfOneDirectoryHoweverItIsWritten) {
    const Other_Marking_Process other(directory);
    EXPECT_THAT(Other_Processes_On(scratch / "." + "/../" + std::filesystem::path(scratch.Path()).filename().string() +
                                   "/cache"),
                SizeIs(1));
    EXPECT_THAT(Other_Processes_On(scratch.Make_Directory("another")), IsEmpty());
}

TEST_F(Directory_Marks, EndWithTheirObjectOrProcess) {
    for (const char* const end : {"release", "die"}) {
        Other_Marking_Process other(directory, end);
        other.End();
        EXPECT_THAT(Other_Processes_On(directory), IsEmpty()) << end;
    }
}

TEST_F(Directory_Marks, OnAMissingDirectoryChangeNothing) {
    const Directory_Mark mark(scratch / "missing");
    EXPECT_THAT(Other_Processes_On(scratch / "missing"), IsEmpty());
    EXPECT_THAT(scratch.Names(), ElementsAre("cache"));
}

} // namespace
