// Links, pipes and rights in the place of a trace file, and a standard error stream that nobody reads.

#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Standard_Error.h"
#include "util/Trace_File.h"

#include <gmock/gmock.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Util::Standard_Error;
using FrontEnd::Util::Tracing::Open_Trace_File;

class Posix_Trace_File : public testing::Test {
protected:
    using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

    Scratch_Directory scratch;

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
    std::filesystem::create_symlink(precious, scratch / "link.trc");
    std::filesystem::create_symlink(scratch / "made", scratch / "dangling.trc");
    ASSERT_EQ(::mkfifo((scratch / "pipe.trc").c_str(), 0600), 0);
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

} // namespace QEL::Tests
