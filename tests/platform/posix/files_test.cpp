// Files as only a POSIX system has them: links, pipes, devices, rights, exact times; also in the place of a trace file.
// A standard error stream that nobody reads.

#include "filecache/oswrap/IOSWrapper.h"
#include "platform/posix/system/Win32_Error.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/File_Head.h"
#include "util/Last_Error.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"
#include "util/Standard_Error.h"
#include "util/Trace_File.h"

#include <gmock/gmock.h>

#include <sys/sysmacros.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::OSWRAPI;
using namespace QEL::FrontEnd::Util::FileSystem;
using QEL::FrontEnd::Util::Get_Last_Error;
using namespace testing;
using QEL::FrontEnd::Util::Standard_Error;
using QEL::FrontEnd::Util::Tracing::Open_Trace_File;

class Posix_Files : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    std::string Make_Pipe(const std::string& name) const {
        EXPECT_EQ(::mkfifo((scratch / name).c_str(), 0666), 0);
        return scratch / name;
    }

    std::string Make_Link(const std::string& name, const std::string& target) const {
        EXPECT_EQ(::symlink(target.c_str(), (scratch / name).c_str()), 0);
        return scratch / name;
    }

    /// Lets other users reach what is in the directory, and no more.
    void Open_To_Others(mode_t rights = 0711) const { EXPECT_EQ(::chmod(scratch.Path().c_str(), rights), 0); }
};

TEST_F(Posix_Files, TimesAreExactToAHundredNanoseconds) {
    struct Time_Case {
        struct timespec time;
        std::int64_t file_time;
    };
    const std::string path = scratch.Write("file.xml");
    for (const auto& [time, file_time] :
         {Time_Case{{0, 0}, 116444736000000000}, Time_Case{{0, 99}, 116444736000000000},
          Time_Case{{0, 100}, 116444736000000001}, Time_Case{{1700000000, 123456789}, 133444736001234567},
          Time_Case{{-1, 999999900}, 116444735999999999}}) {
        const struct timespec times[] = {time, time};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        std::int64_t result = 0;
        EXPECT_EQ(services->Stat_File(path, result), 0);
        EXPECT_EQ(result, file_time) << time.tv_sec << " " << time.tv_nsec;
    }
}

TEST_F(Posix_Files, AreRegularOnesAndLinksToThem) {
    const std::string file = scratch.Write("file");
    std::int64_t time_of_file = 0;
    EXPECT_EQ(services->Stat_File(file, time_of_file), 0);
    EXPECT_TRUE(services->Directory_Exists(Make_Link("directory", scratch.Path())));
    for (const auto& [path, error] : {std::pair{Make_Link("link", file), 0},
                                      {scratch.Path().string(), 5},
                                      {Make_Pipe("pipe"), 5},
                                      {Make_Link("to_pipe", scratch / "pipe"), 5},
                                      {std::string("/dev/null"), 5},
                                      {std::string("/dev/tty"), 5},
                                      {Make_Link("device", "/dev/full"), 5},
                                      {scratch / "missing", 2},
                                      {Make_Link("broken", scratch / "missing"), 2},
                                      {Make_Link("itself", scratch / "itself"), 1921},
                                      {file + "/inner", 3},
                                      {std::string(), 3}}) {
        std::int64_t time = 0;
        EXPECT_EQ(services->Stat_File(path, time), error) << path;
        EXPECT_EQ(time, error == 0 ? time_of_file : 0);
        EXPECT_EQ(services->File_Exists(path), error == 0) << path;
        EXPECT_EQ(Path_Exists(path), error == 0 || error == 5) << path;
        EXPECT_EQ(Occupant_Of(path) == Occupant::Other, error == 5 || error == 1921) << path;
    }
}

TEST_F(Posix_Files, DeletesTheLinkAndNotItsTarget) {
    const std::string file = scratch.Write("file");
    EXPECT_TRUE(services->Delete_File(Make_Link("link", file)));
    EXPECT_TRUE(services->Delete_File(Make_Link("to_directory", scratch.Make_Directory("directory"))));
    EXPECT_TRUE(services->Delete_File(Make_Link("to_nothing", scratch / "missing")));
    EXPECT_THAT(scratch.Names(), ElementsAre("directory", "file"));
}

TEST_F(Posix_Files, NeverDeletesADevice) {
    if (::geteuid() == 0) {
        ASSERT_EQ(::mknod((scratch / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
        EXPECT_FALSE(services->Delete_File(scratch / "null"));
    } else {
        EXPECT_FALSE(services->Delete_File("/dev/null"));
    }
}

TEST_F(Posix_Files, APipeIsRefusedAtOnceAndNeverDeleted) {
    const std::string pipe = Make_Pipe("pipe");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(services->Delete_File(pipe));
    EXPECT_EQ(Get_Last_Error(), 5u);
    EXPECT_EQ(services->Copy_File(pipe.c_str(), (scratch / "target").c_str(), 1), 0);
    EXPECT_EQ(Get_Last_Error(), 5u);
    EXPECT_THROW(Read_File_Head(pipe, 10), std::runtime_error);
    EXPECT_THROW(Read_File_Head("/dev/zero", 10), std::runtime_error);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_THAT(scratch.Names(), ElementsAre("pipe"));
}

TEST_F(Posix_Files, AFileIsReadOnlyWhenNobodyMayWriteIt) {
    const std::string path = scratch.Write("file");
    for (const mode_t writable : {0644, 0600, 0464, 0446}) {
        ASSERT_EQ(::chmod(path.c_str(), writable), 0);
        EXPECT_EQ(Get_File_Attributes(path), 0x80u) << std::oct << writable;
    }
    for (const mode_t read_only : {0444, 0400, 0555}) {
        ASSERT_EQ(::chmod(path.c_str(), read_only), 0);
        EXPECT_EQ(Get_File_Attributes(path), Attribute_Read_Only) << std::oct << read_only;
    }
}

TEST_F(Posix_Files, WhatIsOutOfReachIsDeniedAndNotFound) {
    scratch.Write("file");
    // Where the tests run without rights, the directory is this user's own and has to be closed.
    Open_To_Others(::geteuid() == 0 ? 0700 : 0);
    const int wrong = Run_Without_Rights([this] {
        std::int64_t time = 0;
        Find_Data found;
        return (services->Stat_File(scratch / "file", time) == 5 ? 0 : 1) +
               (services->File_Exists(scratch / "file") ? 2 : 0) +
               (Get_File_Attributes(scratch / "file") == Invalid_Attributes ? 0 : 4) +
               (services->Delete_File(scratch / "file") ? 8 : 0) +
               (services->FindFirstFile((scratch / "*").c_str(), found) == Invalid_Find_Handle ? 0 : 16);
    });
    Open_To_Others(0700);
    EXPECT_EQ(wrong, 0);
    EXPECT_THAT(scratch.Names(), ElementsAre("file"));
}

TEST_F(Posix_Files, AnUnreadableFileIsNeitherCopiedNorRead) {
    Open_To_Others(0777);
    const std::string path = scratch.Write("file");
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    EXPECT_EQ(Run_Without_Rights([&] {
                  int wrong = services->Copy_File(path.c_str(), (scratch / "target").c_str(), 1) == 0 ? 0 : 1;
                  wrong += Get_Last_Error() == 5 ? 0 : 2;
                  try {
                      Read_File_Head(path, 10);
                      wrong += 4;
                  } catch (const std::runtime_error& error) {
                      wrong += std::string(error.what()).find("access is denied") != std::string::npos ? 0 : 8;
                  }
                  return wrong;
              }),
              0);
    EXPECT_THAT(scratch.Names(), ElementsAre("file"));
}

TEST_F(Posix_Files, APatternWithoutDirectorySearchesTheCurrentOne) {
    scratch.Write("only-here.xml");
    EXPECT_EQ(Child_Process([this] {
                  std::filesystem::current_path(scratch.Path());
                  Find_Data found;
                  services->FindClose(services->FindFirstFile("only-*.xml", found));
                  return found.file_name == "only-here.xml" ? 0 : 1;
              }).Wait(),
              0);
}

TEST_F(Posix_Files, HaveNoDrivesAndASlashJoinsTheirPaths) {
    EXPECT_EQ(services->Get_Drive_Type("C:"), 1u);
    EXPECT_EQ(services->Get_Drive_Type("z:"), 1u);
    for (const char* directory : {"/", "/var/cache", "var/cache", "cache", ".", "", "5:cache", "cache:", "c"}) {
        EXPECT_EQ(Path_Separator(directory), '/') << directory;
    }
    EXPECT_EQ(Join_Path("/var/cache", "file.xml"), "/var/cache/file.xml");
}

TEST_F(Posix_Files, SharesAreReadOnly) {
    const std::string on_share = "\\\\server\\share\\file";
    const std::string local = scratch.Write("file");
    Find_Data found;
    const std::function<bool()> refused[] = {
        [&] { return !services->Delete_File(on_share); },
        [&] { return services->Copy_File(local.c_str(), on_share.c_str(), 1) == 0; },
        [&] { return services->FindFirstFile("\\\\server\\share\\*", found) == Invalid_Find_Handle; },
        [&] { return !services->Directory_Exists("\\\\server\\share"); }, // no cache directory can be there
    };
    for (const auto& is_refused : refused) {
        QEL::FrontEnd::Util::Set_Last_Error(0);
        EXPECT_TRUE(is_refused());
        EXPECT_EQ(Get_Last_Error(), 50u);
    }
}

class Posix_Trace_File : public Posix_Files {
protected:
    using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

    Stream Open(const std::string& name) const { return {Open_Trace_File(scratch / name), std::fclose}; }
};

TEST_F(Posix_Trace_File, IsForTheUserAloneAndNotHandedToChildProcesses) {
    ::chmod(scratch.Write("old.trc", "").c_str(), 0644);
    for (const char* const name : {"new.trc", "old.trc"}) {
        const Stream file = Open(name);
        ASSERT_TRUE(file);
        EXPECT_EQ(std::filesystem::status(scratch / name).permissions(), std::filesystem::perms(0600));
        EXPECT_NE(::fcntl(::fileno(file.get()), F_GETFD) & FD_CLOEXEC, 0);
    }
}

TEST_F(Posix_Trace_File, FollowsNoLinkAndWaitsForNoReaderOfAPipe) {
    const std::string precious = scratch.Write("precious");
    Make_Link("link.trc", precious);
    Make_Link("dangling.trc", scratch / "made");
    Make_Pipe("pipe.trc");
    for (const char* const name : {"link.trc", "dangling.trc", "pipe.trc"}) {
        EXPECT_FALSE(Open(name)) << name;
    }
    EXPECT_EQ(Content_Of(precious), "content");
    EXPECT_FALSE(std::filesystem::exists(scratch / "made"));

    const int reader = ::open((scratch / "pipe.trc").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_FALSE(Open("pipe.trc"));
    ::close(reader);
}

TEST_F(Posix_Trace_File, LeavesAnotherUsersFileAsItIs) {
    const std::string foreign = scratch.Write("foreign.trc", "content");
    if (::chown(foreign.c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    EXPECT_FALSE(Open("foreign.trc"));
    EXPECT_EQ(Content_Of(foreign), "content");
}

TEST(Posix_Standard_Error, EndsNobodyWhenItsReaderHasGone) {
    EXPECT_EQ(Child_Process([] {
                  std::array<int, 2> ends{};
                  std::signal(SIGPIPE, SIG_DFL);
                  if (::pipe(ends.data()) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0 || ::close(ends[0]) != 0) {
                      return 2;
                  }
                  std::fputs("nobody reads this\n", Standard_Error());
                  std::fflush(Standard_Error());
                  return 0;
              }).Wait(),
              0);
}

TEST(Posix_Standard_Error, IsNoFileThatTheLibraryOpensOnceTheHostHasClosedIt) {
    EXPECT_EXIT(
        {
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                ::close(stream);
            }
            std::fputs("text\n", Standard_Error());
            const bool is_taken = ::open("/dev/zero", O_RDWR) == 0 && ::open("/dev/zero", O_RDWR) == 1;
            ::_exit(is_taken && ::open("/dev/zero", O_RDWR) > STDERR_FILENO ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Posix_Standard_Error, IsTheStandardErrorStream) {
    testing::internal::CaptureStderr();
    std::fputs("text\n", Standard_Error());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "text\n");
}

} // namespace
