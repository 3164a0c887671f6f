// Which servers of shares are asked.

#include "platform/common/Share_Access.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Platform;

TEST(Share_Server, IsTheFirstPartOfAPath) {
    EXPECT_EQ(Share_Server("\\\\Server.Example\\share\\file"), "server.example");
    EXPECT_EQ(Share_Server("//server/share"), "server");
    EXPECT_EQ(Share_Server("\\\\server"), "server");
    EXPECT_EQ(Share_Server("\\\\\\server/share"), "server");
}

TEST(Share_Server, IsNoneOfOtherPaths) {
    for (const auto* path : {"", "\\", "\\\\", "C:\\file", "/home/file", "\\file", "\\/server\\share", "file",
                             "\\\\.\\pipe\\x", "\\\\?\\C:\\file"}) {
        EXPECT_EQ(Share_Server(path), "") << path;
    }
}

TEST(Share_Attempt, HasFailedOnlyWhereTheServerWasNotReached) {
    for (const std::uint32_t error : {53U, 59U, 64U, 121U, 1231U, 1232U, 1460U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Server_Unreached) << error;
        EXPECT_EQ(Share_Attempt({error, true}), Attempt::Responded) << error;
    }
    for (const std::uint32_t error : {0U, 2U, 3U, 5U, 32U, 67U, 1326U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Responded) << error;
    }
    for (const std::uint32_t error : {80U, 112U, 126U, 1610U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Failed_Otherwise) << error;
    }
}

} // namespace

} // namespace QEL::Tests
