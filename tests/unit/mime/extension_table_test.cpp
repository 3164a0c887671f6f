#include "mime/extension_table.h"
#include "tests/support/Standard_Library.h"

#include <gtest/gtest.h>

namespace {

using QEL::Mime::Extension_Row;
using QEL::Mime::Extension_Rows;
using QEL::Mime::Find_Extension;
using QEL::Mime::Mime_Type;

Mime_Type Halves(std::string_view mime_type) {
    const auto slash = mime_type.find('/');
    return {mime_type.substr(0, slash), mime_type.substr(slash + 1)};
}

std::string Upper_Case(std::string_view text) {
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

TEST(Extension_Table, HasTheTypesOfMimeDbAndFindsEachRowInAnyLetterCase) {
    EXPECT_GT(Extension_Rows().size(), 900U);
    for (const Extension_Row& row : Extension_Rows()) {
        EXPECT_EQ(Find_Extension(Halves(row.mime_type)), row.extension) << row.mime_type;
        EXPECT_EQ(Find_Extension(Halves(Upper_Case(row.mime_type))), row.extension) << row.mime_type;
    }
}

TEST(Extension_Table, FindsNothingBesideItsRows) {
    for (const Extension_Row& row : Extension_Rows()) {
        const std::string longer = std::string(row.mime_type) + "\x7F";
        EXPECT_EQ(Find_Extension(Halves(longer)), "") << longer;
    }
    EXPECT_EQ(Find_Extension({"a", "a"}), "");
    EXPECT_EQ(Find_Extension({"zzz", "zzz"}), "");
    EXPECT_EQ(Find_Extension({"", ""}), "");
    EXPECT_EQ(Find_Extension({std::string(1000, 'x'), "xml"}), "");
}

TEST(Extension_Table, HasNoExtensionThatWindowsRunsOrInstalls) {
    for (const char* const mime_type :
         {"application/octet-stream", "application/x-ms-shortcut", "application/x-ms-application",
          "application/appinstaller", "application/appx", "application/msix", "application/vnd.ms-htmlhelp",
          "application/java-archive", "application/x-java-jnlp-file", "application/x-x509-ca-cert",
          "application/x-iso9660-image"}) {
        EXPECT_EQ(Find_Extension(Halves(mime_type)), "") << mime_type;
    }
    for (const Extension_Row& row : Extension_Rows()) {
        for (const std::string_view refused :
             {".lnk", ".cpl", ".application", ".appinstaller", ".appx", ".msix", ".chm", ".jar", ".jnlp", ".hta",
              ".url", ".scf", ".msi",         ".msp",          ".scr",  ".pif",  ".ps1", ".reg", ".iso",  ".xll"}) {
            EXPECT_NE(row.extension, refused) << row.mime_type;
        }
    }
}

TEST(Extension_Table, HasPlainExtensionsOnly) {
    // An extension becomes the end of a path.
    for (const Extension_Row& row : Extension_Rows()) {
        ASSERT_GE(row.extension.size(), 2U) << row.mime_type;
        EXPECT_EQ(row.extension.front(), '.') << row.mime_type;
        for (const char c : row.extension.substr(1)) {
            EXPECT_TRUE((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_') << row.extension;
        }
    }
}

} // namespace
