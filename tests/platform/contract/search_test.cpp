// FindFirstFile, FindNextFile and FindClose.

#include "filecache/oswrap/IOSWrapper.h"
#include "platform/common/Wildcard.h"
#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::OSWRAPI;
using namespace testing;

// In pieces: question marks before a hyphen are a trigraph.
const std::string Cached_Files = std::string("????????") + "-????" + "-????" + "-????" + "-????????????" + ".*";

const std::string Uuid = "0123abcd-45ef-6789-abcd-0123456789ab";

class Search : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    std::vector<std::string> Found(const std::string& pattern) const {
        std::vector<std::string> names;
        Find_Data found;
        const Find_Handle search = services->FindFirstFile((scratch / pattern).c_str(), found);
        if (search == Invalid_Find_Handle) {
            return names;
        }
        do {
            names.push_back(found.file_name);
        } while (services->FindNextFile(search, found) != 0);
        services->FindClose(search);
        std::sort(names.begin(), names.end());
        return names;
    }

    void Write_All(const std::vector<std::string>& names) const {
        for (const auto& name : names) {
            scratch.Write(name);
        }
    }
};

TEST_F(Search, FindsPlainNamesReadOnlyOrNot) {
    const std::string path = scratch.Write("file.xml");
    EXPECT_THAT(Found("file.xml"), ElementsAre("file.xml"));
    Make_Read_Only(path);
    EXPECT_THAT(Found("*"), ElementsAre("file.xml"));
}

TEST_F(Search, WithoutAMatchGivesTheInvalidHandleAndLeavesTheRecordAlone) {
    scratch.Write("other.txt");
    Find_Data found{"as before"};
    for (const std::string& pattern : {Scratch_Directory() / "missing/*", Scratch_Directory() / "*", scratch / "*.xml",
                                       std::string("\\*"), std::string("/*"), scratch / "*\n", scratch / "\r*"}) {
        EXPECT_EQ(services->FindFirstFile(pattern.c_str(), found), Invalid_Find_Handle) << pattern;
    }
    EXPECT_EQ(services->FindNextFile(Invalid_Find_Handle, found), 0);
    EXPECT_EQ(found.file_name, "as before");
    services->FindClose(Invalid_Find_Handle);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Invalid_Find_Handle), static_cast<std::uintptr_t>(-1)) << "all bits set";
}

TEST_F(Search, AQuestionMarkIsExactlyOneCharacter) {
    Write_All({"a", "ab", "abc", "a.c", "ab.c"});
    EXPECT_THAT(Found("?"), ElementsAre("a"));
    EXPECT_THAT(Found("a?"), ElementsAre("ab"));
    EXPECT_THAT(Found("???"), ElementsAre("a.c", "abc"));
    EXPECT_THAT(Found("a??"), ElementsAre("a.c", "abc"));
    EXPECT_THAT(Found("a?.c"), ElementsAre("ab.c"));
    EXPECT_THAT(Found("abc?"), IsEmpty());
    EXPECT_THAT(Found("??????"), IsEmpty());
}

TEST_F(Search, AStarIsAnyRun) {
    Write_All({"a", "ab", "abc", "xabcx", "ab.abc"});
    EXPECT_THAT(Found("a*"), ElementsAre("a", "ab", "ab.abc", "abc"));
    EXPECT_THAT(Found("*c"), ElementsAre("ab.abc", "abc"));
    EXPECT_THAT(Found("a*c"), ElementsAre("ab.abc", "abc"));
    EXPECT_THAT(Found("*abc*"), ElementsAre("ab.abc", "abc", "xabcx"));
    EXPECT_THAT(Found("a**"), ElementsAre("a", "ab", "ab.abc", "abc"));
    EXPECT_THAT(Found("*b*b*"), ElementsAre("ab.abc"));
    EXPECT_THAT(Found("*?"), ElementsAre("a", "ab", "ab.abc", "abc", "xabcx"));
    EXPECT_THAT(Found("*??????"), ElementsAre("ab.abc"));
}

TEST_F(Search, ADotIsADot) {
    Write_All({"plain", "name.xml", "two.dots.xml", "end.x"});
    EXPECT_THAT(Found("*.*"), ElementsAre("end.x", "name.xml", "two.dots.xml"));
    EXPECT_THAT(Found("*."), IsEmpty());
    EXPECT_THAT(Found("*.xml"), ElementsAre("name.xml", "two.dots.xml"));
    EXPECT_THAT(Found("name.x"), IsEmpty());
    EXPECT_THAT(Found("*.x"), ElementsAre("end.x"));
    EXPECT_THAT(Found("plain.*"), IsEmpty());
}

TEST_F(Search, CachedFilesAreFoundByTheirShape) {
    Write_All({Uuid + ".xml", Uuid + ".cached", Uuid + ".x.part", Uuid + "._"});
    EXPECT_EQ(Found(Cached_Files), scratch.Names());
}

TEST_F(Search, WhatLacksTheShapeIsNotFound) {
    Write_All({Uuid, Uuid.substr(1) + ".xml", "0" + Uuid + ".xml", Uuid + "0.xml", Uuid.substr(0, 35) + ".xml",
               "0123abcd_45ef-6789-abcd-0123456789ab.xml", "qelfilecache_Metadata.txt", "{" + Uuid + "}.xml"});
    EXPECT_THAT(Found(Cached_Files), IsEmpty());
}

TEST_F(Search, DirectoriesAreNeitherFoundNorEntered) {
    scratch.Make_Directory(Uuid + ".xml");
    scratch.Write(Uuid + ".xml/" + Uuid + ".inner");
    EXPECT_THAT(Found(Cached_Files), IsEmpty());
    EXPECT_THAT(Found("*"), IsEmpty());
    scratch.Write("file");
    EXPECT_THAT(Found("*"), ElementsAre("file"));
}

TEST_F(Search, TheEndLeavesTheRecordAlone) {
    scratch.Write("file.xml");
    Find_Data found;
    const Find_Handle search = services->FindFirstFile((scratch / "*").c_str(), found);
    ASSERT_NE(search, Invalid_Find_Handle);
    EXPECT_EQ(services->FindNextFile(search, found), 0);
    EXPECT_EQ(services->FindNextFile(search, found), 0);
    EXPECT_EQ(found.file_name, "file.xml");
    services->FindClose(search);
}

TEST_F(Search, TwoSearchesDoNotDisturbEachOther) {
    Write_All({"a1", "a2", "b1", "b2"});
    Find_Data a;
    Find_Data b;
    const Find_Handle search_a = services->FindFirstFile((scratch / "a?").c_str(), a);
    const Find_Handle search_b = services->FindFirstFile((scratch / "b?").c_str(), b);
    ASSERT_NE(search_a, Invalid_Find_Handle);
    ASSERT_NE(search_b, Invalid_Find_Handle);
    std::vector<std::string> names = {a.file_name, b.file_name};
    EXPECT_NE(services->FindNextFile(search_a, a), 0);
    EXPECT_NE(services->FindNextFile(search_b, b), 0);
    names.insert(names.end(), {a.file_name, b.file_name});
    EXPECT_THAT(names, UnorderedElementsAre("a1", "a2", "b1", "b2"));
    services->FindClose(search_a);
    EXPECT_EQ(services->FindNextFile(search_b, b), 0);
    services->FindClose(search_b);
}

TEST_F(Search, EveryFileOfALargeDirectoryIsFoundOnceAndMayBeDeletedMeanwhile) {
    for (int number = 0; number < 2000; ++number) {
        scratch.Write(std::to_string(number) + ".xml", "");
    }
    EXPECT_EQ(Found("*.xml"), scratch.Names());
    Find_Data found;
    const Find_Handle search = services->FindFirstFile((scratch / "*").c_str(), found);
    ASSERT_NE(search, Invalid_Find_Handle);
    do {
        EXPECT_TRUE(services->Delete_File(scratch / found.file_name)) << found.file_name;
    } while (services->FindNextFile(search, found) != 0);
    services->FindClose(search);
    EXPECT_THAT(scratch.Names(), IsEmpty());
}

bool Matches(const std::string& name, const std::string& pattern) {
    return FrontEnd::Platform::Matches_Wildcard(name, pattern, std::equal_to<>());
}

TEST(Wildcard, MatchesWholeNames) {
    EXPECT_TRUE(Matches("", ""));
    EXPECT_TRUE(Matches("", "*"));
    EXPECT_FALSE(Matches("", "?"));
    EXPECT_FALSE(Matches("a", ""));
    EXPECT_TRUE(Matches("aab", "*ab"));
    EXPECT_TRUE(Matches("abab", "*ab"));
    EXPECT_FALSE(Matches("aba", "*ab"));
    EXPECT_TRUE(Matches("xaybz", "*a?b*"));
    EXPECT_FALSE(Matches("xabz", "*a?b*"));
    EXPECT_TRUE(Matches("mississippi", "m*iss*ppi"));
    EXPECT_FALSE(Matches("mississippi", "m*iss*ppix"));
}

TEST(Wildcard, ManyStarsTakeNoTime) {
    std::string pattern;
    for (int count = 0; count < 60; ++count) {
        pattern += "*a";
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(Matches(std::string(255, 'a'), pattern + "b"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

} // namespace

} // namespace QEL::Tests
