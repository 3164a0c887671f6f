// Copies on file systems that refuse what others offer, and in races. The test's own forms of three
// system calls stand in for such file systems.

#include "platform/common/Atomic_Copy.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Last_Error.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <functional>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace QEL::Tests {

namespace {

std::function<int()> s_sync;        ///< decides about a file's way to the disk; 0: let it happen
std::function<int()> s_rename;      ///< decides about a renaming without replacement; 0: let it happen
std::function<int()> s_kernel_copy; ///< decides about a copy inside the kernel; 0: let it happen

} // namespace

} // namespace QEL::Tests

extern "C" __attribute__((visibility("default"))) int fsync(int file) {
    if (QEL::Tests::s_sync) {
        if (const int error = QEL::Tests::s_sync(); error != 0) {
            errno = error;
            return -1;
        }
    }
    return static_cast<int>(::syscall(SYS_fsync, file));
}

extern "C" __attribute__((visibility("default"))) int renameat2(int old_directory, const char* old_path,
                                                                int new_directory, const char* new_path,
                                                                unsigned int flags) noexcept {
    if (QEL::Tests::s_rename) {
        if (const int error = QEL::Tests::s_rename(); error != 0) {
            errno = error;
            return -1;
        }
    }
    return static_cast<int>(::syscall(SYS_renameat2, old_directory, old_path, new_directory, new_path, flags));
}

extern "C" __attribute__((visibility("default"))) ssize_t copy_file_range(int source, off64_t* source_offset,
                                                                          int target, off64_t* target_offset,
                                                                          std::size_t length, unsigned int flags) {
    if (QEL::Tests::s_kernel_copy) {
        if (const int error = QEL::Tests::s_kernel_copy(); error != 0) {
            errno = error;
            return -1;
        }
        length = std::min<std::size_t>(length, 100000);
    }
    return ::syscall(SYS_copy_file_range, source, source_offset, target, target_offset, length, flags);
}

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Copy_File_Atomically;
using FrontEnd::Util::Get_Last_Error;
using namespace testing;

/// 0, or the code of the failure.
std::uint32_t Copy_Error(const std::string& source, const std::string& target, bool fail_if_exists) {
    return Copy_File_Atomically(source, target, fail_if_exists) ? 0 : Get_Last_Error();
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
        EXPECT_EQ(std::filesystem::hard_link_count(target), 1u);
        std::filesystem::remove(target);
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
        std::filesystem::remove(target);
    }
}

TEST_F(Copy_Faults, AFailedRenamingLeavesNothingBehind) {
    s_rename = [] { return EIO; };
    EXPECT_EQ(Copy_Error(source, target, true), 1117u);
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy_Faults, TheWholeContentReachesTheDiskBeforeTheName) {
    for (const bool fail_if_exists : {true, false}) {
        std::vector<std::string> names;
        s_sync = [&] {
            names = scratch.Names();
            return std::filesystem::file_size(scratch / names.back()) == content.size() ? 0 : EINVAL;
        };
        EXPECT_EQ(Copy_Error(source, target, fail_if_exists), 0u);
        EXPECT_THAT(names, ElementsAre("source", StartsWith("target.")));
        std::filesystem::remove(target);
    }
    s_sync = [] { return EIO; };
    EXPECT_EQ(Copy_Error(source, target, true), 1117u);
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy_Faults, WhatTheKernelDoesNotCopyIsReadAndWritten) {
    for (const int error : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP, EPERM}) {
        for (const int successes : {0, 1, 5}) {
            int calls = 0;
            s_kernel_copy = [&calls, error, successes] { return calls++ < successes ? 0 : error; };
            EXPECT_EQ(Copy_Error(source, target, false), 0u);
            EXPECT_EQ(calls, successes + 1);
            EXPECT_TRUE(Content_Of(target) == content) << error << " after " << successes;
        }
    }
}

TEST_F(Copy_Faults, TheKernelMayCopyInPieces) {
    int calls = 0;
    s_kernel_copy = [&calls] {
        ++calls;
        return 0;
    };
    EXPECT_EQ(Copy_Error(source, target, true), 0u);
    EXPECT_GT(calls, 10);
    EXPECT_TRUE(Content_Of(target) == content);
}

} // namespace

} // namespace QEL::Tests
