// Copies under hard conditions: without room, without rights, on file systems that refuse what others offer, and in
// races. The test's own forms of some system calls stand in for the latter.

#include "platform/common/Atomic_Copy.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_All.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Last_Error.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/syscall.h>

namespace {

std::function<int()> s_sync;        ///< decides about a file's way to the disk; 0: let it happen
std::function<int()> s_rename;      ///< decides about a renaming without replacement; 0: let it happen
std::function<int()> s_kernel_copy; ///< decides about a copy inside the kernel; 0: let it happen
int s_interruptions = 0;            ///< reads that end before they have read anything
int s_unlinked = 0;                 ///< names taken back

bool Fails(const std::function<int()>& decides) {
    const int error = decides ? decides() : 0;
    errno = error != 0 ? error : errno;
    return error != 0;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int file) {
    return Fails(s_sync) ? -1 : static_cast<int>(::syscall(SYS_fsync, file));
}

extern "C" __attribute__((visibility("default"))) int renameat2(int old_directory, const char* old_path,
                                                                int new_directory, const char* new_path,
                                                                unsigned int flags) noexcept {
    return Fails(s_rename)
               ? -1
               : static_cast<int>(::syscall(SYS_renameat2, old_directory, old_path, new_directory, new_path, flags));
}

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void* buffer, std::size_t length) {
    if (s_interruptions > 0) {
        --s_interruptions;
        errno = EINTR;
        return -1;
    }
    return ::syscall(SYS_read, file, buffer, length);
}

extern "C" __attribute__((visibility("default"))) int unlink(const char* path) noexcept {
    ++s_unlinked;
    return static_cast<int>(::syscall(SYS_unlink, path));
}

extern "C" __attribute__((visibility("default"))) ssize_t copy_file_range(int source, off64_t* source_offset,
                                                                          int target, off64_t* target_offset,
                                                                          std::size_t length, unsigned int flags) {
    if (Fails(s_kernel_copy)) {
        return -1;
    }
    if (s_kernel_copy) {
        length = std::min<std::size_t>(length, 100000);
    }
    return ::syscall(SYS_copy_file_range, source, source_offset, target, target_offset, length, flags);
}

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using QEL::FrontEnd::Platform::Copy_File_Atomically;
using QEL::FrontEnd::Util::Get_Last_Error;
using namespace testing;

/// 0, or the code of the failure.
std::uint32_t Copy_Error(const std::string& source, const std::string& target, bool fail_if_exists) {
    return Copy_File_Atomically(source, target, fail_if_exists) ? 0 : Get_Last_Error();
}

class Posix_Copy : public testing::Test {
protected:
    Scratch_Directory scratch;
};

TEST_F(Posix_Copy, RightsAreCarriedOverButForExecution) {
    const mode_t umask_before = ::umask(022);
    for (const auto& [rights, of_copy] :
         {std::pair{0644, 0644}, {0600, 0600}, {0755, 0644}, {0444, 0444}, {0666, 0644}, {06755, 0644}}) {
        const std::string source = scratch.Write("source" + std::to_string(rights));
        EXPECT_EQ(::chmod(source.c_str(), static_cast<mode_t>(rights)), 0);
        EXPECT_EQ(Copy_Error(source, scratch / "target", false), 0u);
        EXPECT_EQ(fs::status(scratch / "target").permissions(), fs::perms(of_copy)) << std::oct << rights;
    }
    ::umask(umask_before);
}

TEST_F(Posix_Copy, TheOwnerMayReadTheCopy) {
    const std::string source = scratch.Write("source");
    ASSERT_EQ(::chmod(source.c_str(), 0004), 0);
    ASSERT_EQ(::chmod(scratch.Path().c_str(), 0777), 0);
    // Read as one of the others; as the owner the source could not be opened without special rights.
    if (::geteuid() == 0) {
        EXPECT_EQ(Run_Without_Rights([&] { return static_cast<int>(Copy_Error(source, scratch / "target", true)); }),
                  0);
        EXPECT_EQ(fs::status(scratch / "target").permissions() & fs::perms::owner_read, fs::perms::owner_read);
    } else {
        EXPECT_EQ(Copy_Error(source, scratch / "target", true), 5u);
    }
}

TEST_F(Posix_Copy, AFileWhoseSizeIsNotKnownBeforeIsCopiedWhole) {
    ASSERT_EQ(Copy_Error("/proc/self/cmdline", scratch / "target", true), 0u);
    EXPECT_EQ(Content_Of(scratch / "target"), Content_Of("/proc/self/cmdline"));
    EXPECT_NE(Content_Of(scratch / "target"), "");
}

TEST_F(Posix_Copy, LinksAreFollowedAsSourceAndReplacedAsTarget) {
    const std::string source = scratch.Write("source", "content");
    const std::string link = scratch / "link";
    ASSERT_EQ(::symlink(source.c_str(), link.c_str()), 0);
    ASSERT_EQ(Copy_Error(link, scratch / "target", true), 0u);
    EXPECT_FALSE(fs::is_symlink(scratch / "target"));
    EXPECT_EQ(Content_Of(scratch / "target"), "content");

    EXPECT_EQ(Copy_Error(scratch.Write("new", "new"), link, false), 0u);
    EXPECT_EQ(Content_Of(link), "new");
    EXPECT_EQ(Content_Of(source), "content");
    ASSERT_EQ(::symlink((scratch / "missing").c_str(), (scratch / "to_nothing").c_str()), 0);
    EXPECT_EQ(Copy_Error(source, scratch / "to_nothing", true), 80u) << "it exists";
    ASSERT_EQ(::link(source.c_str(), (scratch / "second").c_str()), 0);
    EXPECT_EQ(Copy_Error(source, scratch / "second", false), 32u) << "a file under two names";
    EXPECT_EQ(Content_Of(source), "content");
    EXPECT_EQ(scratch.Names().size(), 6u);
}

TEST_F(Posix_Copy, ADirectoryWithoutRightsTakesNoCopyAndAnExistingTargetIsFoundOutFirst) {
    const std::string source = scratch.Write("source");
    const std::string target = scratch.Write("target", "old");
    ASSERT_EQ(::chmod(scratch.Path().c_str(), 0555), 0);
    for (const auto& [to, error] : {std::pair{scratch / "new", 5}, {target, 80}}) {
        EXPECT_EQ(Run_Without_Rights([&] { return static_cast<int>(Copy_Error(source, to, true)); }), error);
    }
    ASSERT_EQ(::chmod(scratch.Path().c_str(), 0700), 0);
    EXPECT_EQ(Content_Of(target), "old");
    EXPECT_THAT(scratch.Names(), ElementsAre("source", "target"));
}

TEST_F(Posix_Copy, WithoutRoomOrDescriptorsNothingIsLeftBehind) {
    const std::string source = scratch.Write("source", Rubbish(300000));
    const int lowest_free = ::dup(0);
    ::close(lowest_free);
    const rlim_t one_more = static_cast<rlim_t>(lowest_free) + 1; // for the source, none for the target
    for (const auto& [resource, limit, error] :
         {std::tuple{RLIMIT_FSIZE, rlim_t{100000}, 223}, {RLIMIT_NOFILE, one_more, 4}}) {
        EXPECT_EQ(Child_Process([&, resource = resource, limits = rlimit{limit, limit}] {
                      ::setrlimit(resource, &limits);
                      return static_cast<int>(Copy_Error(source, scratch / "target", true));
                  }).Wait(),
                  error);
        EXPECT_THAT(scratch.Names(), ElementsAre("source"));
    }
}

TEST_F(Posix_Copy, ALeftOverOfAKilledCopyIsNoHindrance) {
    const std::string source = scratch.Write("source", "content");
    EXPECT_EQ(Child_Process([&] {
                  // What an earlier process of the same id would have left.
                  for (int count = 0; count < 20; ++count) {
                      scratch.Write("target." + std::to_string(::getpid()) + "-" + std::to_string(count) + ".part");
                  }
                  return static_cast<int>(Copy_Error(source, scratch / "target", true));
              }).Wait(),
              0);
    EXPECT_EQ(Content_Of(scratch / "target"), "content");
    EXPECT_EQ(scratch.Names().size(), 22u);
}

TEST_F(Posix_Copy, LeavesNoDescriptorOpen) {
    const std::string source = scratch.Write("source");
    const auto before = Open_Files();
    for (int count = 0; count < 10; ++count) {
        Copy_File_Atomically(source, scratch / "target", false);
        Copy_File_Atomically(source, scratch / "target", true);
        Copy_File_Atomically(scratch.Path(), scratch / "other", true);
        Copy_File_Atomically(source, scratch / "missing/target", true);
    }
    EXPECT_EQ(Open_Files(), before);
}

class Copy_Faults : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::string content = Rubbish(1000003);
    const std::string source = scratch.Write("source", content);
    const std::string target = scratch / "target";

    ~Copy_Faults() override {
        s_sync = nullptr;
        s_rename = nullptr;
        s_kernel_copy = nullptr;
    }
};

TEST_F(Copy_Faults, AFileSystemThatAlwaysReplacesGetsASecondName) {
    for (const int error : {EINVAL, ENOSYS}) {
        s_rename = [error] { return error; };
        EXPECT_EQ(Copy_Error(source, target, true), 0u);
        EXPECT_TRUE(Content_Of(target) == content);
        EXPECT_THAT(scratch.Names(), ElementsAre("source", "target"));
        EXPECT_EQ(fs::hard_link_count(target), 1u);
        fs::remove(target);
    }
}

TEST_F(Copy_Faults, ATargetThatAppearsMeanwhileIsKept) {
    for (const int error : {0, EINVAL}) {
        s_rename = [this, error] {
            scratch.Write("target", "first");
            return error;
        };
        EXPECT_EQ(Copy_Error(source, target, true), 80u);
        EXPECT_EQ(Content_Of(target), "first");
        EXPECT_THAT(scratch.Names(), ElementsAre("source", "target"));
        fs::remove(target);
    }
}

TEST_F(Copy_Faults, OfRenamingOrOnTheWayToTheDiskLeaveNothingBehind) {
    for (auto* const step : {&s_rename, &s_sync}) {
        *step = [] { return EIO; };
        EXPECT_EQ(Copy_Error(source, target, true), 1117u);
        EXPECT_THAT(scratch.Names(), ElementsAre("source"));
        *step = nullptr;
    }
}

TEST_F(Copy_Faults, TheWholeContentReachesTheDiskBeforeTheName) {
    for (const bool fail_if_exists : {true, false}) {
        std::vector<std::string> names;
        s_sync = [&] {
            names = scratch.Names();
            return fs::file_size(scratch / names.back()) == content.size() ? 0 : EINVAL;
        };
        EXPECT_EQ(Copy_Error(source, target, fail_if_exists), 0u);
        EXPECT_THAT(names, ElementsAre("source", StartsWith("target.")));
        fs::remove(target);
    }
}

TEST_F(Copy_Faults, WhatTheKernelDoesNotCopyIsReadAndWritten) {
    for (const int error : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP, EPERM}) {
        for (const int successes : {0, 1, 5, 100}) { // with the last one, it copies all in pieces
            int calls = 0;
            s_kernel_copy = [&calls, error, successes] { return calls++ < successes ? 0 : error; };
            EXPECT_EQ(Copy_Error(source, target, false), 0u);
            EXPECT_TRUE(successes == 100 ? calls > 10 && calls < 20 : calls == successes + 1) << calls;
            EXPECT_TRUE(Content_Of(target) == content) << error << " after " << successes;
        }
    }
}

TEST_F(Copy_Faults, AnInterruptedReadIsRepeatedAndANameThatWasGivenUpNotTakenBack) {
    s_kernel_copy = [] { return EXDEV; };
    s_unlinked = 0;
    for (const bool fail_if_exists : {true, false}) {
        s_interruptions = 3;
        EXPECT_EQ(Copy_Error(source, target, fail_if_exists), 0u);
        EXPECT_EQ(s_interruptions, 0);
        EXPECT_TRUE(Content_Of(target) == content);
        EXPECT_EQ(s_unlinked, 0) << "somebody else may have it by now";
        fs::remove(target);
        s_unlinked = 0;
    }
}

TEST(Write_All, GoesOnAfterAnInterruptionAndFailsWithTheWrite) {
    EXPECT_FALSE(QEL::FrontEnd::Platform::Write_All(-1, "x", 1));
    EXPECT_EQ(errno, EBADF);
    // Signals cut the writes into a full pipe short, and end the next ones before they have written anything.
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    struct sigaction action_before {};
    ::sigaction(SIGALRM, &nothing, &action_before);
    const std::string content = Rubbish(8 << 20);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Child_Process writer(
        [&] { return QEL::FrontEnd::Platform::Write_All(ends[1], content.data(), content.size()) ? 0 : 1; });
    ::close(ends[1]);
    std::string read_content;
    std::array<char, 50000> block;
    for (ssize_t length = 1; length > 0;) {
        length = ::read(ends[0], block.data(), block.size());
        read_content.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        for (int signal = 0; signal < 2; ++signal) {
            ::usleep(100); // until the pipe is full again
            ::kill(writer.Id(), SIGALRM);
        }
    }
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_TRUE(read_content == content);
    ::close(ends[0]);
    ::sigaction(SIGALRM, &action_before, nullptr);
}

TEST(Win32_Errors, SayWhatErrnoSays) {
    using namespace QEL::FrontEnd::Platform;
    // Unknown ones are a general failure.
    for (const auto& [number, error] : {std::pair{ENOENT, 2},
                                        {ENOTDIR, 3},
                                        {EMFILE, 4},
                                        {EACCES, 5},
                                        {EPERM, 5},
                                        {EROFS, 19},
                                        {EBUSY, 32},
                                        {EEXIST, 80},
                                        {ENOSPC, 112},
                                        {EDQUOT, 112},
                                        {ENAMETOOLONG, 206},
                                        {EIO, 1117},
                                        {EXDEV, 31}}) {
        EXPECT_EQ(Win32_Error_From_Errno(number), error) << number;
    }
    EXPECT_NE(Win32_Error_Text(2), Win32_Error_Text(3));
    EXPECT_EQ(Win32_Error_Text(4711), "system error (4711)");
}

} // namespace
