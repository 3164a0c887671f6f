// The file operations of the services object but for searching and copying.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Scratch_Directory.h"
#include "util/File_Head.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Util::FileSystem;
using FrontEnd::OSWRAPI::IOSWrapper;
using namespace testing;

constexpr std::int64_t Second = 10000000;

const std::vector<std::string> Forging_Names = {std::string("a\nb"), std::string("a\rb"), std::string("a\0b", 3),
                                                std::string("a\n"), std::string("\0", 1)};

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

TEST_F(Files, EveryCreationGivesAnObject) {
    EXPECT_NE(IOSWrapper::Create(), nullptr);
}

TEST_F(Files, StatGivesTheTimeOnTheScaleOfTheClock) {
    const auto before = static_cast<std::int64_t>(services->Get_Current_Time());
    const std::string path = scratch.Write("file.xml");
    const auto after = static_cast<std::int64_t>(services->Get_Current_Time());

    // A file system's clock may lag behind by a step.
    EXPECT_GE(Time_Of(path), before - 3 * Second);
    EXPECT_LE(Time_Of(path), after);
}

TEST_F(Files, StatCountsInHundredNanoseconds) {
    const std::string path = scratch.Write("file.xml");
    Move_Time(path, std::chrono::seconds(0)); // cuts what the standard library cannot set
    const std::int64_t time = Time_Of(path);
    Move_Time(path, std::chrono::hours(1));
    EXPECT_EQ(Time_Of(path), time + 3600 * Second);
    Move_Time(path, std::chrono::hours(-3));
    EXPECT_EQ(Time_Of(path), time - 2 * 3600 * Second);
}

TEST_F(Files, StatKeepsFractionsOfASecond) {
    bool has_fraction = false;
    for (int attempt = 0; attempt < 5 && !has_fraction; ++attempt) {
        has_fraction = Time_Of(scratch.Write("file" + std::to_string(attempt))) % Second != 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
    }
    EXPECT_TRUE(has_fraction);
}

TEST_F(Files, AnUnchangedFileKeepsItsTime) {
    const std::string path = scratch.Write("file.xml");
    const std::int64_t time = Time_Of(path);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(Content_Of(path), "content");
    EXPECT_EQ(Time_Of(path), time);
    std::int64_t time_from_another_object = 0;
    EXPECT_EQ(IOSWrapper::Create()->Stat_File(path, time_from_another_object), 0);
    EXPECT_EQ(time_from_another_object, time);
}

TEST_F(Files, AChangedFileGetsAnotherTime) {
    const std::string path = scratch.Write("file.xml");
    const std::int64_t time = Time_Of(path);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    scratch.Write("file.xml", "CONTENT");
    EXPECT_NE(Time_Of(path), time);
}

TEST_F(Files, StatOfAMissingFileReturnsTheErrorCode) {
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(scratch / "missing.xml", time), 2);
    EXPECT_EQ(time, 0);
}

TEST_F(Files, StatInAMissingDirectoryReturnsTheErrorCode) {
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(Join_Path(scratch / "missing", "file.xml"), time), 3);
    EXPECT_EQ(services->Stat_File("", time), 3);
    EXPECT_EQ(time, 0);
}

TEST_F(Files, StatRefusesNamesThatForgeLines) {
    for (const auto& name : Forging_Names) {
        std::int64_t time = 0;
        EXPECT_EQ(services->Stat_File(scratch / name, time), 123);
        EXPECT_EQ(time, 0);
    }
}

TEST_F(Files, TheClockCountsHundredNanosecondsSince1601) {
    constexpr std::uint64_t from_1601_to_1970 = 116444736000000000;
    using Ticks = std::chrono::duration<std::uint64_t, std::ratio<1, Second>>;
    const auto now = std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
    const std::uint64_t time = services->Get_Current_Time();
    EXPECT_GE(time, now + from_1601_to_1970 - static_cast<std::uint64_t>(Second) / 10);
    EXPECT_LE(time, now + from_1601_to_1970 + 10 * static_cast<std::uint64_t>(Second));
}

TEST_F(Files, TheClockGoesOn) {
    const std::uint64_t time = services->Get_Current_Time();
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_GE(services->Get_Current_Time(), time + 20 * static_cast<std::uint64_t>(Second) / 1000);
}

TEST_F(Files, OnlyAFileExistsAsAFile) {
    EXPECT_TRUE(services->File_Exists(scratch.Write("file.xml")));
    EXPECT_TRUE(services->File_Exists(scratch.Write("empty", "")));
    EXPECT_FALSE(services->File_Exists(scratch.Path().string()));
    EXPECT_FALSE(services->File_Exists(scratch / "missing.xml"));
    EXPECT_FALSE(services->File_Exists(""));
}

TEST_F(Files, OnlyADirectoryExistsAsADirectory) {
    EXPECT_TRUE(services->Directory_Exists(scratch.Path().string()));
    EXPECT_FALSE(services->Directory_Exists(scratch.Write("file.xml")));
    EXPECT_FALSE(services->Directory_Exists(scratch / "missing"));
    EXPECT_FALSE(services->Directory_Exists(""));
}

TEST_F(Files, NothingExistsUnderANameThatForgesLines) {
    for (const auto& name : Forging_Names) {
        EXPECT_FALSE(services->File_Exists(scratch / name));
        EXPECT_FALSE(services->Directory_Exists(scratch / name));
        EXPECT_FALSE(Path_Exists(scratch / name));
        EXPECT_EQ(Get_File_Attributes(scratch / name), Invalid_Attributes);
    }
    scratch.Write("a");
    EXPECT_FALSE(services->File_Exists((scratch / "a") + std::string("\0", 1)));
}

TEST_F(Files, DeletesAFile) {
    const std::string path = scratch.Write("file.xml");
    EXPECT_TRUE(services->Delete_File(path));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Files, DeletesAReadOnlyFile) {
    const std::string path = scratch.Write("file.xml");
    Make_Read_Only(path);
    EXPECT_TRUE(services->Delete_File(path));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Files, NeverDeletesADirectory) {
    const std::string path = scratch.Make_Directory("directory");
    EXPECT_FALSE(services->Delete_File(path));
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(Files, DeletingWhatIsNotThereFails) {
    EXPECT_FALSE(services->Delete_File(scratch / "missing.xml"));
    EXPECT_FALSE(services->Delete_File(Join_Path(scratch / "missing", "file.xml")));
    EXPECT_FALSE(services->Delete_File(""));
}

TEST_F(Files, DeletesNothingUnderANameThatForgesLines) {
    scratch.Write("a");
    for (const auto& name : Forging_Names) {
        EXPECT_FALSE(services->Delete_File(scratch / name));
    }
    EXPECT_FALSE(services->Delete_File((scratch / "a") + std::string("\0", 1)));
    EXPECT_EQ(scratch.Names(), std::vector<std::string>{"a"});
}

TEST_F(Files, ADriveLetterHasANumber) {
    EXPECT_EQ(services->Get_Drive_Number("A:"), 0);
    EXPECT_EQ(services->Get_Drive_Number("C:\\file.xml"), 2);
    EXPECT_EQ(services->Get_Drive_Number("Z:"), 25);
    EXPECT_EQ(services->Get_Drive_Number("a:"), 0);
    EXPECT_EQ(services->Get_Drive_Number("z:/file.xml"), 25);
    EXPECT_EQ(services->Get_Drive_Number("c:relative.xml"), 2);
}

TEST_F(Files, APathWithoutDriveLetterHasNoDriveNumber) {
    for (const char* path : {"", "C", ":", "C\\", "@:", "[:", "`:", "{:", "1:\\", "\\\\server\\share\\file.xml",
                             "/home/file.xml", "file.xml", " C:", "CC:", "\xC4:"}) {
        EXPECT_EQ(services->Get_Drive_Number(path), -1) << path;
    }
}

TEST_F(Files, FilesAndDirectoriesExistAsPaths) {
    EXPECT_TRUE(Path_Exists(scratch.Path().string()));
    EXPECT_TRUE(Path_Exists(scratch.Write("file.xml")));
    EXPECT_FALSE(Path_Exists(scratch / "missing.xml"));
    EXPECT_FALSE(Path_Exists(""));
}

TEST_F(Files, AttributesTellOfReadOnlyFiles) {
    const std::string path = scratch.Write("file.xml");
    EXPECT_EQ(Get_File_Attributes(path) & Attribute_Read_Only, 0u);
    Make_Read_Only(path);
    ASSERT_NE(Get_File_Attributes(path), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(path) & Attribute_Read_Only, Attribute_Read_Only);
}

TEST_F(Files, AttributesTellOfDirectories) {
    constexpr std::uint32_t directory = 0x10;
    ASSERT_NE(Get_File_Attributes(scratch.Path().string()), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(scratch.Path().string()) & directory, directory);
    EXPECT_EQ(Get_File_Attributes(scratch.Write("file.xml")) & directory, 0u);
}

TEST_F(Files, WhatIsNotThereHasInvalidAttributes) {
    EXPECT_EQ(Get_File_Attributes(scratch / "missing.xml"), Invalid_Attributes);
    EXPECT_EQ(Get_File_Attributes(""), Invalid_Attributes);
}

TEST_F(Files, TheHeadIsTheFirstBytes) {
    const std::string content = Rubbish(100000);
    const std::string path = scratch.Write("file.bin", content);
    EXPECT_EQ(Read_File_Head(path, 1445), content.substr(0, 1445));
    EXPECT_EQ(Read_File_Head(path, 99999), content.substr(0, 99999));
    EXPECT_EQ(Read_File_Head(path, 100000), content);
    EXPECT_EQ(Read_File_Head(path, 100001), content);
    EXPECT_EQ(Read_File_Head(path, static_cast<std::size_t>(-1)), content);
    EXPECT_EQ(Read_File_Head(path, 0), "");
}

TEST_F(Files, TheHeadOfAnEmptyFileIsEmpty) {
    EXPECT_EQ(Read_File_Head(scratch.Write("empty", ""), 1445), "");
}

TEST_F(Files, TheHeadKeepsLineEndsAsTheyAre) {
    const std::string content = "a\r\nb\n\x1A\r";
    EXPECT_EQ(Read_File_Head(scratch.Write("text", content), 100), content);
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

TEST_F(Files, TheHeadOfANameThatForgesLinesThrows) {
    for (const auto& name : Forging_Names) {
        EXPECT_THROW(Read_File_Head(scratch / name, 10), std::runtime_error);
    }
}

TEST(Path_Separator, ABackslashJoinsWindowsPaths) {
    EXPECT_EQ(Path_Separator("C:\\cache"), '\\');
    EXPECT_EQ(Path_Separator("\\\\server\\share"), '\\');
    EXPECT_EQ(Path_Separator("c:cache"), '\\');
    EXPECT_EQ(Join_Path("C:\\cache", "file.xml"), "C:\\cache\\file.xml");
}

} // namespace

} // namespace QEL::Tests
