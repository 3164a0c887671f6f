#include "tests/support/Standard_Library.h"
#include "tools/qelfilecache/requests/request_list.h"

#include <gmock/gmock.h>

namespace QEL::FrontEnd::Tool {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Request_List Read(const std::string& text) {
    std::istringstream stream(text);
    return Read_Request_List(stream);
}

TEST(Request_List, HoldsEachRequestOnceInTheListsOrder) {
    const Request_List list = Read("b\na\nb\nc\na\nb\n");
    EXPECT_THAT(list.requests, ElementsAre("b", "a", "c"));
    EXPECT_EQ(list.repeated, 3U);
}

TEST(Request_List, PassesOverBlankLinesAndComments) {
    EXPECT_THAT(Read("\n# a\n  \t\n   # b\nc # d\n").requests, ElementsAre("c # d"));
    EXPECT_THAT(Read("").requests, IsEmpty());
    EXPECT_EQ(Read("\n\n").repeated, 0U);
}

TEST(Request_List, UnderstandsTheLineEndsOfEveryPlatform) {
    EXPECT_THAT(Read("a\r\nb\nc").requests, ElementsAre("a", "b", "c"));
    EXPECT_EQ(Read("a\r\na\n").repeated, 1U);
}

TEST(Request_List, UnderstandsAByteOrderMarkAtItsBeginningAlone) {
    EXPECT_THAT(Read("\xEF\xBB\xBF"
                     "a\n\xEF\xBB\xBF"
                     "b\n")
                    .requests,
                ElementsAre("a", "\xEF\xBB\xBF"
                                 "b"));
    EXPECT_THAT(Read("\xEF\xBB\xBF# a\n").requests, IsEmpty());
}

TEST(Request_List, KeepsBlanksWithinARequest) {
    EXPECT_THAT(Read("  \\\\server\\share\\a file.xml  \n").requests, ElementsAre("\\\\server\\share\\a file.xml"));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
