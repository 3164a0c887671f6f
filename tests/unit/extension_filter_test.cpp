#include "tests/unit/support/Cache_Fixture.h"

#include <algorithm>
#include <cctype>
#include <string>

using namespace Recorded_Trace;

namespace {

const std::string s_method = "Filter_Dangerous_Extensions";

class Extension_Filter : public Cache_Fixture {};

class Dangerous_Extension : public Extension_Filter, public testing::WithParamInterface<std::string> {};

TEST_P(Dangerous_Extension, IsReplacedInAnyLetterCaseButAsAWholeOnly) {
    const std::string extension = GetParam();
    std::string mixed = extension;
    mixed.back() = static_cast<char>(std::tolower(mixed.back()));
    std::string lower = extension;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    for (const std::string& written : {extension, mixed, lower}) {
        EXPECT_EQ(cache.Filter_Dangerous_Extensions(written), ".cached");
    }
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
    for (const auto& [extension, result] :
         {std::pair<std::string, std::string>{".Exe", ".cached"}, {".Txt", ".Txt"}, {"", "''"}}) {
        Forget();
        cache.Filter_Dangerous_Extensions(extension);
        EXPECT_EQ(All(), Call(s_method, "extension='" + extension + "'") + Return(s_method, result));
    }
}

} // namespace
