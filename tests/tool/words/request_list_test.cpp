#include "tests/support/Standard_Library.h"
#include "tools/qelfilecache/requests/request_list.h"

#include <gtest/gtest.h>

namespace QEL::FrontEnd::Tool {
namespace {

TEST(Request_List, HoldsEachRequestOnceWithoutBlankLinesAndComments) {
    const std::string mark = "\xEF\xBB\xBF";
    const std::tuple<std::string, std::vector<std::string>, std::size_t> cases[] = {
        {"", {}, 0},
        {"b\na\nb\nc\na\nb\n", {"b", "a", "c"}, 3},
        {"\n# a\n  \t\n   # b\nc # d\n", {"c # d"}, 0},
        {"a\r\nb\r\na\r\nc", {"a", "b", "c"}, 1},
        {mark + "a\n" + mark + "b\n", {"a", mark + "b"}, 0},
        {mark + "# a\n", {}, 0},
        {"  \\\\server\\share\\a file.xml  \n", {"\\\\server\\share\\a file.xml"}, 0},
    };
    for (const auto& [text, requests, repeated] : cases) {
        std::istringstream stream(text);
        const Request_List list = Read_Request_List(stream);
        EXPECT_EQ(list.requests, requests) << text;
        EXPECT_EQ(list.repeated, repeated) << text;
    }
}

} // namespace
} // namespace QEL::FrontEnd::Tool
