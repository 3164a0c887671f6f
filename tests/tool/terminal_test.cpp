#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace QEL::FrontEnd::Tool {
namespace {

TEST(Terminal, WidthIsWhatTheEnvironmentSays) {
    Host::Set_Environment_Variable("COLUMNS", "72");
    EXPECT_EQ(Terminal::Width(), 72U);
}

TEST(Terminal, AWidthThatIsNoneIsIgnored) {
    Host::Set_Environment_Variable("COLUMNS", "120");
    const auto wide = Terminal::Width();
    Host::Set_Environment_Variable("COLUMNS", "0");
    const auto without = Terminal::Width();
    Host::Set_Environment_Variable("COLUMNS", "many");
    EXPECT_EQ(Terminal::Width(), without);
    EXPECT_EQ(wide, 120U);
    EXPECT_NE(without, 0U);
}

TEST(Terminal, AFileHasNeitherWidthNorColours) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(Terminal::Colours(file.get()));
    EXPECT_EQ(Host::Terminal_Width(file.get()), std::nullopt);
}

TEST(Terminal, CountsCharactersAndNotBytes) {
    EXPECT_EQ(Util::Columns_Of("abc"), 3U);
    EXPECT_EQ(Util::Columns_Of("gr\xC3\xBC\xC3\x9F"
                               "e"),
              5U);
    EXPECT_EQ(Util::Columns_Of(""), 0U);
}

TEST(Terminal, ShortensInTheMiddle) {
    EXPECT_EQ(Util::Shorten("abcdefghij", 10), "abcdefghij");
    EXPECT_EQ(Util::Shorten("abcdefghij", 9), "abc...hij");
    EXPECT_EQ(Util::Shorten("abcdefghij", 8), "ab...hij");
    EXPECT_EQ(Util::Shorten("abcdefghij", 4), "...j");
    EXPECT_EQ(Util::Shorten("abcdefghij", 3), "abc");
    EXPECT_EQ(Util::Shorten("abcdefghij", 0), "");
}

TEST(Terminal, NeverCutsThroughACharacter) {
    EXPECT_EQ(Util::Shorten("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x84\xC3\x96\xC3\x9C", 5), "\xC3\xA4...\xC3\x9C");
    EXPECT_EQ(Util::Shorten("\xC3\xA4\xC3\xB6\xC3\xBC", 2), "\xC3\xA4\xC3\xB6");
}

TEST(Terminal, FitsAColumnExactly) {
    EXPECT_EQ(Util::Fit("\xC3\xA4", 3), "\xC3\xA4  ");
    EXPECT_EQ(Util::Fit("abcdefghij", 9), "abc...hij");
    EXPECT_EQ(Util::Fit("", 2), "  ");
}

} // namespace
} // namespace QEL::FrontEnd::Tool
