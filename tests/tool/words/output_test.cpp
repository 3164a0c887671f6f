#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <gtest/gtest.h>

namespace QEL::FrontEnd::Tool {
namespace {

TEST(Printable_Text, ShowsControlCharacters) {
    EXPECT_EQ(Util::Printable("a\nb\x1B[31m\x7F"), "a\\x0Ab\\x1B[31m\\x7F");
    EXPECT_EQ(Util::Printable(std::string("\0", 1)), "\\x00");
}

TEST(Printable_Text, ShowsTheControlCharactersOfTwoBytes) {
    EXPECT_EQ(Util::Printable("\xC2\x9B"
                              "31m"),
              "\\xC2\\x9B31m");
    EXPECT_EQ(Util::Printable("\xC2\x80\xC2\x9F"), "\\xC2\\x80\\xC2\\x9F");
}

TEST(Printable_Text, KeepsWhatIsPrintable) {
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

} // namespace
} // namespace QEL::FrontEnd::Tool
