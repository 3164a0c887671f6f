#include "tools/qelfilecache/inspecting/entry_table.h"

#include "tests/tool/words/present.h"
#include "tools/qelfilecache/inspecting/times.h"

#include <gmock/gmock.h>

namespace QEL::FrontEnd::Tool {
namespace {

using namespace ::testing;

Listed_Entry An_Entry(const std::string& url, bool fresh) {
    return {{url, "", "", present - 5 * minute, present + minute, fresh, true},
            "01234567-89ab-cdef-0123-456789abcdef.xml",
            1500};
}

Listed_Entry Without_Copy(Listed_Entry listed) {
    listed.entry.copy_exists = false;
    listed.size.reset();
    return listed;
}

TEST(Entry_Table, AlignsItsColumns) {
    const auto lines = Table_Of({An_Entry("http://a", true), An_Entry("http://longer", false)}, {{}, false, present});
    ASSERT_EQ(lines.size(), 3U);
    const std::string until = Local_Time_Text(present + minute);
    EXPECT_EQ(lines[0], "URL            COPY                                        SIZE  CHECKED        FRESH UNTIL");
    EXPECT_EQ(lines[1], "http://a       01234567-89ab-cdef-0123-456789abcdef.xml  1.5 kB  5 minutes ago  " + until);
    EXPECT_EQ(lines[2],
              "http://longer  01234567-89ab-cdef-0123-456789abcdef.xml  1.5 kB  5 minutes ago  expired since " + until);
}

TEST(Entry_Table, ShortensTheCopyBeforeTheAddress) {
    const std::string url = "http://server.example/" + std::string(30, 'x') + "/end.xml";
    const auto width_of = [&](std::size_t columns) {
        return Table_Of({An_Entry(url, true)}, {columns, false, present})[1];
    };
    EXPECT_EQ(width_of(120).size(), 120U);
    EXPECT_THAT(width_of(120), StartsWith(url + "  0123"));
    const std::string until = Local_Time_Text(present + minute);
    EXPECT_EQ(width_of(107), url + "  1.5 kB  5 minutes ago  " + until);
    EXPECT_EQ(width_of(95), url + "  1.5 kB  " + until);
    EXPECT_EQ(width_of(81), url + "  " + until);
    EXPECT_THAT(width_of(80), StartsWith("http://server.example/"));
    EXPECT_EQ(width_of(80).size(), 80U);
    // Narrower than everything else needs: nothing is lost but alignment.
    EXPECT_THAT(width_of(20), EndsWith(Local_Time_Text(present + minute)));
}

TEST(Entry_Table, LeavesOutTimesThatHavePassedBeforeTheAddress) {
    const std::string url = "https://landscape.example.com/frontend/emea/landscape.xml";
    const auto lines = Table_Of({An_Entry(url, false), An_Entry("http://b", true)}, {80, false, present});
    EXPECT_EQ(lines[1], url + "  expired");
    EXPECT_THAT(lines[2], EndsWith("  " + Local_Time_Text(present + minute)));
}

TEST(Entry_Table, KeepsAddressesApartThatHaveToBeCut) {
    const std::string beginning = "https://landscape.example.com/a/long/way/down/";
    const std::string end = "/as/long/a/way/on/to/the/landscape.xml";
    const auto lines = Table_Of({An_Entry(beginning + "apac" + end, true), An_Entry(beginning + "emea" + end, true)},
                                {60, false, present});
    EXPECT_THAT(lines[1], StartsWith(".../apac/"));
    EXPECT_THAT(lines[2], StartsWith(".../emea/"));
    EXPECT_EQ(lines[2].size(), 60U);
}

TEST(Short_Addresses, AreNeverAlikeUnlessTheAddressesAre) {
    const std::string same(30, 'x');
    const std::vector<std::string> addresses = {"/" + same + "1" + same, "/" + same + "2" + same, "/short",
                                                "/" + same + "1" + same, "/other" + same + same};
    const auto shortened = Shorten_Distinctly(addresses, 20);
    EXPECT_EQ(shortened[0], addresses[0]);
    EXPECT_EQ(shortened[1], addresses[1]);
    EXPECT_EQ(shortened[2], "/short");
    EXPECT_EQ(shortened[3], shortened[0]);
    EXPECT_EQ(shortened[4], "/otherxx...xxxxxxxxx");
}

TEST(Entry_Table, MarksAndColoursWhatIsExpiredMissingOrUnknown) {
    Listed_Entry never_checked = An_Entry("http://b", false);
    never_checked.entry.last_checked_remotely = 0;
    Listed_Entry of_the_future = An_Entry("http://c", true);
    of_the_future.entry.last_checked_remotely = present + minute;
    const auto lines =
        Table_Of({Without_Copy(An_Entry("http://a", false)), never_checked, of_the_future}, {{}, true, present});
    EXPECT_THAT(lines[1], AllOf(StartsWith("\x1B[31m"), EndsWith("xml       -  5 minutes ago  copy missing\x1B[0m")));
    EXPECT_THAT(lines[2], AllOf(StartsWith("\x1B[33m"), EndsWith("unknown        expired\x1B[0m")));
    EXPECT_THAT(lines[3], AllOf(StartsWith("\x1B[32m"), HasSubstr("in the future"), EndsWith("\x1B[0m")));
    EXPECT_THAT(lines[0], EndsWith("\x1B[0m"));
}

TEST(Entry_Table, SteersNoTerminal) {
    EXPECT_THAT(Table_Of({An_Entry("http://\x1B[2J", true)}, {{}, false, present})[1], StartsWith("http://\\x1B[2J  "));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
