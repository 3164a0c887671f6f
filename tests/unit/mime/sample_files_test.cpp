#include "mime/content_type.h"
#include "mime/extension_table.h"
#include "mime/sniffing/sniff.h"
#include "tests/unit/mime/support/Sample_Files.h"

#include <gtest/gtest.h>

namespace {

using QEL::Mime::Find_Extension;
using QEL::Mime::Find_Mime_Type;
using QEL::Mime::Sniffing::Sniff_Mime_Type;
using QEL::Mime::Sniffing::Sniffed_Length;

TEST(Sample_Files, AreTypedAndHaveNamesOfTheirOwnAndAnExtensionForEachTypeButCabinets) {
    std::set<std::string> names;
    for (const auto& [name, contents, type] : Sample_Files()) {
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_EQ(Sniff_Mime_Type(contents), type) << name;
        if (!type.empty() && name != "cabinet") { // Windows installs from those
            const auto mime_type = Find_Mime_Type(type);
            ASSERT_TRUE(mime_type) << type;
            EXPECT_NE(Find_Extension(*mime_type), "") << type;
        }
    }
    EXPECT_GE(names.size(), 60U);
}

/// The type of the bytes when nothing but them is there: they end where their memory ends, so that
/// the address sanitizer sees a read behind them.
std::string Type_Of_Exactly(std::string_view bytes) {
    const auto memory = std::make_unique<char[]>(bytes.size());
    std::ranges::copy(bytes, memory.get());
    return std::string(Sniff_Mime_Type({memory.get(), bytes.size()}));
}

TEST(Sample_Files, AreTypedWithoutReadingBehindAnyPrefix) {
    for (const Sample_File& file : Sample_Files()) {
        const std::string end_of_prefixes = file.contents.substr(0, Sniffed_Length + 10);
        for (std::size_t length = 0; length <= end_of_prefixes.size(); ++length) {
            const std::string_view prefix = std::string_view(file.contents).substr(0, length);
            const std::string mime_type = Type_Of_Exactly(prefix);
            // The rest of the file lies behind the prefix here.
            ASSERT_EQ(Sniff_Mime_Type(prefix), mime_type) << file.name << ", " << length << " bytes";
            if (length >= Sniffed_Length) {
                ASSERT_EQ(mime_type, file.mime_type) << file.name << ", " << length << " bytes";
            }
        }
    }
}

} // namespace
