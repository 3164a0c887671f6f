#include "tests/unit/support/Cache_Fixture.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace {

class Extension_Filter : public Cache_Fixture {};

TEST_F(Extension_Filter, ReplacesEachDangerousExtensionInAnyLetterCaseButAsAWholeOnly) {
    for (const std::string extension :
         {".COM", ".EXE", ".BAT", ".CMD", ".VBS", ".VBE", ".JS", ".JSE", ".WSF", ".WSH", ".MSC"}) {
        std::string mixed = extension;
        mixed.back() = static_cast<char>(std::tolower(mixed.back()));
        std::string lower = extension;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char letter) { return std::tolower(letter); });
        for (const std::string& written : {extension, mixed, lower}) {
            EXPECT_EQ(cache.Filter_Dangerous_Extensions(written), ".cached");
        }
        for (const std::string& near_miss :
             {extension.substr(1), "." + extension, extension + " ", extension + ".", extension + ".txt",
              extension + "x", " " + extension, "x" + extension, extension + extension}) {
            EXPECT_EQ(cache.Filter_Dangerous_Extensions(near_miss), near_miss);
        }
    }
}

TEST_F(Extension_Filter, KeepsEveryOtherExtensionAndTracesWhatBecomesOfIt) {
    for (const std::string extension :
         {"",      ".",    "..",   ".cached", ".CACHED", ".txt", ".TXT", ".Xml",     ".ini",
          ".json", ".jsx", ".j",   ".co",     ".comx",   ".scr", ".SCR", ".lnk",     ".LNK",
          ".ps1",  ".msi", ".hta", ".pif",    ".reg",    ".dll", "*",    ".\xC3\xA4"}) {
        Forget();
        EXPECT_EQ(cache.Filter_Dangerous_Extensions(extension), extension);
        values["extension"] = extension;
        values["result"] = extension.empty() ? "''" : extension;
        Expect_Records("D Filter_Dangerous_Extensions: CALL(extension='{extension}')\n"
                       "D Filter_Dangerous_Extensions: return value:({result})");
    }
}

} // namespace
