#include "tests/unit/support/Cache_Fixture.h"

#include <algorithm>
#include <cctype>
#include <string>

using namespace Recorded_Trace;

namespace {

const std::string s_method = "Filter_Dangerous_Extensions";

class Extension_Filter : public Cache_Fixture {};

/// Every other letter of a text in lower case.
std::string Mixed_Case(std::string text) {
    for (std::size_t i = 0; i < text.size(); i += 2) {
        text[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    }
    return text;
}

std::string Lower_Case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

class Dangerous_Extension : public Extension_Filter, public testing::WithParamInterface<std::string> {};

TEST_P(Dangerous_Extension, IsReplacedInAnyLetterCase) {
    EXPECT_EQ(cache.Filter_Dangerous_Extensions(GetParam()), ".cached");
    EXPECT_EQ(cache.Filter_Dangerous_Extensions(Lower_Case(GetParam())), ".cached");
    EXPECT_EQ(cache.Filter_Dangerous_Extensions(Mixed_Case(GetParam())), ".cached");
}

TEST_P(Dangerous_Extension, CountsAsAWholeOnly) {
    const std::string extension = GetParam();
    for (const std::string& near_miss :
         {extension.substr(1), "." + extension, extension + " ", extension + ".", extension + ".txt", extension + "x",
          " " + extension, "x" + extension, extension + extension}) {
        EXPECT_EQ(cache.Filter_Dangerous_Extensions(near_miss), near_miss);
    }
}

INSTANTIATE_TEST_SUITE_P(List, Dangerous_Extension,
                         testing::Values(".COM", ".EXE", ".BAT", ".CMD", ".VBS", ".VBE", ".JS", ".JSE", ".WSF", ".WSH",
                                         ".MSC"),
                         [](const auto& parameter) { return parameter.param.substr(1); });

TEST_F(Extension_Filter, KeepsEveryOtherExtensionAsItStands) {
    for (const std::string extension :
         {"",      ".",    "..",   ".cached", ".CACHED", ".txt", ".TXT", ".Xml",     ".ini",
          ".json", ".jsx", ".j",   ".co",     ".comx",   ".scr", ".SCR", ".lnk",     ".LNK",
          ".ps1",  ".msi", ".hta", ".pif",    ".reg",    ".dll", "*",    ".\xC3\xA4"}) {
        EXPECT_EQ(cache.Filter_Dangerous_Extensions(extension), extension);
    }
}

TEST_F(Extension_Filter, TracesTheExtensionAndWhatBecomesOfIt) {
    cache.Filter_Dangerous_Extensions(".Exe");
    EXPECT_EQ(All(), Call(s_method, "extension='.Exe'") + Return(s_method, ".cached"));
    Forget();
    cache.Filter_Dangerous_Extensions(".Txt");
    EXPECT_EQ(All(), Call(s_method, "extension='.Txt'") + Return(s_method, ".Txt"));
    Forget();
    cache.Filter_Dangerous_Extensions("");
    EXPECT_EQ(All(), Call(s_method, "extension=''") + Return(s_method, "''"));
}

} // namespace
