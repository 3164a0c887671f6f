#include "mime/Magic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace {

using QEL::Mime::Magic;
using testing::HasSubstr;

constexpr char Xml_Text[] = "<?xml version=\"1.0\"?><Landscape/>";

std::string Type_Of(const Magic& magic, const std::string& contents) {
    return magic.Get_Mime_Type_For_Data(contents.data(), contents.size());
}

/// Whether the object has the tables, by everything it can be asked.
void Expect_Loaded(const Magic& magic, bool loaded) {
    std::string extension = "left over";
    EXPECT_EQ(magic.Is_Initialized(), loaded);
    EXPECT_EQ(Type_Of(magic, Xml_Text), loaded ? "text/xml" : "");
    EXPECT_EQ(magic.Get_Extension_From_Mime_Type("text/xml", extension), loaded);
    EXPECT_EQ(extension, loaded ? ".xml" : "");
}

Magic Loaded_Magic() {
    Magic magic;
    magic.Read_From_Builtin_Resource();
    return magic;
}

TEST(Magic, KnowsNothingBeforeItsTablesAreLoaded) {
    Expect_Loaded(Magic(), false);
}

TEST(Magic, KnowsTypesAndExtensionsOnceItsTablesAreLoaded) {
    Expect_Loaded(Loaded_Magic(), true);
}

TEST(Magic, CanBeLoadedTwice) {
    Magic magic = Loaded_Magic();
    magic.Read_From_Builtin_Resource();
    Expect_Loaded(magic, true);
}

TEST(Magic, CopiesAreIndependent) {
    Magic original;
    Magic copy = original;
    original.Read_From_Builtin_Resource();
    Expect_Loaded(original, true);
    Expect_Loaded(copy, false);

    copy = original;
    original = Magic();
    Expect_Loaded(original, false);
    Expect_Loaded(copy, true);
}

TEST(Magic, MovedFromObjectAnswersLikeAnEmptyOne) {
    Magic original = Loaded_Magic();
    Magic constructed = std::move(original);
    Expect_Loaded(constructed, true);
    Expect_Loaded(original, false); // NOLINT(bugprone-use-after-move): the state is documented

    Magic assigned;
    assigned = std::move(constructed);
    Expect_Loaded(assigned, true);
    Expect_Loaded(constructed, false); // NOLINT(bugprone-use-after-move)
}

TEST(Magic, AssignmentToItselfChangesNothing) {
    Magic magic = Loaded_Magic();
    Magic& same = magic;
    magic = same;
    Expect_Loaded(magic, true);
    magic = std::move(same);
    Expect_Loaded(magic, true);
}

TEST(Magic, MissingExtensionEmptiesTheResult) {
    std::string extension = ".old";
    EXPECT_FALSE(Loaded_Magic().Get_Extension_From_Mime_Type("no/such-type", extension));
    EXPECT_EQ(extension, "");
}

TEST(Magic, ResultMayReplaceTheTypeItself) {
    std::string text = "TEXT/XML; charset=utf-8";
    EXPECT_TRUE(Loaded_Magic().Get_Extension_From_Mime_Type(text, text));
    EXPECT_EQ(text, ".xml");
}

TEST(Magic, DataOfNoLengthHasNoType) {
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data(nullptr, 0), "");
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data("", 0), "");
}

class Magic_File : public testing::Test {
protected:
    Magic_File() { std::filesystem::create_directories(m_Folder); }
    ~Magic_File() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_Folder, ignored);
    }

    std::string File(const std::string& contents) {
        const auto path = m_Folder / "file";
        std::ofstream(path, std::ios::binary) << contents;
        return path.string();
    }

    const std::filesystem::path m_Folder =
        std::filesystem::temp_directory_path() / ("qel-magic-" + std::to_string(std::random_device()()));
    const Magic m_Magic = Loaded_Magic();
};

TEST_F(Magic_File, IsTypedByItsContents) {
    EXPECT_EQ(m_Magic.Get_Mime_Type_For_File(File(Xml_Text)), "text/xml");
}

TEST_F(Magic_File, OfNoLengthHasNoType) {
    EXPECT_EQ(m_Magic.Get_Mime_Type_For_File(File("")), "");
}

TEST_F(Magic_File, OfOneByteIsTextOrUnknown) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string contents(1, static_cast<char>(byte));
        const bool is_text =
            (byte >= 0x20) || byte == '\t' || byte == '\n' || byte == '\f' || byte == '\r' || byte == 0x1B;
        EXPECT_EQ(m_Magic.Get_Mime_Type_For_File(File(contents)), is_text ? "text/plain" : "") << byte;
    }
}

TEST_F(Magic_File, CountsUpToItsFirst1445Bytes) {
    EXPECT_EQ(m_Magic.Get_Mime_Type_For_File(File(std::string(1444, 'a') + '\0')), "");
    EXPECT_EQ(m_Magic.Get_Mime_Type_For_File(File(std::string(1445, 'a') + '\0')), "text/plain");
}

TEST_F(Magic_File, UnreadableThrowsWithPathAndReason) {
    const std::string path = (m_Folder / "missing").string();
    try {
        m_Magic.Get_Mime_Type_For_File(path);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(path));
        EXPECT_THAT(error.what(), HasSubstr(std::generic_category().message(ENOENT)));
    }
}

TEST_F(Magic_File, UnreadableThrowsEvenBeforeTheTablesAreLoaded) {
    EXPECT_THROW(Magic().Get_Mime_Type_For_File((m_Folder / "missing").string()), std::runtime_error);
}

} // namespace
