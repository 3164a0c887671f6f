#include "mime/Magic.h"

#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(Magic, KnowsTypesAndExtensionsOnceItsTablesAreLoaded) {
    Magic magic;
    Expect_Loaded(magic, false);
    for (int time = 0; time < 2; ++time) {
        magic.Read_From_Builtin_Resource();
        Expect_Loaded(magic, true);
    }
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

TEST(Magic, ExtensionMayReplaceTheTypeItselfAndIsEmptyWhereItIsMissing) {
    std::string text = "TEXT/XML; charset=utf-8";
    EXPECT_TRUE(Loaded_Magic().Get_Extension_From_Mime_Type(text, text));
    EXPECT_EQ(text, ".xml");
    EXPECT_FALSE(Loaded_Magic().Get_Extension_From_Mime_Type("no/such-type", text));
    EXPECT_EQ(text, "");
}

TEST(Magic, DataOfNoLengthHasNoType) {
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data(nullptr, 0), "");
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data("", 0), "");
}

class Magic_File : public testing::Test {
protected:
    std::string Type_Of_File(const std::string& contents) const {
        return magic.Get_Mime_Type_For_File(scratch.Write("file", contents));
    }

    const QEL::Tests::Scratch_Directory scratch;
    const Magic magic = Loaded_Magic();
};

TEST_F(Magic_File, IsTypedByItsContents) {
    EXPECT_EQ(Type_Of_File(Xml_Text), "text/xml");
    EXPECT_EQ(Type_Of_File(""), "");
}

TEST_F(Magic_File, CountsUpToItsFirst1445Bytes) {
    EXPECT_EQ(Type_Of_File(std::string(1444, 'a') + '\0'), "");
    EXPECT_EQ(Type_Of_File(std::string(1445, 'a') + '\0'), "text/plain");
}

TEST_F(Magic_File, UnreadableThrowsWithPathAndReasonWhetherTheTablesAreLoadedOrNot) {
    const std::string path = scratch / "missing";
    for (const Magic& asked : {magic, Magic()}) {
        try {
            asked.Get_Mime_Type_For_File(path);
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(path));
            EXPECT_THAT(error.what(), HasSubstr(std::generic_category().message(ENOENT)));
        }
    }
}

} // namespace
