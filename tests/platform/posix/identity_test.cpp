// Identity across forks.

#include "tests/support/Child_Process.h"
#include "util/Generate_Uuid.h"
#include "util/Process.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Util;

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

TEST(Posix_Identity, TheMainThreadHasTheProcessId) {
    EXPECT_EQ(Process_Id(), ::getpid());
    EXPECT_EQ(Thread_Id(), ::getpid());
}

TEST(Posix_Identity, AForkedProcessHasItsOwnIds) {
    const int id = Thread_Id();
    EXPECT_EQ(Child_Process([id] { return Thread_Id() != id && Process_Id() == Thread_Id() ? 0 : 1; }).Wait(), 0);
}

} // namespace

} // namespace QEL::Tests
