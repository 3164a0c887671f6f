#include "tools/qelfilecache/inspecting/entry_table.h"

#include "tests/tool/words/present.h"
#include "tools/qelfilecache/inspecting/times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace QEL::FrontEnd::Tool {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Listed_Entry An_Entry(const std::string& url, bool fresh) {
    Listed_Entry listed;
    listed.entry.url = url;
    listed.entry.last_checked_remotely = present - 5 * minute;
    listed.entry.fresh_until = present + minute;
    listed.entry.fresh = fresh;
    listed.entry.copy_exists = true;
    listed.shown_copy = "01234567-89ab-cdef-0123-456789abcdef.xml";
    listed.size = 1500;
    return listed;
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
              "http://longer  01234567-89ab-cdef-0123-456789abcdef.xml  1.5 kB  5 minutes ago  " + until + " (over)");
}

TEST(Entry_Table, ShortensTheCopyBeforeTheAddress) {
    const std::string url = "http://server.example/" + std::string(30, 'x') + "/end.xml";
    const auto width_of = [&](std::size_t columns) {
        return Table_Of({An_Entry(url, true)}, {columns, false, present})[1];
    };
    EXPECT_EQ(width_of(120).size(), 120U);
    EXPECT_THAT(width_of(120), StartsWith(url + "  0123"));
    EXPECT_EQ(width_of(80).size(), 80U);
    EXPECT_THAT(width_of(80), HasSubstr("http://se...xx/end.xml  0123...f.xml  1.5 kB"));
    // Narrower than everything else needs: nothing is lost but alignment.
    EXPECT_THAT(width_of(20), EndsWith(Local_Time_Text(present + minute)));
}

TEST(Entry_Table, MarksWhatIsMissingOrUnknown) {
    Listed_Entry never_checked = An_Entry("http://b", false);
    never_checked.entry.last_checked_remotely = 0;
    Listed_Entry of_the_future = An_Entry("http://c", true);
    of_the_future.entry.last_checked_remotely = present + minute;
    const auto lines =
        Table_Of({Without_Copy(An_Entry("http://a", false)), never_checked, of_the_future}, {{}, false, present});
    EXPECT_THAT(lines[1], EndsWith("xml       -  5 minutes ago  copy missing"));
    EXPECT_THAT(lines[2], EndsWith("unknown        over"));
    EXPECT_THAT(lines[3], HasSubstr("in the future"));
}

TEST(Entry_Table, ColoursEachLineByItsState) {
    const auto lines =
        Table_Of({An_Entry("http://a", true), An_Entry("http://b", false), Without_Copy(An_Entry("http://c", false))},
                 {{}, true, present});
    EXPECT_THAT(lines[1], StartsWith("\x1B[32m"));
    EXPECT_THAT(lines[2], StartsWith("\x1B[33m"));
    EXPECT_THAT(lines[3], StartsWith("\x1B[31m"));
    for (const std::string& line : lines) {
        EXPECT_THAT(line, EndsWith("\x1B[0m"));
    }
}

TEST(Entry_Table, SteersNoTerminal) {
    EXPECT_THAT(Table_Of({An_Entry("http://\x1B[2J", true)}, {{}, false, present})[1], StartsWith("http://\\x1B[2J  "));
}

} // namespace
} // namespace QEL::FrontEnd::Tool
