// Marks, ids and UUIDs in the processes that this one forks.

#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Directory_Mark.h"
#include "util/Generate_Uuid.h"
#include "util/Process.h"

#include <gmock/gmock.h>

#include <sys/file.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Util;
using QEL::FrontEnd::Util::FileSystem::Directory_Mark;
using QEL::FrontEnd::Util::FileSystem::Other_Processes_On;

/// True while nobody at all has marked the directory.
bool Is_Unmarked(const std::string& directory) {
    const int opened = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool is_unmarked = ::flock(opened, LOCK_EX | LOCK_NB) == 0;
    ::close(opened);
    return is_unmarked;
}

TEST(Posix_Directory_Mark, IsNotKeptByAForkedChild) {
    const Scratch_Directory scratch;
    auto mark = std::make_unique<Directory_Mark>(scratch.Path());
    EXPECT_FALSE(Is_Unmarked(scratch.Path()));
    const Child_Process child([] {
        ::pause();
        return 0;
    });
    mark.reset();
    EXPECT_TRUE(Wait_Until([&] { return Is_Unmarked(scratch.Path()); })) << "once the child has begun";
}

TEST(Posix_Directory_Mark, StaysWithTheParentOfAForkedChildWhichSeesIt) {
    const Scratch_Directory scratch;
    const Directory_Mark mark(scratch.Path());
    EXPECT_EQ(Child_Process([&] {
                  const auto others = Other_Processes_On(scratch.Path());
                  return others.size() == 1 && others.front().id == ::getppid() ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_FALSE(Is_Unmarked(scratch.Path()));
}

TEST(Posix_Directory_Mark, IsNeverLookedForByALockOfOnesOwn) {
    const Scratch_Directory scratch;
    const Child_Process child([&] {
        for (;;) {
            static_cast<void>(Other_Processes_On(scratch.Path()));
        }
        return 0;
    });
    for (int attempt = 0; attempt < 200; ++attempt) {
        ASSERT_TRUE(Is_Unmarked(scratch.Path()));
        ::usleep(500);
    }
}

TEST(Posix_Identity, AForkedProcessDoesNotRepeatItsParentsUuids) {
    Generate_Uuid();
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(Child_Process([&] { return ::write(ends[1], Generate_Uuid().data(), 36) == 36 ? 0 : 1; }).Wait(), 0);
    std::array<char, 36> of_child;
    ASSERT_EQ(::read(ends[0], of_child.data(), of_child.size()), 36);
    EXPECT_NE(std::string(of_child.data(), of_child.size()), Generate_Uuid());
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(Posix_Identity, TheMainThreadHasTheProcessIdAndAForkedProcessItsOwn) {
    const int id = Thread_Id();
    EXPECT_EQ(Process_Id(), ::getpid());
    EXPECT_EQ(id, ::getpid());
    EXPECT_EQ(Child_Process([id] { return Thread_Id() != id && Process_Id() == Thread_Id() ? 0 : 1; }).Wait(), 0);
}

} // namespace
