// FindFirstFile, FindNextFile and FindClose.

#include "filecache/oswrap/IOSWrapper.h"
#include "platform/common/Wildcard.h"
#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::OSWRAPI;
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
        for (bool more = search != Invalid_Find_Handle; more; more = services->FindNextFile(search, found) != 0) {
            names.push_back(found.file_name);
        }
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

TEST_F(Search, FindsPlainNamesReadOnlyOrNotAndNeitherFindsNorEntersDirectories) {
    scratch.Make_Directory(Uuid + ".xml");
    scratch.Write(Uuid + ".xml/" + Uuid + ".inner");
    EXPECT_THAT(Found(Cached_Files), IsEmpty());
    EXPECT_THAT(Found("*"), IsEmpty());
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

TEST_F(Search, TakesAPatternWithQuestionMarksStarsAndDots) {
    Write_All({"a", "ab", "abc", "xabcx", "ab.abc", "end.x", "two.dots.xml", "plain"});
    const std::pair<const char*, std::vector<std::string>> found[] = {
        // A question mark is exactly one character.
        {"?", {"a"}},
        {"a?", {"ab"}},
        {"???", {"abc"}},
        {"a?.abc", {"ab.abc"}},
        {"abc?", {}},
        {"???????", {}},
        // A star is any run.
        {"a*", {"a", "ab", "ab.abc", "abc"}},
        {"*c", {"ab.abc", "abc"}},
        {"*abc*", {"ab.abc", "abc", "xabcx"}},
        {"ab**c", {"ab.abc", "abc"}},
        {"*b*b*", {"ab.abc"}},
        {"*????????", {"two.dots.xml"}},
        // A dot is a dot.
        {"*.*", {"ab.abc", "end.x", "two.dots.xml"}},
        {"*.", {}},
        {"*.x", {"end.x"}},
        {"plain.*", {}},
    };
    for (const auto& [pattern, names] : found) {
        EXPECT_EQ(Found(pattern), names) << pattern;
    }
}

TEST_F(Search, FindsCachedFilesByTheirShape) {
    const std::vector<std::string> cached = {Uuid + "._", Uuid + ".cached", Uuid + ".x.part", Uuid + ".xml"};
    Write_All(cached);
    Write_All({Uuid, Uuid.substr(1) + ".xml", "0" + Uuid + ".xml", Uuid + "0.xml", Uuid.substr(0, 35) + ".xml",
               "0123abcd_45ef-6789-abcd-0123456789ab.xml", "qelfilecache_Metadata.txt", "{" + Uuid + "}.xml"});
    EXPECT_EQ(Found(Cached_Files), cached);
}

TEST_F(Search, TheEndLeavesTheRecordAlone) {
    scratch.Write("file.xml");
    Find_Data found;
    const Find_Handle search = services->FindFirstFile((scratch / "*").c_str(), found);
    ASSERT_NE(search, Invalid_Find_Handle);
    EXPECT_EQ(services->FindNextFile(search, found) + services->FindNextFile(search, found), 0);
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

TEST_F(Search, ClosesItsDirectory) {
    scratch.Write("file");
    const auto before = Open_Files();
    Find_Data found;
    for (int count = 0; count < 10; ++count) {
        services->FindClose(services->FindFirstFile((scratch / "*").c_str(), found));
        services->FindFirstFile((scratch / "*.none").c_str(), found);
    }
    EXPECT_EQ(Open_Files(), before);
}

#ifndef _WIN32
TEST_F(Search, FindsFilesAndLinksOnlyHiddenOrNotMindsLetterCaseAndTakesABackslashForALetter) {
    Write_All({".hidden", "file.xml", "FILE.XML", "a\\b"});
    scratch.Make_Directory("directory");
    ASSERT_EQ(::mkfifo((scratch / "pipe").c_str(), 0666), 0);
    std::filesystem::create_symlink(scratch / "file.xml", scratch / "link");
    std::filesystem::create_symlink(scratch / "missing", scratch / "link_to_nothing");
    EXPECT_THAT(Found("*"), ElementsAre(".hidden", "FILE.XML", "a\\b", "file.xml", "link", "link_to_nothing"));
    EXPECT_THAT(Found("?hidden"), ElementsAre(".hidden"));
    EXPECT_THAT(Found("file.*"), ElementsAre("file.xml"));
    EXPECT_THAT(Found("F*"), ElementsAre("FILE.XML"));
    EXPECT_THAT(Found("a\\b"), ElementsAre("a\\b"));
    EXPECT_THAT(Found("a?b"), ElementsAre("a\\b"));
}
#endif

bool Matches(const std::string& name, const std::string& pattern) {
    return QEL::FrontEnd::Platform::Matches_Wildcard(name, pattern, std::equal_to<>());
}

TEST(Wildcard, MatchesWholeNames) {
    for (const auto& [name, pattern] : {std::pair{"", ""},
                                        {"", "*"},
                                        {"aab", "*ab"},
                                        {"abab", "*ab"},
                                        {"xaybz", "*a?b*"},
                                        {"mississippi", "m*iss*ppi"}}) {
        EXPECT_TRUE(Matches(name, pattern)) << name << ", " << pattern;
    }
    for (const auto& [name, pattern] :
         {std::pair{"", "?"}, {"a", ""}, {"aba", "*ab"}, {"xabz", "*a?b*"}, {"mississippi", "m*iss*ppix"}}) {
        EXPECT_FALSE(Matches(name, pattern)) << name << ", " << pattern;
    }
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
