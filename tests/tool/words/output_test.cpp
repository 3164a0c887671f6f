#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace QEL::FrontEnd::Tool {
namespace {

const std::string Umlauts = "\xC3\xA4\xC3\xB6\xC3\xBC"; // three letters

TEST(Printable_Text, ShowsControlCharactersOfOneAndTwoBytes) {
    EXPECT_EQ(Util::Printable("a\nb\x1B[31m\x7F"), "a\\x0Ab\\x1B[31m\\x7F");
    EXPECT_EQ(Util::Printable(std::string("\0", 1)), "\\x00");
    EXPECT_EQ(Util::Printable("\xC2\x9B" + std::string("31m")), "\\xC2\\x9B31m");
    EXPECT_EQ(Util::Printable("\xC2\x80\xC2\x9F"), "\\xC2\\x80\\xC2\\x9F");
    for (const std::string text : {"http://server/a b", "\xC3\xBC", "\xC2\xA0", "\xC2", "\x9B", "\xE2\x82\xAC", ""}) {
        EXPECT_EQ(Util::Printable(text), text);
    }
}

TEST(Indented_Lines, ShowOfManyTheFirst) {
    const std::vector<std::string> few(21, "a\nb");
    std::string all;
    for (const std::string& text : few) {
        all += "\n  " + Util::Printable(text);
    }
    EXPECT_EQ(Indented_Lines(few), all);
    std::vector<std::string> many(20, "x");
    const std::string first = Indented_Lines(many);
    many.insert(many.end(), 1000, "y");
    EXPECT_EQ(Indented_Lines(many), first + "\n  and 1000 more");
    EXPECT_EQ(Indented_Lines({}), "");
}

TEST(Terminal, HasTheWidthThatTheEnvironmentSaysUnlessItIsNotANumber) {
    const auto width = [](const char* columns) {
        Host::Set_Environment_Variable("COLUMNS", columns);
        return Terminal::Width();
    };
    EXPECT_EQ(width("72"), 72U);
    EXPECT_EQ(width("120"), 120U);
    EXPECT_EQ(width("0"), width("many"));
    EXPECT_NE(width("0"), 0U);
}

TEST(Terminal, AFileHasNeitherWidthNorColours) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(Terminal::Colours(file.get()));
    EXPECT_EQ(Host::Terminal_Width(file.get()), std::nullopt);
}

TEST(Columns, AreCharactersAndNotBytes) {
    EXPECT_EQ(Util::Columns_Of("abc"), 3U);
    EXPECT_EQ(Util::Columns_Of("e" + Umlauts), 4U);
    EXPECT_EQ(Util::Columns_Of(""), 0U);
    EXPECT_EQ(Util::Fit("\xC3\xA4", 3), "\xC3\xA4  ");
    EXPECT_EQ(Util::Fit("abcdefghij", 9), "abc...hij");
    EXPECT_EQ(Util::Fit("", 2), "  ");
}

TEST(Shorten, CutsTheMiddleAndNeverACharacter) {
    for (const auto& [columns, shortened] :
         {std::pair{10U, "abcdefghij"}, {9U, "abc...hij"}, {8U, "ab...hij"}, {4U, "...j"}, {3U, "abc"}, {0U, ""}}) {
        EXPECT_EQ(Util::Shorten("abcdefghij", columns), shortened);
    }
    EXPECT_EQ(Util::Shorten(Umlauts + "\xC3\x84\xC3\x96\xC3\x9C", 5), "\xC3\xA4...\xC3\x9C");
    EXPECT_EQ(Util::Shorten(Umlauts, 2), "\xC3\xA4\xC3\xB6");
}

} // namespace
} // namespace QEL::FrontEnd::Tool
